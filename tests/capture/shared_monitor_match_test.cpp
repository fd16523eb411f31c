#include "capture/pipewire/shared_monitor_match.h"

#include <gtest/gtest.h>

namespace tarvelo {
namespace {

OnlineDisplay display(DisplayId id, DisplayRect bounds, std::int64_t pixelWidth, std::int64_t pixelHeight) {
  OnlineDisplay online;
  online.id = id;
  online.bounds = bounds;
  online.pixelWidth = pixelWidth;
  online.pixelHeight = pixelHeight;
  return online;
}

// The rig's desk: a 4K movie screen over a full-HD light screen.
const std::vector<OnlineDisplay> kStacked{display(11, {0, 0, 3840, 2160}, 3840, 2160),
                                          display(22, {960, 2160, 1920, 1080}, 1920, 1080)};

ScreenCastGrant shared(std::optional<std::int64_t> x, std::optional<std::int64_t> y, std::optional<std::int64_t> width,
                       std::optional<std::int64_t> height) {
  ScreenCastGrant grant;
  grant.x = x;
  grant.y = y;
  grant.width = width;
  grant.height = height;
  return grant;
}

TEST(SharedMonitorMatchTest, ThePlaceAndSizeOfADisplayNameIt) {
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, 3840, 2160), kStacked), 11u);
  EXPECT_EQ(matchSharedMonitor(shared(960, 2160, 1920, 1080), kStacked), 22u);
}

// xdg-desktop-portal-wlr reports 0,0 for every monitor.
TEST(SharedMonitorMatchTest, AWrongPlaceDoesNotOverruleTheOneDisplayOfThatSize) {
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, 1920, 1080), kStacked), 22u);
  EXPECT_EQ(matchSharedMonitor(shared(std::nullopt, std::nullopt, 1920, 1080), kStacked), 22u);
}

TEST(SharedMonitorMatchTest, TwoDisplaysOfTheSameSizeAreToldApartByPlaceOnly) {
  const std::vector<OnlineDisplay> twins{display(1, {0, 0, 1920, 1080}, 1920, 1080),
                                         display(2, {0, 1080, 1920, 1080}, 1920, 1080)};
  EXPECT_EQ(matchSharedMonitor(shared(0, 1080, 1920, 1080), twins), 2u);
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, 1920, 1080), twins), 1u);
  EXPECT_EQ(matchSharedMonitor(shared(std::nullopt, std::nullopt, 1920, 1080), twins), std::nullopt);
  EXPECT_EQ(matchSharedMonitor(shared(500, 500, 1920, 1080), twins), std::nullopt);
}

// A scaled output: the desktop's logical size is half its pixels.
TEST(SharedMonitorMatchTest, TheSizeMayBeInPixelsOrInTheDesktopsUnits) {
  const std::vector<OnlineDisplay> scaled{display(5, {0, 0, 1920, 1080}, 3840, 2160),
                                          display(6, {0, 1080, 1280, 1024}, 1280, 1024)};
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, 3840, 2160), scaled), 5u);
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, 1920, 1080), scaled), 5u);
}

TEST(SharedMonitorMatchTest, NoSizeOrASizeNoDisplayHasMatchesNothing) {
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, std::nullopt, std::nullopt), kStacked), std::nullopt);
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, 2560, 1440), kStacked), std::nullopt);
  EXPECT_EQ(matchSharedMonitor(shared(0, 0, 3840, 2160), {}), std::nullopt);
}

}  // namespace
}  // namespace tarvelo
