#pragma once

#include <QImage>
#include <QQuickWindow>
#include <QRectF>
#include <QSGRenderNode>

#include "output/light_upscaler.h"

namespace tarvelo {

// The light as Qt Quick's software renderer draws it: the small light
// picture stretched straight into the window's image, the way a GPU's linear
// filter stretches it as a texture. Drawing the picture through QPainter
// instead costs several milliseconds a frame at full HD, most of the
// program's time without a GPU; writing the pixels directly is a fraction of
// that, and only what the window shows is touched.
class LightSoftwareNode : public QSGRenderNode {
 public:
  explicit LightSoftwareNode(QQuickWindow* window) : window_(window) {}

  // The picture to draw (owned here: the view renders into it) and where it
  // lies in item coordinates; `itemSize` is the item's own rectangle, which
  // nothing is drawn outside of.
  QImage& picture() { return picture_; }
  void place(const QRectF& pictureRect, const QSizeF& itemSize);

  void render(const RenderState* state) override;
  StateFlags changedStates() const override { return {}; }
  RenderingFlags flags() const override { return BoundedRectRendering | OpaqueRendering; }
  QRectF rect() const override { return QRectF(QPointF(0.0, 0.0), itemSize_); }

 private:
  QQuickWindow* window_;
  QImage picture_;
  QRectF pictureRect_;
  QSizeF itemSize_;
  LightUpscaler upscaler_;
};

}  // namespace tarvelo
