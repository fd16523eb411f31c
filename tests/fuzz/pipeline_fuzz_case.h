#pragma once

#include <cstddef>
#include <cstdint>

namespace tarvelo {

// One fuzz input through the raw-frame parser and the colour pipeline: a
// bgra:... argument, a frame layout of any width, height and stride, the
// pipeline's four settings (NaN and infinity included) and the pixel bytes.
// Whatever the parser accepts must go through the engine without a trap, an
// out-of-bounds read or a colour list of the wrong length; a broken
// expectation aborts. Shared by the libFuzzer target and the replay test.
void runPipelineFuzzCase(const std::uint8_t* data, std::size_t size);

}  // namespace tarvelo
