#include "output/light_software_node.h"

#include <QPainter>
#include <QRegion>
#include <QSGRendererInterface>
#include <QTransform>

#include <cmath>

namespace tarvelo {

namespace {

// The image the painter draws on, when it is one whose pixels are plain
// 0xAARRGGBB words (what the window's backing store is on every desktop we
// know); otherwise null.
QImage* argb32Target(QPainter& painter) {
  QPaintDevice* device = painter.device();
  if (device == nullptr || device->devType() != QInternal::Image) return nullptr;
  auto* image = static_cast<QImage*>(device);
  const QImage::Format format = image->format();
  const bool plainWords = format == QImage::Format_RGB32 || format == QImage::Format_ARGB32_Premultiplied ||
                          format == QImage::Format_ARGB32;
  return plainWords ? image : nullptr;
}

int ceilToInt(double value) { return static_cast<int>(std::ceil(value)); }

}  // namespace

void LightSoftwareNode::place(const QRectF& pictureRect, const QSizeF& itemSize) {
  pictureRect_ = pictureRect;
  itemSize_ = itemSize;
}

void LightSoftwareNode::render(const RenderState* state) {
  auto* painter = static_cast<QPainter*>(
      window_->rendererInterface()->getResource(window_, QSGRendererInterface::PainterResource));
  if (painter == nullptr || picture_.isNull() || itemSize_.isEmpty()) return;
  const QTransform toWindow = matrix() != nullptr ? matrix()->toTransform() : QTransform();
  QImage* target = argb32Target(*painter);

  // Anything but a plain shift into a 32-bit image (a rotated or scaled
  // item, an unusual backing store) is left to QPainter: slower, same picture.
  if (target == nullptr || toWindow.type() > QTransform::TxTranslate) {
    painter->save();
    if (state->clipRegion() != nullptr && !state->clipRegion()->isEmpty()) {
      painter->setClipRegion(*state->clipRegion(), Qt::ReplaceClip);
    }
    painter->setTransform(toWindow);
    painter->setClipRect(rect(), Qt::IntersectClip);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(pictureRect_, picture_);
    painter->restore();
    return;
  }

  // Item units to image pixels: the shift, then the image's pixel ratio.
  const double ratio = target->devicePixelRatio();
  const auto toPixels = [&](const QRectF& itemRect) {
    const QRectF inWindow = itemRect.translated(toWindow.dx(), toWindow.dy());
    return QRectF(inWindow.x() * ratio, inWindow.y() * ratio, inWindow.width() * ratio, inWindow.height() * ratio);
  };
  const QRectF picture = toPixels(pictureRect_);
  QRectF drawn = toPixels(rect());
  if (state->clipRegion() != nullptr && !state->clipRegion()->isEmpty()) {
    const QRect clip = state->clipRegion()->boundingRect();
    drawn &= QRectF(clip.x() * ratio, clip.y() * ratio, clip.width() * ratio, clip.height() * ratio);
  }
  drawn &= QRectF(0.0, 0.0, target->width(), target->height());
  if (drawn.isEmpty()) return;
  // A pixel belongs to the item when its centre does, as with any filled shape:
  // pixel x is in [left, right) when x + 0.5 is.
  const PixelRegion region{ceilToInt(drawn.left() - 0.5), ceilToInt(drawn.top() - 0.5),
                           ceilToInt(drawn.right() - 0.5), ceilToInt(drawn.bottom() - 0.5)};
  upscaler_.stretch(
      RgbaPictureView{picture_.constBits(), picture_.width(), picture_.height(), picture_.bytesPerLine()},
      LightRect{picture.x(), picture.y(), picture.width(), picture.height()},
      Argb32ImageView{reinterpret_cast<std::uint32_t*>(target->bits()), target->width(), target->height(),
                      target->bytesPerLine()},
      region);
}

}  // namespace tarvelo
