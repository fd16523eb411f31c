#include "output/capsule_region.h"

#include <algorithm>
#include <cmath>

namespace tarvelo {

std::vector<QRect> capsuleRegion(const QRect& bounds) {
  std::vector<QRect> bands;
  if (bounds.isEmpty()) return bands;
  const double radius = std::min(bounds.width(), bounds.height()) / 2.0;
  for (int row = 0; row < bounds.height(); ++row) {
    // Distance of the row's centre from the nearest row the straight sides span.
    const double centreY = row + 0.5;
    const double beyond = std::max({0.0, radius - centreY, centreY - (bounds.height() - radius)});
    const double halfChord = std::sqrt(std::max(0.0, radius * radius - beyond * beyond));
    // Columns whose centres lie within the chord: c + 0.5 >= radius - halfChord.
    const int inset = static_cast<int>(std::ceil(radius - halfChord - 0.5));
    const int width = bounds.width() - 2 * inset;
    if (width <= 0) continue;
    const QRect band(bounds.x() + inset, bounds.y() + row, width, 1);
    if (!bands.empty() && bands.back().x() == band.x() && bands.back().width() == band.width() &&
        bands.back().bottom() + 1 == band.y()) {
      bands.back().setHeight(bands.back().height() + 1);
    } else {
      bands.push_back(band);
    }
  }
  return bands;
}

}  // namespace tarvelo
