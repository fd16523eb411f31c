#include "output/light_color_transition.h"

#include <algorithm>

#include "output/drawable_light.h"

namespace tarvelo {

namespace {

// Visits the layers in drawing order without building a list, so the
// per-frame path allocates nothing.
template <typename Visit>
void forEachLayerBackToFront(const AmbientGradientModel& model, Visit&& visit) {
  if (!model.didSetupLayers()) return;
  visit(model.washLayer());
  for (const GradientLayer& strip : model.stripLayers()) visit(strip);
  visit(model.leftLayer());
  visit(model.rightLayer());
  visit(model.bottomLayer());
}

// (1 − p)·a + p·b lands exactly on a at 0 and on b at 1.
double mix(double from, double to, double progress) { return (1.0 - progress) * from + progress * to; }

}  // namespace

std::size_t LightColorTransition::colorCountOf(const AmbientGradientModel& model) {
  std::size_t count = 0;
  forEachLayerBackToFront(model, [&](const GradientLayer& layer) { count += layer.colors.size(); });
  return count;
}

bool LightColorTransition::copyColors(const AmbientGradientModel& model, std::vector<LightColor>& colors) {
  if (colorCountOf(model) != colors.size()) return false;
  // Colours glide between what can be drawn: an infinite or NaN component
  // would turn every step of the glide into NaN.
  auto out = colors.begin();
  forEachLayerBackToFront(model, [&](const GradientLayer& layer) {
    out = std::transform(layer.colors.begin(), layer.colors.end(), out, drawableColor);
  });
  return true;
}

void LightColorTransition::jumpTo(const AmbientGradientModel& model) {
  const std::size_t count = colorCountOf(model);
  target_.resize(count);
  copyColors(model, target_);
  from_ = target_;
  shown_ = target_;
}

bool LightColorTransition::retarget(const AmbientGradientModel& model) {
  if (shown_.empty() || !copyColors(model, target_)) {
    jumpTo(model);
    return true;
  }
  if (target_ == shown_) {
    from_ = shown_;  // a transition in flight stops where it is: at the target
    return false;
  }
  std::copy(shown_.begin(), shown_.end(), from_.begin());
  return true;
}

void LightColorTransition::setProgress(double progress) {
  const double p = std::clamp(progress, 0.0, 1.0);
  for (std::size_t i = 0; i < shown_.size(); ++i) {
    shown_[i] = LightColor{mix(from_[i].red, target_[i].red, p), mix(from_[i].green, target_[i].green, p),
                           mix(from_[i].blue, target_[i].blue, p), mix(from_[i].alpha, target_[i].alpha, p)};
  }
}

}  // namespace tarvelo
