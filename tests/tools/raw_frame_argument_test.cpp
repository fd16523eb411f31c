#include "raw_frame_argument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarvelo {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(RawFrameArgument, ReadsTheLayoutAndAPathThatMayHoldColons) {
  const RawFrameArgument spec = parseRawFrameArgument("bgra:160:100:704:frames/a:b.raw");
  EXPECT_EQ(spec.layout.width, 160);
  EXPECT_EQ(spec.layout.height, 100);
  EXPECT_EQ(spec.layout.bytesPerRow, 704);
  EXPECT_EQ(spec.path, "frames/a:b.raw");
}

TEST(RawFrameArgument, TellsRawFramesFromImageFiles) {
  EXPECT_TRUE(isRawFrameArgument("bgra:1:1:4:x"));
  EXPECT_FALSE(isRawFrameArgument("frame.png"));
  EXPECT_FALSE(isRawFrameArgument("BGRA:1:1:4:x"));
}

TEST(RawFrameArgument, RefusesAMalformedArgument) {
  for (const char* text : {"bgra:", "bgra:4:4:16", "bgra:4:4:16:", "bgra:4:4", "png:4:4:16:x", ""}) {
    EXPECT_THAT([&] { parseRawFrameArgument(text); },
                ThrowsMessage<InvalidFrame>(HasSubstr("raw frame must be bgra:WIDTH:HEIGHT:STRIDE:PATH"))) << text;
  }
}

TEST(RawFrameArgument, TakesOnlyPlainDecimalNumbers) {
  for (const char* text : {"bgra:+4:4:16:x", "bgra: 4:4:16:x", "bgra:0x4:4:16:x", "bgra:4.0:4:16:x", "bgra::4:16:x",
                           "bgra:99999999999999999999:4:16:x"}) {
    EXPECT_THAT([&] { parseRawFrameArgument(text); }, ThrowsMessage<InvalidFrame>(HasSubstr("width must be a whole number")))
        << text;
  }
  EXPECT_THAT([] { parseRawFrameArgument("bgra:4:4e2:16:x"); },
              ThrowsMessage<InvalidFrame>(HasSubstr("height must be a whole number")));
  EXPECT_THAT([] { parseRawFrameArgument("bgra:4:4:16 :x"); },
              ThrowsMessage<InvalidFrame>(HasSubstr("stride must be a whole number")));
}

TEST(RawFrameArgument, RefusesALayoutTheFrameCheckRefuses) {
  EXPECT_THAT([] { parseRawFrameArgument("bgra:4:4:15:x"); }, ThrowsMessage<InvalidFrame>(HasSubstr("stride less than")));
  EXPECT_THAT([] { parseRawFrameArgument("bgra:16385:1:65540:x"); },
              ThrowsMessage<InvalidFrame>(HasSubstr("larger than 16384 x 16384")));
  EXPECT_THAT([] { parseRawFrameArgument("bgra:-1:4:16:x"); }, ThrowsMessage<InvalidFrame>(HasSubstr("has no pixels")));
}

}  // namespace
}  // namespace tarvelo
