#pragma once

#include <cstdint>
#include <vector>

#include "output/ambient_gradient_model.h"
#include "output/light_color_transition.h"
#include "output/light_picture.h"
#include "output/light_view.h"

namespace tarvelo {

class WaylandLayerLight;

// The light's colours on a layer surface: the same model and the same small
// blurred picture the Qt Quick view draws (LightPicture), handed to the
// compositor, which stretches it over the output. A colour change costs the
// small picture only.
//
// New colours are shown at once, without the glide the Qt Quick view draws.
class WaylandLightView final : public LightView {
 public:
  // Lays the light out for the surface's size and shows it opaque black.
  explicit WaylandLightView(WaylandLayerLight& surface);

  void updateColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread) override;

  const AmbientGradientModel& model() const { return model_; }
  int pictureWidth() const { return picture_.width(); }
  int pictureHeight() const { return picture_.height(); }

 private:
  void layoutPicture();
  void showPicture();

  WaylandLayerLight& surface_;
  AmbientGradientModel model_;
  LightColorTransition colors_;
  LightPicture picture_;
  std::vector<std::uint8_t> pixels_;
};

}  // namespace tarvelo
