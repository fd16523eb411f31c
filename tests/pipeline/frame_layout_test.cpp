#include "pipeline/frame_layout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace tarvelo {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

TEST(FrameLayout, ByteCountIsHeightTimesStride) {
  EXPECT_EQ(checkedFrameByteCount({160, 100, 640}), 64000);
  EXPECT_EQ(checkedFrameByteCount({5, 3, 24}), 72);  // padded rows count whole
  EXPECT_EQ(checkedFrameByteCount({1, 1, 4}), 4);
}

TEST(FrameLayout, TheLargestFrameIsAccepted) {
  EXPECT_EQ(checkedFrameByteCount({kLargestFrameSide, kLargestFrameSide, kLargestFrameSide * 4}), kLargestFrameBytes);
  // A narrow frame may pad its rows as long as the whole stays within bounds.
  EXPECT_EQ(checkedFrameByteCount({1, 1, kLargestFrameBytes}), kLargestFrameBytes);
}

TEST(FrameLayout, RefusesSidesOutOfRange) {
  for (const FrameLayout layout : {FrameLayout{0, 4, 16}, FrameLayout{4, 0, 16}, FrameLayout{-1, 4, 16},
                                   FrameLayout{std::numeric_limits<std::int64_t>::min(), 4, 16}}) {
    EXPECT_THAT([&] { checkedFrameByteCount(layout); }, ThrowsMessage<InvalidFrame>(HasSubstr("has no pixels")));
  }
  for (const FrameLayout layout : {FrameLayout{kLargestFrameSide + 1, 1, kInt64Max},
                                   FrameLayout{1, kLargestFrameSide + 1, 4}, FrameLayout{kInt64Max, kInt64Max, kInt64Max}}) {
    EXPECT_THAT([&] { checkedFrameByteCount(layout); },
                ThrowsMessage<InvalidFrame>(HasSubstr("larger than 16384 x 16384 pixels")));
  }
}

TEST(FrameLayout, RefusesAStrideShorterThanARow) {
  EXPECT_THAT([] { checkedFrameByteCount({4, 4, 15}); },
              ThrowsMessage<InvalidFrame>(HasSubstr("stride less than 4 x width (16)")));
  EXPECT_THAT([] { checkedFrameByteCount({4, 4, -16}); }, ThrowsMessage<InvalidFrame>(HasSubstr("stride less than")));
}

TEST(FrameLayout, RefusesMoreBytesThanTheLargestFrameWithoutOverflowing) {
  EXPECT_THAT([] { checkedFrameByteCount({1, 2, kLargestFrameBytes / 2 + 1}); },
              ThrowsMessage<InvalidFrame>(HasSubstr("more than 1073741824 bytes")));
  EXPECT_THAT([] { checkedFrameByteCount({1, kLargestFrameSide, kInt64Max}); },
              ThrowsMessage<InvalidFrame>(HasSubstr("more than 1073741824 bytes")));
}

TEST(FrameOver, ViewsExactlyTheStatedBytes) {
  const std::vector<std::uint8_t> bytes(72);
  const Frame frame = frameOver(bytes, {5, 3, 24});
  EXPECT_EQ(frame.bytes, bytes.data());
  EXPECT_EQ(frame.width, 5);
  EXPECT_EQ(frame.height, 3);
  EXPECT_EQ(frame.bytesPerRow, 24);
}

TEST(FrameOver, RefusesTooFewOrTooManyBytes) {
  const std::vector<std::uint8_t> few(71);
  const std::vector<std::uint8_t> many(73);
  EXPECT_THAT([&] { frameOver(few, {5, 3, 24}); }, ThrowsMessage<InvalidFrame>(HasSubstr("needs exactly 72 bytes, got 71")));
  EXPECT_THAT([&] { frameOver(many, {5, 3, 24}); }, ThrowsMessage<InvalidFrame>(HasSubstr("needs exactly 72 bytes, got 73")));
  EXPECT_THROW(frameOver(few, {0, 3, 24}), InvalidFrame);
}

}  // namespace
}  // namespace tarvelo
