#pragma once

#include <span>
#include <vector>

#include "output/ambient_gradient_model.h"

namespace tarvelo {

// The light's colours as they glide from one frame's colours to the next:
// every component (alpha too) moves linearly from the colours on screen when
// the new ones arrived to the new ones. The model's colours are taken as
// they can be drawn (drawableColor): within 0 … 1, NaN as 0. Colours are kept as one flat list,
// each layer's colours in turn, back to front, the order LightPicture draws.
class LightColorTransition {
 public:
  // Shows the model's current colours at once, with no transition; also
  // sizes the lists, so call it whenever the layers may have changed shape.
  void jumpTo(const AmbientGradientModel& model);

  // Starts a transition from the colours shown now to the model's colours.
  // The first call (or one after the layers changed shape) jumps instead.
  // Returns false when the model's colours are exactly the ones shown, so
  // that there is nothing to draw (a still picture gives the same colours
  // frame after frame).
  bool retarget(const AmbientGradientModel& model);

  // Moves the shown colours to `progress` (0 … 1) of the way.
  void setProgress(double progress);

  std::span<const LightColor> shown() const { return shown_; }
  std::span<const LightColor> target() const { return target_; }

 private:
  // Copies the model's colours, back to front, into `colors`; false if the
  // layers do not have as many colours as `colors` holds.
  static bool copyColors(const AmbientGradientModel& model, std::vector<LightColor>& colors);
  static std::size_t colorCountOf(const AmbientGradientModel& model);

  std::vector<LightColor> from_;
  std::vector<LightColor> target_;
  std::vector<LightColor> shown_;
};

}  // namespace tarvelo
