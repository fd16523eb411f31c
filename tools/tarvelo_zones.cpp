// tarvelo-zones: runs recorded frames through the colour pipeline and prints
// the zone colours, for checking the pipeline and measuring its cost.
//
//   tarvelo-zones [--vibrancy V] [--smoothing S] [--x-start A] [--x-end B] [--repeat N]
//                 [--light OUT.png --size WxH [--brightness B] [--spread S] [--blur R]] FRAME...
//
// FRAME is bgra:WIDTH:HEIGHT:STRIDE:PATH (raw BGRA rows, top row first, exactly
// HEIGHT × STRIDE bytes from a file, FIFO or device) or an image file (PNG, JPEG, PPM). All frames go through one engine in order, so
// smoothing acts across them; --repeat N runs the list N times and prints the
// last pass: one line per frame of 48 numbers, red, green, blue of zones 0…15.
// With --light, the light the last frame's colours make on a light screen of
// WxH is then rendered (by the light window's own view, offscreen) to OUT.png.
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QSize>
#include <QString>

#include "output/ambient_gradient_view.h"
#include "output/offscreen_light_renderer.h"
#include "pipeline/color_processing_engine.h"
#include "pipeline/frame.h"
#include "pipeline/frame_layout.h"
#include "raw_frame_reader.h"
#include "raw_frame_argument.h"

namespace {

using tarvelo::ColorProcessingEngine;
using tarvelo::FileBytes;
using tarvelo::Frame;
using tarvelo::OffscreenLightRenderer;
using tarvelo::ZoneColorList;

// Any problem with the command line or the input: one line, exit status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What --light renders; the lighting values default to the settings' defaults.
struct LightOptions {
  std::string path;
  QSize size;
  double brightness = 1.4;
  double spread = 0.85;
  double blurRadius = 60.0;
};

struct Options {
  float vibrancy = 1.7F;
  float smoothing = 0.3F;
  double xStart = 0.0;
  double xEnd = 1.0;
  long long repeat = 1;
  std::vector<std::string> frames;
  std::optional<LightOptions> light;
};

constexpr const char* kUsage =
    "usage: tarvelo-zones [--vibrancy V] [--smoothing S] [--x-start A] [--x-end B] [--repeat N] "
    "[--light OUT.png --size WxH [--brightness B] [--spread S] [--blur R]] FRAME...";

// A finite number: NaN or infinity would silently poison every colour.
double parseNumber(std::string_view option, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE || !std::isfinite(value)) {
    throw UsageError(std::string(option) + " needs a finite number, got '" + text + "'");
  }
  return value;
}

// The pipeline's settings are single-precision: 1e39 is finite as a double
// but infinite as a float.
float parseFloat(std::string_view option, const std::string& text) {
  const auto value = static_cast<float>(parseNumber(option, text));
  if (!std::isfinite(value)) {
    throw UsageError(std::string(option) + " needs a finite number, got '" + text + "'");
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

// A light screen size: two whole numbers of pixels, e.g. 1920x1080.
QSize parseSize(const std::string& text) {
  constexpr long long kLargest = 8192;  // an 8K light screen is 7680 wide
  const std::size_t separator = text.find('x');
  const auto fail = [&]() -> QSize {
    throw UsageError("--size needs WIDTHxHEIGHT, two whole numbers from 1 to " + std::to_string(kLargest) + ", got '" +
                     text + "'");
  };
  if (separator == std::string::npos) return fail();
  const std::string width = text.substr(0, separator);
  const std::string height = text.substr(separator + 1);
  for (const std::string& part : {width, height}) {
    if (part.empty() || part.find_first_not_of("0123456789") != std::string::npos || part.size() > 5) return fail();
  }
  const long long w = std::stoll(width);
  const long long h = std::stoll(height);
  if (w < 1 || h < 1 || w > kLargest || h > kLargest) return fail();
  return QSize(static_cast<int>(w), static_cast<int>(h));
}

Options parseOptions(int argc, char** argv) {
  Options options;
  std::optional<std::string> lightPath;
  std::optional<QSize> lightSize;
  std::optional<double> brightness;
  std::optional<double> spread;
  std::optional<double> blurRadius;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 >= argc) throw UsageError(argument + " needs a value");
      return argv[++i];
    };
    if (argument == "--vibrancy") {
      options.vibrancy = parseFloat(argument, value());
    } else if (argument == "--smoothing") {
      options.smoothing = parseFloat(argument, value());
    } else if (argument == "--x-start") {
      options.xStart = parseNumber(argument, value());
    } else if (argument == "--x-end") {
      options.xEnd = parseNumber(argument, value());
    } else if (argument == "--repeat") {
      options.repeat = parseWholeNumber(argument, value(), 1);
    } else if (argument == "--light") {
      lightPath = value();
      if (lightPath->empty()) throw UsageError("--light needs a file name");
    } else if (argument == "--size") {
      lightSize = parseSize(value());
    } else if (argument == "--brightness") {
      brightness = parseNumber(argument, value());
    } else if (argument == "--spread") {
      spread = parseNumber(argument, value());
    } else if (argument == "--blur") {
      blurRadius = parseNumber(argument, value());
    } else if (argument.starts_with("--")) {
      throw UsageError("unknown option " + argument);
    } else {
      options.frames.push_back(argument);
    }
  }
  if (options.frames.empty()) throw UsageError(std::string("no frames given; ") + kUsage);
  if (lightPath) {
    if (!lightSize) throw UsageError("--light needs --size WxH");
    LightOptions light;
    light.path = *lightPath;
    light.size = *lightSize;
    light.brightness = brightness.value_or(light.brightness);
    light.spread = spread.value_or(light.spread);
    light.blurRadius = blurRadius.value_or(light.blurRadius);
    options.light = light;
  } else {
    // Light settings without a light to render are a mistake, not something to ignore.
    const char* stray = lightSize    ? "--size"
                        : brightness ? "--brightness"
                        : spread     ? "--spread"
                        : blurRadius ? "--blur"
                                     : nullptr;
    if (stray != nullptr) throw UsageError(std::string(stray) + " only applies with --light OUT.png");
  }
  return options;
}

