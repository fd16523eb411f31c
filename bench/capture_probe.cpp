// Runs Tarvelo's X11 screen capture alone, the way the application runs it
// (ScreenCaptureService over X11CaptureBackend, frames to onFrame on the
// capture queue), and reports what it cost and how fresh the frames were.
//
//   tarvelo-capture-probe [--display :N] [--output top|bottom] [--fps N]
//                         [--warmup SECONDS] [--seconds SECONDS] [--xorg-pid PID]
//                         [--samples-x N --samples-y N] [--film-still]
//
// Prints one line of key=value pairs:
//   frames            frames delivered during the measured window
//   cpu_ms            CPU time of this process in the window (user + system)
//   xorg_cpu_ms       CPU time of the X server in the window (with --xorg-pid)
//   latency_p50_ms, latency_p95_ms, latency_samples
//                     age of the picture when its frame reached onFrame, read
//                     from the timecode tarvelo-screen-animator paints in the
//                     middle of the output (absent without an animator)
// With --film-still it shows a made-up film still on the output instead and
// prints how far one captured frame is from the exact box downscale
// (mad_blue, mad_green, mad_red, in 0..255 units; mean_bias, the mean signed
// difference over all channels) and the scaling plan.
#include <xcb/xcb.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "capture/downscale_plan.h"
#include "capture/picture_window.h"
#include "capture/screen_capture_service.h"
#include "capture/still_picture.h"
#include "capture/x11/x11_capture_backend.h"
#include "capture/x11/x11_connection.h"
#include "capture/x11/x11_outputs.h"
#include "process_cpu.h"
#include "screen_timecode.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  std::optional<std::string> display;
  std::string output = "top";
  std::int64_t fps = 60;
  double warmup = 2.0;
  double seconds = 10.0;
  std::optional<long> xorgPid;
  tarvelo::X11CaptureTuning tuning;
  bool filmStill = false;
};

[[noreturn]] void usage() {
  std::cerr << "usage: tarvelo-capture-probe [--display :N] [--output top|bottom] [--fps N] [--warmup S]\n"
               "                             [--seconds S] [--xorg-pid PID] [--samples-x N --samples-y N]\n"
               "                             [--film-still]\n";
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options options;
  for (int index = 1; index < argc; ++index) {
    const std::string argument = argv[index];
    const auto next = [&]() -> std::string {
      if (index + 1 >= argc) usage();
      return argv[++index];
    };
    if (argument == "--display") {
      options.display = next();
    } else if (argument == "--output") {
      options.output = next();
    } else if (argument == "--fps") {
      options.fps = std::stoll(next());
    } else if (argument == "--warmup") {
      options.warmup = std::stod(next());
    } else if (argument == "--seconds") {
      options.seconds = std::stod(next());
    } else if (argument == "--xorg-pid") {
      options.xorgPid = std::stol(next());
    } else if (argument == "--samples-x") {
      options.tuning.samplesX = std::stoll(next());
    } else if (argument == "--samples-y") {
      options.tuning.samplesY = std::stoll(next());
    } else if (argument == "--film-still") {
      options.filmStill = true;
    } else {
      usage();
    }
  }
  if (options.output != "top" && options.output != "bottom") usage();
  return options;
}

// User plus system CPU time of a process so far, in milliseconds.
double cpuMilliseconds(long pid) {
  if (const std::optional<double> milliseconds = tarvelo::measuring::processCpuMilliseconds(pid)) return *milliseconds;
  throw std::runtime_error("cannot read the CPU time of process " + std::to_string(pid));
}

struct Chosen {
  tarvelo::DisplayId id = 0;
  tarvelo::PixelRect rect;
};

Chosen chooseOutput(const Options& options) {
  tarvelo::X11Connection connection(options.display);
  std::optional<Chosen> chosen;
  for (const tarvelo::DisplayId id : tarvelo::activeOutputIds(connection.get(), connection.root())) {
    const auto rect = tarvelo::activeOutputRectangle(connection.get(), connection.root(), id);
    if (!rect) continue;
    const bool better = !chosen || (options.output == "top" ? rect->y < chosen->rect.y : rect->y > chosen->rect.y);
    if (better) chosen = Chosen{id, *rect};
  }
  if (!chosen) throw std::runtime_error("the screen has no active output");
  return *chosen;
}

double percentile(std::vector<double> values, double fraction) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
  return values[std::min(index, values.size() - 1)];
}

void startOrThrow(tarvelo::ScreenCaptureService& service, tarvelo::DisplayId display, std::int64_t fps) {
  std::mutex mutex;
  std::condition_variable done;
  std::optional<std::exception_ptr> result;
  service.start(display, fps, [&](std::exception_ptr error) {
    std::lock_guard lock(mutex);
    result = error;
    done.notify_all();
  });
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return result.has_value(); });
  if (*result) std::rethrow_exception(*result);
}

