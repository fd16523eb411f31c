#include "output/ambient_gradient_view.h"

#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRendererInterface>
#include <QSGTexture>

#include <chrono>

#include "output/light_software_node.h"

namespace tarvelo {

namespace {

constexpr std::chrono::nanoseconds kColorAnimation{
    static_cast<std::int64_t>(AmbientGradientModel::kColorAnimationSeconds * 1e9 + 0.5)};

}  // namespace

AmbientGradientView::AmbientGradientView(QQuickItem* parent) : QQuickItem(parent) {
  setFlag(ItemHasContents, true);
  // The picture reaches a texel beyond the item on every side (so edge
  // pixels interpolate between real texels rather than clamp); cut it off.
  setClip(true);
  // Colours glide at an even pace from the old to the new ones.
  colorAnimation_.setEndValue(1.0);
  colorAnimation_.setEasingCurve(QEasingCurve::Linear);
  setMaximumFrameRate(0);
  connect(&colorAnimation_, &QVariantAnimation::valueChanged, this, &AmbientGradientView::showProgress);
  deferredFrame_.setSingleShot(true);
  deferredFrame_.setTimerType(Qt::PreciseTimer);
  connect(&deferredFrame_, &QTimer::timeout, this, &AmbientGradientView::requestFrame);
}

AmbientGradientView::~AmbientGradientView() = default;

void AmbientGradientView::updateColors(const ZoneColorList& colors, double brightness, double blurRadius,
                                       double spread) {
  const AmbientGradientModel::UpdateResult result = model_.updateColors(colors, brightness, blurRadius, spread);
  // The margin and the blur follow the radius; nothing else about the
  // picture's geometry changes from frame to frame.
  if (result.blurRadiusChanged) layoutPicture();
  if (!result.colorsChanged) return;
  // The same colours as on screen (a still picture): no transition, no frame.
  if (!transition_.retarget(model_)) {
    colorAnimation_.stop();
    return;
  }
  colorAnimation_.stop();
  colorAnimation_.start();
  transition_.setProgress(glideFrames_.firstProgress);
  pictureDirty_ = true;
  // New colours are what the light is late with: their first frame is never
  // held back by the cap, only the glide's later frames are.
  drawAt(ChangePacer::Clock::now());
}

void AmbientGradientView::setMaximumFrameRate(std::int64_t framesPerSecond) {
  glideFrames_ = glideFramesFor(framesPerSecond, kColorAnimation);
  framePacer_ = ChangePacer(glideFrames_.frameInterval);
  colorAnimation_.setStartValue(glideFrames_.firstProgress);
  const auto remainder = std::chrono::ceil<std::chrono::milliseconds>(glideFrames_.remainder);
  colorAnimation_.setDuration(static_cast<int>(remainder.count()));
}

void AmbientGradientView::requestFrame() {
  framePacer_.noteChange();
  const ChangePacer::Clock::time_point now = ChangePacer::Clock::now();
  if (framePacer_.isDue(now)) {
    drawAt(now);
    return;
  }
  if (deferredFrame_.isActive()) return;
  if (const std::optional<ChangePacer::Clock::time_point> due = framePacer_.dueTime()) {
    deferredFrame_.start(std::chrono::ceil<std::chrono::milliseconds>(*due - now));
  }
}

void AmbientGradientView::drawAt(ChangePacer::Clock::time_point now) {
  framePacer_.noteChange();
  deferredFrame_.stop();
  framePacer_.started(now);
  framePacer_.finished();  // the scene graph draws it; nothing to wait for
  update();
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

void AmbientGradientView::showProgress(const QVariant& progress) {
  transition_.setProgress(progress.toDouble());
  pictureDirty_ = true;
  requestFrame();
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
