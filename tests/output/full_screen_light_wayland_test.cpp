// The light where a compositor offers no layer shell: a full-screen toplevel
// on the light screen's output, tried on the headless rig's sway with Qt on
// its wayland platform, read back with grim.
#include "output/wayland/full_screen_light_window.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QScreen>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>

#include "output/ambient_gradient_view.h"
#include "pipeline/zone_color.h"
#include "rig/wayland_rig_session.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;

bool run(const std::string& command) { return std::system((command + " > /dev/null 2>&1").c_str()) == 0; }

class FullScreenLightOnWayland : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::useRigLayout("4k-over-hd");
    ASSERT_TRUE(run("swaymsg 'output HEADLESS-1 bg #000000 solid_color; output HEADLESS-2 bg #000000 solid_color'"));
    char pattern[] = "/tmp/tarvelo-wayland-full-screen-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    shots_ = pattern;
  }
  void TearDown() override { run("rm -rf '" + shots_ + "'"); }

  static QScreen* screenNamed(const QString& name) {
    for (QScreen* screen : QGuiApplication::screens()) {
      if (screen->name() == name) return screen;
    }
    return nullptr;
  }

  QImage screenshot(const std::string& output) {
    const std::string file = shots_ + "/" + output + ".png";
    if (!run("grim -o " + output + " '" + file + "'")) return {};
    return QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32);
  }

  // Runs the event loop until `output` shows what `settled` wants.
  QImage waitFor(const std::string& output, const std::function<bool(const QImage&)>& settled) {
    QImage shot;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
      shot = screenshot(output);
      if (!shot.isNull() && settled(shot)) break;
    }
    return shot;
  }

  std::string shots_;
};

bool isLitRedAcrossTheTop(const QImage& shot) {
  for (const int x : {4, 960, 1915}) {
    const QRgb top = shot.pixel(x, 2);
    if (qRed(top) < 200 || qGreen(top) > 30 || qBlue(top) > 30) return false;
  }
  return true;
}

bool isBlack(const QImage& shot) {
  for (const QPoint probe : {QPoint(4, 2), QPoint(shot.width() / 2, shot.height() / 2), QPoint(shot.width() - 5, 2)}) {
    if (shot.isNull() || shot.pixel(probe) != qRgb(0, 0, 0)) return false;
  }
  return true;
}

TEST_F(FullScreenLightOnWayland, CoversTheLightScreensOutputAloneAndGoesWhenOrderedOut) {
  QScreen* lightScreen = screenNamed(QStringLiteral("HEADLESS-2"));
  ASSERT_NE(lightScreen, nullptr);
  // Once sway has painted the new background.
  const QImage movieBefore = waitFor("HEADLESS-1", isBlack);
  ASSERT_TRUE(isBlack(movieBefore));
  ASSERT_EQ(movieBefore.size(), QSize(3840, 2160));
  ASSERT_TRUE(isBlack(waitFor("HEADLESS-2", isBlack)));

  FullScreenLightWindow light(*lightScreen, 30);
  EXPECT_EQ(light.window().screen(), lightScreen);
  EXPECT_TRUE(light.window().flags().testFlag(Qt::WindowDoesNotAcceptFocus));
  ASSERT_NE(light.view(), nullptr);
  light.view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 0.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);

  // Full screen there: the light reaches both ends of the output's top edge.
  const QImage lit = waitFor("HEADLESS-2", isLitRedAcrossTheTop);
  EXPECT_TRUE(isLitRedAcrossTheTop(lit));
  EXPECT_EQ(light.window().visibility(), QWindow::FullScreen);
  EXPECT_EQ(light.gradientView().size(), QSizeF(1920, 1080));
  EXPECT_EQ(screenshot("HEADLESS-1"), movieBefore) << "the movie screen is left alone";

  light.orderOut();
  EXPECT_TRUE(isBlack(waitFor("HEADLESS-2", isBlack))) << "the light is gone";
}

}  // namespace
}  // namespace tarvelo
