#include "output/picture_light_view.h"

namespace tarvelo {

PictureLightView::PictureLightView(LightPictureSurface& surface) : surface_(surface) {
  model_.layout(surface_.width(), surface_.height());
  colors_.jumpTo(model_);
  layoutPicture();
  showPicture();
}

void PictureLightView::updateColors(const ZoneColorList& colors, double brightness, double blurRadius,
                                    double spread) {
  const AmbientGradientModel::UpdateResult result = model_.updateColors(colors, brightness, blurRadius, spread);
  if (result.blurRadiusChanged) layoutPicture();
  const bool drawn = result.colorsChanged && glide_.glideTo(model_);
  if (result.blurRadiusChanged && !drawn) showPicture();
}

void PictureLightView::layoutPicture() {
  picture_.layout(model_, surface_.width(), surface_.height(), LightResolution::reduced);
  pixels_.assign(static_cast<std::size_t>(picture_.width()) * static_cast<std::size_t>(picture_.height()) * 4, 0);
}

void PictureLightView::showPicture() {
  if (picture_.isEmpty() || picture_.colorCount() != colors_.shown().size()) return;
  const std::ptrdiff_t bytesPerLine = static_cast<std::ptrdiff_t>(picture_.width()) * 4;
  picture_.render(colors_.shown(), pixels_.data(), bytesPerLine);
  surface_.showPicture(RgbaPictureView{pixels_.data(), picture_.width(), picture_.height(), bytesPerLine});
  ++pictureShowCount_;
}

}  // namespace tarvelo
