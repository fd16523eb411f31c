// tarvelo-wayland-light-bench: what the light costs per colour change as a
// layer surface on a wlr-layer-shell compositor, in this process and in the
// compositor.
//
//   tarvelo-wayland-light-bench [--output NAME] [--seconds S] [--rate R] [--compositor-pid PID]
//
// Opens the light on the output NAME (default HEADLESS-2), feeds it R colour
// changes a second (default 30, as the capture at its default rate) for S
// seconds (default 10; the first second is not counted) and reports the CPU
// time this process and, given its pid, the compositor took per colour
// change, from /proc. As in the program, the light glides with its frames
// capped at R a second, on a Qt event loop.
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "output/wayland/wayland_layer_light.h"
#include "output/picture_light_view.h"
#include "pipeline/zone_color.h"
#include "process_cpu.h"

namespace {

using namespace std::chrono_literals;

// User plus system CPU time of a process, in milliseconds; -1 if unreadable.
double processCpuMilliseconds(long pid) { return tarvelo::measuring::processCpuMilliseconds(pid).value_or(-1.0); }

tarvelo::ZoneColorList zonesFor(int frame) {
  tarvelo::ZoneColorList zones;
  for (std::size_t i = 0; i < tarvelo::kZoneCount; ++i) {
    const float phase = static_cast<float>((frame * 7 + static_cast<int>(i) * 13) % 100) / 100.0F;
    zones.push_back(tarvelo::ZoneColor{phase, 1.0F - phase, 0.5F * phase + 0.25F, 1.0F});
  }
  return zones;
}

int usage() {
  std::fprintf(stderr,
               "usage: tarvelo-wayland-light-bench [--output NAME] [--seconds S] [--rate R] [--compositor-pid PID]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string output = "HEADLESS-2";
  double seconds = 10.0;
  double rate = 30.0;
  long compositorPid = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (i + 1 >= argc) return usage();
    const char* value = argv[++i];
    char* end = nullptr;
    if (option == "--output") {
      output = value;
    } else if (option == "--seconds") {
      seconds = std::strtod(value, &end);
    } else if (option == "--rate") {
      rate = std::strtod(value, &end);
    } else if (option == "--compositor-pid") {
      compositorPid = std::strtol(value, &end, 10);
    } else {
      return usage();
    }
    if (end != nullptr && (*end != '\0' || end == value)) return usage();
  }
  if (!(seconds > 1.0) || !(rate > 0.0) || rate > 1000.0 || seconds > 3600.0) return usage();

  QCoreApplication application(argc, argv);
  tarvelo::WaylandLayerLight::OpenResult opened = tarvelo::WaylandLayerLight::open(output);
  if (!opened.light) {
    std::fprintf(stderr, "tarvelo-wayland-light-bench: %s\n", opened.error.c_str());
    return 1;
  }
  tarvelo::WaylandLayerLight& light = *opened.light;
  tarvelo::PictureLightView view(light);
  view.setMaximumFrameRate(static_cast<std::int64_t>(rate + 0.5));

  int status = 0;
  QSocketNotifier input(light.fileDescriptor(), QSocketNotifier::Read);
  QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
    if (light.dispatch()) return;
    std::fprintf(stderr, "tarvelo-wayland-light-bench: %s\n", light.lossReason().c_str());
    status = 1;
    application.exit(1);
  });

  const auto start = std::chrono::steady_clock::now();
  const auto countFrom = start + 1s;
  const auto end = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                               std::chrono::duration<double>(seconds));
  double ownAtStart = -1.0;
  double compositorAtStart = -1.0;
  int counted = 0;
  int frame = 0;
  QTimer changes;
  changes.setTimerType(Qt::PreciseTimer);
  QObject::connect(&changes, &QTimer::timeout, &application, [&] {
    const auto now = std::chrono::steady_clock::now();
    if (now >= end) {
      application.quit();
      return;
    }
    if (ownAtStart < 0.0 && now >= countFrom) {
      ownAtStart = processCpuMilliseconds(getpid());
      compositorAtStart = compositorPid > 0 ? processCpuMilliseconds(compositorPid) : -1.0;
    }
    view.updateColors(zonesFor(frame++), 1.4, 60.0, 0.85);
    if (ownAtStart >= 0.0) ++counted;
  });
  changes.start(static_cast<int>(1000.0 / rate + 0.5));
  application.exec();
  if (status != 0) return status;
  if (counted == 0) {
    std::fprintf(stderr, "tarvelo-wayland-light-bench: no colour change fell in the counted time\n");
    return 1;
  }

  const double own = processCpuMilliseconds(getpid()) - ownAtStart;
  std::printf("picture      %d x %d texels for a %d x %d output\n", view.pictureWidth() - 2, view.pictureHeight() - 2,
              light.width(), light.height());
  std::printf("changes      %d counted, %d handed to the compositor in all\n", counted, light.committedPictures());
  std::printf("this process %.3f ms CPU per colour change\n", own / counted);
  if (compositorPid > 0) {
    const double compositor = processCpuMilliseconds(compositorPid) - compositorAtStart;
    std::printf("compositor   %.3f ms CPU per colour change\n", compositor / counted);
  }
  return 0;
}
