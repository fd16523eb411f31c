// How long the light takes to follow the movie screen on a Wayland session:
// flips the whole of one output between two colours (a layer surface of its
// own, above everything there) and watches another output through a screen
// cast of its own for the first change of a patch at its top edge after each
// flip.
//
//   tarvelo-wayland-light-latency-probe [--flip OUTPUT] [--flips N] [--interval-ms MS]
//
// The desktop's share dialog must offer the watched output (on the rig:
// scripts/virtual-wayland.sh answer NAME HEADLESS-2). With Tarvelo lighting
// HEADLESS-2 from HEADLESS-1 and --flip HEADLESS-1 (the default), each
// latency is the light's, plus the watching cast's own delay; with --flip
// set to the watched output itself, it is that delay alone, to subtract.
//
// Prints one latency per flip in milliseconds, then one summary line: the
// median, the 95th percentile and the largest latency, and the misses.
#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "capture/pipewire/pipewire_capture_backend.h"
#include "capture/serial_queue.h"
#include "output/wayland/wayland_layer_light.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

using Colour = std::array<int, 3>;  // red, green, blue

// The top edge of the watched output, where the light is brightest, as the
// mean of a band of the 160 x 100 frame.
Colour topPatch(const tarvelo::Frame& frame) {
  std::array<long, 3> sum{};
  int count = 0;
  for (int y = 2; y < 10; ++y) {
    const std::uint8_t* row = frame.bytes + y * frame.bytesPerRow;
    for (int x = 40; x < 120; ++x) {
      sum[0] += row[x * 4 + 2];
      sum[1] += row[x * 4 + 1];
      sum[2] += row[x * 4];
      ++count;
    }
  }
  return {static_cast<int>(sum[0] / count), static_cast<int>(sum[1] / count), static_cast<int>(sum[2] / count)};
}

bool differs(const Colour& a, const Colour& b) {
  for (std::size_t i = 0; i < 3; ++i) {
    if (std::abs(a[i] - b[i]) > 12) return true;
  }
  return false;
}

// Keeps the latest patch and when it arrived.
class Watcher final : public tarvelo::CaptureStreamDelegate {
 public:
  void streamDidOutputSampleBuffer(const tarvelo::SampleBuffer& sample) override {
    if (sample.image == nullptr) return;
    const Colour patch = topPatch(*sample.image);
    std::lock_guard lock(mutex_);
    latest_ = patch;
    arrival_ = Clock::now();
    ++frames_;
    changed_.notify_all();
  }
  void streamDidStopWithError(const std::exception& error) override {
    std::fprintf(stderr, "tarvelo-wayland-light-latency-probe: the watching cast ended: %s\n", error.what());
    std::exit(1);
  }

  // The patch once the watched output has been still for `quiet`.
  std::optional<Colour> settled(std::chrono::milliseconds quiet, std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
      const int seen = frames_;
      if (changed_.wait_for(lock, quiet, [&] { return frames_ != seen; })) continue;
      return latest_;
    }
    return std::nullopt;
  }

  // For a miss: how many frames came, and the latest patch.
  std::string describe() {
    std::lock_guard lock(mutex_);
    if (!latest_) return std::to_string(frames_) + " frames";
    return std::to_string(frames_) + " frames, latest " + std::to_string((*latest_)[0]) + "," +
           std::to_string((*latest_)[1]) + "," + std::to_string((*latest_)[2]);
  }

  // When the first frame that differs from `before` arrived after `since`.
  std::optional<Clock::time_point> firstChange(const Colour& before, Clock::time_point since,
                                               std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    const bool seen = changed_.wait_for(lock, timeout, [&] {
      return latest_ && arrival_ > since && differs(*latest_, before);
    });
    if (!seen) return std::nullopt;
    return arrival_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Colour> latest_;
  Clock::time_point arrival_{};
  int frames_ = 0;
};

// A flat picture for the flipping surface; the compositor stretches it.
struct Flat {
  explicit Flat(const Colour& colour) {
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
      pixels[i] = static_cast<std::uint8_t>(colour[2]);
      pixels[i + 1] = static_cast<std::uint8_t>(colour[1]);
      pixels[i + 2] = static_cast<std::uint8_t>(colour[0]);
      pixels[i + 3] = 255;
    }
  }
  tarvelo::BgraPictureView view() const { return {pixels.data(), 4, 4, 16}; }
  std::array<std::uint8_t, 64> pixels{};
};

// Shows `colour` and returns when it went to the compositor: a picture shown
// while both buffers are still the compositor's waits for one to come back,
// which only a dispatch hears of.
Clock::time_point flipTo(tarvelo::WaylandLayerLight& flipper, const Flat& colour) {
  const int committed = flipper.committedPictures();
  flipper.show(colour.view());
  const auto deadline = Clock::now() + 1s;
  while (flipper.committedPictures() == committed && Clock::now() < deadline) flipper.dispatch(1ms);
  return Clock::now();
}

