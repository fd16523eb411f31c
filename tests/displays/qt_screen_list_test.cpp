#include "displays/qt_screen_list.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QGuiApplication>
#include <QScreen>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "displays/gui_application.h"
#include "displays/x11/x11_display_source.h"
#include "displays/x11_rig.h"

namespace tarvelo {
namespace {

using testing::applyRigLayout;
using testing::rigDisplay;
using testing::StackedLayoutRestorer;

// Generous: Qt learns of a change through its own connection's events.
constexpr auto kScreenChangeTimeout = std::chrono::seconds(30);

// Lets Qt handle the server's events until it knows `count` screens, or the
// timeout passes; returns whether it got there.
bool awaitScreenCount(qsizetype count) {
  const auto deadline = std::chrono::steady_clock::now() + kScreenChangeTimeout;
  while (QGuiApplication::screens().size() != count) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

QtScreenList::OutputIdForName outputIdsOf(X11DisplaySource& source) {
  return [&source](const std::string& outputName) { return source.outputIdForName(outputName); };
}

class QtScreenListTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::rigGuiApplication();
    ids = testing::xrandrOutputIds();
    ASSERT_TRUE(ids.contains("DUMMY0") && ids.contains("DUMMY1")) << "the rig is not running on " << rigDisplay();
    ASSERT_TRUE(awaitScreenCount(2));
  }

  std::map<std::string, DisplayId> ids;
};

TEST_F(QtScreenListTest, ScreensCarryTheIdsOfTheirRandrOutputs) {
  X11DisplaySource source(rigDisplay());
  QtScreenList list(outputIdsOf(source));
  const std::vector<Screen> screens = list.screens();
  ASSERT_EQ(screens.size(), 2U);

  EXPECT_EQ(screens[0].displayNumber, ids.at("DUMMY0"));
  EXPECT_EQ(screens[0].frame, (DisplayRect{0, 0, 1920, 1080}));
  EXPECT_EQ(screens[1].displayNumber, ids.at("DUMMY1"));
  EXPECT_EQ(screens[1].frame, (DisplayRect{0, 1080, 1920, 1080}));
}

TEST_F(QtScreenListTest, AScreenWithoutAModelIsCalledByItsOutputName) {
  X11DisplaySource source(rigDisplay());
  QtScreenList list(outputIdsOf(source));
  // The dummy outputs have no EDID, so Qt knows no model for them.
  ASSERT_TRUE(QGuiApplication::screens()[0]->model().isEmpty());
  const std::vector<Screen> screens = list.screens();
  ASSERT_EQ(screens.size(), 2U);
  EXPECT_EQ(screens[0].localizedName, "DUMMY0");
  EXPECT_EQ(screens[1].localizedName, "DUMMY1");
}

TEST_F(QtScreenListTest, ScreensAreMatchedByTheirOutputNames) {
  std::vector<std::string> askedFor;
  QtScreenList list([&askedFor](const std::string& outputName) -> std::optional<DisplayId> {
    askedFor.push_back(outputName);
    if (outputName == "DUMMY1") return 77;
    return std::nullopt;
  });
  const std::vector<Screen> screens = list.screens();
  ASSERT_EQ(screens.size(), 2U);
  EXPECT_EQ(askedFor, (std::vector<std::string>{"DUMMY0", "DUMMY1"}));
  // A screen named after no output carries no display number at all.
  EXPECT_EQ(screens[0].displayNumber, std::nullopt);
  EXPECT_EQ(screens[1].displayNumber, std::optional<DisplayId>(77));
}

TEST_F(QtScreenListTest, AnUnpluggedOutputTakesItsScreenAlong) {
  StackedLayoutRestorer restorer;
  X11DisplaySource source(rigDisplay());
  QtScreenList list(outputIdsOf(source));

  ASSERT_TRUE(applyRigLayout("single"));
  ASSERT_TRUE(awaitScreenCount(1));
  const std::vector<Screen> unplugged = list.screens();
  ASSERT_EQ(unplugged.size(), 1U);
  EXPECT_EQ(unplugged[0].displayNumber, ids.at("DUMMY0"));
  EXPECT_EQ(unplugged[0].frame, (DisplayRect{0, 0, 1920, 1080}));

  ASSERT_TRUE(applyRigLayout("stacked"));
  ASSERT_TRUE(awaitScreenCount(2));
  const std::vector<Screen> replugged = list.screens();
  ASSERT_EQ(replugged.size(), 2U);
  EXPECT_EQ(replugged[1].displayNumber, ids.at("DUMMY1"));
  EXPECT_EQ(replugged[1].frame, (DisplayRect{0, 1080, 1920, 1080}));
}

}  // namespace
}  // namespace tarvelo
