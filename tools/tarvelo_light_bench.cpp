// tarvelo-light-bench: what drawing the ambient light costs per frame, and
// how close the reduced-resolution light is to a full-resolution rendering.
//
//   tarvelo-light-bench [--screen NAME] [--seconds S] [--rate R] [--blur B] [--x-server-pid PID]
//                       [--light qt-quick|shared-memory]
//   tarvelo-light-bench --compare WxH [--blur B]
//
// Shows the light full-screen on the named screen (default: the primary
// one), feeds it R colour updates a second (default 30, as the capture at its
// default rate) for S seconds (default 10; the first second is not counted),
// with its frames capped at R a second as the program caps them, and reports:
//   picture  median CPU time of drawing and blurring the small light picture
//   frame    (Qt Quick only) median CPU time of the render thread from
//            synchronisation to swap (picture included), and the wall time
//            of the same span
// and over the whole counted span: frames per second, and the CPU share of
// one core taken by this process and, given its pid, by the X server.
// --light chooses the light window: the Qt Quick view (default; run it with
// LIBGL_ALWAYS_SOFTWARE=1 to measure Mesa's software OpenGL, or with
// QT_QUICK_BACKEND=software) or the X11 light drawn through shared memory,
// which the program uses on X11 without a GPU.
//
// --compare renders the light of one set of colours at WxH (default
// settings, blur B) twice offscreen, with the picture at reduced and at full
// resolution, and reports how far apart the two images are.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QScreen>
#include <QTimer>

#include "output/ambient_gradient_view.h"
#include "output/light_picture.h"
#include "output/offscreen_light_renderer.h"
#include "output/picture_light_view.h"
#include "output/x11/x11_light_window.h"
#include "process_cpu.h"

namespace {

using tarvelo::AmbientGradientModel;
using tarvelo::AmbientGradientView;
using tarvelo::DisplayRect;
using tarvelo::LightColor;
using tarvelo::LightPicture;
using tarvelo::LightResolution;
using tarvelo::LightView;
using tarvelo::OffscreenLightRenderer;
using tarvelo::X11LightWindow;
using tarvelo::ZoneColor;
using tarvelo::ZoneColorList;

double threadCpuMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

double processCpuMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : 0.5 * (values[middle - 1] + values[middle]);
}

// Colours that change every update, smoothly, like a film's.
ZoneColorList zonesAt(int update) {
  ZoneColorList zones;
  for (std::size_t i = 0; i < tarvelo::kZoneCount; ++i) {
    const double phase = 0.07 * update + 0.4 * static_cast<double>(i);
    zones.push_back(ZoneColor{static_cast<float>(0.5 + 0.4 * std::sin(phase)),
                              static_cast<float>(0.5 + 0.4 * std::sin(phase + 2.1)),
                              static_cast<float>(0.5 + 0.4 * std::sin(phase + 4.2)), 1.0F});
  }
  return zones;
}

// The picture alone, on this thread: the part of a frame that is ours.
double medianPictureMilliseconds(double width, double height, double blur) {
  AmbientGradientModel model;
  model.layout(width, height);
  model.updateColors(zonesAt(0), 1.4, blur, 0.85);
  LightPicture picture;
  picture.layout(model, width, height, LightResolution::reduced);
  std::vector<LightColor> colors;
  for (const auto* layer : model.layersBackToFront()) {
    colors.insert(colors.end(), layer->colors.begin(), layer->colors.end());
  }
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(picture.width()) * picture.height() * 4);
  std::vector<double> samples;
  for (int i = 0; i < 400; ++i) {
    colors[static_cast<std::size_t>(i) % colors.size()].red = 0.001 * (i % 1000);
    const double start = threadCpuMilliseconds();
    picture.render(colors, pixels.data(), picture.width() * 4);
    samples.push_back(threadCpuMilliseconds() - start);
  }
  return median(samples);
}

struct Options {
  std::optional<QSize> compareSize;
  QString screen;
  double seconds = 10.0;
  double rate = 30.0;
  double blur = 60.0;
  std::optional<long> xServerPid;
  bool sharedMemory = false;
};

[[noreturn]] void usage(const std::string& problem) {
  std::fprintf(stderr,
               "tarvelo-light-bench: %s\nusage: tarvelo-light-bench [--screen NAME] [--seconds S] [--rate R] "
               "[--blur B] [--x-server-pid PID]\n                           [--light qt-quick|shared-memory]\n"
               "       tarvelo-light-bench --compare WxH [--blur B]\n",
               problem.c_str());
  std::exit(2);
}

