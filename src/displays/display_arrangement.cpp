#include "displays/display_arrangement.h"

#include <algorithm>
#include <cmath>

#include "support/checked_arithmetic.h"

namespace tarvelo {

namespace {

constexpr const char* kArrow = "\u2192";

// A pair that sits more side by side than stacked is still used top to bottom;
// only the wording tells the user the layout is unusual.
std::string describe(const DisplayInfo& top, const DisplayInfo& bottom, bool isStacked) {
  if (isStacked) {
    return "Auto-aligned: " + top.name + " (Top) " + kArrow + " " + bottom.name + " (Bottom)";
  }
  return "Side-by-side: " + top.name + " " + kArrow + " " + bottom.name;
}

}  // namespace

std::optional<DisplayArrangement> detectArrangement(const std::vector<DisplayInfo>& displays) {
  if (displays.size() < 2) return std::nullopt;

  std::vector<DisplayInfo> sorted = displays;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const DisplayInfo& a, const DisplayInfo& b) { return a.bounds.midY() < b.bounds.midY(); });
  const DisplayInfo& top = sorted.front();
  const DisplayInfo& bottom = sorted.back();

  const double dy = bottom.bounds.midY() - top.bounds.midY();
  const double dx = std::abs(bottom.bounds.midX() - top.bounds.midX());

  const DisplayRect& t = top.bounds;
  const DisplayRect& b = bottom.bounds;
  const double rawStart = (orderedMax(t.minX(), b.minX()) - t.minX()) / t.width;
  const double rawEnd = (orderedMin(t.maxX(), b.maxX()) - t.minX()) / t.width;
  // The constant goes first so that a NaN fraction (a degenerate top width)
  // falls back to that edge rather than leaking into the capture span.
  double start = orderedMax(0.0, rawStart);
  double end = orderedMin(1.0, rawEnd);
  if (!(start < end)) {
    start = 0.0;
    end = 1.0;
  }

  return DisplayArrangement{top, bottom, describe(top, bottom, dx <= dy), start, end};
}

}  // namespace tarvelo
