#include "rig_screenshots.h"

#include <QCoreApplication>
#include <QString>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace tarvelo::testing {

namespace {

bool run(const std::string& command) { return std::system((command + " > /dev/null 2>&1").c_str()) == 0; }

}  // namespace

RigScreenshots::RigScreenshots() {
  char pattern[] = "/tmp/tarvelo-rig-shots-XXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("no directory for the rig's screenshots");
  directory_ = pattern;
}

RigScreenshots::~RigScreenshots() { run("rm -rf '" + directory_ + "'"); }

QImage RigScreenshots::take(const std::string& output) {
  const std::string file = directory_ + "/" + output + ".png";
  if (!run("grim -o " + output + " '" + file + "'")) return {};
  return QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32);
}

QImage RigScreenshots::waitFor(const std::string& output, const std::function<bool(const QImage&)>& settled) {
  QImage shot;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < deadline) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    shot = take(output);
    if (!shot.isNull() && settled(shot)) break;
  }
  return shot;
}

int whitePixelsIn(const QImage& shot, const QRect& area) {
  int count = 0;
  for (int y = area.top(); y <= area.bottom(); ++y) {
    for (int x = area.left(); x <= area.right(); ++x) {
      const QRgb pixel = shot.pixel(x, y);
      if (qRed(pixel) > 200 && qGreen(pixel) > 200 && qBlue(pixel) > 200) ++count;
    }
  }
  return count;
}

}  // namespace tarvelo::testing
