#include <gtest/gtest.h>

#include <QTest>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "app/app_state.h"
#include "app/app_test_support.h"
#include "app/qt_main_queue.h"
#include "output/ambient_light_window.h"
#include "output/x11/qt_hud_window.h"
#include "output/x11/x11_mouse_monitor.h"
#include "output/x11/x11_output_platform.h"
#include "ui/view_engine.h"
#include "output/x11_output_rig.h"

namespace tarvelo {
namespace {

using std::chrono::seconds;

// Counts pointer moves reported by a monitor, from whichever thread reports them.
class MoveCounter {
 public:
  std::function<void()> handler() {
    return [this] {
      std::lock_guard lock(mutex_);
      ++moves_;
      moved_.notify_all();
    };
  }

  int moves() {
    std::lock_guard lock(mutex_);
    return moves_;
  }

  // Waits until more than `count` moves were reported; the limit only keeps a
  // broken monitor from hanging the test.
  bool waitForMoreThan(int count) {
    std::unique_lock lock(mutex_);
    return moved_.wait_for(lock, seconds(10), [&] { return moves_ > count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable moved_;
  int moves_ = 0;
};

// Puts the pointer at (x, y) without the monitor seeing it: the server
// reports no raw motion for an absolute XTest move.
void placePointerAt(int x, int y) {
  ASSERT_TRUE(testing::xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y)));
}

// Puts the pointer near (x, y), then moves it by one pixel the way a mouse
// does (relative motion), which the server reports as raw motion.
void movePointerTo(int x, int y) {
  ASSERT_TRUE(
      testing::xdotool("mousemove " + std::to_string(x - 1) + " " + std::to_string(y) + " mousemove_relative 1 0"));
}

TEST(MouseMonitorOnX11, ReportsPointerMotionOnTheBottomOutput) {
  placePointerAt(100, 100);
  MoveCounter counter;
  ui::ViewEngine views;
  X11OutputPlatform platform(views, testing::rigOutputIdForName);
  const std::optional<MonitorToken> token = platform.addGlobalMouseMovedMonitor(counter.handler());
  ASSERT_TRUE(token.has_value());
  const int before = counter.moves();
  movePointerTo(960, 1600);
  EXPECT_TRUE(counter.waitForMoreThan(before));
  platform.removeMonitor(*token);
}

TEST(MouseMonitorOnX11, ReportsPointerMotionOnTheTopOutputToo) {
  placePointerAt(960, 1600);
  MoveCounter counter;
  ui::ViewEngine views;
  X11OutputPlatform platform(views, testing::rigOutputIdForName);
  const std::optional<MonitorToken> token = platform.addGlobalMouseMovedMonitor(counter.handler());
  ASSERT_TRUE(token.has_value());
  const int before = counter.moves();
  movePointerTo(500, 300);
  EXPECT_TRUE(counter.waitForMoreThan(before));
  platform.removeMonitor(*token);
}

TEST(MouseMonitorOnX11, RunsTheHandlerOffTheMainThread) {
  std::mutex mutex;
  std::condition_variable reported;
  std::optional<std::thread::id> handlerThread;
  ui::ViewEngine views;
  X11OutputPlatform platform(views, testing::rigOutputIdForName);
  const std::optional<MonitorToken> token = platform.addGlobalMouseMovedMonitor([&] {
    std::lock_guard lock(mutex);
    handlerThread = std::this_thread::get_id();
    reported.notify_all();
  });
  ASSERT_TRUE(token.has_value());
  movePointerTo(300, 1500);
  std::unique_lock lock(mutex);
  ASSERT_TRUE(reported.wait_for(lock, seconds(10), [&] { return handlerThread.has_value(); }));
  EXPECT_NE(*handlerThread, std::this_thread::get_id());
  lock.unlock();
  platform.removeMonitor(*token);
}

TEST(MouseMonitorOnX11, RemovedMonitorReportsNothingMore) {
  MoveCounter counter;
  ui::ViewEngine views;
  X11OutputPlatform platform(views, testing::rigOutputIdForName);
  const std::optional<MonitorToken> token = platform.addGlobalMouseMovedMonitor(counter.handler());
  ASSERT_TRUE(token.has_value());
  platform.removeMonitor(*token);
  const int afterRemoval = counter.moves();

  // A second monitor proves the motion happened and was delivered.
  MoveCounter witness;
  const std::optional<MonitorToken> witnessToken = platform.addGlobalMouseMovedMonitor(witness.handler());
  ASSERT_TRUE(witnessToken.has_value());
  movePointerTo(710, 1700);
  ASSERT_TRUE(witness.waitForMoreThan(0));
  platform.removeMonitor(*witnessToken);
  EXPECT_EQ(counter.moves(), afterRemoval);
}

TEST(MouseMonitorOnX11, EachMonitorGetsItsOwnToken) {
  ui::ViewEngine views;
  X11OutputPlatform platform(views, testing::rigOutputIdForName);
  const std::optional<MonitorToken> first = platform.addGlobalMouseMovedMonitor([] {});
  const std::optional<MonitorToken> second = platform.addGlobalMouseMovedMonitor([] {});
  ASSERT_TRUE(first && second);
  EXPECT_NE(*first, *second);
  platform.removeMonitor(*first);
  platform.removeMonitor(*second);
}

TEST(MouseMonitorOnX11, NoServerMeansNoMonitor) {
  EXPECT_EQ(X11MouseMonitor::start(std::string(":1999"), [] {}), nullptr);
}

TEST(MouseMonitorOnX11, PointerLocationIsInGlobalCoordinates) {
  ui::ViewEngine views;
  X11OutputPlatform platform(views, testing::rigOutputIdForName);
  placePointerAt(321, 1654);
  EXPECT_TRUE(QTest::qWaitFor([&] {
    const Point location = platform.mouseLocation();
    return location.x == 321.0 && location.y == 1654.0;
  }));
}

// The real platform, plus a witness for the controller's hops to the main
// queue: right after each of the controller's monitor handlers has posted its
// job, this posts a marker from the same thread, so when the marker has run
// the controller has handled that move.
class WitnessedPlatform final : public OutputPlatform {
 public:
  WitnessedPlatform(OutputPlatform& inner, MainQueue& mainQueue) : inner_(inner), mainQueue_(mainQueue) {}

