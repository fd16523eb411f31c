#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QGuiApplication>
#include <QWindow>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "app/x11_key_monitors.h"
#include "key_event_assertions.h"
#include "x11_rig_application.h"

namespace tarvelo::testing {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kCapsLock = 0x10000;
constexpr std::uint64_t kShift = 0x20000;
constexpr std::uint64_t kControl = 0x40000;
constexpr std::uint64_t kCommand = 0x100000;
constexpr std::uint64_t kCommandShift = kCommand | kShift;

// How long a test waits for a key it is sure to get before it gives up; only
// ever reached when something is broken.
constexpr auto kPatience = 10s;

void run(const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }

// Types keys on the rig's display through the XTEST extension.
void xdotool(const std::string& arguments) { run("xdotool " + arguments); }

// Turns a lock on for one test and off again whatever happens.
class LockKeyOn {
 public:
  explicit LockKeyOn(std::string keysym) : keysym_(std::move(keysym)) { xdotool("key " + keysym_); }
  ~LockKeyOn() { xdotool("key " + keysym_); }
  LockKeyOn(const LockKeyOn&) = delete;
  LockKeyOn& operator=(const LockKeyOn&) = delete;

 private:
  std::string keysym_;
};

// What the global handler received, and on which thread.
class ReceivedKeys {
 public:
  std::function<void(const KeyEvent&)> handler() {
    return [this](const KeyEvent& event) {
      const std::lock_guard lock(mutex_);
      events_.push_back(event);
      threads_.push_back(std::this_thread::get_id());
      arrived_.notify_all();
    };
  }

  std::optional<KeyEvent> next() {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, kPatience, [this] { return !events_.empty(); })) return std::nullopt;
    const KeyEvent event = events_.front();
    events_.pop_front();
    return event;
  }

  std::size_t waiting() {
    const std::lock_guard lock(mutex_);
    return events_.size();
  }

  std::vector<std::thread::id> threads() {
    const std::lock_guard lock(mutex_);
    return threads_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<KeyEvent> events_;
  std::vector<std::thread::id> threads_;
};

// Another client of the X server, for taking or probing grabs.
class OtherClient {
 public:
  OtherClient() : connection_(xcb_connect(nullptr, nullptr)) {
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  }
  ~OtherClient() { xcb_disconnect(connection_); }
  OtherClient(const OtherClient&) = delete;
  OtherClient& operator=(const OtherClient&) = delete;

  bool connected() { return xcb_connection_has_error(connection_) == 0; }

  // Whether the server let this client grab the combination.
  bool grab(std::uint8_t keycode, std::uint16_t modifiers) {
    xcb_generic_error_t* error = xcb_request_check(
        connection_,
        xcb_grab_key_checked(connection_, 0, root_, modifiers, keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    const bool granted = error == nullptr;
    std::free(error);
    return granted;
  }

  void grabWithEveryLock(std::uint8_t keycode, std::uint16_t modifiers) {
    for (const std::uint16_t locks : {0x00, 0x02, 0x10, 0x12}) {
      ASSERT_TRUE(grab(keycode, static_cast<std::uint16_t>(modifiers | locks)));
    }
  }

  void ungrab(std::uint8_t keycode, std::uint16_t modifiers) {
    xcb_request_check(connection_, xcb_ungrab_key_checked(connection_, keycode, root_, modifiers));
  }

 private:
  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
};

constexpr std::uint8_t kX1 = 10;
constexpr std::uint8_t kXL = 46;
constexpr std::uint16_t kSuperShift = 0x41;

class GlobalKeyMonitorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    token = monitors.addGlobalKeyDownMonitor(received.handler());
    ASSERT_TRUE(token.has_value());
  }

  ReceivedKeys received;
  X11KeyMonitors monitors;
  std::optional<MonitorToken> token;
};

