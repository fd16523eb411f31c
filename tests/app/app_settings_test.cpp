#include <gtest/gtest.h>

#include <QVariantList>
#include <QVariantMap>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "app/persisted_settings.h"
#include "app_test_support.h"

namespace tarvelo::testing {
namespace {

namespace keys = settings_keys;
using Value = FakeSettingsStore::Value;

class SettingsModelTest : public ::testing::Test, protected AppStateHarness {};

std::vector<std::string> sorted(std::vector<std::string> items) {
  std::sort(items.begin(), items.end());
  return items;
}

TEST_F(SettingsModelTest, FreshDefaultsYieldTheInitialValueOfEveryProperty) {
  fakes.permission.granted = true;
  AppState& state = create();

  EXPECT_FALSE(state.launchAtLogin());
  EXPECT_FALSE(state.autoStartOnLaunch());
  EXPECT_TRUE(state.showFloatingHUD());
  EXPECT_TRUE(state.autoDetectArrangement());
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.sourceDisplayID(), 0U);
  EXPECT_EQ(state.targetDisplayID(), 0U);
  EXPECT_EQ(state.arrangementDescription(), "Detecting arrangement\u2026");
  EXPECT_EQ(state.xOverlapStart(), 0.0);
  EXPECT_EQ(state.xOverlapEnd(), 1.0);
  EXPECT_EQ(state.brightness(), 1.4);
  EXPECT_EQ(state.vibrancy(), 1.7);
  EXPECT_EQ(state.spread(), 0.85);
  EXPECT_EQ(state.blurRadius(), 60.0);
  EXPECT_EQ(state.smoothing(), 0.3);
  EXPECT_EQ(state.captureRate(), 30);
  EXPECT_TRUE(state.availableDisplays().empty());
  EXPECT_FALSE(state.errorMessage().has_value());
  EXPECT_TRUE(state.hasPermission());
}

TEST_F(SettingsModelTest, ArrangementPlaceholderEndsWithTheSingleEllipsisCharacter) {
  AppState& state = create();
  EXPECT_EQ(state.arrangementDescription(), "Detecting arrangement\xE2\x80\xA6");
  EXPECT_EQ(state.arrangementDescriptionText(), QString::fromUtf8("Detecting arrangement\u2026"));
  EXPECT_EQ(state.arrangementDescriptionText().size(), 22);
}

TEST_F(SettingsModelTest, FreshDefaultsWithNoDisplayOnlineWriteNothing) {
  create();
  EXPECT_TRUE(fakes.settings.writes().empty());
  EXPECT_TRUE(fakes.settings.storedKeys().empty());
}

TEST_F(SettingsModelTest, FreshDefaultsLeaveOnlyTheTwoDisplayIdKeysAfterCreation) {
  useStackedDisplays();
  create();
  EXPECT_EQ(fakes.settings.writtenKeys(), (std::vector<std::string>{keys::kSourceDisplayID, keys::kTargetDisplayID}));
  EXPECT_EQ(fakes.settings.storedKeys(),
            sorted({keys::kSourceDisplayID, keys::kTargetDisplayID}));
}

TEST_F(SettingsModelTest, TheOtherNineKeysAppearWhenTheirSetterFirstRuns) {
  useStackedDisplays();
  AppState& state = create();
  state.setBrightness(1.0);
  state.setVibrancy(1.0);
  state.setSpread(0.5);
  state.setBlurRadius(30.0);
  state.setSmoothing(0.1);
  state.setCaptureRate(60);
  state.setAutoStartOnLaunch(true);
  state.setShowFloatingHUD(false);
  state.setAutoDetectArrangement(true);
  EXPECT_EQ(fakes.settings.storedKeys(),
            sorted({keys::kBrightness, keys::kVibrancy, keys::kSpread, keys::kBlurRadius, keys::kSmoothing,
                    keys::kCaptureRate, keys::kAutoStartOnLaunch, keys::kShowFloatingHUD,
                    keys::kAutoDetectArrangement, keys::kSourceDisplayID, keys::kTargetDisplayID}));
}

TEST_F(SettingsModelTest, StoredBrightnessOfZeroLoadsAsZeroNotTheDefault) {
  fakes.settings.put(keys::kBrightness, 0.0);
  AppState& state = create();
  EXPECT_EQ(state.brightness(), 0.0);
}

TEST_F(SettingsModelTest, StoredCaptureRateOf45LoadsAs45AndIsPassedToCaptureAs45) {
  useStackedDisplays();
  fakes.settings.put(keys::kCaptureRate, std::int64_t{45});
  AppState& state = create();
  EXPECT_EQ(state.captureRate(), 45);

  startAndSettle();
  ASSERT_TRUE(fakes.capture.lastConfiguration().has_value());
  EXPECT_EQ(fakes.capture.lastConfiguration()->minimumFrameInterval, (FrameInterval{1, 45}));
}

TEST_F(SettingsModelTest, ManualRoutingFromAnEarlierRunIsReplacedByFirstAndLastDiscoveredDisplay) {
  fakes.settings.put(keys::kAutoDetectArrangement, false);
  fakes.settings.put(keys::kSourceDisplayID, std::int64_t{7});
  fakes.settings.put(keys::kTargetDisplayID, std::int64_t{5});
  fakes.displays.displays = {onlineDisplay(5, {0, 0, 1920, 1080}, "Five"),
                             onlineDisplay(7, {1920, 0, 1920, 1080}, "Seven")};
  AppState& state = create();
  EXPECT_EQ(state.sourceDisplayID(), 5U);
  EXPECT_EQ(state.targetDisplayID(), 7U);
  EXPECT_EQ(fakes.settings.stored(keys::kSourceDisplayID), Value{std::int64_t{5}});
  EXPECT_EQ(fakes.settings.stored(keys::kTargetDisplayID), Value{std::int64_t{7}});
}

TEST_F(SettingsModelTest, AutomaticArrangementOnStoresTheDetectedIdsAndReadsThemBack) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoDetectArrangement, true);
  fakes.settings.put(keys::kSourceDisplayID, std::int64_t{2});
  fakes.settings.put(keys::kTargetDisplayID, std::int64_t{1});
  AppState& state = create();
  EXPECT_EQ(state.sourceDisplayID(), kTopDisplay);
  EXPECT_EQ(state.targetDisplayID(), kBottomDisplay);
}

