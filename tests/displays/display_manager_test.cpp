#include "displays/display_manager.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "displays/display_arrangement.h"
#include "fakes/fake_display_source.h"
#include "fakes/fake_main_queue.h"

namespace tarvelo {
namespace {

using testing::FakeDisplaySource;
using testing::FakeMainQueue;

constexpr std::uint32_t kEndOfChangeFlags = 1U << 4;  // any notice without the begin bit

OnlineDisplay makeOnline(DisplayId id, std::optional<std::string> localizedName = std::nullopt,
                         bool isBuiltin = false) {
  return OnlineDisplay{id, 1920, 1080, isBuiltin, DisplayRect{0.0, 1080.0 * id, 1920.0, 1080.0},
                       std::move(localizedName)};
}

class DisplayManagerTest : public ::testing::Test {
 protected:
  FakeDisplaySource source;
  FakeMainQueue mainQueue;
};

TEST_F(DisplayManagerTest, NoOnlineDisplaysYieldAnEmptyList) {
  DisplayManager manager(source, mainQueue);
  EXPECT_TRUE(manager.discoverDisplays().empty());
}

TEST_F(DisplayManagerTest, OneOnlineDisplayYieldsOneRecordAndNoArrangement) {
  source.displays = {makeOnline(5, "Studio Display")};
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_EQ(displays[0].id, 5U);
  EXPECT_FALSE(detectArrangement(displays).has_value());
}

TEST_F(DisplayManagerTest, MoreThanEightOnlineDisplaysKeepOnlyTheFirstEight) {
  for (DisplayId id = 101; id <= 110; ++id) source.displays.push_back(makeOnline(id));
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), DisplayManager::kMaxDisplays);
  for (std::size_t i = 0; i < displays.size(); ++i) EXPECT_EQ(displays[i].id, 101U + i);
}

TEST_F(DisplayManagerTest, KeepsEnumerationOrderWithoutSorting) {
  source.displays = {makeOnline(9), makeOnline(3), makeOnline(6)};
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 3U);
  EXPECT_EQ(displays[0].id, 9U);
  EXPECT_EQ(displays[1].id, 3U);
  EXPECT_EQ(displays[2].id, 6U);
}

TEST_F(DisplayManagerTest, BuiltInDisplayIsNamedBuiltInEvenWithALocalizedName) {
  source.displays = {makeOnline(1, "Color LCD", true)};
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_EQ(displays[0].name, "Built-in Display");
  EXPECT_TRUE(displays[0].isBuiltin);
}

TEST_F(DisplayManagerTest, ExternalDisplayWithoutScreenNameIsNamedExternalDisplay) {
  source.displays = {makeOnline(2, std::nullopt, false)};
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_EQ(displays[0].name, "External Display");
}

TEST_F(DisplayManagerTest, ExternalDisplayTakesItsScreenName) {
  source.displays = {makeOnline(3, "DELL U2720Q", false)};
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_EQ(displays[0].name, "DELL U2720Q");
}

TEST_F(DisplayManagerTest, RecordCarriesThePlatformsSizeFlagAndBounds) {
  source.displays = {OnlineDisplay{77, 3456, 2234, true, DisplayRect{-1728.0, 1117.0, 1728.0, 1117.0}, "Panel"}};
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_EQ(displays[0].id, 77U);
  EXPECT_EQ(displays[0].width, 3456);
  EXPECT_EQ(displays[0].height, 2234);
  EXPECT_TRUE(displays[0].isBuiltin);
  EXPECT_EQ(displays[0].bounds, (DisplayRect{-1728.0, 1117.0, 1728.0, 1117.0}));
}

TEST_F(DisplayManagerTest, EveryDiscoveryAsksTheSourceAfresh) {
  DisplayManager manager(source, mainQueue);
  source.displays = {makeOnline(1)};
  EXPECT_EQ(manager.discoverDisplays().size(), 1U);
  source.displays = {makeOnline(1), makeOnline(2)};
  EXPECT_EQ(manager.discoverDisplays().size(), 2U);
  EXPECT_EQ(source.onlineDisplaysCalls, 2U);
}

