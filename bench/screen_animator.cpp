// Keeps the top output of an X screen changing at a steady rate, for measuring
// capture: every tick it repaints a block in the middle of the output (or the
// whole output) and paints the time of painting into that block as its colour,
// so a capture of the screen can tell how old the picture it sees is.
//
//   tarvelo-screen-animator [--display :N] [--rate HZ] [--block FRACTION | --full]
//
// Runs until killed.
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <optional>
#include <string>

#include "capture/x11/x11_connection.h"
#include "capture/x11/x11_outputs.h"
#include "rig_screen.h"
#include "screen_timecode.h"

namespace {

struct Options {
  std::optional<std::string> display;
  double rate = 60.0;
  double block = 0.5;  // side of the painted block as a fraction of the output's
  bool full = false;
};

Options parse(int argc, char** argv) {
  Options options;
  for (int index = 1; index < argc; ++index) {
    const std::string argument = argv[index];
    const auto next = [&]() -> std::string {
      if (index + 1 >= argc) {
        std::cerr << "missing value after " << argument << "\n";
        std::exit(2);
      }
      return argv[++index];
    };
    if (argument == "--display") {
      options.display = next();
    } else if (argument == "--rate") {
      options.rate = std::stod(next());
    } else if (argument == "--block") {
      options.block = std::stod(next());
    } else if (argument == "--full") {
      options.full = true;
    } else {
      std::cerr << "usage: tarvelo-screen-animator [--display :N] [--rate HZ] [--block FRACTION | --full]\n";
      std::exit(2);
    }
  }
  return options;
}

// The output highest on the screen (smallest y, then smallest x).
tarvelo::PixelRect topOutput(xcb_connection_t* connection, xcb_window_t root) {
  std::optional<tarvelo::PixelRect> top;
  for (const tarvelo::DisplayId id : tarvelo::activeOutputIds(connection, root)) {
    const auto rect = tarvelo::activeOutputRectangle(connection, root, id);
    if (rect && (!top || rect->y < top->y || (rect->y == top->y && rect->x < top->x))) top = rect;
  }
  if (!top) throw std::runtime_error("the screen has no active output");
  return *top;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  try {
    tarvelo::X11Connection connection(options.display);
    xcb_connection_t* c = connection.get();
    const xcb_screen_t& screen = connection.screen();
    const tarvelo::PixelRect area = topOutput(c, connection.root());

    const xcb_window_t window = tarvelo::bench::showPlainWindow(c, screen.root, area, screen.black_pixel);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, window, 0, nullptr);

    const auto blockWidth = static_cast<std::uint16_t>(std::lround(static_cast<double>(area.width) * options.block));
    const auto blockHeight = static_cast<std::uint16_t>(std::lround(static_cast<double>(area.height) * options.block));
    const xcb_rectangle_t block{static_cast<std::int16_t>((area.width - blockWidth) / 2),
                                static_cast<std::int16_t>((area.height - blockHeight) / 2), blockWidth, blockHeight};
    const xcb_rectangle_t whole{0, 0, static_cast<std::uint16_t>(area.width), static_cast<std::uint16_t>(area.height)};

    const auto period = static_cast<std::int64_t>(1e9 / options.rate);
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (std::uint32_t tick = 0;; ++tick) {
      if (options.full) {
        // A slowly cycling grey behind the block, so every pixel changes.
        const std::uint32_t grey = (tick * 3) % 256;
        const std::uint32_t background = grey * 0x010101u;
        xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &background);
        xcb_poly_fill_rectangle(c, window, gc, 1, &whole);
      }
      const std::uint32_t timecode = tarvelo::bench::timecodeNow();
      xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &timecode);
      xcb_poly_fill_rectangle(c, window, gc, 1, &block);
      xcb_flush(c);
      if (xcb_connection_has_error(c) != 0) throw std::runtime_error("the X server went away");
      next.tv_nsec += period;
      while (next.tv_nsec >= 1'000'000'000) {
        next.tv_nsec -= 1'000'000'000;
        ++next.tv_sec;
      }
      clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
  } catch (const std::exception& error) {
    std::cerr << "tarvelo-screen-animator: " << error.what() << "\n";
    return 1;
  }
}
