#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "output/ambient_gradient_model.h"

namespace tarvelo {

// A grid of texels laid over the view: texel (column, row) covers
// [originX + column × texelWidth, + texelWidth) × [originY + row × texelHeight, + texelHeight)
// in view coordinates (top-left origin, y down).
struct LightTexelGrid {
  double originX = 0.0;
  double originY = 0.0;
  double texelWidth = 1.0;
  double texelHeight = 1.0;
  int columns = 0;
  int rows = 0;

  friend bool operator==(const LightTexelGrid&, const LightTexelGrid&) = default;
};

// Draws gradient layers, back to front, into premultiplied colour planes on a
// texel grid, each texel holding the average of the picture over its area.
//
// Frame edges rarely fall on texel boundaries, and many layers share an edge
// (every layer spans the container's full height), so a texel that an edge
// crosses is split at the edge into pieces that each lie wholly inside or
// outside every frame; the layers are composited per piece and the pieces
// averaged by area. (Treating partial coverage as alpha instead would let
// coinciding edges compound, brightening the container's rim.) Within a
// piece a layer takes its colour at the piece's centre.
//
// Colours are interpolated between stops in straight (not premultiplied)
// sRGB components and padded with the end colours beyond the first and last
// stop, as compositors draw gradient layers; each layer is composited
// source-over in those same sRGB values.
//
// All the geometry is worked out in layout(); rasterize() only reads colours,
// so it allocates nothing.
class LightRasterizer {
 public:
  // `layers` have frames in the coordinates of `container`, which is placed
  // in the view. The layers' colour counts fix the layout of the colour list
  // rasterize() takes.
  void layout(std::span<const GradientLayer* const> layers, const LightRect& container, const LightTexelGrid& grid);

  const LightTexelGrid& grid() const { return grid_; }

  // How many colours rasterize() reads: every layer's colours, layer after layer.
  std::size_t colorCount() const { return colorCount_; }

  // Composites the layers over a transparent grid. `colors` holds each
  // layer's colours in turn (colorCount() of them); components and alphas
  // outside 0…1 are clamped, as an sRGB compositor does. Each plane has
  // grid().columns × grid().rows floats, row after row.
  void rasterize(std::span<const LightColor> colors, float* red, float* green, float* blue);

  // Pieces of texels along one axis: texels split where a frame edge crosses them.
  struct AxisPieces {
    std::vector<int> texel;       // the texel each piece belongs to, in order
    std::vector<float> fraction;  // the share of its texel the piece covers
    std::vector<double> centre;   // the piece's centre, in view coordinates
  };

 private:
  enum class GradientAxis { down, across, oblique };

  struct StraightColor {
    float red = 0.0F;
    float green = 0.0F;
    float blue = 0.0F;
    float alpha = 0.0F;
  };

  struct PlacedLayer {
    std::size_t firstColor = 0;
    std::size_t colorCount = 0;
    std::vector<float> locations;
    GradientAxis axis = GradientAxis::down;
    // The pieces inside the frame along each axis.
    std::size_t columnPieceBegin = 0;
    std::size_t columnPieceEnd = 0;
    std::size_t rowPieceBegin = 0;
    std::size_t rowPieceEnd = 0;
    // The gradient position at a piece's centre is columnPosition + rowPosition
    // (indexed from the layer's first piece on each axis).
    std::vector<float> columnPosition;
    std::vector<float> rowPosition;
    // Where this layer's per-frame colours for its column pieces start in
    // the shared buffer (gradients that run across only).
    std::size_t columnColorOffset = 0;

    bool drawsNothing() const {
      return colorCount == 0 || columnPieceBegin == columnPieceEnd || rowPieceBegin == rowPieceEnd;
    }
  };

  StraightColor colorAt(const PlacedLayer& layer, float position) const;
  void drawPieceRow(std::size_t rowPiece);

  LightTexelGrid grid_;
  AxisPieces columnPieces_;
  AxisPieces rowPieces_;
  std::vector<PlacedLayer> layers_;
  std::size_t colorCount_ = 0;
  // Per frame: the clamped colours; each across-running layer's colour per
  // column piece; one row of pieces being composited.
  std::vector<StraightColor> stops_;
  std::vector<StraightColor> columnColors_;
  std::vector<float> pieceRed_;
  std::vector<float> pieceGreen_;
  std::vector<float> pieceBlue_;
};

}  // namespace tarvelo
