#include "displays/display_info.h"

#include <gtest/gtest.h>

#include <functional>
#include <unordered_set>

namespace tarvelo {
namespace {

DisplayInfo makeDisplay(DisplayId id, std::string name, double x) {
  return DisplayInfo{id, std::move(name), 1920, 1080, false, DisplayRect{x, 0.0, 1920.0, 1080.0}};
}

TEST(DisplayInfoTest, RecordsWithTheSameIdAreEqualWhateverElseDiffers) {
  const DisplayInfo a = makeDisplay(7, "Left", 0.0);
  DisplayInfo b = makeDisplay(7, "Right", 1920.0);
  b.isBuiltin = true;
  b.width = 3840;
  EXPECT_TRUE(a == b);
}

TEST(DisplayInfoTest, RecordsWithDifferentIdsAreNotEqualEvenWhenAlikeOtherwise) {
  EXPECT_FALSE(makeDisplay(1, "Same", 0.0) == makeDisplay(2, "Same", 0.0));
  EXPECT_TRUE(makeDisplay(1, "Same", 0.0) != makeDisplay(2, "Same", 0.0));
}

TEST(DisplayInfoTest, HashFeedsOnlyTheId) {
  const std::hash<DisplayInfo> hashDisplay;
  EXPECT_EQ(hashDisplay(makeDisplay(42, "A", 0.0)), std::hash<DisplayId>{}(42));
  EXPECT_EQ(hashDisplay(makeDisplay(42, "A", 0.0)), hashDisplay(makeDisplay(42, "B", 500.0)));
}

TEST(DisplayInfoTest, SetKeepsOneRecordPerId) {
  std::unordered_set<DisplayInfo> set;
  set.insert(makeDisplay(1, "First", 0.0));
  set.insert(makeDisplay(1, "First again", 1920.0));
  set.insert(makeDisplay(2, "Second", 0.0));
  EXPECT_EQ(set.size(), 2U);
  EXPECT_EQ(set.find(makeDisplay(1, "", 0.0))->name, "First");
}

}  // namespace
}  // namespace tarvelo