int measureFilmStill(const Options& options, const Chosen& output) {
  tarvelo::X11Connection connection(options.display);
  const tarvelo::testing::StillPicture still = tarvelo::testing::makeFilmStill(output.rect.width, output.rect.height);
  const tarvelo::testing::PictureWindow window(connection.get(), connection.screen(), output.rect, still);

  tarvelo::X11CaptureBackend backend(options.display, options.tuning);
  tarvelo::ScreenCaptureService service(backend);
  std::mutex mutex;
  std::condition_variable arrived;
  std::optional<std::array<double, 3>> errors;
  double meanBias = 0;
  const auto expected = tarvelo::testing::boxDownscale(still, 160, 100);
  service.onFrame = [&](const tarvelo::Frame& frame) {
    const auto mad = tarvelo::testing::meanAbsoluteDifference(frame, expected);
    double bias = 0;
    for (std::int64_t y = 0; y < frame.height; ++y) {
      for (std::int64_t x = 0; x < frame.width; ++x) {
        for (int channel = 0; channel < 3; ++channel) {
          bias += frame.bytes[y * frame.bytesPerRow + x * 4 + channel] -
                  expected[static_cast<std::size_t>(y * frame.width + x)][static_cast<std::size_t>(channel)];
        }
      }
    }
    std::lock_guard lock(mutex);
    if (!errors) {
      errors = mad;
      meanBias = bias / static_cast<double>(frame.width * frame.height * 3);
    }
    arrived.notify_all();
  };
  startOrThrow(service, output.id, options.fps);
  {
    std::unique_lock lock(mutex);
    arrived.wait(lock, [&] { return errors.has_value(); });
  }
  service.stop();
  const tarvelo::DownscalePlan plan =
      tarvelo::planBoxDownscale(output.rect, 160, 100, options.tuning.samplesX, options.tuning.samplesY);
  std::cout << "output=" << output.rect.width << "x" << output.rect.height << " samples=" << plan.samplesX << "x"
            << plan.samplesY << " first_pass=" << plan.passes.front().width << "x" << plan.passes.front().height
            << " passes=" << plan.passes.size() << " mad_blue=" << (*errors)[0] << " mad_green=" << (*errors)[1]
            << " mad_red=" << (*errors)[2] << " mean_bias=" << meanBias << "\n";
  return 0;
}

int measureRunning(const Options& options, const Chosen& output) {
  tarvelo::X11CaptureBackend backend(options.display, options.tuning);
  tarvelo::ScreenCaptureService service(backend);

  std::atomic<bool> isMeasuring = false;
  std::atomic<std::int64_t> frames = 0;
  std::mutex mutex;
  std::vector<double> latencies;
  std::optional<std::uint32_t> lastTimecode;
  service.onFrame = [&](const tarvelo::Frame& frame) {
    const std::uint32_t seen = tarvelo::bench::timecodeNow();
    if (!isMeasuring) return;
    ++frames;
    // The middle of the frame lies inside the animator's block; a block of one
    // colour scales to exactly that colour.
    const std::uint8_t* pixel = frame.bytes + (frame.height / 2) * frame.bytesPerRow + (frame.width / 2) * 4;
    const std::uint32_t painted = pixel[0] | (pixel[1] << 8) | (pixel[2] << 16);
    std::lock_guard lock(mutex);
    if (lastTimecode != painted) {
      // Only the first frame that shows a new picture tells its age.
      if (lastTimecode) latencies.push_back(tarvelo::bench::timecodeMillisecondsBetween(painted, seen));
      lastTimecode = painted;
    }
  };
  startOrThrow(service, output.id, options.fps);
  std::this_thread::sleep_for(std::chrono::duration<double>(options.warmup));

  const long self = getpid();
  const double selfBefore = cpuMilliseconds(self);
  const double xorgBefore = options.xorgPid ? cpuMilliseconds(*options.xorgPid) : 0.0;
  const Clock::time_point begin = Clock::now();
  isMeasuring = true;
  std::this_thread::sleep_for(std::chrono::duration<double>(options.seconds));
  isMeasuring = false;
  const double elapsed = std::chrono::duration<double>(Clock::now() - begin).count();
  const double selfCpu = cpuMilliseconds(self) - selfBefore;
  const double xorgCpu = options.xorgPid ? cpuMilliseconds(*options.xorgPid) - xorgBefore : 0.0;
  service.stop();

  std::lock_guard lock(mutex);
  // The animator's first colours tell nothing when it paints slower than the
  // capture: latency samples are meaningful only with an animator running.
  std::cout << "seconds=" << elapsed << " frames=" << frames.load() << " cpu_ms=" << selfCpu;
  if (options.xorgPid) std::cout << " xorg_cpu_ms=" << xorgCpu;
  std::cout << " latency_samples=" << latencies.size();
  if (!latencies.empty()) {
    std::cout << " latency_p50_ms=" << percentile(latencies, 0.5) << " latency_p95_ms=" << percentile(latencies, 0.95);
  }
  std::cout << "\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  try {
    const Chosen output = chooseOutput(options);
    return options.filmStill ? measureFilmStill(options, output) : measureRunning(options, output);
  } catch (const std::exception& error) {
    std::cerr << "tarvelo-capture-probe: " << error.what() << "\n";
    return 1;
  }
}
