// Displays coming and going on Wayland, seen through Qt's wayland platform
// on a compositor nested in the headless rig (see NestedSway): WL-1
// (1280 x 720 at 0,0) over WL-2 (640 x 360 at 320,720), whose windows on the
// rig's compositor are closed to unplug them.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "displays/display_arrangement.h"
#include "displays/display_identity.h"
#include "displays/display_manager.h"
#include "displays/wayland/wayland_display_source.h"
#include "displays/wayland_display_waits.h"
#include "fakes/fake_main_queue.h"
#include "rig/nested_sway.h"
#include "rig/nested_test_main.h"

namespace tarvelo {
namespace {

using testing::FakeMainQueue;
using testing::NestedSway;
using testing::connectorId;
using testing::find;
using testing::processEventsUntil;

const DisplayRect kTop{0, 0, 1280, 720};
const DisplayRect kBottom{320, 720, 640, 360};

// The compositor this process's Qt application is connected to.
NestedSway* nested = nullptr;

class WaylandHotplugTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(processEventsUntil([this] {
      const auto displays = source.onlineDisplays();
      const OnlineDisplay* bottom = find(displays, connectorId("WL-2"));
      return displays.size() == 2 && bottom != nullptr && bottom->bounds == kBottom;
    })) << "the nested compositor's outputs never showed as two stacked displays";
    source.setReconfigurationHandler([this](DisplayId display, std::uint32_t flags) {
      noticed.push_back(display);
      noticeFlags.push_back(flags);
    });
  }

  bool wasNoticed(const std::string& output) const {
    return std::find(noticed.begin(), noticed.end(), connectorId(output)) != noticed.end();
  }

  WaylandDisplaySource source;
  std::vector<DisplayId> noticed;
  std::vector<std::uint32_t> noticeFlags;
};

TEST_F(WaylandHotplugTest, UnpluggingTheLowerOutputSendsItsNoticeAndLeavesTheTopOne) {
  nested->unplug("WL-2");
  ASSERT_TRUE(processEventsUntil([&] { return source.onlineDisplays().size() == 1; }));
  EXPECT_FALSE(nested->hasOutput("WL-2"));
  const std::vector<OnlineDisplay> displays = source.onlineDisplays();
  EXPECT_EQ(displays[0].id, connectorId("WL-1"));
  EXPECT_EQ(displays[0].bounds, kTop);
  EXPECT_TRUE(wasNoticed("WL-2"));
  // Qt tells of changes only once they are made: no notice is a "before" one.
  for (const std::uint32_t flags : noticeFlags) EXPECT_EQ(flags, 0U);
}

TEST_F(WaylandHotplugTest, AnOutputPluggedInJoinsTheListWithItsNoticeAndMakesADeskAgain) {
  nested->unplug("WL-2");
  ASSERT_TRUE(processEventsUntil([&] { return source.onlineDisplays().size() == 1; }));
  noticed.clear();

  nested->plugIn();
  ASSERT_TRUE(processEventsUntil([&] {
    const auto displays = source.onlineDisplays();
    const OnlineDisplay* plugged = find(displays, connectorId("WL-3"));
    return displays.size() == 2 && plugged != nullptr && plugged->bounds == kBottom;
  })) << "WL-3 never showed below WL-1";
  EXPECT_TRUE(wasNoticed("WL-3"));
  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  const std::optional<DisplayArrangement> arrangement = detectArrangement(manager.discoverDisplays());
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, connectorId("WL-1"));
  EXPECT_EQ(arrangement->bottom.id, connectorId("WL-3"));
}

TEST_F(WaylandHotplugTest, TheManagersOwnerHearsOfAnUnplugOnTheMainQueue) {
  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  int changes = 0;
  manager.onDisplaysChanged = [&changes] { ++changes; };

  nested->unplug("WL-2");
  ASSERT_TRUE(processEventsUntil([&] { return source.onlineDisplays().size() == 1; }));
  EXPECT_EQ(changes, 0) << "the owner is called on the main queue, not from Qt's signal";
  const std::size_t jobs = mainQueue.runPending();
  EXPECT_GE(jobs, 1U);
  EXPECT_EQ(changes, static_cast<int>(jobs));
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_EQ(displays[0].id, connectorId("WL-1"));
  EXPECT_FALSE(detectArrangement(displays).has_value());
}

}  // namespace
}  // namespace tarvelo

int main(int argc, char** argv) {
  return tarvelo::testing::runTestsOnNestedCompositor(argc, argv, tarvelo::nested);
}
