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

#include <algorithm>
#include <array>
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
#include "rig_screenshots.h"
#include "ui/view_engine.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;

bool run(const std::string& command) { return std::system((command + " > /dev/null 2>&1").c_str()) == 0; }

// The HUD's texts and symbols are near white; the red light never is.
using testing::whitePixelsIn;

// The rig's 4k-over-hd layout: HEADLESS-2 (full HD) lies at 960,2160 under
// the 4K HEADLESS-1. At an output scale of 2 its 1920 × 1080 pixels are
// 960 × 540 units of the layout.
class HudOnWayland : public ::testing::Test, protected testing::AppStateHarness {
 protected:
  explicit HudOnWayland(int outputScale = 1)
      : scale_(outputScale), pointer_(3840, 2160 + 1080 / outputScale) {}

  DisplayRect lightScreenFrame() const { return {960.0, 2160.0, 1920.0 / scale_, 1080.0 / scale_}; }
  // Where the light window's controller puts the HUD: centred, 28 above the bottom.
  QRect hudInLight() const { return QRect((1920 / scale_ - 520) / 2, 1080 / scale_ - 28 - 50, 520, 50); }
  DisplayRect hudFrame() const {
    const QRect inLight = hudInLight();
    return {960.0 + inLight.x(), 2160.0 + inLight.y(), 520.0, 50.0};
  }
  // The HUD in a screenshot of HEADLESS-2, in the output's pixels.
  QRect hudInShot() const { return QRect(hudInLight().topLeft() * scale_, hudInLight().size() * scale_); }

  void SetUp() override {
    testing::useRigLayout("4k-over-hd");
    if (scale_ != 1) {
      ASSERT_TRUE(run("swaymsg output HEADLESS-2 scale " + std::to_string(scale_)));
    }
    // Screenshots show the pointer's arrow: it waits on the movie screen,
    // away from the HUD, where the last test may have left it.
    pointer_.moveTo(100.0, 100.0);
    useStackedDisplays();
    create();
    appState->setBrightness(1.0);
    light_ = platform_.createLightWindow(Screen{2U, "Light", lightScreenFrame()}, 30);
    ASSERT_NE(light_, nullptr);
    light_->view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 0.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);
    window_ = platform_.createHudWindow(hudFrame(), *appState, [this] { ++dismissals_; });
    hud_ = dynamic_cast<WaylandHudWindow*>(window_.get());
    ASSERT_NE(hud_, nullptr);
  }

  void TearDown() override {
    window_.reset();
    light_.reset();
    if (scale_ != 1) testing::useRigLayout("4k-over-hd");
  }

  // Runs the event loop until the light screen shows what `settled` wants.
  QImage waitForLightScreen(const std::function<bool(const QImage&)>& settled) {
    return shots_.waitFor("HEADLESS-2", settled);
  }

  bool showsTheHud(const QImage& shot) const { return !shot.isNull() && whitePixelsIn(shot, hudInShot()) > 30; }
  bool showsNoHud(const QImage& shot) const { return !shot.isNull() && whitePixelsIn(shot, hudInShot()) == 0; }
  std::function<bool(const QImage&)> hudShown() const { return [this](const QImage& shot) { return showsTheHud(shot); }; }
  std::function<bool(const QImage&)> hudGone() const { return [this](const QImage& shot) { return showsNoHud(shot); }; }

  // The centre of one of the HUD's items, in the rig's layout space (the
  // HUD's scene is drawn at the output's scale).
  QPointF layoutCentreOf(const char* objectName) {
    auto* target = hud_->hudView().findChild<QQuickItem*>(QString::fromLatin1(objectName));
    if (target == nullptr) throw std::runtime_error(std::string("the HUD has no item ") + objectName);
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2.0, target->height() / 2.0)) / scale_;
    return {hudFrame().x + centre.x(), hudFrame().y + centre.y()};
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

  int scale_;
  testing::RigScreenshots shots_;
  ui::ViewEngine views_;
  WaylandOutputPlatform platform_{views_, [](const Screen&) { return std::string("HEADLESS-2"); }};
  testing::RigPointer pointer_;
  std::unique_ptr<LightWindow> light_;
  std::unique_ptr<HudWindow> window_;
  WaylandHudWindow* hud_ = nullptr;
  int dismissals_ = 0;
};

TEST_F(HudOnWayland, IsDrawnInsideTheLightCentred28AboveTheBottom) {
  EXPECT_EQ(hud_->frame(), QRect(700, 1002, 520, 50));
  EXPECT_EQ(hud_->scale(), 1);
  EXPECT_EQ(window_->alpha(), 1.0);
  const QImage shot = waitForLightScreen(hudShown());
  ASSERT_TRUE(showsTheHud(shot));
  // Nothing of it outside its frame: the bands just above and below are light.
  EXPECT_EQ(whitePixelsIn(shot, QRect(700, 990, 520, 12)), 0);
  EXPECT_EQ(whitePixelsIn(shot, QRect(700, 1052, 520, 28)), 0);
  const QRgb beside = shot.pixel(600, 1027);
  EXPECT_GT(qRed(beside), qGreen(beside) + 40) << "the light beside the HUD is red";
}

TEST_F(HudOnWayland, AlphaZeroEmptiesTheOverlayAndAlphaOneBringsItBack) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  window_->animateAlpha(0.0, 0.1);
  EXPECT_TRUE(QTest::qWaitFor([&] { return window_->alpha() == 0.0; }));
  EXPECT_TRUE(showsNoHud(waitForLightScreen(hudGone())));
  window_->animateAlpha(1.0, 0.1);
  EXPECT_TRUE(QTest::qWaitFor([&] { return window_->alpha() == 1.0; }));
  EXPECT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
}