TEST_F(GlobalKeyMonitorTest, EachShortcutArrivesInTheKeyHandlersTerms) {
  const std::vector<std::tuple<std::string, std::uint64_t, std::uint16_t>> shortcuts{
      {"super+shift+1", kCommandShift, 18},    {"super+shift+2", kCommandShift, 19},
      {"super+shift+3", kCommandShift, 20},    {"super+shift+l", kCommandShift, 37},
      {"super+shift+Left", kCommandShift, 123}, {"super+shift+Right", kCommandShift, 124},
      {"super+shift+Down", kCommandShift, 125}, {"super+shift+Up", kCommandShift, 126},
      {"super+comma", kCommand, 43},
  };
  for (const auto& [keys, modifierFlags, keyCode] : shortcuts) {
    xdotool("key " + keys);
    EXPECT_TRUE(isKeyEvent(received.next(), modifierFlags, keyCode)) << keys;
  }
  EXPECT_EQ(received.waiting(), 0U);
}

TEST_F(GlobalKeyMonitorTest, TheHandlerRunsOnTheGrabsOwnThread) {
  xdotool("key super+shift+l");
  ASSERT_TRUE(received.next().has_value());
  const std::vector<std::thread::id> threads = received.threads();
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_NE(threads.front(), std::this_thread::get_id());
}

// Each check ends with a grabbed key: X delivers in order, so when that one
// arrives, anything the combination before it would have caused is in too.
TEST_F(GlobalKeyMonitorTest, CombinationsThatAreNoShortcutDeliverNothing) {
  for (const std::string keys : {"ctrl+shift+l", "super+l", "shift+l", "super+shift+a", "super+shift+alt+l",
                                 "super+ctrl+shift+l"}) {
    xdotool("key " + keys + " super+shift+1");
    EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 18)) << keys;
    EXPECT_EQ(received.waiting(), 0U) << keys;
  }
}

TEST_F(GlobalKeyMonitorTest, WithCapsLockOnTheEventCarriesItsFlag) {
  LockKeyOn capsLock("Caps_Lock");
  xdotool("key super+shift+l");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift | kCapsLock, 37));
  xdotool("key super+comma");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommand | kCapsLock, 43));
}

TEST_F(GlobalKeyMonitorTest, WithNumLockOnTheShortcutsStillMatch) {
  LockKeyOn numLock("Num_Lock");
  xdotool("key super+shift+Up");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 126));
  xdotool("key super+comma");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommand, 43));
}

TEST_F(GlobalKeyMonitorTest, RemovingTheMonitorReleasesEveryGrab) {
  OtherClient other;
  ASSERT_TRUE(other.connected());
  EXPECT_FALSE(other.grab(kXL, kSuperShift));
  EXPECT_FALSE(other.grab(kXL, kSuperShift | 0x02));
  EXPECT_FALSE(other.grab(59, 0x40 | 0x10));

  monitors.removeMonitor(*token);
  EXPECT_TRUE(other.grab(kXL, kSuperShift));
  EXPECT_TRUE(other.grab(kXL, kSuperShift | 0x02));
  EXPECT_TRUE(other.grab(59, 0x40 | 0x10));
}

TEST_F(GlobalKeyMonitorTest, DestroyingTheMonitorsReleasesTheGrabs) {
  OtherClient other;
  ASSERT_TRUE(other.connected());
  {
    X11KeyMonitors shortLived;
    monitors.removeMonitor(*token);
    ASSERT_TRUE(shortLived.addGlobalKeyDownMonitor([](const KeyEvent&) {}).has_value());
    EXPECT_FALSE(other.grab(kXL, kSuperShift));
  }
  EXPECT_TRUE(other.grab(kXL, kSuperShift));
}

// The rig's keyboard with another layout for one test, and back to "us".
class KeyboardLayout {
 public:
  explicit KeyboardLayout(const std::string& layout) { run("setxkbmap " + layout); }
  ~KeyboardLayout() { run("setxkbmap us"); }
  KeyboardLayout(const KeyboardLayout&) = delete;
  KeyboardLayout& operator=(const KeyboardLayout&) = delete;
};

