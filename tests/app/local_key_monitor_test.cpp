#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QKeyEvent>
#include <QObject>
#include <QWindow>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "app/x11/x11_key_monitors.h"
#include "key_event_assertions.h"

namespace tarvelo::testing {
namespace {

// X keycode 46 is the L position; state 0x41 is Shift + Mod4 (Super).
constexpr quint32 kXL = 46;
constexpr quint32 kSuperShift = 0x41;

// A window that records the key presses that reach it.
class RecordingWindow : public QWindow {
 public:
  int keyPresses = 0;

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    ++keyPresses;
    event->accept();
  }
};

// A key press as the xcb platform makes it: Qt's key and modifiers plus the X
// keycode and state.
QKeyEvent xcbKeyPress(quint32 keycode, quint32 state) {
  return QKeyEvent(QEvent::KeyPress, Qt::Key_L, Qt::ShiftModifier | Qt::MetaModifier, keycode, 0x4C, state,
                   QStringLiteral("L"));
}

class LocalKeyMonitorTest : public ::testing::Test {
 protected:
  X11KeyMonitors monitors;
  std::vector<KeyEvent> seen;
};

TEST_F(LocalKeyMonitorTest, AKeyPressToOurWindowIsConvertedAndStillDelivered) {
  const std::optional<MonitorToken> token =
      monitors.addLocalKeyDownMonitor([this](const KeyEvent& event) { seen.push_back(event); });
  ASSERT_TRUE(token.has_value());
  RecordingWindow window;
  QKeyEvent press = xcbKeyPress(kXL, kSuperShift);
  QCoreApplication::sendEvent(&window, &press);

  ASSERT_EQ(seen.size(), 1U);
  EXPECT_TRUE(isKeyEvent(seen.front(), 0x120000, 37));
  EXPECT_EQ(window.keyPresses, 1);
}

TEST_F(LocalKeyMonitorTest, TheHandlerRunsBeforeTheWindowGetsTheKey) {
  RecordingWindow window;
  int windowPressesWhenHandled = -1;
  monitors.addLocalKeyDownMonitor([&](const KeyEvent&) { windowPressesWhenHandled = window.keyPresses; });
  QKeyEvent press = xcbKeyPress(kXL, kSuperShift);
  QCoreApplication::sendEvent(&window, &press);
  EXPECT_EQ(windowPressesWhenHandled, 0);
  EXPECT_EQ(window.keyPresses, 1);
}

TEST_F(LocalKeyMonitorTest, CopiesOfThePressSentOnToItemsAreNotCountedAgain) {
  monitors.addLocalKeyDownMonitor([this](const KeyEvent& event) { seen.push_back(event); });
  RecordingWindow window;
  QObject focusedItem;
  QKeyEvent press = xcbKeyPress(kXL, kSuperShift);
  QCoreApplication::sendEvent(&window, &press);
  QCoreApplication::sendEvent(&focusedItem, &press);
  EXPECT_EQ(seen.size(), 1U);
}

TEST_F(LocalKeyMonitorTest, KeyReleasesAndKeysOutsideTheTableAreIgnored) {
  monitors.addLocalKeyDownMonitor([this](const KeyEvent& event) { seen.push_back(event); });
  RecordingWindow window;
  QKeyEvent release(QEvent::KeyRelease, Qt::Key_L, Qt::NoModifier, kXL, 0x6C, 0);
  QCoreApplication::sendEvent(&window, &release);
  // Super_L itself, and a press Qt made up with no native scan code.
  QKeyEvent super(QEvent::KeyPress, Qt::Key_Super_L, Qt::NoModifier, 133, 0xFFEB, 0);
  QCoreApplication::sendEvent(&window, &super);
  QKeyEvent synthetic(QEvent::KeyPress, Qt::Key_L, Qt::NoModifier);
  QCoreApplication::sendEvent(&window, &synthetic);
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(window.keyPresses, 2);
}

TEST_F(LocalKeyMonitorTest, ModifiersComeFromTheNativeXState) {
  monitors.addLocalKeyDownMonitor([this](const KeyEvent& event) { seen.push_back(event); });
  RecordingWindow window;
  QKeyEvent withCapsLock = xcbKeyPress(10, kSuperShift | 0x02);
  QCoreApplication::sendEvent(&window, &withCapsLock);
  QKeyEvent withNumLock = xcbKeyPress(10, kSuperShift | 0x10);
  QCoreApplication::sendEvent(&window, &withNumLock);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_TRUE(isKeyEvent(seen[0], 0x130000, 18));
  EXPECT_TRUE(isKeyEvent(seen[1], 0x120000, 18));
}

TEST_F(LocalKeyMonitorTest, RemovingTheMonitorStopsTheHandler) {
  const std::optional<MonitorToken> token =
      monitors.addLocalKeyDownMonitor([this](const KeyEvent& event) { seen.push_back(event); });
  ASSERT_TRUE(token.has_value());
  monitors.removeMonitor(*token);
  RecordingWindow window;
  QKeyEvent press = xcbKeyPress(kXL, kSuperShift);
  QCoreApplication::sendEvent(&window, &press);
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(window.keyPresses, 1);
}

TEST_F(LocalKeyMonitorTest, EachMonitorGetsItsOwnToken) {
  const std::optional<MonitorToken> first = monitors.addLocalKeyDownMonitor([](const KeyEvent&) {});
  const std::optional<MonitorToken> second = monitors.addLocalKeyDownMonitor([](const KeyEvent&) {});
  ASSERT_TRUE(first.has_value());
  ASSERT_TRUE(second.has_value());
  EXPECT_NE(*first, *second);
}

// ---- Global monitor without an X server ----

TEST(GlobalKeyMonitorOfflineTest, AbsentWhenTheXServerCannotBeReached) {
  const char* old = std::getenv("DISPLAY");
  const std::optional<std::string> previous = old != nullptr ? std::optional<std::string>(old) : std::nullopt;
  setenv("DISPLAY", ":64999", 1);
  X11KeyMonitors monitors;
  const std::optional<MonitorToken> token = monitors.addGlobalKeyDownMonitor([](const KeyEvent&) {});
  if (previous) {
    setenv("DISPLAY", previous->c_str(), 1);
  } else {
    unsetenv("DISPLAY");
  }
  EXPECT_EQ(token, std::nullopt);
}

}  // namespace
}  // namespace tarvelo::testing
