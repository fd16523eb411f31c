#pragma once

#include <QImage>
#include <QQuickItem>

#include <cstdint>
#include <span>
#include <utility>

#include "output/ambient_gradient_model.h"
#include "output/light_color_transition.h"
#include "output/light_glide.h"
#include "output/light_picture.h"
#include "output/light_view.h"

namespace tarvelo {

// The ambient light as a Qt Quick item: it draws exactly the light-geometry
// model (its layers inside the enlarged container, blurred as a whole, over
// opaque black, clipped to the item) and glides to each frame's colours over
// AmbientGradientModel::kColorAnimationSeconds.
//
// The blurred light has no detail finer than a fraction of the blur radius,
// so it is drawn and blurred on the CPU as a small picture (LightPicture)
// and stretched over the item with linear filtering: by the GPU, as one
// texture, or without one by LightSoftwareNode, straight into the window's
// image. Each frame therefore costs a few thousand texels of arithmetic plus
// the stretch. The picture's geometry and blur are rebuilt only when the
// item's size or the model's blur radius changes; a frame only recolours.
//
// Frames are drawn when colours arrive and as the glide moves on (LightGlide).
//
// Main thread only (as every QQuickItem); the scene graph reads the picture
// during its synchronisation step, while the main thread waits.
class AmbientGradientView : public QQuickItem, public LightView {
  Q_OBJECT

 public:
  explicit AmbientGradientView(QQuickItem* parent = nullptr);
  ~AmbientGradientView() override;

  // Recolours the light from one frame's zone colours (see AmbientGradientModel).
  void updateColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread) override;

  // See LightGlide::setMaximumFrameRate; uncapped by default.
  void setMaximumFrameRate(std::int64_t framesPerSecond);

  // See LightGlide::driveByHand.
  void driveGlideByHand(LightGlide::TimeSource now) { glide_.driveByHand(std::move(now)); }
  void drawDueGlideFrame() { glide_.drawDueFrame(); }

  // Reduced by default; full resolution is for reference renderings only.
  void setResolution(LightResolution resolution);
  LightResolution resolution() const { return resolution_; }

  const AmbientGradientModel& model() const { return model_; }
  // The colours on screen now (each layer's colours in turn, back to front)
  // and the ones being glided to.
  std::span<const LightColor> shownColors() const { return transition_.shown(); }
  std::span<const LightColor> targetColors() const { return transition_.target(); }
  bool isAnimatingColors() const { return glide_.isGliding(); }
  // How often the picture's geometry and blur were rebuilt, and how often
  // the picture was drawn (once per frame that shows new colours).
  int pictureLayoutCount() const { return pictureLayoutCount_; }
  int pictureRenderCount() const { return pictureRenderCount_; }
  // Picture size in texels (the rim included) and the size of one texel in item units.
  QSize pictureSize() const { return QSize(picture_.width(), picture_.height()); }
  QSizeF pictureTexelSize() const { return QSizeF(picture_.texelWidth(), picture_.texelHeight()); }
  // Texels in each plane the picture is worked out in (see LightPicture).
  std::size_t pictureWorkingTexelCount() const { return picture_.workingTexelCount(); }

 protected:
  void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
  QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;

 private:
  void layoutPicture();
  void renderPicture(QImage& image);
  QSGNode* updateTextureNode(QSGNode* oldNode, const QRectF& pictureRect);
  QSGNode* updateSoftwareNode(QSGNode* oldNode, const QRectF& pictureRect);

  AmbientGradientModel model_;
  LightColorTransition transition_;
  LightPicture picture_;
  LightResolution resolution_ = LightResolution::reduced;
  LightGlide glide_;
  int pictureLayoutCount_ = 0;
  // Set on the main thread, cleared by the scene graph once it has the new picture.
  bool pictureDirty_ = true;
  // Touched only while the scene graph synchronises (the main thread waits meanwhile).
  QImage textureImage_;
  int pictureRenderCount_ = 0;
};

}  // namespace tarvelo
