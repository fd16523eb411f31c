#include "displays/x11/x11_display_source.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "displays/display_arrangement.h"
#include "displays/display_manager.h"
#include "displays/x11_connection_relay.h"
#include "displays/x11_rig.h"
#include "fakes/fake_main_queue.h"

namespace tarvelo {
namespace {

using testing::applyRigLayout;
using testing::FakeMainQueue;
using testing::rigDisplay;
using testing::StackedLayoutRestorer;
using testing::X11ConnectionRelay;
using testing::xrandrOutputIds;

// Long enough for a loaded machine; a notice normally arrives at once.
constexpr auto kNoticeTimeout = std::chrono::seconds(30);

const DisplayRect kTopHd{0, 0, 1920, 1080};
const DisplayRect kBottomHd{0, 1080, 1920, 1080};

// Counts the notices a source delivers, from whatever thread delivers them.
class NoticeRecorder {
 public:
  DisplaySource::ReconfigurationHandler handler() {
    return [this](DisplayId display, std::uint32_t flags) {
      std::lock_guard lock(mutex_);
      displays_.push_back(display);
      flags_.push_back(flags);
      arrived_.notify_all();
    };
  }

  // True once at least one notice has arrived (waiting up to the timeout).
  bool awaitNotice() {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, kNoticeTimeout, [this] { return !displays_.empty(); });
  }

  std::size_t count() const {
    std::lock_guard lock(mutex_);
    return displays_.size();
  }

  std::vector<DisplayId> displays() const {
    std::lock_guard lock(mutex_);
    return displays_;
  }

  std::vector<std::uint32_t> flags() const {
    std::lock_guard lock(mutex_);
    return flags_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<DisplayId> displays_;
  std::vector<std::uint32_t> flags_;
};

// Changes the layout and waits until a source that was listening before the
// change has reported it: proof that the change has happened and been announced.
void changeLayoutAndAwaitItsNotice(const std::string& layout) {
  X11DisplaySource witness(rigDisplay());
  NoticeRecorder notices;
  witness.setReconfigurationHandler(notices.handler());
  ASSERT_TRUE(applyRigLayout(layout));
  ASSERT_TRUE(notices.awaitNotice()) << "no notice for the " << layout << " layout";
}

std::string errorTextOfConnecting(const std::optional<std::string>& displayName) {
  try {
    X11DisplaySource source(displayName);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "(no error)";
}

class X11DisplaySourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ids = xrandrOutputIds();
    ASSERT_TRUE(ids.contains("DUMMY0") && ids.contains("DUMMY1")) << "the rig is not running on " << rigDisplay();
  }

  std::map<std::string, DisplayId> ids;
};

TEST_F(X11DisplaySourceTest, StackedOutputsAreTwoDisplaysWithTheirRandrIds) {
  X11DisplaySource source(rigDisplay());
  const std::vector<OnlineDisplay> displays = source.onlineDisplays();
  ASSERT_EQ(displays.size(), 2U);

  EXPECT_EQ(displays[0].id, ids.at("DUMMY0"));
  EXPECT_EQ(displays[0].pixelWidth, 1920);
  EXPECT_EQ(displays[0].pixelHeight, 1080);
  EXPECT_EQ(displays[0].bounds, kTopHd);

  EXPECT_EQ(displays[1].id, ids.at("DUMMY1"));
  EXPECT_EQ(displays[1].pixelWidth, 1920);
  EXPECT_EQ(displays[1].pixelHeight, 1080);
  EXPECT_EQ(displays[1].bounds, kBottomHd);

  for (const OnlineDisplay& display : displays) {
    EXPECT_FALSE(display.isBuiltin);
    // The dummy driver's outputs carry no EDID.
    EXPECT_EQ(display.localizedName, std::nullopt);
  }
}

TEST_F(X11DisplaySourceTest, TheDisplayManagerNamesAndArrangesTheStackedOutputs) {
  X11DisplaySource source(rigDisplay());
  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_EQ(displays[0].name, "External Display");
  EXPECT_EQ(displays[1].name, "External Display");

  const auto arrangement = detectArrangement(displays);
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, ids.at("DUMMY0"));
  EXPECT_EQ(arrangement->bottom.id, ids.at("DUMMY1"));
  EXPECT_EQ(arrangement->description, "Auto-aligned: External Display (Top) → External Display (Bottom)");
  EXPECT_DOUBLE_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_DOUBLE_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST_F(X11DisplaySourceTest, FourKOverFullHdOverlapsTheMiddleHalfOfTheTop) {
  StackedLayoutRestorer restorer;
  ASSERT_TRUE(applyRigLayout("4k-over-hd"));
  X11DisplaySource source(rigDisplay());
  const std::vector<OnlineDisplay> online = source.onlineDisplays();
  ASSERT_EQ(online.size(), 2U);
  EXPECT_EQ(online[0].id, ids.at("DUMMY0"));
  EXPECT_EQ(online[0].pixelWidth, 3840);
  EXPECT_EQ(online[0].pixelHeight, 2160);
  EXPECT_EQ(online[0].bounds, (DisplayRect{0, 0, 3840, 2160}));
  EXPECT_EQ(online[1].id, ids.at("DUMMY1"));
  EXPECT_EQ(online[1].pixelWidth, 1920);
  EXPECT_EQ(online[1].pixelHeight, 1080);
  EXPECT_EQ(online[1].bounds, (DisplayRect{960, 2160, 1920, 1080}));

  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  const auto arrangement = detectArrangement(manager.discoverDisplays());
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, ids.at("DUMMY0"));
  EXPECT_EQ(arrangement->bottom.id, ids.at("DUMMY1"));
  EXPECT_EQ(arrangement->description, "Auto-aligned: External Display (Top) → External Display (Bottom)");
  EXPECT_DOUBLE_EQ(arrangement->xOverlapStart, 0.25);
  EXPECT_DOUBLE_EQ(arrangement->xOverlapEnd, 0.75);
}