Options parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (i + 1 >= argc) usage(argument + " needs a value");
    const std::string value = argv[++i];
    char* end = nullptr;
    const double number = std::strtod(value.c_str(), &end);
    const bool isNumber = !value.empty() && end == value.c_str() + value.size() && std::isfinite(number);
    if (argument == "--compare") {
      int width = 0;
      int height = 0;
      char separator = 0;
      std::istringstream size(value);
      if (!(size >> width >> separator >> height) || separator != 'x' || width < 1 || height < 1 || !size.eof()) {
        usage("--compare needs WIDTHxHEIGHT, got " + value);
      }
      options.compareSize = QSize(width, height);
    } else if (argument == "--screen") {
      options.screen = QString::fromStdString(value);
    } else if (argument == "--seconds" && isNumber && number > 1.0) {
      options.seconds = number;
    } else if (argument == "--rate" && isNumber && number > 0.0) {
      options.rate = number;
    } else if (argument == "--blur" && isNumber && number >= 0.0) {
      options.blur = number;
    } else if (argument == "--x-server-pid" && isNumber && number > 0.0) {
      options.xServerPid = static_cast<long>(number);
    } else if (argument == "--light" && (value == "qt-quick" || value == "shared-memory")) {
      options.sharedMemory = value == "shared-memory";
    } else {
      usage("bad option " + argument + " " + value);
    }
  }
  return options;
}

int channelOf(QRgb pixel, int channel) {
  return channel == 0 ? qRed(pixel) : channel == 1 ? qGreen(pixel) : qBlue(pixel);
}

