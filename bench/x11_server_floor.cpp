// What the X server spends on Tarvelo's two requests of a frame, with the
// program's own code paths and nothing else: the capture (X11FrameScaler, the
// top output scaled to 160 x 100, the program's samples unless told) and the light
// (X11LightSurface, a small picture stretched here over a window on the
// bottom output and copied by the server). Each is measured back to back, so
// the server is never idle, and one a frame, so it sleeps in between as it
// does while the program runs; then both in turn, one a frame, with and
// without a film frame (the top output repainted in one colour, new every
// frame) drawn first, the film's own cost measured alone and subtracted.
//
//   tarvelo-x11-server-floor --xorg-pid PID [--display :N] [--frames N] [--fps N]
//                            [--rounds N] [--samples-x N --samples-y N]
//
// Every round runs each case in turn for the given number of frames. Prints
// one line per case: the median over the rounds of the X server's CPU (user +
// system, from /proc) and of this process's, in milliseconds per frame. The
// kernel counts the server's time in ticks of 10 ms, so a case needs a few
// hundred frames for a figure good to a few hundredths of a millisecond.
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "capture/x11/x11_capture_stream.h"
#include "capture/x11/x11_connection.h"
#include "capture/x11/x11_frame_scaler.h"
#include "output/x11/x11_light_surface.h"
#include "process_cpu.h"
#include "rig_screen.h"

