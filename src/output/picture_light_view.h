#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "output/ambient_gradient_model.h"
#include "output/light_color_transition.h"
#include "output/light_glide.h"
#include "output/light_picture.h"
#include "output/light_picture_surface.h"
#include "output/light_view.h"

namespace tarvelo {

// The light drawn without Qt Quick: the same model and the same small
// blurred picture the Qt Quick view draws (LightPicture), handed to a
// surface that stretches it (a Wayland compositor, or the light's own
// stretch into an X window's shared memory). New colours glide in as on the
// Qt Quick view (LightGlide); each frame of the glide is one small picture.
//
// Main thread only: the glide runs on the thread's Qt event loop.
class PictureLightView final : public LightView {
 public:
  // Lays the light out for the surface's size and shows it opaque black.
  explicit PictureLightView(LightPictureSurface& surface);

  void updateColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread) override;
  // See LightGlide::setMaximumFrameRate.
  void setMaximumFrameRate(std::int64_t framesPerSecond) { glide_.setMaximumFrameRate(framesPerSecond); }

  const AmbientGradientModel& model() const { return model_; }
  int pictureWidth() const { return picture_.width(); }
  int pictureHeight() const { return picture_.height(); }
  // The colours on screen now and the ones being glided to (see LightColorTransition).
  std::span<const LightColor> shownColors() const { return colors_.shown(); }
  std::span<const LightColor> targetColors() const { return colors_.target(); }
  bool isGliding() const { return glide_.isGliding(); }
  // How many pictures went to the surface.
  int pictureShowCount() const { return pictureShowCount_; }

 private:
  void layoutPicture();
  void showPicture();

  LightPictureSurface& surface_;
  AmbientGradientModel model_;
  LightColorTransition colors_;
  LightGlide glide_{colors_, [this] { showPicture(); }};
  LightPicture picture_;
  std::vector<std::uint8_t> pixels_;
  int pictureShowCount_ = 0;
};

}  // namespace tarvelo
