// The Wayland display source on the headless rig (scripts/virtual-wayland.sh):
// HEADLESS-1 (3840 x 2160 at 0,0) over HEADLESS-2 (1920 x 1080 at 960,2160),
// seen through Qt's wayland platform as the rig's own user. Its outputs cannot
// be unplugged; wayland_hotplug_test.cpp does that on a nested compositor.
#include "displays/wayland/wayland_display_source.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "displays/display_arrangement.h"
#include "displays/display_identity.h"
#include "displays/display_manager.h"
#include "displays/wayland_display_waits.h"
#include "fakes/fake_main_queue.h"
#include "rig/wayland_rig_session.h"

namespace tarvelo {
namespace {

using testing::FakeMainQueue;

const DisplayRect kTop4k{0, 0, 3840, 2160};
const DisplayRect kBottomHd{960, 2160, 1920, 1080};

using testing::runInRig;
using testing::useRigLayout;
using testing::connectorId;
using testing::find;
using testing::processEventsUntil;

// Each test leaves the rig as it found it, the default layout, even when it fails.
class WaylandDisplaySourceTest : public ::testing::Test {
 protected:
  void TearDown() override {
    useRigLayout("4k-over-hd");
    processEventsUntil([this] {
      const auto displays = source.onlineDisplays();
      const OnlineDisplay* bottom = find(displays, connectorId("HEADLESS-2"));
      return displays.size() == 2 && bottom != nullptr && bottom->bounds == kBottomHd;
    });
  }

  void recordNotices() {
    source.setReconfigurationHandler([this](DisplayId display, std::uint32_t flags) {
      noticed.push_back(display);
      noticeFlags.push_back(flags);
    });
  }

  WaylandDisplaySource source;
  std::vector<DisplayId> noticed;
  std::vector<std::uint32_t> noticeFlags;
};

TEST_F(WaylandDisplaySourceTest, TheRigsTwoOutputsAreTwoDisplaysWithTheirGeometryAndConnectorIds) {
  const std::vector<OnlineDisplay> displays = source.onlineDisplays();
  ASSERT_EQ(displays.size(), 2U);

  // In Qt's order of screens, each with its own output's id.
  const QList<QScreen*> screens = QGuiApplication::screens();
  ASSERT_EQ(screens.size(), 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(displays[static_cast<std::size_t>(i)].id, connectorId(screens[i]->name().toStdString()));
  }

  const OnlineDisplay* top = find(displays, connectorId("HEADLESS-1"));
  const OnlineDisplay* bottom = find(displays, connectorId("HEADLESS-2"));
  ASSERT_NE(top, nullptr);
  ASSERT_NE(bottom, nullptr);
  EXPECT_EQ(top->bounds, kTop4k);
  EXPECT_EQ(top->pixelWidth, 3840);
  EXPECT_EQ(top->pixelHeight, 2160);
  EXPECT_FALSE(top->isBuiltin);
  EXPECT_EQ(bottom->bounds, kBottomHd);
  EXPECT_EQ(bottom->pixelWidth, 1920);
  EXPECT_EQ(bottom->pixelHeight, 1080);
  EXPECT_FALSE(bottom->isBuiltin);
}

TEST_F(WaylandDisplaySourceTest, TheManagerNamesThemByTheirModelAndFindsTheArrangement) {
  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 2U);
  const QList<QScreen*> screens = QGuiApplication::screens();
  ASSERT_EQ(screens.size(), 2);
  for (std::size_t i = 0; i < displays.size(); ++i) {
    const std::string model = screens[static_cast<int>(i)]->model().toStdString();
    EXPECT_EQ(displays[i].name, model.empty() ? "External Display" : model);
  }
  const std::optional<DisplayArrangement> arrangement = detectArrangement(displays);
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, connectorId("HEADLESS-1"));
  EXPECT_EQ(arrangement->bottom.id, connectorId("HEADLESS-2"));
  EXPECT_DOUBLE_EQ(arrangement->xOverlapStart, 0.25);
  EXPECT_DOUBLE_EQ(arrangement->xOverlapEnd, 0.75);
}

TEST_F(WaylandDisplaySourceTest, ASecondProcessGivesTheDisplaysTheSameIds) {
  std::ostringstream expected;
  for (const OnlineDisplay& display : source.onlineDisplays()) expected << display.id << "\n";
  const std::string secondRun = runInRig("/proc/" + std::to_string(getpid()) + "/exe --print-display-ids 2>/dev/null");
  EXPECT_EQ(secondRun, expected.str());
  EXPECT_NE(secondRun, "");
}

TEST_F(WaylandDisplaySourceTest, RearrangingTheOutputsMovesTheirBoundsAndSendsNotices) {
  recordNotices();
  useRigLayout("stacked");
  const DisplayRect topHd{0, 0, 1920, 1080};
  const DisplayRect bottomHd{0, 1080, 1920, 1080};
  ASSERT_TRUE(processEventsUntil([&] {
    const auto displays = source.onlineDisplays();
    const OnlineDisplay* top = find(displays, connectorId("HEADLESS-1"));
    const OnlineDisplay* bottom = find(displays, connectorId("HEADLESS-2"));
    return top != nullptr && bottom != nullptr && top->bounds == topHd && bottom->bounds == bottomHd;
  })) << "the displays never took the stacked layout";
  const std::vector<OnlineDisplay> displays = source.onlineDisplays();
  ASSERT_EQ(displays.size(), 2U);
  const OnlineDisplay* top = find(displays, connectorId("HEADLESS-1"));
  EXPECT_EQ(top->pixelWidth, 1920);
  EXPECT_EQ(top->pixelHeight, 1080);
  // Both outputs moved or changed size, so each was noticed under its own id.
  EXPECT_NE(std::find(noticed.begin(), noticed.end(), connectorId("HEADLESS-1")), noticed.end());
  EXPECT_NE(std::find(noticed.begin(), noticed.end(), connectorId("HEADLESS-2")), noticed.end());
}

TEST_F(WaylandDisplaySourceTest, AnUnregisteredHandlerHearsNothingMore) {
  int calls = 0;
  source.setReconfigurationHandler([&calls](DisplayId, std::uint32_t) { ++calls; });
  source.setReconfigurationHandler({});
  useRigLayout("stacked");
  ASSERT_TRUE(processEventsUntil([&] {
    const auto displays = source.onlineDisplays();
    const OnlineDisplay* top = find(displays, connectorId("HEADLESS-1"));
    return top != nullptr && top->bounds == DisplayRect{0, 0, 1920, 1080};
  }));
  EXPECT_EQ(calls, 0);
}

// What a restarted program would see: the ids of the displays, one a line.
int printDisplayIds() {
  WaylandDisplaySource source;
  for (const OnlineDisplay& display : source.onlineDisplays()) std::printf("%u\n", display.id);
  return 0;
}

}  // namespace
}  // namespace tarvelo

// Inside the rig, a QGuiApplication on the wayland platform, then the tests.
int main(int argc, char** argv) {
  if (tarvelo::testing::isListingTests(argc, argv)) {
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
  }
  if (!tarvelo::testing::joinWaylandRig(argc, argv)) return 1;
  setenv("QT_QPA_PLATFORM", "wayland", 1);
  QGuiApplication application(argc, argv);
  if (argc > 1 && std::string(argv[1]) == "--print-display-ids") return tarvelo::printDisplayIds();
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
