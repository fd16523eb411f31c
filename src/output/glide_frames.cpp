#include "output/glide_frames.h"

#include <algorithm>

namespace tarvelo {

GlideFrames glideFramesFor(std::int64_t maximumFramesPerSecond, std::chrono::nanoseconds glide) {
  using std::chrono::nanoseconds;
  if (maximumFramesPerSecond <= 0 || glide <= nanoseconds(0)) return GlideFrames{nanoseconds(0), 0.0, glide};
  const nanoseconds interval = std::min(nanoseconds(std::chrono::seconds(1)) / maximumFramesPerSecond, glide);
  const nanoseconds lead = interval / 2;
  return GlideFrames{interval, static_cast<double>(lead.count()) / static_cast<double>(glide.count()), glide - lead};
}

}  // namespace tarvelo
