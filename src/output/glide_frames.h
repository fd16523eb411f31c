#pragma once

#include <chrono>
#include <cstdint>

namespace tarvelo {

// How the light's colour glide is drawn when redraws are capped.
//
// Each frame stays on screen until the next one, so it shows the glide where
// it stands halfway through its time on screen: the first frame after new
// colours is already on its way (a frame at the glide's start would repeat
// what is on screen and only add a redraw of latency), and the last frame
// lands on the new colours. The interval between frames is never longer than
// the glide itself, so every glide is drawn in two frames at least, however
// low the cap.
struct GlideFrames {
  // At most one redraw per interval; zero draws whenever there is something new.
  std::chrono::nanoseconds frameInterval{0};
  // The progress (0 … 1) the first frame of a glide shows.
  double firstProgress = 0.0;
  // How long the glide runs on from there, at its own even pace, to 1.
  std::chrono::nanoseconds remainder{0};
};

// `glide` is the glide's full length; `maximumFramesPerSecond` zero or less
// means no cap.
GlideFrames glideFramesFor(std::int64_t maximumFramesPerSecond, std::chrono::nanoseconds glide);

}  // namespace tarvelo