// One frame's pixels, kept for the whole run; `frame` views them.
struct LoadedFrame {
  FileBytes raw;
  QImage image;
  Frame frame;
};

LoadedFrame loadRawFrame(const std::string& argument) {
  const tarvelo::RawFrameArgument spec = tarvelo::parseRawFrameArgument(argument);
  LoadedFrame loaded;
  loaded.raw = tarvelo::readExactly(spec.path, static_cast<std::size_t>(tarvelo::checkedFrameByteCount(spec.layout)));
  loaded.frame = tarvelo::frameOver(loaded.raw.view(), spec.layout);
  return loaded;
}

LoadedFrame loadImageFrame(const std::string& path) {
  // Qt would call a directory "not found"; say what it is.
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) throw UsageError("cannot read image " + path + ": it is a directory");
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

LoadedFrame loadFrame(const std::string& argument) {
  return tarvelo::isRawFrameArgument(argument) ? loadRawFrame(argument) : loadImageFrame(argument);
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

// One line on standard error and status 2, whatever the cause: a path or an
// argument quoted in the message cannot break it over several lines.
int fail(std::string_view message) {
  std::string line = "tarvelo-zones: ";
  for (const char c : message) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else {
      line += c;
    }
  }
  line += '\n';
  std::fputs(line.c_str(), stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  static_assert(std::endian::native == std::endian::little, "QImage::Format_ARGB32 is BGRA in memory only on little-endian");
  try {
    const Options options = parseOptions(argc, argv);
    // Image plug-ins are found through the application object; rendering the
    // light needs a GUI one, which without a display draws offscreen.
    std::unique_ptr<QCoreApplication> application;
    if (options.light) {
      if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
          qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
      }
      application = std::make_unique<QGuiApplication>(argc, argv);
    } else {
      application = std::make_unique<QCoreApplication>(argc, argv);
    }

    std::vector<LoadedFrame> frames;
    frames.reserve(options.frames.size());
    for (const std::string& spec : options.frames) frames.push_back(loadFrame(spec));

    // Everything that can fail does so before the first line is printed.
    QFile lightFile;
    std::unique_ptr<OffscreenLightRenderer> lightRenderer;
    if (options.light) {
      try {
        lightRenderer = std::make_unique<OffscreenLightRenderer>(options.light->size);
      } catch (const std::runtime_error& error) {
        throw UsageError(std::string("cannot render the light: ") + error.what());
      }
      lightFile.setFileName(QString::fromStdString(options.light->path));
      if (!lightFile.open(QIODevice::WriteOnly)) {
        throw UsageError("cannot write " + options.light->path + ": " + lightFile.errorString().toStdString());
      }
    }

    ColorProcessingEngine engine;
    std::vector<ZoneColorList> lastPass(frames.size());
    for (long long pass = 0; pass < options.repeat; ++pass) {
      for (std::size_t i = 0; i < frames.size(); ++i) {
        lastPass[i] = engine.process(frames[i].frame, options.smoothing, options.vibrancy, options.xStart, options.xEnd);
      }
    }

    // The picture is written before the colours are printed, so a failure
    // to write it leaves standard output empty.
    if (options.light) {
      const LightOptions& light = *options.light;
      lightRenderer->view().updateColors(lastPass.back(), light.brightness, light.blurRadius, light.spread);
      const QImage image = lightRenderer->renderSettled();
      QImageWriter writer(&lightFile, "png");
      if (!writer.write(image)) {
        lightFile.remove();  // no half-written picture left behind
        throw UsageError("cannot write " + light.path + ": " + writer.errorString().toStdString());
      }
    }
    for (const ZoneColorList& colors : lastPass) printColors(colors);
    return 0;
  } catch (const std::bad_alloc&) {
    return fail("out of memory while reading frames");
  } catch (const std::exception& error) {
    // Usage errors, invalid frames and unreadable files all end here.
    return fail(error.what());
  } catch (...) {
    return fail("unexpected error");
  }
}
