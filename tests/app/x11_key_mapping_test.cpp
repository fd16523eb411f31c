#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "app/key_handler.h"
#include "app/x11/x11_key_mapping.h"
#include "app_test_support.h"
#include "key_event_assertions.h"

namespace tarvelo::testing {
namespace {

constexpr std::uint64_t kCapsLock = 0x10000;
constexpr std::uint64_t kShift = 0x20000;
constexpr std::uint64_t kControl = 0x40000;
constexpr std::uint64_t kOption = 0x80000;
constexpr std::uint64_t kCommand = 0x100000;
constexpr std::uint64_t kCommandShift = kCommand | kShift;

// X keycodes of a standard PC keyboard (evdev code + 8).
constexpr std::uint32_t kX1 = 10;
constexpr std::uint32_t kX2 = 11;
constexpr std::uint32_t kX3 = 12;
constexpr std::uint32_t kXL = 46;
constexpr std::uint32_t kXComma = 59;
constexpr std::uint32_t kXUp = 111;
constexpr std::uint32_t kXLeft = 113;
constexpr std::uint32_t kXRight = 114;
constexpr std::uint32_t kXDown = 116;
constexpr std::uint32_t kXControlL = 37;
constexpr std::uint32_t kXShiftL = 50;
constexpr std::uint32_t kXSuperL = 133;

constexpr std::uint32_t kSuperShift = x11_state::kMod4 | x11_state::kShift;

// ---- Key positions ----

TEST(X11KeyPositionTest, EveryShortcutKeyMapsToTheVirtualKeyCodeOfItsPosition) {
  const std::vector<std::pair<std::uint32_t, std::uint16_t>> shortcutKeys{
      {kX1, 18}, {kX2, 19}, {kX3, 20}, {kXL, 37}, {kXComma, 43},
      {kXLeft, 123}, {kXRight, 124}, {kXDown, 125}, {kXUp, 126}};
  for (const auto& [keycode, virtualKeyCode] : shortcutKeys) {
    EXPECT_EQ(virtualKeyCodeFromX11Keycode(keycode), std::optional<std::uint16_t>(virtualKeyCode))
        << "X keycode " << keycode;
    EXPECT_EQ(x11KeycodeFromVirtualKeyCode(virtualKeyCode), std::optional<std::uint8_t>(keycode))
        << "virtual key code " << virtualKeyCode;
  }
}

TEST(X11KeyPositionTest, OtherKeysOfTheMainBlockKeepTheirPositions) {
  EXPECT_EQ(virtualKeyCodeFromX11Keycode(38), std::optional<std::uint16_t>(0));   // A
  EXPECT_EQ(virtualKeyCodeFromX11Keycode(24), std::optional<std::uint16_t>(12));  // Q
  EXPECT_EQ(virtualKeyCodeFromX11Keycode(19), std::optional<std::uint16_t>(29));  // 0
  EXPECT_EQ(virtualKeyCodeFromX11Keycode(60), std::optional<std::uint16_t>(47));  // period
  EXPECT_EQ(virtualKeyCodeFromX11Keycode(36), std::optional<std::uint16_t>(36));  // Return
  EXPECT_EQ(virtualKeyCodeFromX11Keycode(9), std::optional<std::uint16_t>(53));   // Escape
}

TEST(X11KeyPositionTest, ModifierKeysAndKeysOutsideTheTableHaveNoVirtualKeyCode) {
  // Control_L sits at X keycode 37, which is L's virtual key code: it must not
  // be read as L.
  for (const std::uint32_t keycode : {kXControlL, kXShiftL, kXSuperL, 0U, 8U, 255U, 256U, 0x1002EU}) {
    EXPECT_EQ(virtualKeyCodeFromX11Keycode(keycode), std::nullopt) << "X keycode " << keycode;
  }
  EXPECT_EQ(x11KeycodeFromVirtualKeyCode(0xFFFF), std::nullopt);
}

TEST(X11KeyPositionTest, TheTableIsOneToOne) {
  std::set<std::uint16_t> virtualKeyCodes;
  int mapped = 0;
  for (std::uint32_t keycode = 0; keycode < 256; ++keycode) {
    const std::optional<std::uint16_t> virtualKeyCode = virtualKeyCodeFromX11Keycode(keycode);
    if (!virtualKeyCode) continue;
    ++mapped;
    EXPECT_TRUE(virtualKeyCodes.insert(*virtualKeyCode).second) << "virtual key code " << *virtualKeyCode;
    EXPECT_EQ(x11KeycodeFromVirtualKeyCode(*virtualKeyCode), std::optional<std::uint8_t>(keycode));
  }
  EXPECT_GE(mapped, 9);
}

// ---- Modifier state ----

TEST(X11ModifierStateTest, EachHeldModifierMapsToItsFlag) {
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kShift), kShift);
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kControl), kControl);
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kMod1), kOption);
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kMod4), kCommand);
  EXPECT_EQ(modifierFlagsFromX11State(0), 0U);
}

