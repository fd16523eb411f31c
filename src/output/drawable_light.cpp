#include "output/drawable_light.h"

#include "support/checked_arithmetic.h"

namespace tarvelo {

namespace {

// Measured against the exact light (the view tests' reference) for views of
// 16:9, 9:16 and 4:1.
constexpr double kVisibleBlurInViewSides = 64.0;

// The blur grid, per axis, is the view in texels plus two of rim and the
// kernel's reach on either side; with the kernel 3.5 radii long and texels no
// smaller than the view's side, 7 × radius / side + 5 texels at most, which
// stays within side + 24 texels (the rim a small blur needs anyway) while the
// radius is at most side × (side + 19) / 7.
double largestRadiusWhoseGridFits(double side) { return side * (side + 19.0) / 7.0; }

}  // namespace

double drawableComponent(double value) {
  if (!(value > 0.0)) return 0.0;
  if (value > 1.0) return 1.0;
  return value;
}

LightColor drawableColor(const LightColor& color) {
  return LightColor{drawableComponent(color.red), drawableComponent(color.green), drawableComponent(color.blue),
                    drawableComponent(color.alpha)};
}

double largestDrawnBlurRadius(double viewWidth, double viewHeight) {
  const double longer = orderedMax(viewWidth, viewHeight);
  const double shorter = orderedMin(viewWidth, viewHeight);
  return orderedMin(kVisibleBlurInViewSides * longer, largestRadiusWhoseGridFits(shorter));
}

double drawableBlurRadius(double radius, double viewWidth, double viewHeight) {
  if (!(radius > 0.0)) return 0.0;
  if (!(viewWidth > 0.0 && viewHeight > 0.0)) return radius;
  return orderedMin(radius, largestDrawnBlurRadius(viewWidth, viewHeight));
}

}  // namespace tarvelo