namespace {

struct Options {
  std::optional<std::string> display;
  int xorgPid = 0;
  int frames = 300;
  double fps = 30.0;
  int rounds = 5;
  tarvelo::X11CaptureTuning tuning;  // the capture's samples per output pixel
};

[[noreturn]] void usage() {
  std::cerr << "usage: tarvelo-x11-server-floor --xorg-pid PID [--display :N] [--frames N] [--fps N] [--rounds N]\n"
               "                                [--samples-x N --samples-y N]\n";
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options options;
  for (int index = 1; index < argc; ++index) {
    const std::string argument = argv[index];
    if (index + 1 >= argc) usage();
    const std::string value = argv[++index];
    try {
      if (argument == "--display") {
        options.display = value;
      } else if (argument == "--xorg-pid") {
        options.xorgPid = std::stoi(value);
      } else if (argument == "--frames") {
        options.frames = std::stoi(value);
      } else if (argument == "--fps") {
        options.fps = std::stod(value);
      } else if (argument == "--rounds") {
        options.rounds = std::stoi(value);
      } else if (argument == "--samples-x") {
        options.tuning.samplesX = std::stoi(value);
      } else if (argument == "--samples-y") {
        options.tuning.samplesY = std::stoi(value);
      } else {
        usage();
      }
    } catch (const std::logic_error&) {  // not a number, or out of range
      usage();
    }
  }
  if (options.xorgPid <= 0 || options.frames <= 0 || options.rounds <= 0 || !(options.fps > 0.0)) usage();
  return options;
}

double serverCpuMs(int pid) {
  if (const std::optional<double> milliseconds = tarvelo::measuring::processCpuMilliseconds(pid)) return *milliseconds;
  throw std::runtime_error("cannot read the CPU time of the X server (process " + std::to_string(pid) + ")");
}

double ownCpuMs() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void roundTrip(xcb_connection_t* c) { std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); }

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  try {
    tarvelo::X11Connection connection(options.display);
    xcb_connection_t* c = connection.get();
    const std::optional<tarvelo::bench::StackedOutputs> stacked = tarvelo::bench::stackedOutputs(c, connection.root());
    if (!stacked) throw std::runtime_error("the screen needs two outputs, one above the other");
    const tarvelo::bench::StackedOutputs outputs = *stacked;
    const std::uint32_t black = connection.screen().black_pixel;
    const xcb_window_t film = tarvelo::bench::showPlainWindow(c, connection.root(), outputs.top, black);
    const xcb_window_t light = tarvelo::bench::showPlainWindow(c, connection.root(), outputs.bottom, black);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, film, 0, nullptr);
    roundTrip(c);

    tarvelo::X11FrameScaler scaler(options.display, 160, 100, options.tuning.samplesX, options.tuning.samplesY);
    tarvelo::X11LightSurface surface(options.display, light, static_cast<int>(outputs.bottom.width),
                                     static_cast<int>(outputs.bottom.height));

    // The light's small picture at the default blur, a new gradient each frame.
    constexpr int kPictureWidth = 98;
    constexpr int kPictureHeight = 56;
    std::vector<std::uint8_t> picture(kPictureWidth * kPictureHeight * 4);
    int frame = 0;
    const auto capture = [&] { scaler.capture(outputs.top); };
    const auto showLight = [&] {
      for (int y = 0; y < kPictureHeight; ++y) {
        for (int x = 0; x < kPictureWidth; ++x) {
          std::uint8_t* texel = picture.data() + (y * kPictureWidth + x) * 4;
          texel[0] = static_cast<std::uint8_t>(x * 2 + frame);
          texel[1] = static_cast<std::uint8_t>(y * 4 + frame * 3);
          texel[2] = static_cast<std::uint8_t>(frame * 7);
          texel[3] = 255;
        }
      }
      surface.showPicture(tarvelo::RgbaPictureView{picture.data(), kPictureWidth, kPictureHeight, kPictureWidth * 4});
    };
    const xcb_rectangle_t whole{0, 0, static_cast<std::uint16_t>(outputs.top.width),
                                static_cast<std::uint16_t>(outputs.top.height)};
    const auto drawFilmFrame = [&] {
      const std::uint32_t colour = static_cast<std::uint32_t>(frame) * 0x030507u & 0xFFFFFFu;
      xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &colour);
      xcb_poly_fill_rectangle(c, film, gc, 1, &whole);
      roundTrip(c);  // drawn before the frame's other requests, as a player's frame would be
    };

    const auto interval = std::chrono::duration<double>(1.0 / options.fps);
    // Runs the steps once a frame (or back to back) and returns the X server's
    // and this process's CPU per frame.
    const auto measure = [&](const std::vector<std::function<void()>>& steps, bool paced) {
      const double server0 = serverCpuMs(options.xorgPid);
      const double own0 = ownCpuMs();
      auto next = std::chrono::steady_clock::now();
      for (int index = 0; index < options.frames; ++index, ++frame) {
        if (paced) {
          next += std::chrono::duration_cast<std::chrono::steady_clock::duration>(interval);
          std::this_thread::sleep_until(next);
        }
        for (const auto& step : steps) step();
      }
      roundTrip(c);
      showLight();  // one picture more, to wait until the server has copied every one put so far
      const double server = (serverCpuMs(options.xorgPid) - server0) / options.frames;
      const double own = (ownCpuMs() - own0) / options.frames;
      return std::pair{server, own};
    };
    struct Case {
      std::string label;
      std::vector<std::function<void()>> steps;
      bool paced;
      std::vector<double> server;
      std::vector<double> own;
    };
    std::vector<Case> cases = {
        {"capture, back to back", {capture}, false, {}, {}},
        {"capture, one a frame", {capture}, true, {}, {}},
        {"light, back to back", {showLight}, false, {}, {}},
        {"light, one a frame", {showLight}, true, {}, {}},
        {"capture and light, one a frame", {capture, showLight}, true, {}, {}},
        {"film frame alone, one a frame", {drawFilmFrame}, true, {}, {}},
        {"film frame, capture and light, one a frame", {drawFilmFrame, capture, showLight}, true, {}, {}},
    };
    // The film's own cost is taken from the same round, so that a slow spell
    // of the machine moves both figures of the difference alike.
    Case filmless{"  of which capture and light", {}, false, {}, {}};

    capture();  // prepares the scaling passes
    showLight();
    for (int round = 0; round < options.rounds; ++round) {
      for (Case& each : cases) {
        const auto [server, own] = measure(each.steps, each.paced);
        each.server.push_back(server);
        each.own.push_back(own);
      }
      const Case& filmAlone = cases[cases.size() - 2];
      const Case& filmFirst = cases.back();
      filmless.server.push_back(filmFirst.server.back() - filmAlone.server.back());
      filmless.own.push_back(filmFirst.own.back() - filmAlone.own.back());
    }
    cases.push_back(std::move(filmless));

    const auto median = [](std::vector<double> values) {
      std::sort(values.begin(), values.end());
      const std::size_t middle = values.size() / 2;
      return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
    };
    std::cout << "Medians of " << options.rounds << " rounds of " << options.frames << " frames, at " << options.fps
              << " fps where paced; CPU per frame:\n";
    for (const Case& each : cases) {
      std::cout << std::left << std::setw(44) << each.label << std::right << std::fixed << std::setprecision(3)
                << "X server " << median(each.server) << " ms, this process " << median(each.own) << " ms\n";
    }
  } catch (const std::exception& error) {
    std::cerr << "tarvelo-x11-server-floor: " << error.what() << "\n";
    return 1;
  }
}