TEST(X11ModifierStateTest, AltGrIsOptionSoItBreaksAnExactMatchLikeAlt) {
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kMod5), kOption);
  EXPECT_EQ(modifierFlagsFromX11State(kSuperShift | x11_state::kMod5), kCommandShift | kOption);
}

TEST(X11ModifierStateTest, CapsLockCarriesItsFlag) {
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kLock), kCapsLock);
  EXPECT_EQ(modifierFlagsFromX11State(kSuperShift | x11_state::kLock), kCommandShift | kCapsLock);
}

TEST(X11ModifierStateTest, NumLockAndMod3AreIgnored) {
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kMod2), 0U);
  EXPECT_EQ(modifierFlagsFromX11State(x11_state::kMod3), 0U);
  EXPECT_EQ(modifierFlagsFromX11State(kSuperShift | x11_state::kMod2), kCommandShift);
}

TEST(X11ModifierStateTest, PointerButtonsAndKeyboardGroupAreIgnored) {
  const std::uint32_t buttons = 0x100 | 0x200 | 0x400 | 0x800 | 0x1000;
  const std::uint32_t group = 0x2000 | 0x4000;
  EXPECT_EQ(modifierFlagsFromX11State(kSuperShift | buttons | group), kCommandShift);
}

TEST(X11ModifierStateTest, AllModifiersTogether) {
  const std::uint32_t everything = 0xFF;
  EXPECT_EQ(modifierFlagsFromX11State(everything), kCapsLock | kShift | kControl | kOption | kCommand);
}

TEST(X11ModifierStateTest, FlagsThatXCanPressConvertBack) {
  EXPECT_EQ(x11StateFromModifierFlags(kCommandShift), std::optional<std::uint16_t>(kSuperShift));
  EXPECT_EQ(x11StateFromModifierFlags(kCommand), std::optional<std::uint16_t>(x11_state::kMod4));
  EXPECT_EQ(x11StateFromModifierFlags(kOption), std::optional<std::uint16_t>(x11_state::kMod1));
  EXPECT_EQ(x11StateFromModifierFlags(kCapsLock | kControl),
            std::optional<std::uint16_t>(x11_state::kLock | x11_state::kControl));
  EXPECT_EQ(x11StateFromModifierFlags(0), std::optional<std::uint16_t>(0));
  // The numeric-pad and function flags have no X modifier.
  EXPECT_EQ(x11StateFromModifierFlags(kCommandShift | 0x200000), std::nullopt);
  EXPECT_EQ(x11StateFromModifierFlags(0x800000), std::nullopt);
}

// ---- Key events ----

TEST(X11KeyEventTest, SuperShiftLIsCommandShiftL) {
  EXPECT_TRUE(isKeyEvent(keyEventFromX11(kXL, kSuperShift), kCommandShift, 37));
}

TEST(X11KeyEventTest, SuperCommaIsCommandComma) {
  EXPECT_TRUE(isKeyEvent(keyEventFromX11(kXComma, x11_state::kMod4), kCommand, 43));
}

TEST(X11KeyEventTest, ArrowsCarryNoNumericPadOrFunctionFlags) {
  EXPECT_TRUE(isKeyEvent(keyEventFromX11(kXLeft, kSuperShift), kCommandShift, 123));
  EXPECT_TRUE(isKeyEvent(keyEventFromX11(kXRight, kSuperShift), kCommandShift, 124));
  EXPECT_TRUE(isKeyEvent(keyEventFromX11(kXDown, kSuperShift), kCommandShift, 125));
  EXPECT_TRUE(isKeyEvent(keyEventFromX11(kXUp, kSuperShift), kCommandShift, 126));
}

TEST(X11KeyEventTest, AKeyOutsideTheTableGivesNoEvent) {
  EXPECT_EQ(keyEventFromX11(kXSuperL, kSuperShift), std::nullopt);
}

// ---- Grabs ----

