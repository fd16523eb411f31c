#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
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

#include "app/x11/x11_key_monitors.h"
#include "key_event_assertions.h"
#include "x11_rig_application.h"

namespace tarvelo::testing {
namespace {

using namespace std::chrono_literals;

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

// A window of another client that holds the keyboard focus, as the
// application the user is typing into would, and records the key presses the
// server delivers to it.
class FocusedWindowOfAnotherClient {
 public:
  FocusedWindowOfAnotherClient() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) return;
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    window_ = xcb_generate_id(connection_);
    const std::uint32_t values[] = {XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root, 50, 50, 200, 150, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, values);
    xcb_map_window(connection_, window_);
    // A window can take the focus once it is viewable; the round trip of the
    // checked request makes sure the map came first.
    xcb_generic_error_t* error = xcb_request_check(
        connection_, xcb_set_input_focus_checked(connection_, XCB_INPUT_FOCUS_POINTER_ROOT, window_,
                                                 XCB_CURRENT_TIME));
    isFocused_ = error == nullptr;
    std::free(error);

    // Presses of the modifier and lock keys themselves are not what a test asks about.
    xcb_get_modifier_mapping_reply_t* mapping =
        xcb_get_modifier_mapping_reply(connection_, xcb_get_modifier_mapping(connection_), nullptr);
    if (mapping != nullptr) {
      const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(mapping);
      const int count = xcb_get_modifier_mapping_keycodes_length(mapping);
      for (int index = 0; index < count; ++index) {
        if (keycodes[index] != 0) modifierKeys_.push_back(keycodes[index]);
      }
      std::free(mapping);
    }
  }
  ~FocusedWindowOfAnotherClient() { xcb_disconnect(connection_); }
  FocusedWindowOfAnotherClient(const FocusedWindowOfAnotherClient&) = delete;
  FocusedWindowOfAnotherClient& operator=(const FocusedWindowOfAnotherClient&) = delete;

  bool isFocused() const { return isFocused_; }

  struct KeyPress {
    std::uint8_t keycode = 0;
    std::uint16_t state = 0;
  };

  // The next press of a key other than a modifier or lock that the window
  // received; absent when none comes in time.
  std::optional<KeyPress> nextKeyPress() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
        bool isPress = (event->response_type & 0x7F) == XCB_KEY_PRESS;
        KeyPress press;
        if (isPress) {
          const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event);
          press = KeyPress{key->detail, key->state};
          isPress = std::find(modifierKeys_.begin(), modifierKeys_.end(), press.keycode) == modifierKeys_.end();
        }
        std::free(event);
        if (isPress) return press;
      }
      if (xcb_connection_has_error(connection_) != 0) return std::nullopt;
      std::this_thread::sleep_for(5ms);
    }
    return std::nullopt;
  }

 private:
  xcb_connection_t* connection_;
  xcb_window_t window_ = 0;
  bool isFocused_ = false;
  std::vector<xcb_keycode_t> modifierKeys_;
};

constexpr std::uint8_t kX1 = 10;
constexpr std::uint8_t kXL = 46;
constexpr std::uint8_t kXA = 38;
constexpr std::uint8_t kXComma = 59;
constexpr std::uint16_t kXLock = 0x02;
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
                                 "super+shift+alt+1", "super+ctrl+shift+l"}) {
    xdotool("key " + keys + " super+shift+1");
    EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 18)) << keys;
    EXPECT_EQ(received.waiting(), 0U) << keys;
  }
}

// With Caps Lock on the combinations are no shortcut (the comparison is
// exact), so they must reach the window the user is typing into instead of
// being taken from it and dropped.
TEST_F(GlobalKeyMonitorTest, WithCapsLockOnTheShortcutsGoToTheFocusedWindowAndNothingActs) {
  FocusedWindowOfAnotherClient focused;
  ASSERT_TRUE(focused.isFocused());
  {
    LockKeyOn capsLock("Caps_Lock");
    xdotool("key super+shift+l");
    const auto l = focused.nextKeyPress();
    ASSERT_TRUE(l.has_value());
    EXPECT_EQ(l->keycode, kXL);
    EXPECT_EQ(l->state & (kSuperShift | kXLock), kSuperShift | kXLock);
    xdotool("key super+comma");
    const auto comma = focused.nextKeyPress();
    ASSERT_TRUE(comma.has_value());
    EXPECT_EQ(comma->keycode, kXComma);
    xdotool("key super+shift+1");
    const auto one = focused.nextKeyPress();
    ASSERT_TRUE(one.has_value());
    EXPECT_EQ(one->keycode, kX1);
  }
  // Caps Lock off again: the shortcut is ours once more, and nothing of the
  // presses before it reached the handler.
  xdotool("key super+shift+1");
  EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 18));
  EXPECT_EQ(received.waiting(), 0U);
}

TEST_F(GlobalKeyMonitorTest, WithNumLockOnTheShortcutsStillMatchAndTheFocusedWindowGetsNone) {
  FocusedWindowOfAnotherClient focused;
  ASSERT_TRUE(focused.isFocused());
  {
    LockKeyOn numLock("Num_Lock");
    xdotool("key super+shift+Up");
    EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 126));
    xdotool("key super+shift+l");
    EXPECT_TRUE(isKeyEvent(received.next(), kCommandShift, 37));
    xdotool("key super+comma");
    EXPECT_TRUE(isKeyEvent(received.next(), kCommand, 43));
    xdotool("key a");
  }
  // The first press the window saw is the plain "a" typed after the shortcuts.
  const auto first = focused.nextKeyPress();
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->keycode, kXA);
}

TEST_F(GlobalKeyMonitorTest, RemovingTheMonitorReleasesEveryGrab) {
  OtherClient other;
  ASSERT_TRUE(other.connected());
  EXPECT_FALSE(other.grab(kXL, kSuperShift));
  EXPECT_FALSE(other.grab(kXL, kSuperShift | 0x10));
  EXPECT_FALSE(other.grab(kXComma, 0x40 | 0x10));

  monitors.removeMonitor(*token);
  EXPECT_TRUE(other.grab(kXL, kSuperShift));
  EXPECT_TRUE(other.grab(kXL, kSuperShift | 0x10));
  EXPECT_TRUE(other.grab(kXComma, 0x40 | 0x10));
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