TEST(SettingsModelDeathTest, StoredSourceDisplayIdOfMinusOneEndsTheProcessDuringCreation) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        FakeAppPlatform fakes;
        fakes.settings.put(settings_keys::kSourceDisplayID, std::int64_t{-1});
        AppState state(fakes.platform);
      },
      "display id");
}

TEST(SettingsModelDeathTest, StoredTargetDisplayIdAboveUnsigned32BitRangeEndsTheProcessDuringCreation) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        FakeAppPlatform fakes;
        fakes.settings.put(settings_keys::kTargetDisplayID, std::int64_t{4294967296});
        AppState state(fakes.platform);
      },
      "display id");
}

TEST_F(SettingsModelTest, StoredDisplayIdAtTheTopOfTheUnsigned32BitRangeLoads) {
  fakes.settings.put(keys::kAutoDetectArrangement, true);
  fakes.settings.put(keys::kSourceDisplayID, std::int64_t{4294967295});
  AppState& state = create();
  EXPECT_EQ(state.sourceDisplayID(), 4294967295U);
}

TEST_F(SettingsModelTest, ResetToDefaultsRunsTheDisplayRefreshTwice) {
  useStackedDisplays();
  AppState& state = create();
  const std::size_t before = fakes.displays.onlineDisplaysCalls;
  state.resetToDefaults();
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls - before, 2U);
}

