#pragma once

#include <cstddef>
#include <vector>

#include "pipeline/zone_color.h"

namespace tarvelo {

// An sRGB colour as the compositor takes it. Components are not clamped here:
// whatever the recolouring produced is what gets drawn.
struct LightColor {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
  double alpha = 0.0;

  friend bool operator==(const LightColor&, const LightColor&) = default;
};

inline constexpr LightColor kClearLight{0.0, 0.0, 0.0, 0.0};
inline constexpr LightColor kOpaqueBlackLight{0.0, 0.0, 0.0, 1.0};

// A point in a layer's own unit square; y = 0 is the layer's top edge.
struct LightPoint {
  double x = 0.0;
  double y = 0.0;

  friend bool operator==(const LightPoint&, const LightPoint&) = default;
};

// A rectangle in view coordinates: origin at the top-left, y growing downwards.
struct LightRect {
  double x = 0.0;
  double y = 0.0;
  double width = 0.0;
  double height = 0.0;

  friend bool operator==(const LightRect&, const LightRect&) = default;
};

// One linear gradient: `colors[k]` sits at `locations[k]` along the line from
// `startPoint` to `endPoint`. A renderer draws it filling `frame`, which is in
// the light container's coordinates.
struct GradientLayer {
  LightRect frame;
  // A fresh gradient runs top to bottom with no stops, as a compositor's does.
  LightPoint startPoint{0.5, 0.0};
  LightPoint endPoint{0.5, 1.0};
  std::vector<double> locations;
  std::vector<LightColor> colors;

  friend bool operator==(const GradientLayer&, const GradientLayer&) = default;
};

// Everything the ambient light's renderer draws, without the renderer: one
// container (blurred as a group, larger than the screen so the blur does not
// fade the light at the borders) holding a wash, nine strips, two side glows
// and a bottom glow, back to front. The renderer clips to the view's bounds
// over an opaque black background and draws the layers exactly as given.
class AmbientGradientModel {
 public:
  struct UpdateResult {
    // The layers' colours were replaced (animate to them).
    bool colorsChanged = false;
    // The blur radius moved: the blur must be rebuilt with `currentBlurRadius()`
    // and the layers have (if laid out at all) new frames.
    bool blurRadiusChanged = false;

    friend bool operator==(const UpdateResult&, const UpdateResult&) = default;
  };

  static constexpr std::size_t kStripCount = 9;
  static constexpr double kInitialBlurRadius = 60.0;
  static constexpr double kMinimumContainerMargin = 60.0;
  // Recolouring happens every frame; this short animation hides the steps.
  static constexpr double kColorAnimationSeconds = 0.04;
  static constexpr LightColor kBackgroundColor = kOpaqueBlackLight;

  // `blurAvailable` says whether the renderer can blur at all; without a blur
  // the light is drawn sharp, but radius changes are still tracked.
  explicit AmbientGradientModel(bool blurAvailable = true);

  // The view's size changed (or it is shown): builds the layers the first time,
  // then places them for a view of `width` × `height`.
  void layout(double width, double height);

  // Recolours the layers from one frame's zone colours. A list of fewer than
  // kZoneCount entries is ignored and nothing changes.
  UpdateResult updateColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread);

  // How far the container overhangs the view on every side for the drawn radius.
  double containerMargin() const;

  // The radius in effect, as the last update that moved it gave it.
  double currentBlurRadius() const { return currentBlurRadius_; }
  // The radius the light is drawn with: the one in effect, limited to what
  // the view can show (see drawableBlurRadius); the same for every radius a
  // slider offers.
  double drawnBlurRadius() const;
  bool blurAvailable() const { return blurAvailable_; }
  // The blur exists once the layers are built, if the renderer has one.
  bool hasBlur() const { return didSetupLayers_ && blurAvailable_; }
  bool didSetupLayers() const { return didSetupLayers_; }

  const LightRect& lightContainer() const { return lightContainer_; }
  const GradientLayer& washLayer() const { return washLayer_; }
  const std::vector<GradientLayer>& stripLayers() const { return stripLayers_; }
  const GradientLayer& leftLayer() const { return leftLayer_; }
  const GradientLayer& rightLayer() const { return rightLayer_; }
  const GradientLayer& bottomLayer() const { return bottomLayer_; }

  // The layers inside the container in drawing order; empty until built.
  std::vector<const GradientLayer*> layersBackToFront() const;

 private:
  void buildLayers();
  void layoutLayers();

  LightRect lightContainer_;
  double currentBlurRadius_ = kInitialBlurRadius;
  GradientLayer washLayer_;
  std::vector<GradientLayer> stripLayers_;
  GradientLayer leftLayer_;
  GradientLayer rightLayer_;
  GradientLayer bottomLayer_;
  bool didSetupLayers_ = false;
  bool blurAvailable_ = true;
  // The view's size as last given to layout(); a radius change re-lays out with it.
  double viewWidth_ = 0.0;
  double viewHeight_ = 0.0;
};

}  // namespace tarvelo