TEST_F(DisplayManagerTest, RegistersOnCreationAndUnregistersOnDestruction) {
  {
    DisplayManager manager(source, mainQueue);
    EXPECT_TRUE(static_cast<bool>(source.handler()));
  }
  EXPECT_FALSE(static_cast<bool>(source.handler()));
}

TEST_F(DisplayManagerTest, BeginNoticeDoesNothingAndEndNoticeTriggersOncePerDisplay) {
  DisplayManager manager(source, mainQueue);
  int changes = 0;
  manager.onDisplaysChanged = [&changes] { ++changes; };

  source.notify(1, DisplaySource::kBeginConfigurationFlag);
  source.notify(2, DisplaySource::kBeginConfigurationFlag | kEndOfChangeFlags);
  EXPECT_EQ(mainQueue.readyCount(), 0U);
  EXPECT_EQ(mainQueue.runPending(), 0U);
  EXPECT_EQ(changes, 0);

  source.notify(1, kEndOfChangeFlags);
  source.notify(2, kEndOfChangeFlags);
  EXPECT_EQ(mainQueue.readyCount(), 2U);  // one job per notice, not coalesced
  EXPECT_EQ(mainQueue.runPending(), 2U);
  EXPECT_EQ(changes, 2);
}

TEST_F(DisplayManagerTest, CallbackWaitsForTheMainQueue) {
  DisplayManager manager(source, mainQueue);
  int changes = 0;
  manager.onDisplaysChanged = [&changes] { ++changes; };
  source.notify(1, 0);
  EXPECT_EQ(changes, 0);
  mainQueue.runPending();
  EXPECT_EQ(changes, 1);
}

TEST_F(DisplayManagerTest, JobUsesTheCallbackSetWhenItRuns) {
  DisplayManager manager(source, mainQueue);
  source.notify(1, 0);
  int changes = 0;
  manager.onDisplaysChanged = [&changes] { ++changes; };
  mainQueue.runPending();
  EXPECT_EQ(changes, 1);
}

TEST_F(DisplayManagerTest, NoticeWithoutCallbackIsHarmless) {
  DisplayManager manager(source, mainQueue);
  source.notify(1, 0);
  EXPECT_EQ(mainQueue.runPending(), 1U);
}

TEST_F(DisplayManagerTest, LateJobAfterManagerIsDestroyedDoesNothing) {
  int changes = 0;
  {
    auto manager = std::make_unique<DisplayManager>(source, mainQueue);
    manager->onDisplaysChanged = [&changes] { ++changes; };
    source.notify(1, 0);
  }
  EXPECT_EQ(mainQueue.runPending(), 1U);
  EXPECT_EQ(changes, 0);
}

TEST_F(DisplayManagerTest, NoticeAfterManagerIsDestroyedPostsNothing) {
  { DisplayManager manager(source, mainQueue); }
  source.notify(1, 0);
  EXPECT_EQ(mainQueue.readyCount(), 0U);
}

TEST_F(DisplayManagerTest, NoticeFromAnotherThreadRunsCallbackOnTheMainThread) {
  DisplayManager manager(source, mainQueue);
  int changes = 0;
  std::thread::id callbackThread;
  manager.onDisplaysChanged = [&] {
    ++changes;
    callbackThread = std::this_thread::get_id();
  };

  std::thread platformThread([this] { source.notify(4, 0); });
  platformThread.join();
  EXPECT_EQ(changes, 0);

  EXPECT_EQ(mainQueue.waitAndRunPending(), 1U);
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(callbackThread, std::this_thread::get_id());
}

TEST_F(DisplayManagerTest, NoticesRacingWithTheMainThreadAreAllDelivered) {
  DisplayManager manager(source, mainQueue);
  int changes = 0;
  manager.onDisplaysChanged = [&changes] { ++changes; };

  constexpr int kNotices = 50;
  std::thread platformThread([this] {
    for (int i = 0; i < kNotices; ++i) source.notify(1, 0);
  });
  // Each round runs at least one job unless nothing arrives at all.
  for (int round = 0; round < kNotices && changes < kNotices; ++round) mainQueue.waitAndRunPending();
  platformThread.join();
  EXPECT_EQ(changes, kNotices);
  EXPECT_EQ(mainQueue.runPending(), 0U);
}

}  // namespace
}  // namespace tarvelo