TEST_F(SettingsModelTest, ResetToDefaultsRestoresInOrderAndLeavesLoginAutoStartAndRoutingAlone) {
  fakes.settings.put(keys::kAutoDetectArrangement, false);
  fakes.settings.put(keys::kAutoStartOnLaunch, true);
  fakes.permission.granted = false;  // no auto-start job to worry about
  fakes.loginItems.currentStatus = LoginItemService::kEnabled;
  fakes.displays.displays = {onlineDisplay(3, {0, 0, 100, 100}, "Only")};
  AppState& state = create();
  state.setBrightness(2.0);
  state.setVibrancy(2.0);
  state.setSpread(0.4);
  state.setBlurRadius(10.0);
  state.setSmoothing(0.9);
  state.setCaptureRate(60);
  state.setShowFloatingHUD(false);
  fakes.settings.clearWrites();

  state.resetToDefaults();

  EXPECT_EQ(state.brightness(), 1.4);
  EXPECT_EQ(state.vibrancy(), 1.7);
  EXPECT_EQ(state.spread(), 0.85);
  EXPECT_EQ(state.blurRadius(), 60.0);
  EXPECT_EQ(state.smoothing(), 0.3);
  EXPECT_EQ(state.captureRate(), 30);
  EXPECT_TRUE(state.autoDetectArrangement());
  EXPECT_TRUE(state.showFloatingHUD());
  EXPECT_TRUE(state.autoStartOnLaunch());
  EXPECT_TRUE(state.launchAtLogin());
  // The single display keeps the ids it already had: nothing to overwrite them with.
  EXPECT_EQ(state.sourceDisplayID(), 3U);
  EXPECT_EQ(state.targetDisplayID(), 3U);
  EXPECT_EQ(fakes.settings.writtenKeys(),
            (std::vector<std::string>{keys::kBrightness, keys::kVibrancy, keys::kSpread, keys::kBlurRadius,
                                      keys::kSmoothing, keys::kCaptureRate, keys::kAutoDetectArrangement,
                                      keys::kShowFloatingHUD}));
}

TEST_F(SettingsModelTest, ResetWithTwoDisplaysOverwritesTheIdsFromTheDetectedArrangement) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoDetectArrangement, false);
  AppState& state = create();
  state.setSourceDisplayID(kBottomDisplay);
  state.setTargetDisplayID(kTopDisplay);
  state.resetToDefaults();
  EXPECT_EQ(state.sourceDisplayID(), kTopDisplay);
  EXPECT_EQ(state.targetDisplayID(), kBottomDisplay);
}

TEST_F(SettingsModelTest, LoadingStoresEveryLoadedValueBackInTheLoadOrder) {
  useStackedDisplays();
  fakes.settings.put(keys::kBrightness, 1.0);
  fakes.settings.put(keys::kVibrancy, 1.1);
  fakes.settings.put(keys::kSpread, 0.6);
  fakes.settings.put(keys::kBlurRadius, 42.0);
  fakes.settings.put(keys::kSmoothing, 0.5);
  fakes.settings.put(keys::kCaptureRate, std::int64_t{15});
  fakes.settings.put(keys::kAutoStartOnLaunch, false);
  fakes.settings.put(keys::kShowFloatingHUD, false);
  fakes.settings.put(keys::kAutoDetectArrangement, true);
  fakes.settings.put(keys::kSourceDisplayID, std::int64_t{1});
  fakes.settings.put(keys::kTargetDisplayID, std::int64_t{2});

  create();

  const std::vector<FakeSettingsStore::Write> expected{
      {keys::kBrightness, 1.0},
      {keys::kVibrancy, 1.1},
      {keys::kSpread, 0.6},
      {keys::kBlurRadius, 42.0},
      {keys::kSmoothing, 0.5},
      {keys::kCaptureRate, std::int64_t{15}},
      {keys::kAutoStartOnLaunch, false},
      {keys::kShowFloatingHUD, false},
      {keys::kAutoDetectArrangement, true},
      // the refresh run by the arrangement switch, while both ids are still 0
      {keys::kSourceDisplayID, std::int64_t{1}},
      {keys::kTargetDisplayID, std::int64_t{2}},
      // the stored ids read back
      {keys::kSourceDisplayID, std::int64_t{1}},
      {keys::kTargetDisplayID, std::int64_t{2}},
      // the refresh of the creation sequence
      {keys::kSourceDisplayID, std::int64_t{1}},
      {keys::kTargetDisplayID, std::int64_t{2}},
  };
  EXPECT_EQ(fakes.settings.writes(), expected);
}

