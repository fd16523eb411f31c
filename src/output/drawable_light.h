#pragma once

#include "output/ambient_gradient_model.h"

namespace tarvelo {

// The light draws every value the settings can hold (zero, negative,
// subnormal, huge, infinite, NaN) by limiting, here and only here, what it
// draws: the settings, the model's colours and its radius in effect stay as
// they were given. For every value a slider offers these change nothing.

// A colour component or alpha as a compositor draws it: within 0 … 1, and
// NaN as 0, so that a broken colour draws nothing rather than garbage.
double drawableComponent(double value);
LightColor drawableColor(const LightColor& color);

// The largest blur radius that still changes the light on a view of
// `viewWidth` × `viewHeight`. Everything in the light grows with the radius
// (the container's margin is one and a half radii), so past a few screen
// widths the view sees an ever smaller middle of one ever wider glow: from
// 64 times the view's longer side on, doubling the radius moves no pixel of
// the exact light by as much as one 8-bit step (0.7 at most, whatever the
// colours), and all further growth by about as much again. The picture the
// blur is worked out on spans seven radii in texels no smaller than the view,
// so the radius also stays where that grid fits the view's own size plus the
// blur's rim; this binds only on small views (at 16:9, those less than
// about 780 pixels high).
double largestDrawnBlurRadius(double viewWidth, double viewHeight);

// `radius` as the light draws it on that view: a negative or NaN radius is
// no blur, one beyond the largest is the largest. A view without area draws
// nothing and limits nothing but the sign.
double drawableBlurRadius(double radius, double viewWidth, double viewHeight);

}  // namespace tarvelo
