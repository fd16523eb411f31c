#include <gtest/gtest.h>

#include <QMetaObject>
#include <QVariantList>
#include <QVariantMap>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "app/key_handler.h"
#include "app/persisted_settings.h"
#include "app/presets.h"
#include "app_test_support.h"

namespace tarvelo::testing {
namespace {

namespace keys = settings_keys;

constexpr std::uint64_t kShift = 0x20000;
constexpr std::uint64_t kCommand = 0x100000;
constexpr std::uint64_t kCapsLock = 0x10000;
constexpr std::uint64_t kControl = 0x40000;
constexpr std::uint64_t kOption = 0x80000;
constexpr std::uint64_t kNumericPad = 0x200000;
constexpr std::uint64_t kFunction = 0x800000;
constexpr std::uint64_t kCommandShift = kCommand | kShift;

constexpr std::uint16_t kKey1 = 18;
constexpr std::uint16_t kKey2 = 19;
constexpr std::uint16_t kKey3 = 20;
constexpr std::uint16_t kKeyL = 37;
constexpr std::uint16_t kKeyComma = 43;
constexpr std::uint16_t kLeft = 123;
constexpr std::uint16_t kRight = 124;
constexpr std::uint16_t kDown = 125;
constexpr std::uint16_t kUp = 126;

const std::vector<std::string> kPresetKeysInOrder{keys::kBrightness, keys::kVibrancy, keys::kSpread,
                                                  keys::kBlurRadius, keys::kSmoothing};

class ShortcutsTest : public ::testing::Test, protected AppStateHarness {
 protected:
  // A key typed into one of our own windows: handled at once, on the main thread.
  void press(std::uint64_t modifiers, std::uint16_t keyCode) { fakes.keys.typeLocally(KeyEvent{modifiers, keyCode}); }
};

void expectPreset(const AppState& state, double brightness, double vibrancy, double spread, double blurRadius,
                  double smoothing) {
  EXPECT_EQ(state.brightness(), brightness);
  EXPECT_EQ(state.vibrancy(), vibrancy);
  EXPECT_EQ(state.spread(), spread);
  EXPECT_EQ(state.blurRadius(), blurRadius);
  EXPECT_EQ(state.smoothing(), smoothing);
}

// ---- Presets ----

TEST(AtmospherePresetsTest, ThreePresetsWithTheirNamesIconsAndValuesInShortcutOrder) {
  ASSERT_EQ(kAtmospherePresets.size(), 3U);
  EXPECT_EQ(kAtmospherePresets[0].name, "Cinema");
  EXPECT_EQ(kAtmospherePresets[0].iconName, "popcorn.fill");
  EXPECT_EQ(kAtmospherePresets[1].name, "Flood");
  EXPECT_EQ(kAtmospherePresets[1].iconName, "rays");
  EXPECT_EQ(kAtmospherePresets[2].name, "Subtle");
  EXPECT_EQ(kAtmospherePresets[2].iconName, "moon.fill");

  EXPECT_EQ(kCinemaPreset.brightness, 1.4);
  EXPECT_EQ(kCinemaPreset.vibrancy, 1.7);
  EXPECT_EQ(kCinemaPreset.spread, 0.8);
  EXPECT_EQ(kCinemaPreset.blurRadius, 55.0);
  EXPECT_EQ(kCinemaPreset.smoothing, 0.3);
  EXPECT_EQ(kFloodPreset.brightness, 2.5);
  EXPECT_EQ(kFloodPreset.vibrancy, 2.1);
  EXPECT_EQ(kFloodPreset.spread, 1.0);
  EXPECT_EQ(kFloodPreset.blurRadius, 80.0);
  EXPECT_EQ(kFloodPreset.smoothing, 0.25);
  EXPECT_EQ(kSubtlePreset.brightness, 0.7);
  EXPECT_EQ(kSubtlePreset.vibrancy, 1.2);
  EXPECT_EQ(kSubtlePreset.spread, 0.5);
  EXPECT_EQ(kSubtlePreset.blurRadius, 40.0);
  EXPECT_EQ(kSubtlePreset.smoothing, 0.4);
}

TEST(AtmospherePresetsTest, CinemaIsCloseToButNotTheSameAsTheDefaults) {
  EXPECT_NE(kCinemaPreset.spread, setting_defaults::kSpread);
  EXPECT_NE(kCinemaPreset.blurRadius, setting_defaults::kBlurRadius);
}

TEST_F(ShortcutsTest, ApplyingAPresetStoresTheFiveValuesInOrderAndTouchesNothingElse) {
  useStackedDisplays();
  AppState& state = create();
  state.setCaptureRate(60);
  state.setShowFloatingHUD(false);
  fakes.settings.clearWrites();

  applyPreset(state, kFloodPreset);

  expectPreset(state, 2.5, 2.1, 1.0, 80.0, 0.25);
  EXPECT_EQ(fakes.settings.writtenKeys(), kPresetKeysInOrder);
  EXPECT_EQ(state.captureRate(), 60);
  EXPECT_FALSE(state.showFloatingHUD());
  EXPECT_EQ(state.sourceDisplayID(), kTopDisplay);
}

TEST_F(ShortcutsTest, ApplyingAPresetByIndexUsesTheSameOrderAndIgnoresUnknownIndices) {
  AppState& state = create();
  state.applyPresetAt(2);
  expectPreset(state, 0.7, 1.2, 0.5, 40.0, 0.4);
  EXPECT_EQ(fakes.settings.writtenKeys(), kPresetKeysInOrder);
  fakes.settings.clearWrites();
  state.applyPresetAt(3);
  state.applyPresetAt(-1);
  EXPECT_TRUE(fakes.settings.writes().empty());
}

TEST_F(ShortcutsTest, ViewsListThePresetsInButtonOrderAndApplyThemByIndex) {
  AppState& state = create();
  const QVariantList presets = state.property("atmospherePresets").toList();
  ASSERT_EQ(presets.size(), 3);
  const QVariantMap flood = presets[1].toMap();
  EXPECT_EQ(flood.value("name").toString(), QString("Flood"));
  EXPECT_EQ(flood.value("iconName").toString(), QString("rays"));
  EXPECT_EQ(flood.value("brightness").toDouble(), 2.5);
  EXPECT_EQ(flood.value("vibrancy").toDouble(), 2.1);
  EXPECT_EQ(flood.value("spread").toDouble(), 1.0);
  EXPECT_EQ(flood.value("blurRadius").toDouble(), 80.0);
  EXPECT_EQ(flood.value("smoothing").toDouble(), 0.25);
  EXPECT_EQ(presets[0].toMap().value("name").toString(), QString("Cinema"));
  EXPECT_EQ(presets[2].toMap().value("iconName").toString(), QString("moon.fill"));
  EXPECT_TRUE(QMetaObject::invokeMethod(&state, "applyPresetAt", Q_ARG(int, 1)));
  expectPreset(state, 2.5, 2.1, 1.0, 80.0, 0.25);
}

// ---- Preset shortcuts ----

TEST_F(ShortcutsTest, CommandShift1WhileStoppedStoresCinemaWithoutStartingAnything) {
  useStackedDisplays();
  AppState& state = create();
  state.setBrightness(2.0);
  fakes.settings.clearWrites();

  press(kCommandShift, kKey1);
  fakes.mainQueue.runPending();

  expectPreset(state, 1.4, 1.7, 0.8, 55.0, 0.3);
  EXPECT_EQ(fakes.settings.writtenKeys(), kPresetKeysInOrder);
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
  EXPECT_TRUE(fakes.output.lightWindows.empty());
}

TEST_F(ShortcutsTest, CommandShift2AppliesFloodAndCommandShift3AppliesSubtle) {
  AppState& state = create();
  press(kCommandShift, kKey2);
  expectPreset(state, 2.5, 2.1, 1.0, 80.0, 0.25);
  press(kCommandShift, kKey3);
  expectPreset(state, 0.7, 1.2, 0.5, 40.0, 0.4);
}

TEST_F(ShortcutsTest, CommandShiftOption1DoesNothing) {
  AppState& state = create();
  press(kCommandShift | kOption, kKey1);
  EXPECT_TRUE(fakes.settings.writes().empty());
  EXPECT_EQ(state.spread(), 0.85);
}

TEST_F(ShortcutsTest, CommandShift1WithCapsLockOnDoesNothing) {
  create();
  press(kCommandShift | kCapsLock, kKey1);
  press(kCommandShift | kControl, kKey1);
  EXPECT_TRUE(fakes.settings.writes().empty());
}

TEST_F(ShortcutsTest, ArrowKeyCarryingNumericPadAndFunctionFlagsDoesNotMatch) {
  AppState& state = create();
  press(kCommandShift | kNumericPad | kFunction, kUp);
  press(kCommandShift | kNumericPad, kRight);
  EXPECT_EQ(state.brightness(), 1.4);
  EXPECT_EQ(state.spread(), 0.85);
  EXPECT_TRUE(fakes.settings.writes().empty());
}

TEST_F(ShortcutsTest, OnlyTheUpperHalfOfTheLow32ModifierBitsTakesPart) {
  AppState& state = create();
  // Device-dependent low bits and anything above bit 31 are not compared.
  press(kCommandShift | 0x0108 | (std::uint64_t{1} << 40), kKey3);
  expectPreset(state, 0.7, 1.2, 0.5, 40.0, 0.4);
}

TEST_F(ShortcutsTest, DigitKeysAreRecognisedByPositionWhateverTheyType) {
  AppState& state = create();
  // Key position 18 is "1" on an ANSI layout but "&" on a French one: only the position counts.
  press(kCommandShift, 18);
  expectPreset(state, 1.4, 1.7, 0.8, 55.0, 0.3);
}

TEST_F(ShortcutsTest, KeysThatMatchNothingAreIgnored) {
  AppState& state = create();
  press(kCommandShift, 0);         // A
  press(kCommandShift, 21);        // 4
  press(kShift, kKey1);            // no Command
  press(kCommand, kKey1);          // no Shift
  press(kCommandShift, kKeyComma); // Command-Shift-comma is not Command-comma
  EXPECT_TRUE(fakes.settings.writes().empty());
  EXPECT_TRUE(fakes.settingsWindows.windows.empty());
  EXPECT_EQ(fakes.mainQueue.readyCount(), 0U);
  EXPECT_EQ(state.brightness(), 1.4);
}

// ---- Steps ----

TEST_F(ShortcutsTest, SpreadAt095AndRightArrowBecomes1AndStaysThere) {
  AppState& state = create();
  state.setSpread(0.95);
  press(kCommandShift, kRight);
  EXPECT_EQ(state.spread(), 1.0);
  press(kCommandShift, kRight);
  EXPECT_EQ(state.spread(), 1.0);
}

TEST_F(ShortcutsTest, SpreadAt02AndLeftArrowRisesTo03) {
  AppState& state = create();
  state.setSpread(0.2);
  press(kCommandShift, kLeft);
  EXPECT_EQ(state.spread(), 0.3);
}

TEST_F(ShortcutsTest, BrightnessAt35AndUpArrowBecomes3) {
  AppState& state = create();
  state.setBrightness(3.5);
  press(kCommandShift, kUp);
  EXPECT_EQ(state.brightness(), 3.0);
}

TEST_F(ShortcutsTest, BrightnessDownClampsAt02) {
  AppState& state = create();
  state.setBrightness(0.3);
  press(kCommandShift, kDown);
  EXPECT_EQ(state.brightness(), 0.2);
  press(kCommandShift, kDown);
  EXPECT_EQ(state.brightness(), 0.2);
}

TEST_F(ShortcutsTest, StepsArePlainDoubleArithmeticWithoutRounding) {
  AppState& state = create();
  press(kCommandShift, kUp);
  EXPECT_EQ(state.brightness(), 1.4 + 0.15);
  press(kCommandShift, kDown);
  EXPECT_EQ(state.brightness(), (1.4 + 0.15) - 0.15);
  press(kCommandShift, kLeft);
  EXPECT_EQ(state.spread(), 0.85 - 0.1);
  EXPECT_EQ(fakes.settings.writtenKeys(),
            (std::vector<std::string>{keys::kBrightness, keys::kBrightness, keys::kSpread}));
}

TEST_F(ShortcutsTest, AValueThatIsNotANumberStepsToTheBound) {
  AppState& state = create();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  state.setSpread(nan);
  press(kCommandShift, kRight);
  EXPECT_EQ(state.spread(), 1.0);
  state.setSpread(nan);
  press(kCommandShift, kLeft);
  EXPECT_EQ(state.spread(), 0.3);
  state.setBrightness(nan);
  press(kCommandShift, kUp);
  EXPECT_EQ(state.brightness(), 3.0);
  state.setBrightness(nan);
  press(kCommandShift, kDown);
  EXPECT_EQ(state.brightness(), 0.2);
}

// ---- Toggle and Settings ----

TEST_F(ShortcutsTest, CommandShiftLTwiceInQuickSuccessionStartsTwice) {
  useStackedDisplays();
  AppState& state = create();

  press(kCommandShift, kKeyL);
  press(kCommandShift, kKeyL);
  EXPECT_EQ(fakes.capture.queryCount(), 0U);  // each toggle runs in a job of its own
  // The capture answers at once, but its answer queues behind the second
  // toggle, which therefore still finds the lights off and starts again.
  fakes.mainQueue.runPending();

  EXPECT_EQ(fakes.capture.queryCount(), 2U);
  EXPECT_EQ(fakes.output.lightWindows.size(), 2U);
  EXPECT_TRUE(state.isRunning());
}

TEST_F(ShortcutsTest, CommandShiftLWhileRunningStops) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();
  press(kCommandShift, kKeyL);
  fakes.mainQueue.runPending();
  EXPECT_FALSE(state.isRunning());
}

TEST_F(ShortcutsTest, CommandCommaFromAnotherApplicationOpensTheSettingsWindowAndActivates) {
  create();
  fakes.keys.typeGlobally(KeyEvent{kCommand, kKeyComma});
  EXPECT_TRUE(fakes.settingsWindows.windows.empty());  // the global monitor hops to the main queue first
  fakes.mainQueue.runPending();
  ASSERT_EQ(fakes.settingsWindows.windows.size(), 1U);
  EXPECT_EQ(fakes.settingsWindows.windows[0]->broughtToFront, 1);
  EXPECT_EQ(fakes.settingsWindows.activations, 1);

  fakes.keys.typeGlobally(KeyEvent{kCommand, kKeyComma});
  fakes.mainQueue.runPending();
  EXPECT_EQ(fakes.settingsWindows.windows.size(), 1U);
  EXPECT_EQ(fakes.settingsWindows.windows[0]->broughtToFront, 2);
  EXPECT_EQ(fakes.settingsWindows.activations, 2);
}

// ---- Monitors ----

TEST_F(ShortcutsTest, KeyTypedIntoOurOwnWindowActsAtOnceWithoutWaitingForTheQueue) {
  AppState& state = create();
  fakes.keys.typeLocally(KeyEvent{kCommandShift, kUp});
  EXPECT_EQ(state.brightness(), 1.4 + 0.15);
  EXPECT_EQ(fakes.mainQueue.readyCount(), 0U);
}

TEST_F(ShortcutsTest, KeyTypedIntoAnotherApplicationActsOnlyOnTheMainQueue) {
  AppState& state = create();
  fakes.keys.typeGlobally(KeyEvent{kCommandShift, kUp});
  EXPECT_EQ(state.brightness(), 1.4);
  EXPECT_EQ(fakes.mainQueue.readyCount(), 1U);
  fakes.mainQueue.runPending();
  EXPECT_EQ(state.brightness(), 1.4 + 0.15);
}

TEST_F(ShortcutsTest, BothMonitorsAreInstalledAndRemovedGlobalFirstWhenTheStateGoes) {
  create();
  ASSERT_EQ(fakes.keys.globalTokens().size(), 1U);
  ASSERT_EQ(fakes.keys.localTokens().size(), 1U);
  const MonitorToken global = fakes.keys.globalTokens()[0];
  const MonitorToken local = fakes.keys.localTokens()[0];
  appState.reset();
  EXPECT_EQ(fakes.keys.removed, (std::vector<MonitorToken>{global, local}));
}

TEST_F(ShortcutsTest, AMonitorThePlatformDidNotInstallIsNeverRemoved) {
  fakes.keys.installsGlobal = false;
  create();
  const MonitorToken local = fakes.keys.localTokens().at(0);
  appState.reset();
  EXPECT_EQ(fakes.keys.removed, std::vector<MonitorToken>{local});
}

TEST_F(ShortcutsTest, AGlobalKeyWhoseJobRunsAfterTheStateIsGoneDoesNothing) {
  create();
  fakes.keys.typeGlobally(KeyEvent{kCommand, kKeyComma});
  appState.reset();
  fakes.mainQueue.runPending();
  EXPECT_TRUE(fakes.settingsWindows.windows.empty());
}

// ---- The desktop's binding (Wayland's GlobalShortcuts portal) ----

TEST_F(ShortcutsTest, TheDesktopsBindingOfTheShortcutsIsPublishedAsItChanges) {
  fakes.keys.desktopBinds({true, "Meta+Shift+L"});
  create();
  EXPECT_TRUE(appState->shortcutsBoundByDesktop());
  EXPECT_EQ(appState->desktopToggleTrigger(), QStringLiteral("Meta+Shift+L"));

  int changes = 0;
  QObject::connect(appState.get(), &AppState::desktopShortcutBindingChanged, [&] { ++changes; });
  fakes.keys.desktopBinds({true, "Ctrl+Alt+T"});
  EXPECT_EQ(appState->desktopToggleTrigger(), QStringLiteral("Ctrl+Alt+T"));
  EXPECT_EQ(changes, 1);
  fakes.keys.desktopBinds({true, "Ctrl+Alt+T"});
  EXPECT_EQ(changes, 1) << "the same binding again is no change";
  fakes.keys.desktopBinds({});
  EXPECT_FALSE(appState->shortcutsBoundByDesktop());
  EXPECT_EQ(appState->desktopToggleTrigger(), QString());
  EXPECT_EQ(changes, 2);
}

TEST_F(ShortcutsTest, WithoutADesktopBindingNothingIsBoundAndTheStateStopsListeningWhenItGoes) {
  create();
  EXPECT_FALSE(appState->shortcutsBoundByDesktop());
  EXPECT_TRUE(fakes.keys.hasBindingHandler());
  appState.reset();
  EXPECT_FALSE(fakes.keys.hasBindingHandler());
}

}  // namespace
}  // namespace tarvelo::testing
