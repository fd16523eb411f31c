#include "end_to_end_support.h"

#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

namespace tarvelo::testing {

QImage grabScreen(const QRect& area) {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(connection)) throw std::runtime_error("cannot connect to the rig's X server");
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  const xcb_get_image_cookie_t cookie =
      xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, static_cast<std::int16_t>(area.x()),
                    static_cast<std::int16_t>(area.y()), static_cast<std::uint16_t>(area.width()),
                    static_cast<std::uint16_t>(area.height()), ~0U);
  std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> reply(xcb_get_image_reply(connection, cookie, nullptr),
                                                                     &std::free);
  xcb_disconnect(connection);
  if (!reply) throw std::runtime_error("the rig's X server returned no image");
  // Depth 24 arrives as 32-bit pixels, B G R x in memory; copy before the reply goes.
  return QImage(xcb_get_image_data(reply.get()), area.width(), area.height(), area.width() * 4,
                QImage::Format_RGB32)
      .copy();
}

MeanColour meanAround(const QImage& image, int x, int y, int radius) {
  MeanColour mean;
  int count = 0;
  for (int dy = -radius; dy <= radius; ++dy) {
    for (int dx = -radius; dx <= radius; ++dx) {
      const QColor pixel = image.pixelColor(x + dx, y + dy);
      mean.red += pixel.red();
      mean.green += pixel.green();
      mean.blue += pixel.blue();
      ++count;
    }
  }
  mean.red /= count;
  mean.green /= count;
  mean.blue /= count;
  return mean;
}

QImage boxDownscale(const QImage& source, int width, int height) {
  const QImage image = source.convertToFormat(QImage::Format_ARGB32);
  const double scaleX = static_cast<double>(image.width()) / width;
  const double scaleY = static_cast<double>(image.height()) / height;
  // The share of source column (row) s inside target column (row) t.
  const auto overlap = [](double begin, double end, int s) {
    return std::max(0.0, std::min(end, s + 1.0) - std::max(begin, static_cast<double>(s)));
  };
  QImage result(width, height, QImage::Format_ARGB32);
  for (int ty = 0; ty < height; ++ty) {
    const double y0 = ty * scaleY;
    const double y1 = y0 + scaleY;
    for (int tx = 0; tx < width; ++tx) {
      const double x0 = tx * scaleX;
      const double x1 = x0 + scaleX;
      double sums[3] = {0, 0, 0};
      for (int sy = static_cast<int>(y0); sy < std::min(image.height(), static_cast<int>(std::ceil(y1))); ++sy) {
        const double wy = overlap(y0, y1, sy);
        const QRgb* row = reinterpret_cast<const QRgb*>(image.constScanLine(sy));
        for (int sx = static_cast<int>(x0); sx < std::min(image.width(), static_cast<int>(std::ceil(x1))); ++sx) {
          const double weight = wy * overlap(x0, x1, sx);
          sums[0] += weight * qRed(row[sx]);
          sums[1] += weight * qGreen(row[sx]);
          sums[2] += weight * qBlue(row[sx]);
        }
      }
      const double area = scaleX * scaleY;
      result.setPixel(tx, ty,
                      qRgb(static_cast<int>(std::lround(sums[0] / area)), static_cast<int>(std::lround(sums[1] / area)),
                           static_cast<int>(std::lround(sums[2] / area))));
    }
  }
  return result;
}

namespace {

LightColor colourAt(const GradientLayer& layer, double t) {
  const std::vector<double>& stops = layer.locations;
  if (t <= stops.front()) return layer.colors.front();
  if (t >= stops.back()) return layer.colors.back();
  for (std::size_t i = 1; i < stops.size(); ++i) {
    if (t <= stops[i]) {
      const double f = (t - stops[i - 1]) / (stops[i] - stops[i - 1]);
      const LightColor& a = layer.colors[i - 1];
      const LightColor& b = layer.colors[i];
      return LightColor{a.red + (b.red - a.red) * f, a.green + (b.green - a.green) * f,
                        a.blue + (b.blue - a.blue) * f, a.alpha + (b.alpha - a.alpha) * f};
    }
  }
  return layer.colors.back();
}

double unit(double value) { return std::clamp(value, 0.0, 1.0); }

}  // namespace

LightColor evaluateLight(const AmbientGradientModel& model, double x, double y) {
  const LightRect& container = model.lightContainer();
  const double cx = x - container.x;
  const double cy = y - container.y;
  LightColor out{0.0, 0.0, 0.0, 1.0};
  for (const GradientLayer* layer : model.layersBackToFront()) {
    const LightRect& frame = layer->frame;
    const double u = (cx - frame.x) / frame.width;
    const double v = (cy - frame.y) / frame.height;
    if (u < 0.0 || u >= 1.0 || v < 0.0 || v >= 1.0) continue;
    const double dx = layer->endPoint.x - layer->startPoint.x;
    const double dy = layer->endPoint.y - layer->startPoint.y;
    const double t = ((u - layer->startPoint.x) * dx + (v - layer->startPoint.y) * dy) / (dx * dx + dy * dy);
    const LightColor c = colourAt(*layer, t);
    const double a = unit(c.alpha);
    out.red = unit(c.red) * a + out.red * (1.0 - a);
    out.green = unit(c.green) * a + out.green * (1.0 - a);
    out.blue = unit(c.blue) * a + out.blue * (1.0 - a);
  }
  return out;
}

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  QElapsedTimer clock;
  clock.start();
  while (!done()) {
    if (clock.elapsed() > timeout.count()) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    QThread::msleep(10);
  }
  return true;
}

void runRigScript(const QStringList& arguments) {
  QStringList all{QStringLiteral(TARVELO_TEST_DISPLAY)};
  const int status = QProcess::execute(QStringLiteral(TARVELO_SOURCE_DIR "/scripts/virtual-displays.sh"),
                                       QStringList{arguments.first()} + all + arguments.mid(1));
  if (status != 0) throw std::runtime_error("the rig script failed: " + arguments.join(' ').toStdString());
}

FilmPlayer::FilmPlayer(const QString& output, const QString& scene) {
  process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process_.start(QStringLiteral(TARVELO_BINARY_DIR "/tools/tarvelo-test-film"),
                 {QStringLiteral("--output"), output, scene});
  if (!process_.waitForStarted()) throw std::runtime_error("the test film did not start");
}

FilmPlayer::~FilmPlayer() {
  process_.kill();
  process_.waitForFinished();
}

}  // namespace tarvelo::testing
