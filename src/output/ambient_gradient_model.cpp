#include "output/ambient_gradient_model.h"

#include <cmath>
#include <utility>

#include "output/drawable_light.h"
#include "support/checked_arithmetic.h"

namespace tarvelo {

namespace {

// Colours brighter than full after the brightness boost are capped; nothing is
// raised from below, so a negative input reaches the renderer unchanged.
double limit(double value) { return orderedMin(value, 1.0); }

// An opaque light colour from sRGB components, scaled by the brightness and capped.
LightColor brightened(double red, double green, double blue, double brightness) {
  return LightColor{limit(red * brightness), limit(green * brightness), limit(blue * brightness), 1.0};
}

LightColor withAlpha(LightColor color, double alpha) {
  color.alpha = alpha;
  return color;
}

GradientLayer makeLayer(LightPoint startPoint, LightPoint endPoint, std::vector<double> locations) {
  GradientLayer layer;
  layer.startPoint = startPoint;
  layer.endPoint = endPoint;
  // Until the first frame arrives the light shows as black, like the background.
  layer.colors.assign(locations.size(), kOpaqueBlackLight);
  layer.locations = std::move(locations);
  return layer;
}

}  // namespace

AmbientGradientModel::AmbientGradientModel(bool blurAvailable) : blurAvailable_(blurAvailable) {}

void AmbientGradientModel::layout(double width, double height) {
  viewWidth_ = width;
  viewHeight_ = height;
  if (!didSetupLayers_) {
    buildLayers();
    didSetupLayers_ = true;
  }
  layoutLayers();
}

void AmbientGradientModel::buildLayers() {
  // Vertical: bright at the top edge, which adjoins the movie display.
  washLayer_ = makeLayer({0.5, 0.0}, {0.5, 1.0}, {0.0, 0.5, 1.0});

  stripLayers_.clear();
  for (std::size_t i = 0; i < kStripCount; ++i) {
    stripLayers_.push_back(makeLayer({0.5, 0.0}, {0.5, 1.0}, {0.0, 0.35, 0.7, 1.0}));
  }

  leftLayer_ = makeLayer({0.0, 0.5}, {1.0, 0.5}, {0.0, 0.4, 1.0});
  rightLayer_ = makeLayer({1.0, 0.5}, {0.0, 0.5}, {0.0, 0.4, 1.0});
  // Runs up from the bottom edge only to 0.4 of the height, so the glow stays low.
  bottomLayer_ = makeLayer({0.5, 1.0}, {0.5, 0.4}, {0.0, 0.3, 0.7});
}

void AmbientGradientModel::layoutLayers() {
  const double width = viewWidth_;
  const double height = viewHeight_;
  if (width <= 0 || height <= 0 || stripLayers_.empty()) return;

  const double pad = containerMargin();
  lightContainer_ = LightRect{-pad, -pad, width + 2 * pad, height + 2 * pad};
  const double containerWidth = lightContainer_.width;
  const double containerHeight = lightContainer_.height;
  const LightRect containerBounds{0.0, 0.0, containerWidth, containerHeight};

  washLayer_.frame = containerBounds;

  // Each strip is 55 % wider than its slot and centred on it, so neighbours
  // overlap and their colours merge instead of meeting at a hard edge.
  const double stripWidth = containerWidth / static_cast<double>(stripLayers_.size());
  for (std::size_t i = 0; i < stripLayers_.size(); ++i) {
    stripLayers_[i].frame = LightRect{stripWidth * static_cast<double>(i) - stripWidth * 0.55 * 0.5, 0.0,
                                      stripWidth + stripWidth * 0.55, containerHeight};
  }

  const double sideWidth = containerWidth * 0.45;
  leftLayer_.frame = LightRect{0.0, 0.0, sideWidth, containerHeight};
  rightLayer_.frame = LightRect{containerWidth - sideWidth, 0.0, sideWidth, containerHeight};

  bottomLayer_.frame = containerBounds;
}

double AmbientGradientModel::drawnBlurRadius() const {
  return drawableBlurRadius(currentBlurRadius_, viewWidth_, viewHeight_);
}

double AmbientGradientModel::containerMargin() const {
  return orderedMax(drawnBlurRadius() * 1.5, kMinimumContainerMargin);
}

AmbientGradientModel::UpdateResult AmbientGradientModel::updateColors(const ZoneColorList& colors, double brightness,
                                                                      double blurRadius, double spread) {
  UpdateResult result;
  if (colors.size() < kZoneCount) return result;

  // A slider that jitters by a fraction must not rebuild the blur every frame.
  // A NaN radius fails the test and is ignored: the blur in effect stays, and
  // the next real radius is compared with it as usual. An infinite one is
  // taken (and drawn as the largest radius the view shows); any finite radius
  // after it differs infinitely and is taken in turn, so nothing sticks.
  if (std::abs(currentBlurRadius_ - blurRadius) > 0.5) {
    currentBlurRadius_ = blurRadius;
    layoutLayers();
    result.blurRadiusChanged = true;
  }

  const double alphaHigh = limit(spread * 0.7);
  const double alphaMid = limit(spread * 0.45);
  const double alphaLow = limit(spread * 0.3);

  double washRed = 0.0;
  double washGreen = 0.0;
  double washBlue = 0.0;
  for (std::size_t i = 0; i < kBottomZoneCount; ++i) {
    washRed += static_cast<double>(colors[i].red);
    washGreen += static_cast<double>(colors[i].green);
    washBlue += static_cast<double>(colors[i].blue);
  }
  const double bottomCount = static_cast<double>(kBottomZoneCount);
  const LightColor wash =
      brightened(washRed / bottomCount, washGreen / bottomCount, washBlue / bottomCount, brightness);
  washLayer_.colors = {withAlpha(wash, alphaHigh), withAlpha(wash, alphaMid), withAlpha(wash, alphaLow)};

  // Strips stay opaque at the top edge; a larger spread lets them fade more
  // slowly, and with a small one they fade to nothing before the bottom.
  const double tail = limit(orderedMax((spread - 0.3) * 0.75, 0.0));
  const double stripAlpha1 = limit(spread * 0.25 + 0.75);
  const double stripAlpha2 = limit(spread * 0.45 + 0.35);
  const std::size_t stripsToColor = orderedMin(stripLayers_.size(), kBottomZoneCount);
  for (std::size_t i = 0; i < stripsToColor; ++i) {
    const ZoneColor& zone = colors[i];
    const LightColor c = brightened(static_cast<double>(zone.red), static_cast<double>(zone.green),
                                    static_cast<double>(zone.blue), brightness);
    stripLayers_[i].colors = {c, withAlpha(c, stripAlpha1), withAlpha(c, stripAlpha2), withAlpha(c, tail)};
  }

  // Side and top-band averages are taken in the zone colours' own single precision.
  const auto sideGlow = [&](const ZoneColor& upper, const ZoneColor& lower) {
    const float red = (upper.red + lower.red) * 0.5F;
    const float green = (upper.green + lower.green) * 0.5F;
    const float blue = (upper.blue + lower.blue) * 0.5F;
    const LightColor side = brightened(static_cast<double>(red), static_cast<double>(green),
                                       static_cast<double>(blue), brightness);
    return std::vector<LightColor>{withAlpha(side, alphaHigh), withAlpha(side, alphaLow), kClearLight};
  };
  leftLayer_.colors = sideGlow(colors[kLeftUpperZone], colors[kLeftLowerZone]);
  rightLayer_.colors = sideGlow(colors[kRightUpperZone], colors[kRightLowerZone]);

  // The bottom-edge glow deliberately takes the picture's top band.
  const ZoneColor& top0 = colors[kTopFirstZone];
  const ZoneColor& top1 = colors[kTopFirstZone + 1];
  const ZoneColor& top2 = colors[kTopFirstZone + 2];
  const float topRed = (top0.red + top1.red + top2.red) / 3.0F;
  const float topGreen = (top0.green + top1.green + top2.green) / 3.0F;
  const float topBlue = (top0.blue + top1.blue + top2.blue) / 3.0F;
  const LightColor top = brightened(static_cast<double>(topRed), static_cast<double>(topGreen),
                                    static_cast<double>(topBlue), brightness);
  bottomLayer_.colors = {withAlpha(top, limit(spread * 0.4)), withAlpha(top, limit(spread * 0.15)), kClearLight};

  result.colorsChanged = true;
  return result;
}

std::vector<const GradientLayer*> AmbientGradientModel::layersBackToFront() const {
  std::vector<const GradientLayer*> layers;
  if (!didSetupLayers_) return layers;
  layers.reserve(stripLayers_.size() + 4);
  layers.push_back(&washLayer_);
  for (const GradientLayer& strip : stripLayers_) layers.push_back(&strip);
  layers.push_back(&leftLayer_);
  layers.push_back(&rightLayer_);
  layers.push_back(&bottomLayer_);
  return layers;
}

}  // namespace tarvelo
