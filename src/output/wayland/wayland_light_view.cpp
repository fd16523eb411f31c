#include "output/wayland/wayland_light_view.h"

#include <utility>

#include "output/wayland/wayland_layer_light.h"

namespace tarvelo {

WaylandLightView::WaylandLightView(WaylandLayerLight& surface) : surface_(surface) {
  model_.layout(surface_.width(), surface_.height());
  colors_.jumpTo(model_);
  layoutPicture();
  showPicture();
}

void WaylandLightView::updateColors(const ZoneColorList& colors, double brightness, double blurRadius,
                                    double spread) {
  const AmbientGradientModel::UpdateResult result = model_.updateColors(colors, brightness, blurRadius, spread);
  if (result.blurRadiusChanged) layoutPicture();
  const bool drawn = result.colorsChanged && glide_.glideTo(model_);
  if (result.blurRadiusChanged && !drawn) showPicture();
}

void WaylandLightView::layoutPicture() {
  picture_.layout(model_, surface_.width(), surface_.height(), LightResolution::reduced);
  pixels_.assign(static_cast<std::size_t>(picture_.width()) * static_cast<std::size_t>(picture_.height()) * 4, 0);
}

void WaylandLightView::showPicture() {
  if (picture_.isEmpty() || picture_.colorCount() != colors_.shown().size()) return;
  const std::ptrdiff_t bytesPerLine = static_cast<std::ptrdiff_t>(picture_.width()) * 4;
  picture_.render(colors_.shown(), pixels_.data(), bytesPerLine);
  // The picture comes as bytes red, green, blue; the compositor's XRGB8888
  // is blue, green, red in memory.
  for (std::size_t texel = 0; texel + 3 < pixels_.size(); texel += 4) std::swap(pixels_[texel], pixels_[texel + 2]);
  // The picture's rim (one texel all round) lies beyond the output, so only
  // what is inside it goes to the compositor. (A viewport source rectangle
  // would keep the rim for a linear filter to blend with at the edges, but
  // wlroots' software renderer ignores the rectangle's offset.)
  const std::uint8_t* inside = pixels_.data() + bytesPerLine + 4;
  surface_.show(BgraPictureView{inside, picture_.width() - 2, picture_.height() - 2, bytesPerLine});
  ++pictureShowCount_;
}

}  // namespace tarvelo