TEST_F(GlobalKeyMonitorTest, ShortcutKeysAreRecognisedByPositionWhateverTheLayoutTypes) {
  // On a French AZERTY keyboard the key in the "1" position types "&", the
  // one in the "L" position still "l", and "," sits where M is on US keys.
  KeyboardLayout french("fr");
  xdotool("key super+shift+ampersand");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 18));
  xdotool("key super+shift+eacute");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 19));
  // "super+comma" types the key that carries "," here (US M position): not
  // the shortcut, which is the key in the US comma position ("; ." on AZERTY).
  xdotool("key super+comma super+semicolon");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommand, 43));
  EXPECT_EQ(received.waiting(), 0U);
}

// ---- Grabs another program holds ----

TEST(GlobalKeyMonitorContentionTest, AShortcutAnotherProgramHoldsIsSkippedAndTheRestStillWork) {
  OtherClient other;
  ASSERT_TRUE(other.connected());
  other.grabWithEveryLock(kX1, kSuperShift);

  ReceivedKeys received;
  X11KeyMonitors monitors;
  ASSERT_TRUE(monitors.addGlobalKeyDownMonitor(received.handler()).has_value());
  // Super+Shift+1 goes to the other program; the L after it comes to us.
  xdotool("key super+shift+1 super+shift+l");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 37));
  EXPECT_EQ(received.waiting(), 0U);
}

TEST(GlobalKeyMonitorContentionTest, AbsentWhenAnotherProgramHoldsEveryShortcut) {
  OtherClient other;
  ASSERT_TRUE(other.connected());
  for (const std::uint8_t keycode : {10, 11, 12, 46, 111, 113, 114, 116}) other.grabWithEveryLock(keycode, kSuperShift);
  other.grabWithEveryLock(59, 0x40);

  X11KeyMonitors monitors;
  EXPECT_EQ(monitors.addGlobalKeyDownMonitor([](const KeyEvent&) {}), std::nullopt);
}

// ---- Our own window ----

// Runs Qt's event loop until `done` holds or patience runs out.
bool processEventsUntil(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

TEST(KeyMonitorsInOurOwnWindowTest, AGrabbedShortcutReachesOnlyTheGlobalMonitor) {
  rigApplication();
  ReceivedKeys global;
  std::vector<KeyEvent> local;
  X11KeyMonitors monitors;
  ASSERT_TRUE(monitors.addGlobalKeyDownMonitor(global.handler()).has_value());
  ASSERT_TRUE(monitors.addLocalKeyDownMonitor([&](const KeyEvent& event) { local.push_back(event); }).has_value());

  QWindow window;
  window.setGeometry(100, 100, 400, 300);
  window.show();
  window.requestActivate();
  ASSERT_TRUE(processEventsUntil([&] { return window.isExposed() && window.isActive(); }));
  xdotool("mousemove 300 250");

  // The grabbed combination goes to the grab; the ungrabbed one after it is
  // typed into our window, where the local monitor sees it with the X keycode
  // and state Qt read from the server.
  xdotool("key super+shift+l ctrl+shift+l");
  EXPECT_TRUE(isKeyEvent(global.next(), kCommandShift, 37));
  ASSERT_TRUE(processEventsUntil([&] { return !local.empty(); }));
  EXPECT_TRUE(isKeyEvent(local.front(), kControl | kShift, 37));
  EXPECT_EQ(local.size(), 1U);
  EXPECT_EQ(global.waiting(), 0U);
}

TEST(KeyMonitorsInOurOwnWindowTest, WithoutTheGrabTheShortcutReachesTheLocalMonitor) {
  rigApplication();
  std::vector<KeyEvent> local;
  X11KeyMonitors monitors;
  ASSERT_TRUE(monitors.addLocalKeyDownMonitor([&](const KeyEvent& event) { local.push_back(event); }).has_value());

  QWindow window;
  window.setGeometry(100, 100, 400, 300);
  window.show();
  window.requestActivate();
  ASSERT_TRUE(processEventsUntil([&] { return window.isExposed() && window.isActive(); }));
  xdotool("mousemove 300 250");

  xdotool("key super+shift+3");
  ASSERT_TRUE(processEventsUntil([&] { return !local.empty(); }));
  EXPECT_TRUE(isKeyEvent(local.front(), kCommandShift, 20));
  EXPECT_EQ(local.size(), 1U);
}

}  // namespace
}  // namespace tarvelo::testing
