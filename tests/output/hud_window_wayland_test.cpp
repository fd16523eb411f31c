// The HUD on a Wayland compositor, inside the layer light on the rig's lower
// output: drawn where the light window's controller puts it, faded by its
// alpha, woken by the pointer moving over the light, and worked by clicks,
// which reach it only on its own controls. Read back with grim; the pointer
// is the rig's virtual one.
#include "output/wayland/wayland_hud_window.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QQuickItem>
#include <QTest>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "app/app_state.h"
#include "app/app_test_support.h"
#include "output/light_view.h"
#include "output/wayland/wayland_output_platform.h"
#include "pipeline/zone_color.h"
#include "rig/rig_pointer.h"
#include "rig/wayland_rig_session.h"
#include "ui/view_engine.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;

// The rig's 4k-over-hd layout: HEADLESS-2 (full HD) lies at 960,2160 under
// the 4K HEADLESS-1, in a bounding box of 3840 × 3240.
constexpr DisplayRect kLightScreenFrame{960.0, 2160.0, 1920.0, 1080.0};
constexpr int kLayoutWidth = 3840;
constexpr int kLayoutHeight = 3240;
// Where the light window's controller puts the HUD: centred, 28 above the bottom.
constexpr DisplayRect kHudFrame{1660.0, 3162.0, 520.0, 50.0};
const QRect kHudInLight(700, 1002, 520, 50);

bool run(const std::string& command) { return std::system((command + " > /dev/null 2>&1").c_str()) == 0; }

// The HUD's texts and symbols are near white; the red light never is.
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

class HudOnWayland : public ::testing::Test, protected testing::AppStateHarness {
 protected:
  void SetUp() override {
    testing::useRigLayout("4k-over-hd");
    char pattern[] = "/tmp/tarvelo-wayland-hud-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    shots_ = pattern;
    // Screenshots show the pointer's arrow: it waits on the movie screen,
    // away from the HUD, where the last test may have left it.
    pointer_.moveTo(100.0, 100.0);
    useStackedDisplays();
    create();
    appState->setBrightness(1.0);
    light_ = platform_.createLightWindow(Screen{2U, "Light", kLightScreenFrame}, 30);
    ASSERT_NE(light_, nullptr);
    light_->view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 0.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);
    window_ = platform_.createHudWindow(kHudFrame, *appState, [this] { ++dismissals_; });
    hud_ = dynamic_cast<WaylandHudWindow*>(window_.get());
    ASSERT_NE(hud_, nullptr);
  }

  void TearDown() override {
    window_.reset();
    light_.reset();
    run("rm -rf '" + shots_ + "'");
  }

  QImage screenshot() {
    const std::string file = shots_ + "/HEADLESS-2.png";
    if (!run("grim -o HEADLESS-2 '" + file + "'")) return {};
    return QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32);
  }

  // Runs the event loop until the light screen shows what `settled` wants.
  QImage waitForLightScreen(const std::function<bool(const QImage&)>& settled) {
    QImage shot;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
      shot = screenshot();
      if (!shot.isNull() && settled(shot)) break;
    }
    return shot;
  }

  static bool showsTheHud(const QImage& shot) { return !shot.isNull() && whitePixelsIn(shot, kHudInLight) > 30; }
  static bool showsNoHud(const QImage& shot) { return !shot.isNull() && whitePixelsIn(shot, kHudInLight) == 0; }

  // The centre of one of the HUD's items, in the rig's layout space.
  QPointF layoutCentreOf(const char* objectName) {
    auto* target = hud_->hudView().findChild<QQuickItem*>(QString::fromLatin1(objectName));
    if (target == nullptr) throw std::runtime_error(std::string("the HUD has no item ") + objectName);
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2.0, target->height() / 2.0));
    return {kHudFrame.x + centre.x(), kHudFrame.y + centre.y()};
  }

  // Until the platform has heard the pointer reach `where` over the light.
  bool waitUntilHeardAt(double x, double y) {
    return QTest::qWaitFor([&] {
      const Point location = platform_.mouseLocation();
      return std::abs(location.x - x) < 1.0 && std::abs(location.y - y) < 1.0;
    });
  }

  void clickAt(QPointF where) {
    pointer_.moveTo(where.x(), where.y());
    pointer_.click();
    // The click travels through the compositor and back to the light's own connection.
    QTest::qWait(300);
  }

  std::string shots_;
  ui::ViewEngine views_;
  WaylandOutputPlatform platform_{views_, [](const Screen&) { return std::string("HEADLESS-2"); }};
  testing::RigPointer pointer_{kLayoutWidth, kLayoutHeight};
  std::unique_ptr<LightWindow> light_;
  std::unique_ptr<HudWindow> window_;
  WaylandHudWindow* hud_ = nullptr;
  int dismissals_ = 0;
};

