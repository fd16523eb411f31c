// How long the light takes to follow the film, and whether it glides there:
// flips the whole movie screen between two colours and watches a patch at the
// top edge of the light screen for its first change after each flip, then for
// every further change until it stays still (the steps of the glide).
//
//   tarvelo-light-latency-probe [--display :N] [--flips N] [--interval-ms MS] [--playing]
//
// A flip on a still screen is captured at once, as the capture has been idle.
// With --playing a small square in the middle of the movie screen changes 60
// times a second meanwhile, far from the edges the zones are sampled from: the
// capture then runs at its full rate, and a flip waits for its next slot, as
// a change in a playing film does.
//
// Flips come --interval-ms apart plus up to one 15 fps frame, so that they
// meet the capture at every phase of its slots.
//
// Tarvelo must be running with the lights on. Prints one latency per flip in
// milliseconds, then one summary line: the median, the 95th percentile and
// the largest latency, the median number of steps the light took from the
// old colour to the new one (1 is a jump), and the misses.
#include <xcb/xcb.h>

#include <algorithm>
#include <cmath>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "capture/x11/x11_connection.h"
#include "capture/x11/x11_outputs.h"
#include "rig_screen.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

struct Options {
  std::optional<std::string> display;
  int flips = 60;
  int intervalMs = 300;
  bool playing = false;
};

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--playing") {
      options.playing = true;
      continue;
    }
    if (i + 1 >= argc) {
      std::cerr << "tarvelo-light-latency-probe: " << argument << " needs a value\n";
      std::exit(2);
    }
    const std::string value = argv[++i];
    if (argument == "--display") {
      options.display = value;
    } else if (argument == "--flips") {
      options.flips = std::atoi(value.c_str());
    } else if (argument == "--interval-ms") {
      options.intervalMs = std::atoi(value.c_str());
    } else {
      std::cerr << "tarvelo-light-latency-probe: unknown option " << argument << "\n";
      std::exit(2);
    }
  }
  return options;
}

// The pixels of a small patch of the root window.
std::vector<std::uint8_t> grab(xcb_connection_t* connection, xcb_window_t root, int x, int y, int width, int height) {
  const auto cookie = xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<std::int16_t>(x),
                                    static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                                    static_cast<std::uint16_t>(height), ~0U);
  std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> reply(xcb_get_image_reply(connection, cookie, nullptr),
                                                                     &std::free);
  if (!reply) return {};
  const std::uint8_t* data = xcb_get_image_data(reply.get());
  return std::vector<std::uint8_t>(data, data + xcb_get_image_data_length(reply.get()));
}

// The part of the film that keeps playing: a small square in the middle of
// the movie screen, repainted in one of two dark greys every 1/60 s.
class PlayingSquare {
 public:
  PlayingSquare(xcb_connection_t* connection, xcb_window_t film, const tarvelo::PixelRect& screen)
      : connection_(connection), film_(film), gc_(xcb_generate_id(connection)) {
    xcb_create_gc(connection_, gc_, film_, 0, nullptr);
    square_ = xcb_rectangle_t{static_cast<std::int16_t>(screen.width / 2 - 16),
                              static_cast<std::int16_t>(screen.height / 2 - 16), 32, 32};
  }

  // Repaints the square when its 1/60 s is up.
  void play() {
    const Clock::time_point now = Clock::now();
    if (now - lastPaint_ < std::chrono::microseconds(16667)) return;
    lastPaint_ = now;
    const std::uint32_t grey = (++frame_ % 2 == 0) ? 0x00181818 : 0x00202020;
    xcb_change_gc(connection_, gc_, XCB_GC_FOREGROUND, &grey);
    xcb_poly_fill_rectangle(connection_, film_, gc_, 1, &square_);
    xcb_flush(connection_);
  }