TEST_F(X11DisplaySourceTest, SideBySideOutputsAreDescribedSideBySide) {
  StackedLayoutRestorer restorer;
  ASSERT_TRUE(applyRigLayout("side-by-side"));
  X11DisplaySource source(rigDisplay());
  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  const std::vector<DisplayInfo> displays = manager.discoverDisplays();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_EQ(displays[0].bounds, kTopHd);
  EXPECT_EQ(displays[1].bounds, (DisplayRect{1920, 0, 1920, 1080}));

  const auto arrangement = detectArrangement(displays);
  ASSERT_TRUE(arrangement.has_value());
  // Equal centres keep the enumeration order: the first output is the source.
  EXPECT_EQ(arrangement->top.id, ids.at("DUMMY0"));
  EXPECT_EQ(arrangement->bottom.id, ids.at("DUMMY1"));
  EXPECT_EQ(arrangement->description, "Side-by-side: External Display → External Display");
  EXPECT_DOUBLE_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_DOUBLE_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST_F(X11DisplaySourceTest, AnUnpluggedOutputDisappearsAndComesBackWhenReplugged) {
  StackedLayoutRestorer restorer;
  // One source throughout: every call must ask the server afresh.
  X11DisplaySource source(rigDisplay());
  ASSERT_EQ(source.onlineDisplays().size(), 2U);

  ASSERT_TRUE(applyRigLayout("single"));
  const std::vector<OnlineDisplay> unplugged = source.onlineDisplays();
  ASSERT_EQ(unplugged.size(), 1U);
  EXPECT_EQ(unplugged[0].id, ids.at("DUMMY0"));
  EXPECT_EQ(unplugged[0].bounds, kTopHd);
  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  EXPECT_FALSE(detectArrangement(manager.discoverDisplays()).has_value());

  ASSERT_TRUE(applyRigLayout("stacked"));
  const std::vector<OnlineDisplay> replugged = source.onlineDisplays();
  ASSERT_EQ(replugged.size(), 2U);
  EXPECT_EQ(replugged[0].id, ids.at("DUMMY0"));
  EXPECT_EQ(replugged[1].id, ids.at("DUMMY1"));
  EXPECT_EQ(replugged[1].bounds, kBottomHd);
}

TEST_F(X11DisplaySourceTest, EveryLayoutChangeSendsAReconfigurationNotice) {
  StackedLayoutRestorer restorer;
  std::set<DisplayId> knownIds{0};
  for (const auto& [name, id] : ids) knownIds.insert(id);

  for (const std::string layout : {"4k-over-hd", "side-by-side", "single", "stacked"}) {
    // A source made after the previous change cannot hear that change late.
    X11DisplaySource source(rigDisplay());
    NoticeRecorder notices;
    source.setReconfigurationHandler(notices.handler());
    ASSERT_TRUE(applyRigLayout(layout));
    ASSERT_TRUE(notices.awaitNotice()) << "no notice for the " << layout << " layout";
    source.setReconfigurationHandler({});
    for (const std::uint32_t flags : notices.flags()) EXPECT_EQ(flags, 0U) << layout;
    for (const DisplayId display : notices.displays()) EXPECT_TRUE(knownIds.contains(display)) << display;
  }
}

TEST_F(X11DisplaySourceTest, AnUnplugNamesTheUnpluggedOutput) {
  StackedLayoutRestorer restorer;
  X11DisplaySource source(rigDisplay());
  NoticeRecorder notices;
  source.setReconfigurationHandler(notices.handler());
  ASSERT_TRUE(applyRigLayout("single"));
  ASSERT_TRUE(notices.awaitNotice());
  // The witness source below was listening too; once it has seen the
  // re-plug, every notice of the unplug has reached this source as well.
  changeLayoutAndAwaitItsNotice("stacked");
  const std::vector<DisplayId> displays = notices.displays();
  EXPECT_NE(std::find(displays.begin(), displays.end(), ids.at("DUMMY1")), displays.end());
}

TEST_F(X11DisplaySourceTest, NoticesReachTheDisplayManagerOnTheMainQueue) {
  StackedLayoutRestorer restorer;
  X11DisplaySource source(rigDisplay());
  FakeMainQueue mainQueue;
  DisplayManager manager(source, mainQueue);
  int changes = 0;
  manager.onDisplaysChanged = [&changes] { ++changes; };

  ASSERT_TRUE(applyRigLayout("single"));
  // Jobs run only here, on the test thread standing in for the main thread.
  mainQueue.waitAndRunPending(kNoticeTimeout);
  EXPECT_GE(changes, 1);
  ASSERT_EQ(manager.discoverDisplays().size(), 1U);
}

TEST_F(X11DisplaySourceTest, ADestroyedSourceCallsNoHandlerAfterwards) {
  StackedLayoutRestorer restorer;
  NoticeRecorder notices;
  {
    X11DisplaySource source(rigDisplay());
    source.setReconfigurationHandler(notices.handler());
    // Destruction wakes and joins the notice thread; a thread that did not
    // stop would hang here.
  }
  changeLayoutAndAwaitItsNotice("single");
  EXPECT_EQ(notices.count(), 0U);
}

TEST_F(X11DisplaySourceTest, AnEmptyHandlerUnregisters) {
  StackedLayoutRestorer restorer;
  X11DisplaySource source(rigDisplay());
  NoticeRecorder unregistered;
  source.setReconfigurationHandler(unregistered.handler());
  source.setReconfigurationHandler({});
  ASSERT_TRUE(applyRigLayout("single"));

  // A later handler hearing something shows the notice thread is still at work.
  NoticeRecorder later;
  source.setReconfigurationHandler(later.handler());
  ASSERT_TRUE(applyRigLayout("stacked"));
  ASSERT_TRUE(later.awaitNotice());
  EXPECT_EQ(unregistered.count(), 0U);
}

TEST_F(X11DisplaySourceTest, AReplacedHandlerHearsNothingMore) {
  StackedLayoutRestorer restorer;
  X11DisplaySource source(rigDisplay());
  NoticeRecorder first;
  NoticeRecorder second;
  source.setReconfigurationHandler(first.handler());
  ASSERT_TRUE(applyRigLayout("single"));
  ASSERT_TRUE(first.awaitNotice());
  source.setReconfigurationHandler(second.handler());
  const std::size_t heardByFirst = first.count();

  ASSERT_TRUE(applyRigLayout("stacked"));
  ASSERT_TRUE(second.awaitNotice());
  EXPECT_EQ(first.count(), heardByFirst);
}

TEST_F(X11DisplaySourceTest, OutputIdsAreFoundByOutputName) {
  X11DisplaySource source(rigDisplay());
  EXPECT_EQ(source.outputIdForName("DUMMY0"), ids.at("DUMMY0"));
  EXPECT_EQ(source.outputIdForName("DUMMY1"), ids.at("DUMMY1"));
  // A connected output without a CRTC still has its id.
  ASSERT_TRUE(ids.contains("DUMMY15"));
  EXPECT_EQ(source.outputIdForName("DUMMY15"), ids.at("DUMMY15"));
  EXPECT_EQ(source.outputIdForName("HDMI-1"), std::nullopt);
  EXPECT_EQ(source.outputIdForName(""), std::nullopt);
}

TEST_F(X11DisplaySourceTest, AnAbsentDisplayNameMeansTheDisplayEnvironment) {
  const char* saved = std::getenv("DISPLAY");
  const std::optional<std::string> previous = saved ? std::optional<std::string>(saved) : std::nullopt;
  setenv("DISPLAY", rigDisplay().c_str(), 1);
  {
    X11DisplaySource source;
    EXPECT_EQ(source.onlineDisplays().size(), 2U);
  }
  unsetenv("DISPLAY");
  EXPECT_EQ(errorTextOfConnecting(std::nullopt), "cannot connect to the X server: DISPLAY is not set");
  if (previous) setenv("DISPLAY", previous->c_str(), 1);
}

TEST(X11DisplaySourceConnection, AMissingXServerIsAReadableError) {
  const std::string missing = testing::unusedDisplayName();
  EXPECT_EQ(errorTextOfConnecting(missing), "cannot connect to the X server " + missing);
}

TEST(X11DisplaySourceConnection, AMalformedDisplayNameIsAReadableError) {
  EXPECT_EQ(errorTextOfConnecting("no-display-here"),
            "cannot connect to the X server: \"no-display-here\" is not a display name");
}

TEST(X11DisplaySourceConnection, AScreenTheServerLacksIsAReadableError) {
  const std::string display = rigDisplay() + ".7";
  EXPECT_EQ(errorTextOfConnecting(display), "cannot connect to the X server " + display + ": it has no such screen");
}

TEST_F(X11DisplaySourceTest, ALostServerEndsTheNoticeThreadQuietly) {
  StackedLayoutRestorer restorer;
  X11ConnectionRelay relay(rigDisplay());
  NoticeRecorder notices;
  {
    X11DisplaySource source(relay.displayName());
    ASSERT_EQ(source.onlineDisplays().size(), 2U);
    source.setReconfigurationHandler(notices.handler());

    relay.cut();
    EXPECT_TRUE(source.onlineDisplays().empty());
    EXPECT_EQ(source.outputIdForName("DUMMY0"), std::nullopt);
    // Changes after the loss reach other clients, never this source.
    changeLayoutAndAwaitItsNotice("single");
    EXPECT_TRUE(source.onlineDisplays().empty());
  }
  EXPECT_EQ(notices.count(), 0U);
}

}  // namespace
}  // namespace tarvelo