TEST_F(HudOnWayland, IsDrawnInsideTheLightCentred28AboveTheBottom) {
  EXPECT_EQ(hud_->frame(), kHudInLight);
  EXPECT_EQ(window_->alpha(), 1.0);
  const QImage shot = waitForLightScreen(showsTheHud);
  ASSERT_TRUE(showsTheHud(shot));
  // Nothing of it outside its frame: the bands just above and below are light.
  EXPECT_EQ(whitePixelsIn(shot, QRect(700, 990, 520, 12)), 0);
  EXPECT_EQ(whitePixelsIn(shot, QRect(700, 1052, 520, 28)), 0);
  const QRgb beside = shot.pixel(600, 1027);
  EXPECT_GT(qRed(beside), qGreen(beside) + 40) << "the light beside the HUD is red";
}

TEST_F(HudOnWayland, AlphaZeroEmptiesTheOverlayAndAlphaOneBringsItBack) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  window_->animateAlpha(0.0, 0.1);
  EXPECT_TRUE(QTest::qWaitFor([&] { return window_->alpha() == 0.0; }));
  EXPECT_TRUE(showsNoHud(waitForLightScreen(showsNoHud)));
  window_->animateAlpha(1.0, 0.1);
  EXPECT_TRUE(QTest::qWaitFor([&] { return window_->alpha() == 1.0; }));
  EXPECT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
}

TEST_F(HudOnWayland, IsGoneFromTheScreenWhenOrderedOut) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  window_->orderOut();
  EXPECT_TRUE(showsNoHud(waitForLightScreen(showsNoHud)));
}

TEST_F(HudOnWayland, FollowsTheApplicationStateOnScreen) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  const int before = hud_->renderCount();
  appState->setBrightness(2.5);
  EXPECT_TRUE(QTest::qWaitFor([&] { return hud_->renderCount() > before; }))
      << "a value shown on the HUD changed, and it was not drawn again";
}

TEST_F(HudOnWayland, PointerMovesOverTheLightAreHeardWithWhereThePointerIs) {
  int moves = 0;
  const std::optional<MonitorToken> token = platform_.addGlobalMouseMovedMonitor([&] { ++moves; });
  ASSERT_TRUE(token.has_value());
  pointer_.moveTo(1100.0, 2400.0);
  ASSERT_TRUE(QTest::qWaitFor([&] { return moves > 0; })) << "no move over the light was heard";
  const Point location = platform_.mouseLocation();
  EXPECT_NEAR(location.x, 1100.0, 1.0);
  EXPECT_NEAR(location.y, 2400.0, 1.0);

  platform_.removeMonitor(*token);
  const int heard = moves;
  pointer_.moveTo(1300.0, 2500.0);
  ASSERT_TRUE(waitUntilHeardAt(1300.0, 2500.0));
  EXPECT_EQ(moves, heard) << "a removed monitor still hears moves";
}

TEST_F(HudOnWayland, HearsNothingOfThePointerOverTheMovieScreen) {
  pointer_.moveTo(1100.0, 2400.0);
  ASSERT_TRUE(waitUntilHeardAt(1100.0, 2400.0));
  int moves = 0;
  platform_.addGlobalMouseMovedMonitor([&] { ++moves; });
  pointer_.moveTo(500.0, 500.0);
  pointer_.moveTo(900.0, 700.0);
  // Back over the light, so that everything before has surely been read.
  pointer_.moveTo(1200.0, 2600.0);
  ASSERT_TRUE(waitUntilHeardAt(1200.0, 2600.0));
  EXPECT_EQ(moves, 1) << "moves over the movie screen were heard";
}

TEST_F(HudOnWayland, AClickOnPlusRaisesTheBrightness) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  clickAt(layoutCentreOf("brightnessPlus"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return std::abs(appState->brightness() - 1.2) < 1e-9; }))
      << "brightness is " << appState->brightness();
}

TEST_F(HudOnWayland, AClickOnTheHideButtonDismisses) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  clickAt(layoutCentreOf("hideButton"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return dismissals_ == 1; }));
}

TEST_F(HudOnWayland, ClicksOutsideTheControlsDoNothing) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  clickAt(QPointF(1200.0, 2500.0));                        // the light
  clickAt(QPointF(kHudFrame.x + 1.0, kHudFrame.y + 1.0));  // the HUD's frame, outside its capsule
  // A click that does something, so that the ones before have surely been read.
  clickAt(layoutCentreOf("brightnessPlus"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appState->brightness() != 1.0; }));
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.2);
  EXPECT_EQ(dismissals_, 0);
  EXPECT_FALSE(appState->isRunning());
}

TEST_F(HudOnWayland, AHudFadedToNothingTakesNoClicks) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  window_->animateAlpha(0.0, 0.0);
  ASSERT_TRUE(showsNoHud(waitForLightScreen(showsNoHud)));
  clickAt(layoutCentreOf("brightnessPlus"));
  // Back, and one click that counts: had the faded HUD taken the first, two would have.
  window_->animateAlpha(1.0, 0.0);
  ASSERT_TRUE(showsTheHud(waitForLightScreen(showsTheHud)));
  clickAt(layoutCentreOf("brightnessPlus"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appState->brightness() != 1.0; }));
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.2);
}

}  // namespace
}  // namespace tarvelo
