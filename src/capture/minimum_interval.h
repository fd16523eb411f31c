#pragma once

#include <chrono>

#include "capture/capture_stream.h"

namespace tarvelo {

// The shortest time between two frame starts that a stream configuration asks
// for. A zero or negative timescale means no cap.
std::chrono::nanoseconds minimumIntervalOf(const FrameInterval& interval);

}  // namespace tarvelo