TEST_F(HudOnWayland, IsGoneFromTheScreenWhenOrderedOut) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  window_->orderOut();
  EXPECT_TRUE(showsNoHud(waitForLightScreen(hudGone())));
}

TEST_F(HudOnWayland, FollowsTheApplicationStateOnScreen) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
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
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  clickAt(layoutCentreOf("brightnessPlus"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return std::abs(appState->brightness() - 1.2) < 1e-9; }))
      << "brightness is " << appState->brightness();
}

TEST_F(HudOnWayland, AClickOnTheHideButtonDismisses) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  clickAt(layoutCentreOf("hideButton"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return dismissals_ == 1; }));
}

TEST_F(HudOnWayland, ClicksOutsideTheControlsDoNothing) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  clickAt(QPointF(1200.0, 2500.0));                        // the light
  clickAt(QPointF(hudFrame().x + 1.0, hudFrame().y + 1.0));  // the HUD's frame, outside its capsule
  // A click that does something, so that the ones before have surely been read.
  clickAt(layoutCentreOf("brightnessPlus"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appState->brightness() != 1.0; }));
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.2);
  EXPECT_EQ(dismissals_, 0);
  EXPECT_FALSE(appState->isRunning());
}

TEST_F(HudOnWayland, AHudFadedToNothingTakesNoClicks) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  window_->animateAlpha(0.0, 0.0);
  ASSERT_TRUE(showsNoHud(waitForLightScreen(hudGone())));
  clickAt(layoutCentreOf("brightnessPlus"));
  // Back, and one click that counts: had the faded HUD taken the first, two would have.
  window_->animateAlpha(1.0, 0.0);
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  clickAt(layoutCentreOf("brightnessPlus"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appState->brightness() != 1.0; }));
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.2);
}

// ---- On a scaled output ----

class HudOnAScaledOutput : public HudOnWayland {
 protected:
  HudOnAScaledOutput() : HudOnWayland(2) {}
};

// How many 2 × 2 blocks of the output's pixels inside `area` are not one
// colour: none where a picture of half the resolution was doubled.
int mixedBlocksIn(const QImage& shot, const QRect& area) {
  int mixed = 0;
  for (int y = area.top() & ~1; y + 1 <= area.bottom(); y += 2) {
    for (int x = area.left() & ~1; x + 1 <= area.right(); x += 2) {
      const QRgb corner = shot.pixel(x, y);
      if (shot.pixel(x + 1, y) != corner || shot.pixel(x, y + 1) != corner || shot.pixel(x + 1, y + 1) != corner) {
        ++mixed;
      }
    }
  }
  return mixed;
}

TEST_F(HudOnAScaledOutput, IsDrawnAtTheOutputsPixelsWhereTheControllerPutsIt) {
  EXPECT_EQ(hud_->frame(), QRect(220, 462, 520, 50));
  EXPECT_EQ(hud_->scale(), 2);
  const QImage shot = waitForLightScreen(hudShown());
  ASSERT_TRUE(showsTheHud(shot));
  ASSERT_EQ(shot.size(), QSize(1920, 1080));
  EXPECT_EQ(whitePixelsIn(shot, QRect(440, 900, 1040, 24)), 0);
  EXPECT_EQ(whitePixelsIn(shot, QRect(440, 1024, 1040, 56)), 0);
  EXPECT_GT(mixedBlocksIn(shot, hudInShot()), 200) << "the HUD was drawn at half the output's resolution";
}

// Blocks as above that hold a near-white pixel beside one of another colour:
// the arrow's edges, which a doubled arrow draws two pixels at a time.
int mixedWhiteBlocksIn(const QImage& shot, const QRect& area) {
  const auto isWhite = [](QRgb pixel) { return qRed(pixel) > 200 && qGreen(pixel) > 200 && qBlue(pixel) > 200; };
  int mixed = 0;
  for (int y = area.top() & ~1; y + 1 <= area.bottom(); y += 2) {
    for (int x = area.left() & ~1; x + 1 <= area.right(); x += 2) {
      const std::array<QRgb, 4> block{shot.pixel(x, y), shot.pixel(x + 1, y), shot.pixel(x, y + 1),
                                      shot.pixel(x + 1, y + 1)};
      const auto whites = std::count_if(block.begin(), block.end(), isWhite);
      if (whites > 0 && whites < 4) ++mixed;
    }
  }
  return mixed;
}

TEST_F(HudOnAScaledOutput, ThePointersArrowOverTheLightIsDrawnAtTheOutputsPixels) {
  // The hotspot at 100, 100 of the light, 200, 200 in its pixels; the arrow
  // lies below and to the right of it.
  pointer_.moveTo(960.0 + 100.0, 2160.0 + 100.0);
  // Until then the compositor may still show an arrow of its own.
  ASSERT_TRUE(waitUntilHeardAt(960.0 + 100.0, 2160.0 + 100.0));
  const QRect arrow(192, 192, 80, 80);
  const QImage shot = waitForLightScreen([&](const QImage& shown) {
    return !shown.isNull() && whitePixelsIn(shown, arrow) > 40;
  });
  ASSERT_GT(whitePixelsIn(shot, arrow), 40) << "no arrow over the light";
  EXPECT_GT(mixedWhiteBlocksIn(shot, arrow), 20) << "the arrow was drawn at half the output's resolution";
}

TEST_F(HudOnAScaledOutput, AClickOnPlusRaisesTheBrightness) {
  ASSERT_TRUE(showsTheHud(waitForLightScreen(hudShown())));
  clickAt(layoutCentreOf("brightnessPlus"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appState->brightness() != 1.0; }));
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.2);
}

}  // namespace
}  // namespace tarvelo
