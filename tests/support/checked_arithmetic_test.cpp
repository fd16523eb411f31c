#include "support/checked_arithmetic.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace tarvelo {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

TEST(CheckedArithmetic, ComputesInRange) {
  EXPECT_EQ(checkedAdd(2, 3), 5);
  EXPECT_EQ(checkedSub(2, 3), -1);
  EXPECT_EQ(checkedMul(-4, 3), -12);
  EXPECT_EQ(checkedAdd(kMax - 1, 1), kMax);
}

TEST(CheckedArithmeticDeathTest, OverflowStopsTheProcess) {
  EXPECT_DEATH(checkedAdd(kMax, 1), "integer overflow in addition");
  EXPECT_DEATH(checkedSub(kMin, 1), "integer overflow in subtraction");
  EXPECT_DEATH(checkedMul(kMax / 2 + 1, 2), "integer overflow in multiplication");
}

TEST(CheckedArithmetic, TruncatesTowardsZero) {
  EXPECT_EQ(truncateToInt64(2.9), 2);
  EXPECT_EQ(truncateToInt64(-2.9), -2);
  EXPECT_EQ(truncateToInt64(-9223372036854775808.0), kMin);
}

TEST(CheckedArithmeticDeathTest, OutOfRangeConversionStopsTheProcess) {
  EXPECT_DEATH(truncateToInt64(std::nan("")), "float to integer conversion out of range");
  EXPECT_DEATH(truncateToInt64(INFINITY), "float to integer conversion out of range");
  EXPECT_DEATH(truncateToInt64(9223372036854775808.0), "float to integer conversion out of range");
}

TEST(CheckedArithmetic, OrderedMinAndMaxReturnTheFirstOperandWhenUnordered) {
  const double nan = std::nan("");
  EXPECT_EQ(orderedMin(1.0, 2.0), 1.0);
  EXPECT_EQ(orderedMax(1.0, 2.0), 2.0);
  EXPECT_EQ(orderedMin(1.0, nan), 1.0);
  EXPECT_TRUE(std::isnan(orderedMin(nan, 1.0)));
  EXPECT_EQ(orderedMax(0.0, nan), 0.0);
  EXPECT_TRUE(std::isnan(orderedMax(nan, 0.0)));
}

}  // namespace
}  // namespace tarvelo
