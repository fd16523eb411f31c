#include "displays/display_identity.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarvelo {
namespace {

DisplayIdentity connector(const std::string& name) { return DisplayIdentity{name, "", "", ""}; }

TEST(Fnv1a32Test, MatchesThePublishedTestVectors) {
  EXPECT_EQ(fnv1a32(""), 0x811C9DC5U);
  EXPECT_EQ(fnv1a32("a"), 0xE40C292CU);
  EXPECT_EQ(fnv1a32("foobar"), 0xBF9CF968U);
}

// Saved source and target choices are these numbers: a change to the
// derivation would silently forget every user's choice.
TEST(StableDisplayIdTest, AConnectorsIdIsFixedForever) {
  EXPECT_EQ(stableDisplayId(connector("HEADLESS-1")), std::optional<DisplayId>(0xADFEB8BFU));
  EXPECT_EQ(stableDisplayId(connector("HEADLESS-2")), std::optional<DisplayId>(0xAEFEBA52U));
  EXPECT_EQ(stableDisplayId(connector("DP-1")), std::optional<DisplayId>(0x1A00FECCU));
}

TEST(StableDisplayIdTest, TheConnectorNameDecidesEvenWhenAnotherMonitorIsPluggedIn) {
  const auto before = stableDisplayId(DisplayIdentity{"DP-1", "DEL", "U2720Q", "ABC123"});
  const auto after = stableDisplayId(DisplayIdentity{"DP-1", "GSM", "LG ULTRAFINE", "XYZ"});
  ASSERT_TRUE(before.has_value());
  EXPECT_EQ(before, after);
  EXPECT_EQ(before, stableDisplayId(connector("DP-1")));
}

TEST(StableDisplayIdTest, CommonConnectorNamesAllGetDistinctNonZeroIds) {
  std::vector<std::string> names;
  for (const std::string prefix : {"DP-", "HDMI-A-", "HDMI-", "eDP-", "DVI-D-", "DVI-I-", "VGA-", "DSI-", "LVDS-",
                                   "USB-C-", "Virtual-", "HEADLESS-", "WL-", "X11-", "DP-1-", "DP-2-"}) {
    for (int number = 0; number <= 16; ++number) names.push_back(prefix + std::to_string(number));
  }
  std::set<DisplayId> ids;
  for (const std::string& name : names) {
    const std::optional<DisplayId> id = stableDisplayId(connector(name));
    ASSERT_TRUE(id.has_value()) << name;
    EXPECT_NE(*id, 0U) << name;
    ids.insert(*id);
  }
  EXPECT_EQ(ids.size(), names.size());
}

TEST(StableDisplayIdTest, WithoutAConnectorNameTheMonitorsIdentityNamesIt) {
  const auto first = stableDisplayId(DisplayIdentity{"", "DEL", "U2720Q", "ABC123"});
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first, stableDisplayId(DisplayIdentity{"", "DEL", "U2720Q", "ABC123"}));
  EXPECT_EQ(*first, fnv1a32("edid:DEL\nU2720Q\nABC123"));
  // Two monitors of one model are told apart by their serial numbers.
  EXPECT_NE(first, stableDisplayId(DisplayIdentity{"", "DEL", "U2720Q", "ABC124"}));
  EXPECT_TRUE(stableDisplayId(DisplayIdentity{"", "", "U2720Q", ""}).has_value());
}

TEST(StableDisplayIdTest, TheMonitorsFieldsDoNotRunIntoEachOther) {
  EXPECT_NE(stableDisplayId(DisplayIdentity{"", "AB", "C", ""}), stableDisplayId(DisplayIdentity{"", "A", "BC", ""}));
  EXPECT_NE(stableDisplayId(DisplayIdentity{"", "", "AB", "C"}), stableDisplayId(DisplayIdentity{"", "", "A", "BC"}));
}

TEST(StableDisplayIdTest, AConnectorAndAMonitorOfTheSameTextAreDifferentDisplays) {
  EXPECT_NE(stableDisplayId(connector("DP-1")), stableDisplayId(DisplayIdentity{"", "DP-1", "", ""}));
}

TEST(StableDisplayIdTest, AnIdentityThatSaysNothingGivesNoId) {
  EXPECT_EQ(stableDisplayId(DisplayIdentity{}), std::nullopt);
}

}  // namespace
}  // namespace tarvelo