int usage() {
  std::fprintf(stderr, "usage: tarvelo-wayland-light-latency-probe [--flip OUTPUT] [--flips N] [--interval-ms MS]\n");
  return 2;
}

double percentile(std::vector<double> values, double fraction) {
  std::sort(values.begin(), values.end());
  const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
  return values[std::min(index, values.size() - 1)];
}

}  // namespace

int main(int argc, char** argv) {
  std::string flipOutput = "HEADLESS-1";
  int flips = 40;
  int intervalMs = 400;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (i + 1 >= argc) return usage();
    const std::string value = argv[++i];
    if (option == "--flip") {
      flipOutput = value;
    } else if (option == "--flips") {
      flips = std::atoi(value.c_str());
    } else if (option == "--interval-ms") {
      intervalMs = std::atoi(value.c_str());
    } else {
      return usage();
    }
  }
  if (flips < 1 || intervalMs < 50) return usage();

  QCoreApplication application(argc, argv);  // for the portal's QtDBus calls
  tarvelo::WaylandLayerLight::OpenResult opened = tarvelo::WaylandLayerLight::open(flipOutput);
  if (!opened.light) {
    std::fprintf(stderr, "tarvelo-wayland-light-latency-probe: %s\n", opened.error.c_str());
    return 1;
  }
  tarvelo::WaylandLayerLight& flipper = *opened.light;
  const std::array<Flat, 2> colours{Flat({200, 30, 20}), Flat({20, 60, 210})};
  flipTo(flipper, colours[0]);

  // The watching cast: no grant kept, so the desktop's dialog names the output.
  tarvelo::PipeWireCaptureBackend backend([] { return std::vector<tarvelo::OnlineDisplay>{}; }, nullptr);
  tarvelo::StreamConfiguration configuration;
  configuration.width = 160;
  configuration.height = 100;
  configuration.minimumFrameInterval = {1, 60};
  configuration.pixelFormat = tarvelo::kPixelFormatBGRA;
  configuration.queueDepth = 3;
  Watcher watcher;
  std::unique_ptr<tarvelo::CaptureStream> cast = backend.makeStream(0, configuration, watcher);
  cast->addStreamOutput(std::make_shared<tarvelo::SerialQueue>("com.tarvelo.latency-probe"));
  std::mutex startMutex;
  std::condition_variable startDone;
  std::optional<std::exception_ptr> started;
  cast->startCapture([&](std::exception_ptr error) {
    std::lock_guard lock(startMutex);
    started = error;
    startDone.notify_all();
  });
  {
    std::unique_lock lock(startMutex);
    if (!startDone.wait_for(lock, 30s, [&] { return started.has_value(); })) {
      std::fprintf(stderr, "tarvelo-wayland-light-latency-probe: the watching cast did not start\n");
      return 1;
    }
    if (*started) {
      try {
        std::rethrow_exception(*started);
      } catch (const std::exception& error) {
        std::fprintf(stderr, "tarvelo-wayland-light-latency-probe: %s\n", error.what());
        return 1;
      }
    }
  }

  // The cast sends nothing while the screen is still: one change first, so
  // the watched output has shown its first frame before the first flip.
  flipTo(flipper, colours[1]);
  watcher.settled(std::chrono::milliseconds(intervalMs), 5s);
  flipTo(flipper, colours[0]);

  std::vector<double> latencies;
  int misses = 0;
  for (int flip = 1; flip <= flips; ++flip) {
    const std::optional<Colour> before = watcher.settled(std::chrono::milliseconds(intervalMs / 2), 5s);
    const Clock::time_point flipped = flipTo(flipper, colours[static_cast<std::size_t>(flip % 2)]);
    const std::optional<Clock::time_point> seen =
        before ? watcher.firstChange(*before, flipped, 2s) : std::optional<Clock::time_point>();
    if (!seen) {
      ++misses;
      std::printf("miss (%s)\n", watcher.describe().c_str());
      continue;
    }
    const double milliseconds = std::chrono::duration<double, std::milli>(*seen - flipped).count();
    latencies.push_back(milliseconds);
    std::printf("%.1f\n", milliseconds);
    std::fflush(stdout);
  }
  cast->stopCapture();
  if (latencies.empty()) {
    std::printf("p50 nan p95 nan max nan misses %d\n", misses);
    return 1;
  }
  std::printf("p50 %.1f p95 %.1f max %.1f misses %d\n", percentile(latencies, 0.5), percentile(latencies, 0.95),
              *std::max_element(latencies.begin(), latencies.end()), misses);
  return 0;
}