TEST(X11ShortcutGrabsTest, NineShortcutsEachWithNumLockOffAndOn) {
  const std::vector<X11KeyGrab> grabs = shortcutKeyGrabs();
  std::vector<X11KeyGrab> expected;
  for (const std::uint32_t keycode : {kX1, kX2, kX3, kXL, kXLeft, kXRight, kXDown, kXUp}) {
    for (const std::uint32_t locks : {0U, 0x10U}) {
      expected.push_back(X11KeyGrab{static_cast<std::uint8_t>(keycode), static_cast<std::uint16_t>(kSuperShift | locks)});
    }
  }
  for (const std::uint32_t locks : {0U, 0x10U}) {
    expected.push_back(X11KeyGrab{static_cast<std::uint8_t>(kXComma), static_cast<std::uint16_t>(0x40 | locks)});
  }
  // In any order: each is a grab of its own.
  const auto byKeyAndModifiers = [](const X11KeyGrab& a, const X11KeyGrab& b) {
    return std::pair(a.keycode, a.modifiers) < std::pair(b.keycode, b.modifiers);
  };
  std::vector<X11KeyGrab> sorted = grabs;
  std::sort(sorted.begin(), sorted.end(), byKeyAndModifiers);
  std::sort(expected.begin(), expected.end(), byKeyAndModifiers);
  EXPECT_EQ(sorted, expected);
}

// A grabbed press never reaches the focused window, so each one must be a
// press the key handler acts on.
TEST(X11ShortcutGrabsTest, EveryGrabbedPressIsExactlyAShortcutOfTheKeyHandler) {
  for (const X11KeyGrab& grab : shortcutKeyGrabs()) {
    EXPECT_EQ(grab.modifiers & x11_state::kLock, 0);
    const std::optional<KeyEvent> event = keyEventFromX11(grab.keycode, grab.modifiers);
    ASSERT_TRUE(event.has_value());
    if (event->keyCode == 43) {
      EXPECT_EQ(event->modifierFlags, kCommand);
    } else {
      EXPECT_EQ(event->modifierFlags, kCommandShift);
    }
  }
}

// ---- Through the key handler ----

class X11ShortcutHandlingTest : public ::testing::Test, protected AppStateHarness {
 protected:
  void pressX11(std::uint32_t keycode, std::uint32_t state) {
    const std::optional<KeyEvent> event = keyEventFromX11(keycode, state);
    ASSERT_TRUE(event.has_value());
    handleShortcutKey(*appState, *event);
  }
};

TEST_F(X11ShortcutHandlingTest, SuperShiftArrowsStepBrightnessAndSpread) {
  AppState& state = create();
  state.setBrightness(1.0);
  state.setSpread(0.5);
  pressX11(kXUp, kSuperShift);
  EXPECT_EQ(state.brightness(), 1.0 + 0.15);
  pressX11(kXDown, kSuperShift);
  EXPECT_EQ(state.brightness(), 1.0 + 0.15 - 0.15);
  pressX11(kXRight, kSuperShift);
  EXPECT_EQ(state.spread(), 0.5 + 0.1);
  pressX11(kXLeft, kSuperShift);
  EXPECT_EQ(state.spread(), 0.5 + 0.1 - 0.1);
}

TEST_F(X11ShortcutHandlingTest, SuperShift1AppliesCinemaWithNumLockOnButNotWithCapsLockOn) {
  AppState& state = create();
  state.setBrightness(2.5);
  pressX11(kX1, kSuperShift | x11_state::kLock);
  EXPECT_EQ(state.brightness(), 2.5);
  pressX11(kX1, kSuperShift | x11_state::kMod2);
  EXPECT_NE(state.brightness(), 2.5);
}

TEST_F(X11ShortcutHandlingTest, SuperShiftAltGr1DoesNothing) {
  AppState& state = create();
  state.setBrightness(2.5);
  pressX11(kX1, kSuperShift | x11_state::kMod5);
  pressX11(kX1, kSuperShift | x11_state::kMod1);
  pressX11(kX1, kSuperShift | x11_state::kControl);
  EXPECT_EQ(state.brightness(), 2.5);
}

TEST_F(X11ShortcutHandlingTest, SuperCommaOpensTheSettingsWindow) {
  create();
  pressX11(kXComma, x11_state::kMod4);
  EXPECT_EQ(fakes.settingsWindows.windows.size(), 1U);
}

}  // namespace
}  // namespace tarvelo::testing