TEST_F(SettingsModelTest, MissingKeysLeaveTheInitialValuesAndPresentOnesLoad) {
  fakes.settings.put(keys::kSpread, 0.55);
  fakes.settings.put(keys::kShowFloatingHUD, false);
  AppState& state = create();
  EXPECT_EQ(state.spread(), 0.55);
  EXPECT_FALSE(state.showFloatingHUD());
  EXPECT_EQ(state.brightness(), 1.4);
  EXPECT_EQ(state.captureRate(), 30);
  EXPECT_EQ(fakes.settings.writtenKeys(), (std::vector<std::string>{keys::kSpread, keys::kShowFloatingHUD}));
}

TEST_F(SettingsModelTest, StoredValuesOfAnotherTypeAreConvertedNeverAnError) {
  fakes.settings.put(keys::kBrightness, std::string("bright"));
  fakes.settings.put(keys::kVibrancy, std::int64_t{2});
  fakes.settings.put(keys::kCaptureRate, 45.9);
  fakes.settings.put(keys::kAutoStartOnLaunch, std::int64_t{1});
  fakes.settings.put(keys::kShowFloatingHUD, std::string("garbage"));
  fakes.permission.granted = false;
  AppState& state = create();
  EXPECT_EQ(state.brightness(), 0.0);
  EXPECT_EQ(state.vibrancy(), 2.0);
  EXPECT_EQ(state.captureRate(), 45);
  EXPECT_TRUE(state.autoStartOnLaunch());
  EXPECT_FALSE(state.showFloatingHUD());
}

TEST_F(SettingsModelTest, EverySetterStoresOnEveryAssignmentAlsoWhenTheValueIsUnchanged) {
  AppState& state = create();
  state.setBrightness(1.4);
  state.setBrightness(1.4);
  state.setCaptureRate(30);
  state.setShowFloatingHUD(true);
  EXPECT_EQ(fakes.settings.writtenKeys(),
            (std::vector<std::string>{keys::kBrightness, keys::kBrightness, keys::kCaptureRate,
                                      keys::kShowFloatingHUD}));
}

TEST_F(SettingsModelTest, EachSettingIsStoredWithTheTypedWriteOfItsKey) {
  AppState& state = create();
  state.setBrightness(1.5);
  state.setVibrancy(1.6);
  state.setSpread(0.7);
  state.setBlurRadius(50.0);
  state.setSmoothing(0.2);
  state.setCaptureRate(60);
  state.setAutoStartOnLaunch(true);
  state.setShowFloatingHUD(false);
  state.setAutoDetectArrangement(false);
  state.setSourceDisplayID(4294967295U);
  state.setTargetDisplayID(9);
  const std::vector<FakeSettingsStore::Write> expected{
      {keys::kBrightness, 1.5},
      {keys::kVibrancy, 1.6},
      {keys::kSpread, 0.7},
      {keys::kBlurRadius, 50.0},
      {keys::kSmoothing, 0.2},
      {keys::kCaptureRate, std::int64_t{60}},
      {keys::kAutoStartOnLaunch, true},
      {keys::kShowFloatingHUD, false},
      {keys::kAutoDetectArrangement, false},
      // a display id is a signed integer holding the unsigned value
      {keys::kSourceDisplayID, std::int64_t{4294967295}},
      {keys::kTargetDisplayID, std::int64_t{9}},
  };
  EXPECT_EQ(fakes.settings.writes(), expected);
}

TEST_F(SettingsModelTest, TheModelClampsNothing) {
  AppState& state = create();
  state.setBrightness(99.0);
  state.setSpread(-1.0);
  state.setCaptureRate(-5);
  EXPECT_EQ(state.brightness(), 99.0);
  EXPECT_EQ(state.spread(), -1.0);
  EXPECT_EQ(state.captureRate(), -5);
  EXPECT_EQ(fakes.settings.stored(keys::kBrightness), Value{99.0});
  EXPECT_EQ(fakes.settings.stored(keys::kCaptureRate), Value{std::int64_t{-5}});
}

TEST_F(SettingsModelTest, LaunchAtLoginIsNeverStoredInTheDefaults) {
  AppState& state = create();
  state.setLaunchAtLoginEnabled(true);
  state.setLaunchAtLoginEnabled(false);
  EXPECT_TRUE(fakes.settings.writes().empty());
}