  std::unique_ptr<LightWindow> createLightWindow(const Screen& screen, std::int64_t maximumFramesPerSecond) override {
    return inner_.createLightWindow(screen, maximumFramesPerSecond);
  }
  std::unique_ptr<HudWindow> createHudWindow(const DisplayRect& frame, AppState& appState,
                                             std::function<void()> onDismiss) override {
    std::unique_ptr<HudWindow> window = inner_.createHudWindow(frame, appState, std::move(onDismiss));
    hud = dynamic_cast<QtHudWindow*>(window.get());
    return window;
  }
  std::optional<MonitorToken> addGlobalMouseMovedMonitor(std::function<void()> handler) override {
    return inner_.addGlobalMouseMovedMonitor([this, handler = std::move(handler)] {
      handler();
      mainQueue_.post([this] { ++handledMoves; });
    });
  }
  void removeMonitor(MonitorToken token) override { inner_.removeMonitor(token); }
  Point mouseLocation() override { return inner_.mouseLocation(); }

  QtHudWindow* hud = nullptr;
  int handledMoves = 0;  // main thread only

 private:
  OutputPlatform& inner_;
  MainQueue& mainQueue_;
};

class HudWakingOnX11 : public ::testing::Test, protected testing::AppStateHarness {
 protected:
  HudWakingOnX11() {
    create();
    controller_.setup(testing::bottomScreen(), *appState);
  }
  ~HudWakingOnX11() override { controller_.close(); }

  HudWindow& hud() { return *platform_.hud; }

  // The HUD's own hide button: it fades out at the default duration.
  void dismissWithTheHideButton() {
    QQuickItem* hide = platform_.hud->hudView().findChild<QQuickItem*>(QStringLiteral("hideButton"));
    ASSERT_NE(hide, nullptr);
    QTest::mouseClick(&platform_.hud->window(), Qt::LeftButton, Qt::NoModifier,
                      hide->mapToScene(QPointF(hide->width() / 2, hide->height() / 2)).toPoint());
    ASSERT_TRUE(QTest::qWaitFor([&] { return hud().alpha() == 0.0 && !platform_.hud->window().isVisible(); }));
  }

  // Moves the pointer and waits until the controller has handled the move.
  void moveAndWaitForTheController(int x, int y) {
    const int before = platform_.handledMoves;
    movePointerTo(x, y);
    ASSERT_TRUE(QTest::qWaitFor([&] { return platform_.handledMoves > before; }, 10000));
  }

  QtMainQueue mainQueue_;
  ui::ViewEngine views_;
  X11OutputPlatform x11_{views_, testing::rigOutputIdForName};
  WitnessedPlatform platform_{x11_, mainQueue_};
  AmbientLightWindow controller_{platform_, mainQueue_};
};

TEST_F(HudWakingOnX11, HudIsUpAfterSetup) {
  ASSERT_NE(platform_.hud, nullptr);
  EXPECT_EQ(hud().alpha(), 1.0);
  EXPECT_TRUE(platform_.hud->window().isVisible());
}

TEST_F(HudWakingOnX11, MotionOnTheLightDisplayBringsADismissedHudBack) {
  placePointerAt(960, 400);
  dismissWithTheHideButton();
  moveAndWaitForTheController(960, 1600);
  EXPECT_TRUE(QTest::qWaitFor([&] { return hud().alpha() == 1.0; }));
  EXPECT_TRUE(platform_.hud->window().isVisible());
}

TEST_F(HudWakingOnX11, MotionOnTheMovieDisplayLeavesADismissedHudHidden) {
  placePointerAt(960, 1600);
  dismissWithTheHideButton();
  moveAndWaitForTheController(960, 400);
  EXPECT_EQ(hud().alpha(), 0.0);
  EXPECT_FALSE(platform_.hud->window().isVisible());
}

// The real timers on the real main queue: the HUD that came up with the lights
// fades by itself after 4.5 s, and a move on the light display brings it back
// until 3.5 s after that move.
TEST_F(HudWakingOnX11, HudFadesAfterItsTimerAndAMoveOnTheLightDisplayBringsItBack) {
  placePointerAt(960, 400);
  ASSERT_EQ(hud().alpha(), 1.0);
  ASSERT_TRUE(QTest::qWaitFor([&] { return hud().alpha() == 0.0 && !platform_.hud->window().isVisible(); }, 15000))
      << "the HUD did not fade after its timer";

  moveAndWaitForTheController(960, 1600);
  EXPECT_TRUE(QTest::qWaitFor([&] { return hud().alpha() == 1.0; }));
  EXPECT_TRUE(QTest::qWaitFor([&] { return hud().alpha() == 0.0; }, 15000)) << "the HUD did not fade after the move";
}

}  // namespace
}  // namespace tarvelo
