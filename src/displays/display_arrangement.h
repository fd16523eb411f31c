#pragma once

#include <optional>
#include <string>
#include <vector>

#include "displays/display_info.h"

namespace tarvelo {

// Which display lies above which, and the horizontal stretch they share. The
// upper display is the one captured, the lower one carries the light.
struct DisplayArrangement {
  DisplayInfo top;
  DisplayInfo bottom;
  std::string description;
  // Fractions of the top display's width, measured from its left edge.
  double xOverlapStart = 0.0;
  double xOverlapEnd = 1.0;
};

// Absent with fewer than two displays. With more than two, only the highest and
// the lowest (by vertical centre) count; equal centres keep their input order.
std::optional<DisplayArrangement> detectArrangement(const std::vector<DisplayInfo>& displays);

}  // namespace tarvelo
