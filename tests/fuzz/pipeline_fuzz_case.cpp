#include "pipeline_fuzz_case.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "pipeline/color_processing_engine.h"
#include "pipeline/frame_layout.h"
#include "raw_frame_argument.h"

namespace tarvelo {
namespace {

// Frames larger than this are checked by the parser but not materialised:
// a fuzzer run must stay at thousands of inputs a second.
constexpr std::int64_t kLargestMaterialisedFrame = std::int64_t{1} << 16;  // one row of the widest frame

[[noreturn]] void expectationFailed(const char* what) {
  std::fprintf(stderr, "pipeline fuzz case: %s\n", what);
  std::abort();
}

// Reads the input front to back; past its end every read yields zeros.
class InputReader {
 public:
  InputReader(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  std::uint8_t byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t value = rest_.front();
    rest_ = rest_.subspan(1);
    return value;
  }

  template <typename T>
  T raw() {
    std::uint8_t bytes[sizeof(T)] = {};
    const std::size_t count = std::min(sizeof(T), rest_.size());
    std::memcpy(bytes, rest_.data(), count);
    rest_ = rest_.subspan(count);
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
  }

  std::string_view text() {
    const std::size_t length = std::min<std::size_t>(byte(), rest_.size());
    const std::string_view value(reinterpret_cast<const char*>(rest_.data()), length);
    rest_ = rest_.subspan(length);
    return value;
  }

  // Sizes from all of int64, but most often the small and border ones a
  // mutator would rarely reach by flipping bits.
  std::int64_t size() {
    switch (byte() % 5) {
      case 0: return raw<std::int64_t>();
      case 1: return raw<std::int16_t>();
      case 2: return byte();
      case 3: return kLargestFrameSide + static_cast<std::int8_t>(byte());
      default: return static_cast<std::int64_t>(byte()) * 4 + static_cast<std::int8_t>(byte()) % 8;
    }
  }

  template <typename Real>
  Real real() {
    switch (byte() % 9) {
      case 0: return std::bit_cast<Real>(raw<std::conditional_t<sizeof(Real) == 4, std::uint32_t, std::uint64_t>>());
      case 1: return std::numeric_limits<Real>::quiet_NaN();
      case 2: return std::numeric_limits<Real>::infinity();
      case 3: return -std::numeric_limits<Real>::infinity();
      case 4: return Real(0);
      case 5: return Real(1);
      case 6: return std::numeric_limits<Real>::max();
      case 7: return -static_cast<Real>(byte()) / Real(100);
      default: return static_cast<Real>(byte()) / Real(200);
    }
  }

  std::span<const std::uint8_t> remainder() const { return rest_; }

 private:
  std::span<const std::uint8_t> rest_;
};

// The frame's bytes in an allocation of exactly its size, so that reading
// one byte past the frame is caught by AddressSanitizer.
std::vector<std::uint8_t> tiled(std::span<const std::uint8_t> pattern, std::int64_t byteCount) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(byteCount));
  if (pattern.empty()) return bytes;
  std::size_t filled = std::min(pattern.size(), bytes.size());
  std::memcpy(bytes.data(), pattern.data(), filled);
  while (filled < bytes.size()) {  // doubling copies keep the pattern's period
    const std::size_t copy = std::min(filled, bytes.size() - filled);
    std::memcpy(bytes.data() + filled, bytes.data(), copy);
    filled += copy;
  }
  return bytes;
}

bool within(float value, float low, float high) { return value >= low && value <= high; }

void runEngine(const Frame& frame, InputReader& input) {
  const float smoothing = input.real<float>();
  const float vibrancy = input.real<float>();
  const double xStart = input.real<double>();
  const double xEnd = input.real<double>();
  // A NaN end of the bottom band is a float-to-integer conversion out of
  // range, which the pipeline traps on by design; its callers never pass
  // one (the settings keep it in range, tarvelo-zones refuses it).
  if (std::isnan(xEnd)) return;

  // Colours stay in 0…1 whenever the settings are in their own ranges.
  const bool settingsInRange = within(smoothing, 0.0F, 1.0F) && std::isfinite(vibrancy) && vibrancy >= 0.0F;
  ColorProcessingEngine engine;
  const int frames = 1 + input.byte() % 3;
  for (int i = 0; i < frames; ++i) {
    const ZoneColorList colors = engine.process(frame, smoothing, vibrancy, xStart, xEnd);
    if (colors.size() != kZoneCount) expectationFailed("the engine did not return sixteen colours");
    if (!settingsInRange) continue;
    constexpr float kSlack = 1e-6F;  // the blend may round a hair past its ends
    for (const ZoneColor& color : colors) {
      for (const float component : {color.red, color.green, color.blue, color.alpha}) {
        if (!within(component, -kSlack, 1.0F + kSlack)) expectationFailed("a colour left 0...1");
      }
    }
  }
}

}  // namespace

void runPipelineFuzzCase(const std::uint8_t* data, std::size_t size) {
  InputReader input(data, size);
  const std::uint8_t mode = input.byte();

  // The layout comes from a bgra:... argument or straight from the input.
  FrameLayout layout;
  const std::string_view argument = input.text();
  bool fromArgument = false;
  try {
    layout = parseRawFrameArgument(argument).layout;
    fromArgument = true;
  } catch (const InvalidFrame&) {
  }
  if (!fromArgument) {
    layout.width = input.size();
    layout.height = input.size();
    layout.bytesPerRow = input.size();
  }

  std::optional<std::int64_t> byteCount;
  try {
    byteCount = checkedFrameByteCount(layout);
  } catch (const InvalidFrame&) {
    if (fromArgument) expectationFailed("a layout the parser accepted fails its own check");
  }
  if (byteCount && (*byteCount < 1 || *byteCount > kLargestFrameBytes)) {
    expectationFailed("an accepted layout's byte count is out of range");
  }

  if ((mode & 1) == 0) {
    // The rest of the input as the frame's bytes, of whatever length.
    const std::span<const std::uint8_t> rest = input.remainder();
    const std::vector<std::uint8_t> bytes(rest.begin(), rest.end());
    Frame frame;
    try {
      frame = frameOver(bytes, layout);
    } catch (const InvalidFrame&) {
      if (byteCount && static_cast<std::size_t>(*byteCount) == bytes.size()) {
        expectationFailed("bytes of the right count were refused");
      }
      return;
    }
    if (!byteCount) expectationFailed("frameOver accepted a layout the check refuses");
    // The settings are read from the front; the tail stays pixel bytes.
    InputReader settings(bytes.data(), bytes.size());
    runEngine(frame, settings);
    return;
  }

  if (!byteCount || *byteCount > kLargestMaterialisedFrame) return;
  InputReader settings = input;
  for (int i = 0; i < 40; ++i) settings.byte();  // settings come from ahead, pixels from the rest
  const std::vector<std::uint8_t> bytes = tiled(settings.remainder(), *byteCount);
  runEngine(frameOver(bytes, layout), input);
}

}  // namespace tarvelo
