#include "raw_frame_spec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarvelo {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(RawFrameSpec, ReadsTheLayoutAndAPathThatMayHoldColons) {
  const RawFrameSpec spec = parseRawFrameSpec("bgra:160:100:704:frames/a:b.raw");
  EXPECT_EQ(spec.layout.width, 160);
  EXPECT_EQ(spec.layout.height, 100);
  EXPECT_EQ(spec.layout.bytesPerRow, 704);
  EXPECT_EQ(spec.path, "frames/a:b.raw");
}

TEST(RawFrameSpec, TellsRawFramesFromImageFiles) {
  EXPECT_TRUE(isRawFrameSpec("bgra:1:1:4:x"));
  EXPECT_FALSE(isRawFrameSpec("frame.png"));
  EXPECT_FALSE(isRawFrameSpec("BGRA:1:1:4:x"));
}

TEST(RawFrameSpec, RefusesAMalformedArgument) {
  for (const char* text : {"bgra:", "bgra:4:4:16", "bgra:4:4:16:", "bgra:4:4", "png:4:4:16:x", ""}) {
    EXPECT_THAT([&] { parseRawFrameSpec(text); },
                ThrowsMessage<InvalidFrame>(HasSubstr("raw frame must be bgra:WIDTH:HEIGHT:STRIDE:PATH"))) << text;
  }
}

TEST(RawFrameSpec, TakesOnlyPlainDecimalNumbers) {
  for (const char* text : {"bgra:+4:4:16:x", "bgra: 4:4:16:x", "bgra:0x4:4:16:x", "bgra:4.0:4:16:x", "bgra::4:16:x",
                           "bgra:99999999999999999999:4:16:x"}) {
    EXPECT_THAT([&] { parseRawFrameSpec(text); }, ThrowsMessage<InvalidFrame>(HasSubstr("width must be a whole number")))
        << text;
  }
  EXPECT_THAT([] { parseRawFrameSpec("bgra:4:4e2:16:x"); },
              ThrowsMessage<InvalidFrame>(HasSubstr("height must be a whole number")));
  EXPECT_THAT([] { parseRawFrameSpec("bgra:4:4:16 :x"); },
              ThrowsMessage<InvalidFrame>(HasSubstr("stride must be a whole number")));
}

TEST(RawFrameSpec, RefusesALayoutTheFrameCheckRefuses) {
  EXPECT_THAT([] { parseRawFrameSpec("bgra:4:4:15:x"); }, ThrowsMessage<InvalidFrame>(HasSubstr("stride less than")));
  EXPECT_THAT([] { parseRawFrameSpec("bgra:16385:1:65540:x"); },
              ThrowsMessage<InvalidFrame>(HasSubstr("larger than 16384 x 16384")));
  EXPECT_THAT([] { parseRawFrameSpec("bgra:-1:4:16:x"); }, ThrowsMessage<InvalidFrame>(HasSubstr("has no pixels")));
}

}  // namespace
}  // namespace tarvelo