 private:
  xcb_connection_t* connection_;
  xcb_window_t film_;
  xcb_gcontext_t gc_;
  xcb_rectangle_t square_{};
  Clock::time_point lastPaint_{};
  unsigned frame_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  try {
    tarvelo::X11Connection x11(options.display);
    xcb_connection_t* connection = x11.get();
    const xcb_window_t root = x11.root();

    const std::optional<tarvelo::bench::StackedOutputs> outputs = tarvelo::bench::stackedOutputs(connection, root);
    if (!outputs) {
      std::cerr << "tarvelo-light-latency-probe: needs two outputs, one above the other\n";
      return 1;
    }
    const tarvelo::PixelRect top = outputs->top;
    const tarvelo::PixelRect bottom = outputs->bottom;

    // A window over the whole movie screen: every flip changes every zone at once.
    const std::uint32_t colours[2] = {0x00D03020, 0x002040D0};
    const xcb_window_t film = tarvelo::bench::showPlainWindow(connection, root, top, colours[0]);
    xcb_flush(connection);
    std::optional<PlayingSquare> square;
    if (options.playing) square.emplace(connection, film, top);
    // Waits as the film plays on.
    const auto waitUntil = [&](Clock::time_point until) {
      while (Clock::now() < until) {
        if (square) square->play();
        std::this_thread::sleep_for(500us);
      }
    };
    waitUntil(Clock::now() + 1500ms);  // the light settles on the first colour

    // The patch: the middle of the light screen's top edge, under the strips.
    const int patchX = static_cast<int>(bottom.x + bottom.width / 2 - 8);
    const int patchY = static_cast<int>(bottom.y + 20);
    if (square) {
      const std::vector<std::uint8_t> settled = grab(connection, root, patchX, patchY, 16, 4);
      waitUntil(Clock::now() + 500ms);
      if (grab(connection, root, patchX, patchY, 16, 4) != settled) {
        std::cerr << "tarvelo-light-latency-probe: the playing square moves the light by itself\n";
        return 1;
      }
    }
    std::vector<double> latencies;
    std::vector<int> glideSteps;
    int misses = 0;
    // One frame at 15 fps, the slowest capture rate.
    constexpr std::chrono::microseconds kPhaseSpan{66'667};
    const Clock::time_point phaseOrigin = Clock::now();
    for (int flip = 1; flip <= options.flips; ++flip) {
      const std::vector<std::uint8_t> before = grab(connection, root, patchX, patchY, 16, 4);
      const std::uint32_t colour = colours[flip % 2];
      xcb_change_window_attributes(connection, film, XCB_CW_BACK_PIXEL, &colour);
      xcb_clear_area(connection, 0, film, 0, 0, 0, 0);
      // A round trip: the flip is on screen once the server has answered.
      std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
      const Clock::time_point flipped = Clock::now();
      std::vector<std::uint8_t> shown = before;
      std::optional<Clock::time_point> firstChange;
      Clock::time_point lastChange = flipped;
      int steps = 0;
      // Every frame of the glide stays up for a redraw interval at least, so
      // polling every half millisecond sees each one.
      const Clock::time_point deadline = flipped + std::max(std::chrono::milliseconds(options.intervalMs) - 20ms,
                                                            std::chrono::milliseconds(100));
      while (Clock::now() < deadline) {
        std::vector<std::uint8_t> now = grab(connection, root, patchX, patchY, 16, 4);
        const Clock::time_point seen = Clock::now();
        if (now != shown) {
          shown = std::move(now);
          lastChange = seen;
          ++steps;
          if (!firstChange) firstChange = seen;
        } else if (firstChange && seen - lastChange > 150ms) {
          break;  // settled
        }
        if (square) square->play();
        std::this_thread::sleep_for(500us);
      }
      if (firstChange) {
        const double ms = std::chrono::duration<double, std::milli>(*firstChange - flipped).count();
        latencies.push_back(ms);
        glideSteps.push_back(steps);
        std::cout << ms << " ms, " << steps << " steps\n";
      } else {
        ++misses;
      }
      // The next flip comes at another phase of the capture's slots: with a
      // fixed interval that is a whole number of capture intervals (300 ms is
      // 9 at 30 fps) every flip of a run would wait the same time for its
      // slot, and the run's figures would depend on where the first one fell.
      // Flip k lands at the fraction k × golden ratio (mod 1) of a 15 fps
      // frame, counted from the run's start: spread evenly over the slots of
      // 15 fps and so over those of every rate that divides it.
      const Clock::time_point earliest = flipped + std::chrono::milliseconds(options.intervalMs);
      const auto wanted = std::chrono::microseconds(
          static_cast<std::int64_t>(std::fmod((flip + 1) * 0.6180339887, 1.0) * kPhaseSpan.count()));
      const auto reached = std::chrono::duration_cast<std::chrono::microseconds>(earliest - phaseOrigin) % kPhaseSpan;
      waitUntil(earliest + (wanted - reached + kPhaseSpan) % kPhaseSpan);
    }
    xcb_destroy_window(connection, film);
    xcb_flush(connection);

    if (latencies.empty()) {
      std::cout << "no change of the light seen; misses " << misses << "\n";
      return 1;
    }
    std::sort(latencies.begin(), latencies.end());
    std::sort(glideSteps.begin(), glideSteps.end());
    const auto at = [&](double q) { return latencies[static_cast<std::size_t>(q * (latencies.size() - 1) + 0.5)]; };
    std::cout << "p50 " << at(0.5) << " ms, p95 " << at(0.95) << " ms, max " << latencies.back() << " ms, glide steps "
              << glideSteps[glideSteps.size() / 2] << ", misses " << misses << " of " << options.flips << "\n";
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "tarvelo-light-latency-probe: " << error.what() << "\n";
    return 1;
  }
}
