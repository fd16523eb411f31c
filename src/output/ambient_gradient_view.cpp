#include "output/ambient_gradient_view.h"

#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRendererInterface>
#include <QSGTexture>

#include "output/light_software_node.h"

namespace tarvelo {

AmbientGradientView::AmbientGradientView(QQuickItem* parent)
    : QQuickItem(parent), glide_(transition_, [this] {
        pictureDirty_ = true;
        update();
      }) {
  setFlag(ItemHasContents, true);
  // The picture reaches a texel beyond the item on every side (so edge
  // pixels interpolate between real texels rather than clamp); cut it off.
  setClip(true);
}

AmbientGradientView::~AmbientGradientView() = default;

void AmbientGradientView::updateColors(const ZoneColorList& colors, double brightness, double blurRadius,
                                       double spread) {
  const AmbientGradientModel::UpdateResult result = model_.updateColors(colors, brightness, blurRadius, spread);
  // The margin and the blur follow the radius; nothing else about the
  // picture's geometry changes from frame to frame.
  if (result.blurRadiusChanged) layoutPicture();
  if (result.colorsChanged) glide_.glideTo(model_);
}

void AmbientGradientView::setMaximumFrameRate(std::int64_t framesPerSecond) {
  glide_.setMaximumFrameRate(framesPerSecond);
}

void AmbientGradientView::setResolution(LightResolution resolution) {
  if (resolution == resolution_) return;
  resolution_ = resolution;
  layoutPicture();
}

void AmbientGradientView::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
  QQuickItem::geometryChange(newGeometry, oldGeometry);
  if (newGeometry.size() == oldGeometry.size()) return;
  const bool wasBuilt = model_.didSetupLayers();
  model_.layout(newGeometry.width(), newGeometry.height());
  // Building the layers gives them their first (black) colours: show those.
  if (!wasBuilt && model_.didSetupLayers()) transition_.jumpTo(model_);
  layoutPicture();
}

void AmbientGradientView::layoutPicture() {
  picture_.layout(model_, width(), height(), resolution_);
  ++pictureLayoutCount_;
  pictureDirty_ = true;
  update();
}

QSGNode* AmbientGradientView::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* /*data*/) {
  if (picture_.isEmpty() || picture_.colorCount() != transition_.shown().size()) {
    delete oldNode;
    return nullptr;
  }
  // Picture texel k is centred at (k − 0.5) texels in the item: the whole
  // picture, rim included, spans the item grown by one texel on every side.
  // (A source rectangle that skipped the rim would not do: the software
  // renderer clamps its filter to the source rectangle's edges.)
  const double texelWidth = picture_.texelWidth();
  const double texelHeight = picture_.texelHeight();
  const QRectF pictureRect(-texelWidth, -texelHeight, width() + 2.0 * texelWidth, height() + 2.0 * texelHeight);
  if (window()->rendererInterface()->graphicsApi() == QSGRendererInterface::Software) {
    return updateSoftwareNode(oldNode, pictureRect);
  }
  return updateTextureNode(oldNode, pictureRect);
}

void AmbientGradientView::renderPicture(QImage& image) {
  const QSize size(picture_.width(), picture_.height());
  if (image.size() != size) image = QImage(size, QImage::Format_RGBX8888);
  picture_.render(transition_.shown(), image.bits(), image.bytesPerLine());
  ++pictureRenderCount_;
  pictureDirty_ = false;
}

QSGNode* AmbientGradientView::updateTextureNode(QSGNode* oldNode, const QRectF& pictureRect) {
  auto* node = static_cast<QSGImageNode*>(oldNode);
  if (node == nullptr) {
    node = window()->createImageNode();
    node->setOwnsTexture(true);
    // The GPU's linear filtering is the last step of the blur's scale-up.
    node->setFiltering(QSGTexture::Linear);
    pictureDirty_ = true;
  }
  if (pictureDirty_ || node->texture() == nullptr) {
    renderPicture(textureImage_);
    // Replacing the texture deletes the previous one (the node owns it).
    node->setTexture(window()->createTextureFromImage(textureImage_, QQuickWindow::TextureIsOpaque));
  }
  node->setRect(pictureRect);
  node->setSourceRect(QRectF(0.0, 0.0, picture_.width(), picture_.height()));
  return node;
}

QSGNode* AmbientGradientView::updateSoftwareNode(QSGNode* oldNode, const QRectF& pictureRect) {
  auto* node = static_cast<LightSoftwareNode*>(oldNode);
  if (node == nullptr) {
    node = new LightSoftwareNode(window());
    pictureDirty_ = true;
  }
  if (pictureDirty_) {
    renderPicture(node->picture());
    node->markDirty(QSGNode::DirtyMaterial);
  }
  node->place(pictureRect, size());
  return node;
}

}  // namespace tarvelo
