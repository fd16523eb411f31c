// The light where a compositor offers no layer shell: a full-screen toplevel
// on the light screen's output, with the HUD an item of its scene, tried on
// the headless rig's sway with Qt on its wayland platform, read back with
// grim and worked with the rig's virtual pointer.
#include "output/wayland/full_screen_light_window.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QScreen>
#include <QTest>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>

#include "app/app_state.h"
#include "app/app_test_support.h"
#include "output/ambient_gradient_view.h"
#include "output/wayland/light_scene_hud.h"
#include "pipeline/zone_color.h"
#include "rig/rig_pointer.h"
#include "rig/wayland_rig_session.h"
#include "rig_screenshots.h"
#include "ui/view_engine.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;

bool run(const std::string& command) { return std::system((command + " > /dev/null 2>&1").c_str()) == 0; }

class FullScreenLightOnWayland : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::useRigLayout("4k-over-hd");
    ASSERT_TRUE(run("swaymsg 'output HEADLESS-1 bg #000000 solid_color; output HEADLESS-2 bg #000000 solid_color'"));
  }

  static QScreen* screenNamed(const QString& name) {
    for (QScreen* screen : QGuiApplication::screens()) {
      if (screen->name() == name) return screen;
    }
    return nullptr;
  }

  QImage screenshot(const std::string& output) { return shots_.take(output); }

  // Runs the event loop until `output` shows what `settled` wants.
  QImage waitFor(const std::string& output, const std::function<bool(const QImage&)>& settled) {
    return shots_.waitFor(output, settled);
  }

  testing::RigScreenshots shots_;
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

// The HUD's texts and symbols are near white; the red light never is.
using testing::whitePixelsIn;

class HudInTheFullScreenLight : public FullScreenLightOnWayland, protected testing::AppStateHarness {
 protected:
  static constexpr QRect kHudFrame{700, 1002, 520, 50};

  void SetUp() override {
    FullScreenLightOnWayland::SetUp();
    // Screenshots show the pointer's arrow: it waits on the movie screen.
    pointer_.moveTo(100.0, 100.0);
    useStackedDisplays();
    create();
    appState->setBrightness(1.0);
    QScreen* lightScreen = screenNamed(QStringLiteral("HEADLESS-2"));
    ASSERT_NE(lightScreen, nullptr);
    light_ = std::make_unique<FullScreenLightWindow>(*lightScreen, 30);
    light_->onPointerMoved = [this](QPointF position) { moves_.push_back(position); };
    light_->view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 0.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);
    hud_ = std::make_unique<LightSceneHud>(*light_->window().contentItem(), kHudFrame, *appState, views_,
                                           [this] { ++dismissals_; });
  }

  void TearDown() override {
    hud_.reset();
    light_.reset();
    FullScreenLightOnWayland::TearDown();
  }

  static bool showsTheHud(const QImage& shot) { return !shot.isNull() && whitePixelsIn(shot, kHudFrame) > 30; }
  static bool showsNoHud(const QImage& shot) { return !shot.isNull() && whitePixelsIn(shot, kHudFrame) == 0; }

  // The centre of one of the HUD's items, in the rig's layout space (the
  // light screen lies at 960,2160).
  QPointF layoutCentreOf(const char* objectName) {
    auto* target = hud_->hudView().findChild<QQuickItem*>(QString::fromLatin1(objectName));
    if (target == nullptr) throw std::runtime_error(std::string("the HUD has no item ") + objectName);
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2.0, target->height() / 2.0));
    return {960.0 + centre.x(), 2160.0 + centre.y()};
  }

  void clickAt(QPointF where) {
    pointer_.moveTo(where.x() + 1.0, where.y());
    QTest::qWait(100);
    pointer_.moveTo(where.x(), where.y());
    pointer_.click();
    QTest::qWait(300);
  }

  ui::ViewEngine views_;
  testing::RigPointer pointer_{3840, 3240};
  std::unique_ptr<FullScreenLightWindow> light_;
  std::unique_ptr<LightSceneHud> hud_;
  std::vector<QPointF> moves_;
  int dismissals_ = 0;
};

TEST_F(HudInTheFullScreenLight, IsDrawnAtItsFrameOverTheLightAndFadesAway) {
  const QImage shot = waitFor("HEADLESS-2", showsTheHud);
  ASSERT_TRUE(showsTheHud(shot));
  EXPECT_EQ(whitePixelsIn(shot, QRect(700, 990, 520, 12)), 0);
  EXPECT_EQ(whitePixelsIn(shot, QRect(700, 1052, 520, 28)), 0);
  EXPECT_EQ(hud_->alpha(), 1.0);

  hud_->animateAlpha(0.0, 0.1);
  EXPECT_TRUE(QTest::qWaitFor([&] { return hud_->alpha() == 0.0; }));
  EXPECT_FALSE(hud_->hudView().isVisible()) << "a HUD faded to nothing must take no clicks";
  EXPECT_TRUE(showsNoHud(waitFor("HEADLESS-2", showsNoHud)));
  hud_->animateAlpha(1.0, 0.0);
  EXPECT_TRUE(showsTheHud(waitFor("HEADLESS-2", showsTheHud)));
  hud_->orderOut();
  EXPECT_TRUE(showsNoHud(waitFor("HEADLESS-2", showsNoHud)));
}

TEST_F(HudInTheFullScreenLight, TheLightHearsThePointerMoveOverIt) {
  ASSERT_TRUE(showsTheHud(waitFor("HEADLESS-2", showsTheHud)));
  pointer_.moveTo(1100.0, 2400.0);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !moves_.empty(); })) << "no move over the light was heard";
  EXPECT_NEAR(moves_.back().x(), 140.0, 1.0);
  EXPECT_NEAR(moves_.back().y(), 240.0, 1.0);
}

TEST_F(HudInTheFullScreenLight, ClicksWorkItsControlsAndNothingElse) {
  ASSERT_TRUE(showsTheHud(waitFor("HEADLESS-2", showsTheHud)));
  clickAt(QPointF(1200.0, 2500.0));
  clickAt(QPointF(960.0 + kHudFrame.x() + 1.0, 2160.0 + kHudFrame.y() + 1.0));
  clickAt(layoutCentreOf("brightnessPlus"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appState->brightness() != 1.0; }));
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.2) << "a click on the light or beside the capsule did something";
  clickAt(layoutCentreOf("hideButton"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return dismissals_ == 1; }));

  // Faded, it takes no click; back, one click counts once.
  hud_->animateAlpha(0.0, 0.0);
  clickAt(layoutCentreOf("brightnessPlus"));
  hud_->animateAlpha(1.0, 0.0);
  clickAt(layoutCentreOf("brightnessPlus"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return appState->brightness() > 1.3; }));
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.4) << "a faded HUD took a click";
}

}  // namespace
}  // namespace tarvelo
