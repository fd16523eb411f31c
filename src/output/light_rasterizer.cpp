#include "output/light_rasterizer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <tuple>
#include <utility>

#include "output/drawable_light.h"

namespace tarvelo {

namespace {

float unitClamped(double value) { return static_cast<float>(drawableComponent(value)); }

// Splits the texels of one axis at every edge that falls strictly inside one.
LightRasterizer::AxisPieces piecesAlong(double origin, double texelSize, int texelCount, std::vector<double> edges) {
  std::erase_if(edges, [](double edge) { return !std::isfinite(edge); });
  std::sort(edges.begin(), edges.end());
  LightRasterizer::AxisPieces pieces;
  auto next = edges.begin();
  for (int texel = 0; texel < texelCount; ++texel) {
    const double begin = origin + texel * texelSize;
    const double end = begin + texelSize;
    next = std::upper_bound(next, edges.end(), begin);
    double pieceBegin = begin;
    for (auto edge = next; edge != edges.end() && *edge < end; ++edge) {
      if (*edge <= pieceBegin) continue;  // edges that coincide split once
      pieces.texel.push_back(texel);
      pieces.fraction.push_back(static_cast<float>((*edge - pieceBegin) / texelSize));
      pieces.centre.push_back(0.5 * (pieceBegin + *edge));
      pieceBegin = *edge;
    }
    pieces.texel.push_back(texel);
    pieces.fraction.push_back(static_cast<float>((end - pieceBegin) / texelSize));
    pieces.centre.push_back(0.5 * (pieceBegin + end));
  }
  return pieces;
}

// The pieces whose centres lie inside [spanBegin, spanEnd): since the span's
// ends are piece boundaries, these are exactly the pieces inside the span.
std::pair<std::size_t, std::size_t> piecesInside(const LightRasterizer::AxisPieces& pieces, double spanBegin,
                                                 double spanEnd) {
  const auto first = std::lower_bound(pieces.centre.begin(), pieces.centre.end(), spanBegin);
  const auto last = std::lower_bound(first, pieces.centre.end(), spanEnd);
  return {static_cast<std::size_t>(first - pieces.centre.begin()),
          static_cast<std::size_t>(last - pieces.centre.begin())};
}

// Composites one colour (straight components) source-over onto a premultiplied piece.
inline void compositeOver(float red, float green, float blue, float alpha, float& outRed, float& outGreen,
                          float& outBlue) {
  outRed += alpha * (red - outRed);
  outGreen += alpha * (green - outGreen);
  outBlue += alpha * (blue - outBlue);
}

// One colour over a run of pieces, eight at a time (the compiler leaves a loop
// of unknown length alone at -O2): the same multiply and add per piece as
// compositeOver, so the result is the same to the bit. Most of a row's work
// is this: every layer whose gradient runs down has one colour per row.
using FloatLanes = float __attribute__((vector_size(32)));
constexpr std::size_t kLaneCount = sizeof(FloatLanes) / sizeof(float);

__attribute__((target_clones("avx2", "default"))) void compositeOverRun(float red, float green, float blue,
                                                                        float alpha, float* outRed,
                                                                        float* outGreen, float* outBlue,
                                                                        std::size_t count) {
  std::size_t i = 0;
  for (; i + kLaneCount <= count; i += kLaneCount) {
    FloatLanes r;
    FloatLanes g;
    FloatLanes b;
    std::memcpy(&r, outRed + i, sizeof r);
    std::memcpy(&g, outGreen + i, sizeof g);
    std::memcpy(&b, outBlue + i, sizeof b);
    r += alpha * (red - r);
    g += alpha * (green - g);
    b += alpha * (blue - b);
    std::memcpy(outRed + i, &r, sizeof r);
    std::memcpy(outGreen + i, &g, sizeof g);
    std::memcpy(outBlue + i, &b, sizeof b);
  }
  for (; i < count; ++i) compositeOver(red, green, blue, alpha, outRed[i], outGreen[i], outBlue[i]);
}

}  // namespace

void LightRasterizer::layout(std::span<const GradientLayer* const> layers, const LightRect& container,
                             const LightTexelGrid& grid) {
  grid_ = grid;
  layers_.clear();
  colorCount_ = 0;

  std::vector<double> edgesAcross;
  std::vector<double> edgesDown;
  for (const GradientLayer* layer : layers) {
    const double frameX = container.x + layer->frame.x;
    const double frameY = container.y + layer->frame.y;
    edgesAcross.push_back(frameX);
    edgesAcross.push_back(frameX + layer->frame.width);
    edgesDown.push_back(frameY);
    edgesDown.push_back(frameY + layer->frame.height);
  }
  columnPieces_ = piecesAlong(grid.originX, grid.texelWidth, grid.columns, std::move(edgesAcross));
  rowPieces_ = piecesAlong(grid.originY, grid.texelHeight, grid.rows, std::move(edgesDown));

  std::size_t columnColorCount = 0;
  for (const GradientLayer* layer : layers) {
    PlacedLayer placed;
    placed.firstColor = colorCount_;
    placed.colorCount = layer->colors.size();
    colorCount_ += placed.colorCount;

    // Without a location per colour the colours are spread evenly, as a
    // gradient layer with no locations does.
    placed.locations.resize(placed.colorCount);
    for (std::size_t i = 0; i < placed.colorCount; ++i) {
      if (layer->locations.size() == placed.colorCount) {
        placed.locations[i] = static_cast<float>(layer->locations[i]);
      } else {
        placed.locations[i] =
            placed.colorCount > 1 ? static_cast<float>(i) / static_cast<float>(placed.colorCount - 1) : 0.0F;
      }
    }

    const double frameX = container.x + layer->frame.x;
    const double frameY = container.y + layer->frame.y;
    const double frameWidth = layer->frame.width;
    const double frameHeight = layer->frame.height;
    std::tie(placed.columnPieceBegin, placed.columnPieceEnd) = piecesInside(columnPieces_, frameX, frameX + frameWidth);
    std::tie(placed.rowPieceBegin, placed.rowPieceEnd) = piecesInside(rowPieces_, frameY, frameY + frameHeight);
    if (placed.drawsNothing()) {
      layers_.push_back(std::move(placed));  // keeps its colours' place in the list
      continue;
    }

    // The gradient runs from the start to the end point (in the frame's unit
    // square) and is constant along lines perpendicular to that run in view
    // space; the position is the projection of a piece's centre onto the run.
    const double startX = frameX + layer->startPoint.x * frameWidth;
    const double startY = frameY + layer->startPoint.y * frameHeight;
    const double runX = (layer->endPoint.x - layer->startPoint.x) * frameWidth;
    const double runY = (layer->endPoint.y - layer->startPoint.y) * frameHeight;
    const double runLengthSquared = runX * runX + runY * runY;
    const double scaleX = runLengthSquared > 0.0 ? runX / runLengthSquared : 0.0;
    const double scaleY = runLengthSquared > 0.0 ? runY / runLengthSquared : 0.0;
    placed.axis = scaleX == 0.0 ? GradientAxis::down : scaleY == 0.0 ? GradientAxis::across : GradientAxis::oblique;
    for (std::size_t piece = placed.columnPieceBegin; piece < placed.columnPieceEnd; ++piece) {
      placed.columnPosition.push_back(static_cast<float>((columnPieces_.centre[piece] - startX) * scaleX));
    }
    for (std::size_t piece = placed.rowPieceBegin; piece < placed.rowPieceEnd; ++piece) {
      placed.rowPosition.push_back(static_cast<float>((rowPieces_.centre[piece] - startY) * scaleY));
    }
    if (placed.axis == GradientAxis::across) {
      placed.columnColorOffset = columnColorCount;
      columnColorCount += placed.columnPieceEnd - placed.columnPieceBegin;
    }
    layers_.push_back(std::move(placed));
  }
  stops_.assign(colorCount_, StraightColor{});
  columnColors_.assign(columnColorCount, StraightColor{});
  pieceRed_.assign(columnPieces_.texel.size(), 0.0F);
  pieceGreen_.assign(columnPieces_.texel.size(), 0.0F);
  pieceBlue_.assign(columnPieces_.texel.size(), 0.0F);
}

LightRasterizer::StraightColor LightRasterizer::colorAt(const PlacedLayer& layer, float position) const {
  const StraightColor* stops = stops_.data() + layer.firstColor;
  const float* locations = layer.locations.data();
  const std::size_t last = layer.colorCount - 1;
  if (!(position > locations[0])) return stops[0];
  if (position >= locations[last]) return stops[last];
  std::size_t upper = 1;
  while (upper < last && position >= locations[upper]) ++upper;
  const StraightColor& from = stops[upper - 1];
  const StraightColor& to = stops[upper];
  const float span = locations[upper] - locations[upper - 1];
  const float f = span > 0.0F ? (position - locations[upper - 1]) / span : 1.0F;
  const float g = 1.0F - f;
  return StraightColor{g * from.red + f * to.red, g * from.green + f * to.green, g * from.blue + f * to.blue,
                       g * from.alpha + f * to.alpha};
}

// Composites every layer over one row of pieces, into the piece buffers.
void LightRasterizer::drawPieceRow(std::size_t rowPiece) {
  std::fill(pieceRed_.begin(), pieceRed_.end(), 0.0F);
  std::fill(pieceGreen_.begin(), pieceGreen_.end(), 0.0F);
  std::fill(pieceBlue_.begin(), pieceBlue_.end(), 0.0F);
  for (const PlacedLayer& layer : layers_) {
    if (layer.drawsNothing() || rowPiece < layer.rowPieceBegin || rowPiece >= layer.rowPieceEnd) continue;
    const float rowPosition = layer.rowPosition[rowPiece - layer.rowPieceBegin];
    const std::size_t begin = layer.columnPieceBegin;
    const std::size_t count = layer.columnPieceEnd - begin;
    float* red = pieceRed_.data() + begin;
    float* green = pieceGreen_.data() + begin;
    float* blue = pieceBlue_.data() + begin;
    switch (layer.axis) {
      case GradientAxis::down: {
        // One colour for the whole row.
        const StraightColor color = colorAt(layer, rowPosition);
        if (color.alpha <= 0.0F) break;
        compositeOverRun(color.red, color.green, color.blue, color.alpha, red, green, blue, count);
        break;
      }
      case GradientAxis::across: {
        const StraightColor* colors = columnColors_.data() + layer.columnColorOffset;
        for (std::size_t i = 0; i < count; ++i) {
          compositeOver(colors[i].red, colors[i].green, colors[i].blue, colors[i].alpha, red[i], green[i], blue[i]);
        }
        break;
      }
      case GradientAxis::oblique:
        for (std::size_t i = 0; i < count; ++i) {
          const StraightColor color = colorAt(layer, layer.columnPosition[i] + rowPosition);
          compositeOver(color.red, color.green, color.blue, color.alpha, red[i], green[i], blue[i]);
        }
        break;
    }
  }
}

void LightRasterizer::rasterize(std::span<const LightColor> colors, float* red, float* green, float* blue) {
  const std::size_t columns = static_cast<std::size_t>(std::max(grid_.columns, 0));
  const std::size_t texels = columns * static_cast<std::size_t>(std::max(grid_.rows, 0));
  std::fill(red, red + texels, 0.0F);
  std::fill(green, green + texels, 0.0F);
  std::fill(blue, blue + texels, 0.0F);

  const std::size_t usable = std::min(colors.size(), colorCount_);
  for (std::size_t i = 0; i < usable; ++i) {
    stops_[i] = StraightColor{unitClamped(colors[i].red), unitClamped(colors[i].green), unitClamped(colors[i].blue),
                              unitClamped(colors[i].alpha)};
  }
  // A short list leaves the remaining colours clear rather than stale.
  for (std::size_t i = usable; i < colorCount_; ++i) stops_[i] = StraightColor{};

  // Gradients that run across the columns have one colour per column piece for the whole frame.
  for (const PlacedLayer& layer : layers_) {
    if (layer.drawsNothing() || layer.axis != GradientAxis::across) continue;
    for (std::size_t i = 0; i < layer.columnPosition.size(); ++i) {
      columnColors_[layer.columnColorOffset + i] = colorAt(layer, layer.columnPosition[i]);
    }
  }

  const int* pieceColumn = columnPieces_.texel.data();
  const float* pieceFraction = columnPieces_.fraction.data();
  const std::size_t pieceCount = columnPieces_.texel.size();
  for (std::size_t rowPiece = 0; rowPiece < rowPieces_.texel.size(); ++rowPiece) {
    drawPieceRow(rowPiece);
    // Each piece adds its share of the texel's area.
    const float rowFraction = rowPieces_.fraction[rowPiece];
    const std::size_t offset = static_cast<std::size_t>(rowPieces_.texel[rowPiece]) * columns;
    for (std::size_t piece = 0; piece < pieceCount; ++piece) {
      const float weight = rowFraction * pieceFraction[piece];
      const std::size_t texel = offset + static_cast<std::size_t>(pieceColumn[piece]);
      red[texel] += weight * pieceRed_[piece];
      green[texel] += weight * pieceGreen_[piece];
      blue[texel] += weight * pieceBlue_[piece];
    }
  }
}

}  // namespace tarvelo
