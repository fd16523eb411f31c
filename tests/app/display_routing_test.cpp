#include <gtest/gtest.h>

#include "app/app_state.h"
#include "app/persisted_settings.h"
#include "app_test_support.h"

namespace tarvelo::testing {
namespace {

namespace keys = settings_keys;

class DisplayRoutingTest : public ::testing::Test, protected AppStateHarness {};

TEST_F(DisplayRoutingTest, DetectedArrangementSetsSourceTargetDescriptionAndOverlap) {
  fakes.displays.displays = {onlineDisplay(11, {-960, 0, 3840, 2160}, "Wide"),
                             onlineDisplay(12, {0, 2160, 1920, 1080}, "Light")};
  AppState& state = create();
  EXPECT_EQ(state.sourceDisplayID(), 11U);
  EXPECT_EQ(state.targetDisplayID(), 12U);
  EXPECT_EQ(state.arrangementDescription(), "Auto-aligned: Wide (Top) \u2192 Light (Bottom)");
  EXPECT_EQ(state.xOverlapStart(), 0.25);
  EXPECT_EQ(state.xOverlapEnd(), 0.75);
  EXPECT_EQ(state.availableDisplays().size(), 2U);
}

TEST_F(DisplayRoutingTest, OneDisplayWithFreshSettingsBecomesBothSourceAndTarget) {
  fakes.displays.displays = {onlineDisplay(9, {0, 0, 1920, 1080}, "Only")};
  AppState& state = create();
  EXPECT_EQ(state.sourceDisplayID(), 9U);
  EXPECT_EQ(state.targetDisplayID(), 9U);
  EXPECT_EQ(state.arrangementDescription(), "Single display detected");
  EXPECT_EQ(state.xOverlapStart(), 0.0);
  EXPECT_EQ(state.xOverlapEnd(), 1.0);
}

TEST_F(DisplayRoutingTest, NoDisplayOnlineWithAutomaticArrangementChangesNothingElse) {
  useStackedDisplays();
  AppState& state = create();
  fakes.displays.displays.clear();
  state.refreshDisplays();
  EXPECT_TRUE(state.availableDisplays().empty());
  EXPECT_EQ(state.sourceDisplayID(), kTopDisplay);
  EXPECT_EQ(state.targetDisplayID(), kBottomDisplay);
  EXPECT_EQ(state.arrangementDescription(), "Auto-aligned: Top (Top) \u2192 Bottom (Bottom)");
}

TEST_F(DisplayRoutingTest, NoDisplayAtCreationKeepsTheDetectingPlaceholder) {
  AppState& state = create();
  EXPECT_EQ(state.arrangementDescription(), "Detecting arrangement\u2026");
  EXPECT_EQ(state.sourceDisplayID(), 0U);
}

TEST_F(DisplayRoutingTest, UnpluggingTheSecondDisplayKeepsTheOldIdsAndShowsSingleDisplay) {
  fakes.displays.displays = {onlineDisplay(11, {-960, 0, 3840, 2160}, "Wide"),
                             onlineDisplay(12, {0, 2160, 1920, 1080}, "Light")};
  AppState& state = create();
  fakes.displays.displays.pop_back();
  state.refreshDisplays();
  EXPECT_EQ(state.sourceDisplayID(), 11U);
  EXPECT_EQ(state.targetDisplayID(), 12U);
  EXPECT_EQ(state.arrangementDescription(), "Single display detected");
  EXPECT_EQ(state.xOverlapStart(), 0.0);
  EXPECT_EQ(state.xOverlapEnd(), 1.0);
}

TEST_F(DisplayRoutingTest, ManualRoutingKeepsIdsOfOnlineDisplays) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoDetectArrangement, false);
  AppState& state = create();
  state.setSourceDisplayID(kBottomDisplay);
  state.setTargetDisplayID(kTopDisplay);
  fakes.settings.clearWrites();
  state.refreshDisplays();
  EXPECT_EQ(state.sourceDisplayID(), kBottomDisplay);
  EXPECT_EQ(state.targetDisplayID(), kTopDisplay);
  EXPECT_EQ(state.arrangementDescription(), "Manual routing configured");
  EXPECT_TRUE(fakes.settings.writes().empty());
}

