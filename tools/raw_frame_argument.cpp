#include "raw_frame_argument.h"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

namespace tarvelo {
namespace {

constexpr std::string_view kPrefix = "bgra:";

// Only plain decimal digits: no sign, space or base prefix slips through.
std::int64_t parseNumber(std::string_view what, std::string_view text, std::string_view spec) {
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end) {
    throw InvalidFrame("raw frame " + std::string(what) + " must be a whole number, got '" + std::string(text) +
                       "' in '" + std::string(spec) + "'");
  }
  return value;
}

}  // namespace

bool isRawFrameArgument(std::string_view argument) { return argument.starts_with(kPrefix); }

RawFrameArgument parseRawFrameArgument(std::string_view text) {
  const auto malformed = [&]() -> InvalidFrame {
    return InvalidFrame("raw frame must be bgra:WIDTH:HEIGHT:STRIDE:PATH, got '" + std::string(text) + "'");
  };
  if (!isRawFrameArgument(text)) throw malformed();
  std::string_view rest = text.substr(kPrefix.size());
  std::string_view fields[3];
  for (std::string_view& field : fields) {
    const std::size_t colon = rest.find(':');
    if (colon == std::string_view::npos) throw malformed();
    field = rest.substr(0, colon);
    rest.remove_prefix(colon + 1);
  }
  if (rest.empty()) throw malformed();

  RawFrameArgument spec;
  spec.layout.width = parseNumber("width", fields[0], text);
  spec.layout.height = parseNumber("height", fields[1], text);
  spec.layout.bytesPerRow = parseNumber("stride", fields[2], text);
  spec.path = std::string(rest);
  checkedFrameByteCount(spec.layout);
  return spec;
}

}  // namespace tarvelo
