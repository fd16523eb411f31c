#include <gtest/gtest.h>

#include <QScreen>
#include <QTest>
#include <algorithm>
#include <memory>

#include "output/ambient_gradient_view.h"
#include "output/click_recorder_window.h"
#include "output/x11/qt_light_window.h"
#include "output/x11/x11_output_platform.h"
#include "ui/view_engine.h"
#include "output/x11_output_rig.h"
#include "pipeline/zone_color.h"

namespace tarvelo {
namespace {

using testing::bottomScreen;
using testing::RigConnection;

bool contains(const std::vector<std::uint32_t>& atoms, std::uint32_t atom) {
  return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

class LightWindowOnX11 : public ::testing::Test {
 protected:
  // The window as the controller gets it, shown and exposed.
  QtLightWindow& openLightWindow() {
    window_ = platform_.createLightWindow(bottomScreen(), 30);
    auto* light = dynamic_cast<QtLightWindow*>(window_.get());
    EXPECT_NE(light, nullptr);
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&light->window()));
    return *light;
  }

  ui::ViewEngine views_;
  X11OutputPlatform platform_{views_, testing::rigOutputIdForName};
  RigConnection rig_;
  std::unique_ptr<LightWindow> window_;
};

TEST_F(LightWindowOnX11, CoversTheBottomOutputExactly) {
  QtLightWindow& light = openLightWindow();
  EXPECT_EQ(rig_.rootGeometry(light.window()), QRect(0, 1080, 1920, 1080));
  ASSERT_NE(light.window().screen(), nullptr);
  EXPECT_EQ(light.window().screen()->name(), QStringLiteral("DUMMY1"));
}

TEST_F(LightWindowOnX11, IsFoundByItsOutputIdEvenWhenTheFrameMatchesNoScreen) {
  Screen screen = bottomScreen();
  screen.frame = DisplayRect{0.0, 1080.0, 1000.0, 500.0};
  EXPECT_EQ(platform_.qtScreenFor(screen)->name(), QStringLiteral("DUMMY1"));
}

TEST_F(LightWindowOnX11, IsFoundByItsFrameWhenItCarriesNoDisplayNumber) {
  Screen screen = bottomScreen();
  screen.displayNumber.reset();
  EXPECT_EQ(platform_.qtScreenFor(screen)->name(), QStringLiteral("DUMMY1"));
}

TEST_F(LightWindowOnX11, StaysAboveOnEveryDesktopOutOfTaskbarsAndPagers) {
  QtLightWindow& light = openLightWindow();
  const std::vector<std::uint32_t> states = rig_.atomList(light.window(), "_NET_WM_STATE");
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_ABOVE")));
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_STICKY")));
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_SKIP_TASKBAR")));
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_SKIP_PAGER")));
  EXPECT_EQ(rig_.cardinal(light.window(), "_NET_WM_DESKTOP"), 0xFFFFFFFFu);
}

TEST_F(LightWindowOnX11, TakesNoPointerInputAndNoFocus) {
  QtLightWindow& light = openLightWindow();
  EXPECT_TRUE(rig_.inputShape(light.window()).empty());
  EXPECT_EQ(rig_.acceptsInputHint(light.window()), false);
}

TEST_F(LightWindowOnX11, AsksCompositorsForNoShadow) {
  QtLightWindow& light = openLightWindow();
  EXPECT_EQ(rig_.cardinal(light.window(), "_COMPTON_SHADOW"), 0u);
}

TEST_F(LightWindowOnX11, IsOpaqueBlackUntilColoursArrive) {
  QtLightWindow& light = openLightWindow();
  ASSERT_TRUE(QTest::qWaitFor([&] { return rig_.pixelAt(960, 1620) == qRgb(0, 0, 0); }));
  EXPECT_EQ(rig_.pixelAt(0, 1080), qRgb(0, 0, 0));
  EXPECT_EQ(rig_.pixelAt(1919, 2159), qRgb(0, 0, 0));
  EXPECT_EQ(light.window().color(), QColor(Qt::black));
}

TEST_F(LightWindowOnX11, ShowsTheGradientViewFillingTheWindow) {
  QtLightWindow& light = openLightWindow();
  auto* view = dynamic_cast<AmbientGradientView*>(light.view());
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->window(), &light.window());
  EXPECT_EQ(view->size(), QSizeF(1920.0, 1080.0));

  // A white picture lights up the wash in the middle of the screen.
  ZoneColorList white(16, ZoneColor{1.0F, 1.0F, 1.0F, 1.0F});
  light.view()->updateColors(white, 1.0, 60.0, 1.0);
  EXPECT_TRUE(QTest::qWaitFor([&] { return qRed(rig_.pixelAt(960, 1300)) > 32; }));
}

TEST_F(LightWindowOnX11, LetsClicksThroughToTheWindowBelow) {
  testing::ClickRecorderWindow below(Qt::white);
  below.setFlags(Qt::Window | Qt::FramelessWindowHint);
  below.setGeometry(200, 1300, 400, 300);
  below.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&below));

  openLightWindow();
  // The light hides the window below it…
  ASSERT_TRUE(QTest::qWaitFor([&] { return rig_.pixelAt(400, 1450) == qRgb(0, 0, 0); }));
  // …yet a click there reaches it.
  ASSERT_TRUE(testing::xdotool("mousemove 400 1450 click 1"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return below.presses() > 0; }));
}

TEST_F(LightWindowOnX11, IsGoneFromTheScreenWhenOrderedOut) {
  QtLightWindow& light = openLightWindow();
  ASSERT_TRUE(rig_.isViewable(light.window()));
  light.orderOut();
  EXPECT_TRUE(QTest::qWaitFor([&] { return !rig_.isViewable(light.window()); }));
}

}  // namespace
}  // namespace tarvelo