TEST_F(DisplayRoutingTest, ManualRoutingReplacesAMissingSourceByTheFirstAndAMissingTargetByTheLast) {
  fakes.settings.put(keys::kAutoDetectArrangement, false);
  fakes.displays.displays = {onlineDisplay(4, {0, 0, 100, 100}, "A"), onlineDisplay(5, {0, 100, 100, 100}, "B"),
                             onlineDisplay(6, {0, 200, 100, 100}, "C")};
  AppState& state = create();
  state.setSourceDisplayID(40);
  state.setTargetDisplayID(5);
  state.refreshDisplays();
  EXPECT_EQ(state.sourceDisplayID(), 4U);
  EXPECT_EQ(state.targetDisplayID(), 5U);
  state.setTargetDisplayID(50);
  state.refreshDisplays();
  EXPECT_EQ(state.targetDisplayID(), 6U);
}

TEST_F(DisplayRoutingTest, ManualRoutingWithNoDisplayKeepsIdsAndResetsTheOverlap) {
  fakes.displays.displays = {onlineDisplay(11, {-960, 0, 3840, 2160}, "Wide"),
                             onlineDisplay(12, {0, 2160, 1920, 1080}, "Light")};
  AppState& state = create();
  EXPECT_EQ(state.xOverlapStart(), 0.25);
  fakes.displays.displays.clear();
  state.setAutoDetectArrangement(false);
  EXPECT_EQ(state.sourceDisplayID(), 11U);
  EXPECT_EQ(state.targetDisplayID(), 12U);
  EXPECT_EQ(state.arrangementDescription(), "Manual routing configured");
  EXPECT_EQ(state.xOverlapStart(), 0.0);
  EXPECT_EQ(state.xOverlapEnd(), 1.0);
}

// On a desktop whose share dialog picks the monitor, the user may share another
// one than the movie screen: the light follows it, and the routing line says so
// while the lights run, through a refresh of the displays too.
TEST_F(DisplayRoutingTest, ASharedMonitorOtherThanTheMovieScreenIsNamedWhileTheLightsRun) {
  useStackedDisplays();
  fakes.capture.sharedMonitor = kBottomDisplay;
  AppState& state = create();
  const std::string routing = state.arrangementDescription();
  ASSERT_EQ(routing, "Auto-aligned: Top (Top) \u2192 Bottom (Bottom)");
  int changes = 0;
  QObject::connect(&state, &AppState::arrangementDescriptionChanged, [&] { ++changes; });

  startAndSettle();
  ASSERT_TRUE(state.isRunning());
  EXPECT_EQ(state.arrangementDescription(), "Sharing Bottom, not the movie screen Top");
  EXPECT_EQ(state.arrangementDescriptionText(), QStringLiteral("Sharing Bottom, not the movie screen Top"));
  EXPECT_GE(changes, 1);
  state.refreshDisplays();
  EXPECT_EQ(state.arrangementDescription(), "Sharing Bottom, not the movie screen Top");
  EXPECT_EQ(state.sourceDisplayID(), kTopDisplay) << "the routing itself stays as detected";

  state.stop();
  EXPECT_EQ(state.arrangementDescription(), routing);
}

TEST_F(DisplayRoutingTest, SharingTheMovieScreenLeavesTheRoutingLineAlone) {
  useStackedDisplays();
  fakes.capture.sharedMonitor = kTopDisplay;
  AppState& state = create();
  const std::string routing = state.arrangementDescription();
  startAndSettle();
  ASSERT_TRUE(state.isRunning());
  EXPECT_EQ(state.arrangementDescription(), routing);
}

}  // namespace
}  // namespace tarvelo::testing
