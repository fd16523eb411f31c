#include "exact_light.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace tarvelo::testing {

namespace {

double clampUnit(double value) { return std::clamp(value, 0.0, 1.0); }

struct LayerGeometry {
  double x;
  double y;
  double width;
  double height;
  double startX;
  double startY;
  double runX;
  double runY;
};

LayerGeometry geometryOf(const GradientLayer& layer, const LightRect& container) {
  LayerGeometry g{};
  g.x = container.x + layer.frame.x;
  g.y = container.y + layer.frame.y;
  g.width = layer.frame.width;
  g.height = layer.frame.height;
  g.startX = g.x + layer.startPoint.x * g.width;
  g.startY = g.y + layer.startPoint.y * g.height;
  g.runX = (layer.endPoint.x - layer.startPoint.x) * g.width;
  g.runY = (layer.endPoint.y - layer.startPoint.y) * g.height;
  return g;
}

// Straight-alpha colour of a gradient at position t, padded beyond the ends.
LightColor gradientAt(const GradientLayer& layer, double t) {
  const std::vector<LightColor>& colors = layer.colors;
  const std::vector<double>& locations = layer.locations;
  if (t <= locations.front()) return colors.front();
  if (t >= locations.back()) return colors.back();
  std::size_t upper = 1;
  while (t >= locations[upper]) ++upper;
  const double f = (t - locations[upper - 1]) / (locations[upper] - locations[upper - 1]);
  const LightColor& a = colors[upper - 1];
  const LightColor& b = colors[upper];
  return LightColor{a.red + (b.red - a.red) * f, a.green + (b.green - a.green) * f, a.blue + (b.blue - a.blue) * f,
                    a.alpha + (b.alpha - a.alpha) * f};
}

struct PlacedLayer {
  const GradientLayer* layer;
  LayerGeometry geometry;
};

std::vector<PlacedLayer> placedLayers(const AmbientGradientModel& model) {
  std::vector<PlacedLayer> placed;
  for (const GradientLayer* layer : model.layersBackToFront()) {
    placed.push_back(PlacedLayer{layer, geometryOf(*layer, model.lightContainer())});
  }
  return placed;
}

Rgb sharpAmong(const std::vector<PlacedLayer>& layers, double x, double y) {
  Rgb out{0.0, 0.0, 0.0};
  for (const PlacedLayer& placed : layers) {
    const GradientLayer& layer = *placed.layer;
    const LayerGeometry& g = placed.geometry;
    if (layer.colors.empty()) continue;
    if (x < g.x || x >= g.x + g.width || y < g.y || y >= g.y + g.height) continue;
    const double runLengthSquared = g.runX * g.runX + g.runY * g.runY;
    const double t =
        runLengthSquared > 0.0 ? ((x - g.startX) * g.runX + (y - g.startY) * g.runY) / runLengthSquared : 0.0;
    const LightColor c = gradientAt(layer, t);
    const double alpha = clampUnit(c.alpha);
    out[0] = clampUnit(c.red) * alpha + out[0] * (1.0 - alpha);
    out[1] = clampUnit(c.green) * alpha + out[1] * (1.0 - alpha);
    out[2] = clampUnit(c.blue) * alpha + out[2] * (1.0 - alpha);
  }
  return out;
}

// Six-point Gauss–Legendre rule on [-1, 1].
constexpr std::array<double, 6> kNodes{-0.9324695142031521, -0.6612093864662645, -0.2386191860831969,
                                       0.2386191860831969,  0.6612093864662645,  0.9324695142031521};
constexpr std::array<double, 6> kWeights{0.1713244923791704, 0.3607615730481386, 0.4679139345726910,
                                         0.4679139345726910, 0.3607615730481386, 0.1713244923791704};

struct Node {
  double position;
  double weight;  // quadrature weight times the Gaussian
};

// Quadrature nodes over [centre − 5σ, centre + 5σ], split at every break so
// that the picture is a polynomial between neighbouring nodes' pieces.
std::vector<Node> nodesAlong(double centre, double sigma, std::vector<double> breaks) {
  const double begin = centre - 5.0 * sigma;
  const double end = centre + 5.0 * sigma;
  breaks.push_back(begin);
  breaks.push_back(end);
  std::erase_if(breaks, [&](double b) { return b < begin || b > end; });
  std::sort(breaks.begin(), breaks.end());
  const double normaliser = 1.0 / (sigma * std::sqrt(2.0 * std::numbers::pi));
  std::vector<Node> nodes;
  for (std::size_t i = 0; i + 1 < breaks.size(); ++i) {
    const double length = breaks[i + 1] - breaks[i];
    if (length <= 0.0) continue;
    const int pieces = static_cast<int>(std::ceil(length / (0.5 * sigma)));
    const double piece = length / pieces;
    for (int p = 0; p < pieces; ++p) {
      const double middle = breaks[i] + (p + 0.5) * piece;
      for (std::size_t k = 0; k < kNodes.size(); ++k) {
        const double position = middle + 0.5 * piece * kNodes[k];
        const double d = position - centre;
        const double gaussian = normaliser * std::exp(-0.5 * d * d / (sigma * sigma));
        nodes.push_back(Node{position, 0.5 * piece * kWeights[k] * gaussian});
      }
    }
  }
  return nodes;
}

}  // namespace

Rgb ExactLight::sharpAt(double x, double y) const { return sharpAmong(placedLayers(model_), x, y); }

Rgb ExactLight::blurredAt(double x, double y, double sigma) const {
  if (!(sigma > 0.0)) return sharpAt(x, y);
  const std::vector<PlacedLayer> layers = placedLayers(model_);
  std::vector<double> breaksX;
  std::vector<double> breaksY;
  for (const PlacedLayer& placed : layers) {
    const GradientLayer* layer = placed.layer;
    const LayerGeometry& g = placed.geometry;
    breaksX.push_back(g.x);
    breaksX.push_back(g.x + g.width);
    breaksY.push_back(g.y);
    breaksY.push_back(g.y + g.height);
    // Where the gradient passes a stop, its slope changes.
    for (const double location : layer->locations) {
      if (g.runY == 0.0) breaksX.push_back(g.startX + location * g.runX);
      if (g.runX == 0.0) breaksY.push_back(g.startY + location * g.runY);
    }
  }
  const std::vector<Node> across = nodesAlong(x, sigma, breaksX);
  const std::vector<Node> down = nodesAlong(y, sigma, breaksY);
  Rgb sum{0.0, 0.0, 0.0};
  for (const Node& row : down) {
    for (const Node& column : across) {
      const Rgb sharp = sharpAmong(layers, column.position, row.position);
      const double weight = row.weight * column.weight;
      for (std::size_t c = 0; c < 3; ++c) sum[c] += weight * sharp[c];
    }
  }
  return sum;
}

}  // namespace tarvelo::testing