TEST_F(SettingsModelTest, AssigningAutoDetectArrangementStoresAndThenRefreshesTheDisplays) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoDetectArrangement, false);
  AppState& state = create();
  EXPECT_EQ(state.arrangementDescription(), "Manual routing configured");
  const std::size_t before = fakes.displays.onlineDisplaysCalls;
  fakes.settings.clearWrites();

  state.setAutoDetectArrangement(true);

  EXPECT_EQ(fakes.displays.onlineDisplaysCalls - before, 1U);
  ASSERT_FALSE(fakes.settings.writes().empty());
  EXPECT_EQ(fakes.settings.writes().front(), (FakeSettingsStore::Write{keys::kAutoDetectArrangement, true}));
  EXPECT_EQ(state.arrangementDescription(), "Auto-aligned: Top (Top) \u2192 Bottom (Bottom)");
}

TEST_F(SettingsModelTest, EveryAssignmentAnnouncesItselfAlsoWhenUnchanged) {
  AppState& state = create();
  int announced = 0;
  QObject::connect(&state, &AppState::brightnessChanged, [&announced] { ++announced; });
  state.setBrightness(1.4);
  state.setBrightness(1.4);
  EXPECT_EQ(announced, 2);
}

TEST_F(SettingsModelTest, ViewsReadAndWriteTheSettingsThroughQtProperties) {
  useStackedDisplays();
  AppState& state = create();

  EXPECT_EQ(state.property("brightness").toDouble(), 1.4);
  EXPECT_TRUE(state.setProperty("brightness", 2.25));
  EXPECT_EQ(state.brightness(), 2.25);
  EXPECT_EQ(fakes.settings.stored(keys::kBrightness), Value{2.25});

  EXPECT_TRUE(state.setProperty("captureRate", 60));
  EXPECT_EQ(state.captureRate(), 60);
  EXPECT_TRUE(state.setProperty("targetDisplayID", 1U));
  EXPECT_EQ(state.targetDisplayID(), 1U);
  EXPECT_EQ(state.property("sourceDisplayID").toUInt(), kTopDisplay);
  EXPECT_EQ(state.property("isRunning").toBool(), false);
  EXPECT_EQ(state.property("xOverlapEnd").toDouble(), 1.0);
  EXPECT_EQ(state.property("arrangementDescription").toString(),
            QString::fromUtf8("Auto-aligned: Top (Top) \u2192 Bottom (Bottom)"));
}

TEST_F(SettingsModelTest, ReadOnlyPropertiesRefuseWritesFromViews) {
  AppState& state = create();
  EXPECT_FALSE(state.setProperty("isRunning", true));
  EXPECT_FALSE(state.setProperty("hasPermission", false));
  EXPECT_FALSE(state.isRunning());
  EXPECT_TRUE(state.hasPermission());
}

TEST_F(SettingsModelTest, AvailableDisplaysReachViewsAsListOfMaps) {
  fakes.displays.displays = {onlineDisplay(4, {0, 0, 2560, 1440}, "Studio")};
  fakes.displays.displays[0].isBuiltin = true;
  AppState& state = create();

  const QVariantList list = state.property("availableDisplays").toList();
  ASSERT_EQ(list.size(), 1);
  const QVariantMap entry = list.front().toMap();
  EXPECT_EQ(entry.value("id").toUInt(), 4U);
  EXPECT_EQ(entry.value("name").toString(), QString("Built-in Display"));
  EXPECT_EQ(entry.value("width").toLongLong(), 2560);
  EXPECT_EQ(entry.value("height").toLongLong(), 1440);
  EXPECT_EQ(entry.value("isBuiltin").toBool(), true);
  ASSERT_EQ(state.availableDisplays().size(), 1U);
  EXPECT_EQ(state.availableDisplays().front().id, 4U);
}

TEST_F(SettingsModelTest, AnAbsentErrorMessageReachesViewsAsEmptyText) {
  fakes.permission.granted = false;
  AppState& state = create();
  EXPECT_TRUE(state.property("errorMessage").toString().isEmpty());
  state.start();
  EXPECT_EQ(state.property("errorMessage").toString(),
            QString("Screen Recording permission required. Enable in System Settings, then restart Tarvelo."));
}

}  // namespace
}  // namespace tarvelo::testing