int compareResolutions(QSize size, double blur) {
  const ZoneColorList zones = zonesAt(17);
  const QImage reduced = OffscreenLightRenderer::render(size, zones, 1.4, 0.85, blur, LightResolution::reduced);
  const QImage full = OffscreenLightRenderer::render(size, zones, 1.4, 0.85, blur, LightResolution::full);
  std::vector<long long> histogram(256, 0);
  double sum = 0.0;
  for (int y = 0; y < size.height(); ++y) {
    for (int x = 0; x < size.width(); ++x) {
      for (int c = 0; c < 3; ++c) {
        const int d = std::abs(channelOf(reduced.pixel(x, y), c) - channelOf(full.pixel(x, y), c));
        ++histogram[static_cast<std::size_t>(d)];
        sum += d;
      }
    }
  }
  const double samples = 3.0 * size.width() * size.height();
  int largest = 0;
  for (int d = 0; d < 256; ++d) {
    if (histogram[static_cast<std::size_t>(d)] > 0) largest = d;
  }
  std::printf("%dx%d, blur %.0f: reduced vs full resolution, per channel: largest difference %d/255, mean %.3f/255\n",
              size.width(), size.height(), blur, largest, sum / samples);
  for (int d = 0; d <= largest; ++d) {
    std::printf("  differing by %d: %.4f %%\n", d, 100.0 * histogram[static_cast<std::size_t>(d)] / samples);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parseOptions(argc, argv);
  if (options.compareSize && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  QGuiApplication application(argc, argv);
  if (options.compareSize) return compareResolutions(*options.compareSize, options.blur);

  QScreen* screen = QGuiApplication::primaryScreen();
  if (!options.screen.isEmpty()) {
    screen = nullptr;
    for (QScreen* candidate : QGuiApplication::screens()) {
      if (candidate->name() == options.screen) screen = candidate;
    }
    if (screen == nullptr) usage("no screen named " + options.screen.toStdString());
  }
  const QRect geometry = screen->geometry();
  const auto framesPerSecond = static_cast<std::int64_t>(std::lround(options.rate));

  // The light, as the program shows it.
  std::unique_ptr<QQuickWindow> quickWindow;
  AmbientGradientView* quickView = nullptr;
  std::unique_ptr<X11LightWindow> sharedMemoryLight;
  LightView* view = nullptr;
  if (options.sharedMemory) {
    sharedMemoryLight = std::make_unique<X11LightWindow>(
        DisplayRect{static_cast<double>(geometry.x()), static_cast<double>(geometry.y()),
                    static_cast<double>(geometry.width()), static_cast<double>(geometry.height())},
        screen, std::nullopt);
    sharedMemoryLight->pictureView().setMaximumFrameRate(framesPerSecond);
    view = sharedMemoryLight->view();
  } else {
    quickWindow = std::make_unique<QQuickWindow>();
    quickWindow->setFlags(Qt::FramelessWindowHint);
    quickWindow->setColor(Qt::black);
    quickWindow->setScreen(screen);
    quickWindow->setGeometry(geometry);
    quickView = new AmbientGradientView(quickWindow->contentItem());
    quickView->setSize(geometry.size());
    quickView->setMaximumFrameRate(framesPerSecond);
    view = quickView;
  }

  // Frame timings, taken on the render thread.
  std::mutex samplesMutex;
  std::vector<double> frameCpu;
  std::vector<double> frameWall;
  frameCpu.reserve(100000);
  frameWall.reserve(100000);
  bool counting = false;
  double frameCpuStart = 0.0;
  QElapsedTimer frameWallTimer;
  if (quickWindow) {
    QObject::connect(
        quickWindow.get(), &QQuickWindow::beforeSynchronizing, quickWindow.get(),
        [&] {
          frameCpuStart = threadCpuMilliseconds();
          frameWallTimer.start();
        },
        Qt::DirectConnection);
    QObject::connect(
        quickWindow.get(), &QQuickWindow::frameSwapped, quickWindow.get(),
        [&] {
          const double cpu = threadCpuMilliseconds() - frameCpuStart;
          const double wall = frameWallTimer.nsecsElapsed() / 1e6;
          const std::lock_guard<std::mutex> lock(samplesMutex);
          if (!counting) return;
          frameCpu.push_back(cpu);
          frameWall.push_back(wall);
        },
        Qt::DirectConnection);
  }
  const auto framesSoFar = [&]() -> std::size_t {
    if (sharedMemoryLight) return static_cast<std::size_t>(sharedMemoryLight->pictureView().pictureShowCount());
    const std::lock_guard<std::mutex> lock(samplesMutex);
    return frameCpu.size();
  };

  int update = 0;
  QTimer updates;
  updates.setTimerType(Qt::PreciseTimer);
  QObject::connect(&updates, &QTimer::timeout, [&] { view->updateColors(zonesAt(update++), 1.4, options.blur, 0.85); });
  updates.start(static_cast<int>(std::lround(1000.0 / options.rate)));

  double processCpuAtStart = 0.0;
  std::optional<double> xCpuAtStart;
  std::size_t framesAtStart = 0;
  QElapsedTimer span;
  QTimer::singleShot(1000, [&] {
    framesAtStart = sharedMemoryLight ? framesSoFar() : 0;
    const std::lock_guard<std::mutex> lock(samplesMutex);
    counting = true;
    processCpuAtStart = processCpuMilliseconds();
    if (options.xServerPid) xCpuAtStart = tarvelo::measuring::processCpuMilliseconds(*options.xServerPid);
    span.start();
  });
  QTimer::singleShot(static_cast<int>(options.seconds * 1000.0), [&] {
    const double elapsed = span.nsecsElapsed() / 1e6;
    const double processCpu = processCpuMilliseconds() - processCpuAtStart;
    std::optional<double> xCpu;
    if (xCpuAtStart) {
      if (const auto now = tarvelo::measuring::processCpuMilliseconds(*options.xServerPid)) xCpu = *now - *xCpuAtStart;
    }
    const std::size_t frames = framesSoFar() - framesAtStart;
    std::vector<double> cpuSamples;
    std::vector<double> wallSamples;
    {
      const std::lock_guard<std::mutex> lock(samplesMutex);
      counting = false;
      cpuSamples = frameCpu;
      wallSamples = frameWall;
    }
    const char* drawnBy = sharedMemoryLight ? "shared memory"
                          : quickWindow->rendererInterface()->graphicsApi() == QSGRendererInterface::OpenGL
                              ? "Qt Quick, OpenGL"
                              : "Qt Quick, other API";
    std::printf("screen %s %dx%d, blur %.0f, %.0f updates/s, %s\n", qPrintable(screen->name()), geometry.width(),
                geometry.height(), options.blur, options.rate, drawnBy);
    std::printf("picture median %.3f ms CPU\n",
                medianPictureMilliseconds(geometry.width(), geometry.height(), options.blur));
    if (quickWindow) {
      std::printf("render thread median %.3f ms CPU, %.3f ms wall\n", median(cpuSamples), median(wallSamples));
    }
    std::printf("frames %zu in %.1f s (%.1f/s)\n", frames, elapsed / 1000.0, frames * 1000.0 / elapsed);
    std::printf("process CPU %.1f %% of one core (%.3f ms per frame)\n", 100.0 * processCpu / elapsed,
                frames == 0 ? 0.0 : processCpu / static_cast<double>(frames));
    if (xCpu) {
      std::printf("X server CPU %.1f %% of one core (%.3f ms per frame)\n", 100.0 * *xCpu / elapsed,
                  frames == 0 ? 0.0 : *xCpu / static_cast<double>(frames));
    }
    QCoreApplication::quit();
  });

  if (quickWindow) quickWindow->show();
  return QGuiApplication::exec();
}
