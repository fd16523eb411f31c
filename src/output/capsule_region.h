#pragma once

#include <QRect>
#include <vector>

namespace tarvelo {

// The pixels of a capsule (a rectangle whose short sides are half circles)
// filling `bounds`, as horizontal bands, top to bottom: runs of rows with the
// same extent share one rectangle. A pixel belongs to the capsule when its
// centre does. Empty bounds give no bands.
std::vector<QRect> capsuleRegion(const QRect& bounds);

}  // namespace tarvelo
