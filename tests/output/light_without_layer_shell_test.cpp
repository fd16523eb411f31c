// The Wayland light output on a desktop without wlr-layer-shell, as GNOME's:
// weston nested in the rig (see NestedWeston), its outputs wayland0 and
// wayland1 side by side, 640 x 360 each. The platform asks for a layer
// surface, hears that there is no layer shell, and shows the light as a
// full-screen toplevel on the light screen's output instead.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QScreen>
#include <QTest>

#include <memory>
#include <string>

#include "app/app_test_support.h"
#include "output/light_view.h"
#include "output/wayland/wayland_output_platform.h"
#include "pipeline/zone_color.h"
#include "rig/nested_test_main.h"
#include "rig/nested_weston.h"
#include "rig_screenshots.h"
#include "ui/view_engine.h"

namespace tarvelo {
namespace {

// The compositor this process's Qt application is connected to.
testing::NestedWeston* weston = nullptr;

// The visible full-screen window on the named output, if any.
QQuickWindow* fullScreenWindowOn(const QString& output) {
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    if (window->isVisible() && window->visibility() == QWindow::FullScreen && window->screen() != nullptr &&
        window->screen()->name() == output) {
      return qobject_cast<QQuickWindow*>(window);
    }
  }
  return nullptr;
}

class LightWithoutLayerShell : public ::testing::Test, protected testing::AppStateHarness {
 protected:
  static Screen lightScreen() { return Screen{7U, "Light", DisplayRect{640, 0, 640, 360}}; }

  ui::ViewEngine views_;
  WaylandOutputPlatform platform_{views_, [](const Screen&) { return std::string("wayland1"); },
                                  weston->waylandDisplay()};
};

TEST_F(LightWithoutLayerShell, IsAFullScreenWindowOnTheLightScreensOutputThatGoesWhenOrderedOut) {
  std::unique_ptr<LightWindow> window = platform_.createLightWindow(lightScreen(), 30);
  ASSERT_NE(window, nullptr);
  ASSERT_NE(window->view(), nullptr);
  window->view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 0.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);

  QQuickWindow* shown = nullptr;
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        shown = fullScreenWindowOn(QStringLiteral("wayland1"));
        return shown != nullptr && shown->size() == QSize(640, 360);
      },
      10000))
      << "no full-screen window of the output's size on wayland1";
  EXPECT_EQ(fullScreenWindowOn(QStringLiteral("wayland0")), nullptr);
  EXPECT_TRUE(shown->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
  // Red at full strength: the top edge, where the strips are opaque, is red end to end.
  const auto isRedAcrossTheTop = [](const QImage& frame) {
    if (frame.size() != QSize(640, 360)) return false;
    for (const int x : {0, 320, 639}) {
      const QRgb top = frame.pixel(x, 1);
      if (qRed(top) < 200 || qGreen(top) > 30 || qBlue(top) > 30) return false;
    }
    return true;
  };
  EXPECT_TRUE(QTest::qWaitFor([&] { return isRedAcrossTheTop(shown->grabWindow()); }, 5000));

  window->orderOut();
  EXPECT_TRUE(QTest::qWaitFor([] { return fullScreenWindowOn(QStringLiteral("wayland1")) == nullptr; }, 5000));
}

// Wayland lets no client place a toplevel, so the HUD is drawn inside the light.
TEST_F(LightWithoutLayerShell, DrawsTheHudInsideItselfAtItsFrame) {
  useStackedDisplays();
  create();
  std::unique_ptr<LightWindow> window = platform_.createLightWindow(lightScreen(), 30);
  ASSERT_NE(window, nullptr);
  window->view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 0.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);
  // 60 from the light's left edge, 28 above its bottom.
  const QRect inLight(60, 360 - 28 - 50, 520, 50);
  std::unique_ptr<HudWindow> hud = platform_.createHudWindow(DisplayRect{640.0 + 60.0, 282.0, 520.0, 50.0}, *appState, [] {});
  ASSERT_NE(hud, nullptr);

  QQuickWindow* shown = nullptr;
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        shown = fullScreenWindowOn(QStringLiteral("wayland1"));
        return shown != nullptr && testing::whitePixelsIn(shown->grabWindow(), inLight) > 30;
      },
      10000))
      << "the HUD's texts and symbols never showed in its frame";
  const QImage frame = shown->grabWindow();
  EXPECT_EQ(testing::whitePixelsIn(frame, QRect(0, 0, 640, inLight.top() - 12)), 0) << "white above the HUD";
  EXPECT_EQ(testing::whitePixelsIn(frame, QRect(0, inLight.bottom() + 12, 640, 360 - inLight.bottom() - 12)), 0)
      << "white below the HUD";
}

}  // namespace
}  // namespace tarvelo

int main(int argc, char** argv) {
  // Drawn in software, as the program does without a GPU, as the rig is.
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  return tarvelo::testing::runTestsOnNestedCompositor(argc, argv, tarvelo::weston);
}