namespace tarvelo {
namespace {

// A server of the test's own, so that no other client has polled its outputs.
TEST(X11DisplaySourceFreshServer, AnOutputJustSwitchedOnCountsBeforeAnyoneAsksTheHardware) {
  const testing::PrivateXServer server("4k-over-hd");
  ASSERT_TRUE(server.isRunning());
  const std::vector<OnlineDisplay> displays = X11DisplaySource(server.display()).onlineDisplays();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_EQ(displays[1].bounds, (DisplayRect{960, 2160, 1920, 1080}));
}

// The size of the server's first screen as the core protocol gives it.
std::optional<DisplayRect> coreScreenRect(const std::string& display) {
  xcb_connection_t* connection = xcb_connect(display.c_str(), nullptr);
  std::optional<DisplayRect> rect;
  if (xcb_connection_has_error(connection) == 0) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    rect = DisplayRect{0, 0, static_cast<double>(screen->width_in_pixels),
                       static_cast<double>(screen->height_in_pixels)};
  }
  xcb_disconnect(connection);
  return rect;
}

TEST(X11DisplaySourceWithoutRandr, TheCoreScreenIsTheOneDisplay) {
  const testing::PrivateXServer server("stacked", {"-extension", "RANDR"});
  ASSERT_TRUE(server.isRunning());
  const std::optional<DisplayRect> screen = coreScreenRect(server.display());
  ASSERT_TRUE(screen.has_value());

  X11DisplaySource source(server.display());
  NoticeRecorder notices;
  source.setReconfigurationHandler(notices.handler());
  const std::vector<OnlineDisplay> displays = source.onlineDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_NE(displays[0].id, 0U);
  EXPECT_EQ(displays[0].bounds, *screen);
  EXPECT_EQ(displays[0].pixelWidth, static_cast<std::int64_t>(screen->width));
  EXPECT_EQ(displays[0].pixelHeight, static_cast<std::int64_t>(screen->height));
  EXPECT_FALSE(displays[0].isBuiltin);
  EXPECT_EQ(displays[0].localizedName, std::nullopt);
  // Qt lists that one screen under a name of its own; it is this display.
  EXPECT_EQ(source.outputIdForName(":0.0"), displays[0].id);
  EXPECT_EQ(notices.count(), 0U);
}

}  // namespace
}  // namespace tarvelo
