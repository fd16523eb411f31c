// tarvelo-zones: runs recorded frames through the colour pipeline and prints
// the zone colours, for checking the pipeline and measuring its cost.
//
//   tarvelo-zones [--vibrancy V] [--smoothing S] [--x-start A] [--x-end B] [--repeat N] FRAME...
//
// FRAME is bgra:WIDTH:HEIGHT:STRIDE:PATH (raw BGRA rows, top row first) or an
// image file (PNG, JPEG, PPM). All frames go through one engine in order, so
// smoothing acts across them; --repeat N runs the list N times and prints the
// last pass: one line per frame of 48 numbers, red, green, blue of zones 0…15.
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <QByteArray>
#include <QCoreApplication>
#include <QImage>
#include <QImageReader>
#include <QString>

#include "pipeline/color_processing_engine.h"
#include "pipeline/frame.h"

namespace {

using tarvelo::ColorProcessingEngine;
using tarvelo::Frame;
using tarvelo::ZoneColorList;

// Any problem with the command line or the input: one line, exit status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Options {
  float vibrancy = 1.7F;
  float smoothing = 0.3F;
  double xStart = 0.0;
  double xEnd = 1.0;
  long long repeat = 1;
  std::vector<std::string> frames;
};

double parseNumber(std::string_view option, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE) {
    throw UsageError(std::string(option) + " needs a number, got '" + text + "'");
  }
  return value;
}

long long parseWholeNumber(std::string_view what, const std::string& text, long long minimum) {
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE || value < minimum) {
    throw UsageError(std::string(what) + " needs a whole number of at least " + std::to_string(minimum) + ", got '" +
                     text + "'");
  }
  return value;
}

Options parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 >= argc) throw UsageError(argument + " needs a value");
      return argv[++i];
    };
    if (argument == "--vibrancy") {
      options.vibrancy = static_cast<float>(parseNumber(argument, value()));
    } else if (argument == "--smoothing") {
      options.smoothing = static_cast<float>(parseNumber(argument, value()));
    } else if (argument == "--x-start") {
      options.xStart = parseNumber(argument, value());
    } else if (argument == "--x-end") {
      options.xEnd = parseNumber(argument, value());
    } else if (argument == "--repeat") {
      options.repeat = parseWholeNumber(argument, value(), 1);
    } else if (argument.starts_with("--")) {
      throw UsageError("unknown option " + argument);
    } else {
      options.frames.push_back(argument);
    }
  }
  if (options.frames.empty()) {
    throw UsageError(
        "no frames given; usage: tarvelo-zones [--vibrancy V] [--smoothing S] [--x-start A] [--x-end B] "
        "[--repeat N] FRAME...");
  }
  return options;
}

// One frame's pixels, kept for the whole run; `frame` views them.
struct LoadedFrame {
  std::vector<std::uint8_t> raw;
  QImage image;
  Frame frame;
};

std::vector<std::string> split(const std::string& text, char separator, std::size_t maxParts) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (parts.size() + 1 < maxParts) {
    const std::size_t end = text.find(separator, start);
    if (end == std::string::npos) break;
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  parts.push_back(text.substr(start));
  return parts;
}

LoadedFrame loadRawFrame(const std::string& spec) {
  const std::vector<std::string> parts = split(spec, ':', 5);  // the path may itself contain ':'
  if (parts.size() != 5 || parts[4].empty()) throw UsageError("raw frame must be bgra:WIDTH:HEIGHT:STRIDE:PATH, got '" + spec + "'");
  const long long width = parseWholeNumber("frame width", parts[1], 1);
  const long long height = parseWholeNumber("frame height", parts[2], 1);
  const long long stride = parseWholeNumber("frame stride", parts[3], 1);
  const std::string& path = parts[4];
  constexpr long long kLimit = std::numeric_limits<std::int32_t>::max();
  if (width > kLimit / 4 || height > kLimit || stride > kLimit) throw UsageError("frame '" + spec + "' is too large");
  if (stride < width * 4) throw UsageError("frame stride " + parts[3] + " is less than 4 × width in '" + spec + "'");

  std::ifstream file(path, std::ios::binary);
  if (!file) throw UsageError("cannot read " + path);
  LoadedFrame loaded;
  loaded.raw.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  if (file.bad()) throw UsageError("cannot read " + path);
  const long long needed = stride * (height - 1) + width * 4;
  if (static_cast<long long>(loaded.raw.size()) < needed) {
    throw UsageError(path + " is too short: " + std::to_string(loaded.raw.size()) + " bytes, " +
                     std::to_string(needed) + " needed for " + parts[1] + "x" + parts[2] + " with stride " + parts[3]);
  }
  loaded.frame = Frame{loaded.raw.data(), width, height, stride};
  return loaded;
}

LoadedFrame loadImageFrame(const std::string& path) {
  QImageReader reader(QString::fromStdString(path));
  reader.setAutoTransform(false);  // the pixels as stored, not as a viewer would turn them
  QImage image = reader.read();
  if (image.isNull()) throw UsageError("cannot read image " + path + ": " + reader.errorString().toStdString());
  // ARGB32 is stored B, G, R, A in memory on little-endian machines; the
  // colour values are converted as they are, without colour management.
  LoadedFrame loaded;
  loaded.image = image.convertToFormat(QImage::Format_ARGB32);
  loaded.frame = Frame{loaded.image.constBits(), loaded.image.width(), loaded.image.height(),
                       static_cast<std::int64_t>(loaded.image.bytesPerLine())};
  return loaded;
}

LoadedFrame loadFrame(const std::string& spec) {
  return spec.starts_with("bgra:") ? loadRawFrame(spec) : loadImageFrame(spec);
}

void printColors(const ZoneColorList& colors) {
  std::string line;
  char number[32];
  for (const auto& color : colors) {
    for (const float component : {color.red, color.green, color.blue}) {
      std::snprintf(number, sizeof number, "%.9g", static_cast<double>(component));
      if (!line.empty()) line += ' ';
      line += number;
    }
  }
  line += '\n';
  std::fputs(line.c_str(), stdout);
}

}  // namespace

int main(int argc, char** argv) {
  static_assert(std::endian::native == std::endian::little, "QImage::Format_ARGB32 is BGRA in memory only on little-endian");
  try {
    const Options options = parseOptions(argc, argv);
    QCoreApplication application(argc, argv);  // image plug-ins are found through it

    std::vector<LoadedFrame> frames;
    frames.reserve(options.frames.size());
    for (const std::string& spec : options.frames) frames.push_back(loadFrame(spec));

    ColorProcessingEngine engine;
    std::vector<ZoneColorList> lastPass(frames.size());
    for (long long pass = 0; pass < options.repeat; ++pass) {
      for (std::size_t i = 0; i < frames.size(); ++i) {
        lastPass[i] = engine.process(frames[i].frame, options.smoothing, options.vibrancy, options.xStart, options.xEnd);
      }
    }
    for (const ZoneColorList& colors : lastPass) printColors(colors);
    return 0;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "tarvelo-zones: %s\n", error.what());
    return 2;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "tarvelo-zones: out of memory while reading frames\n");
    return 2;
  }
}
