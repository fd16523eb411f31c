#include "output/light_upscaler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// Every allocation in this test binary is counted, so a test can show that a
// call allocated nothing. Kept out of line: inlined, the compiler would see
// memory from operator new reach free() and take it for a mismatch.
namespace {
std::atomic<long> allocationCount{0};
}  // namespace

__attribute__((noinline)) void* operator new(std::size_t size) {
  allocationCount.fetch_add(1, std::memory_order_relaxed);
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* block) noexcept { std::free(block); }
__attribute__((noinline)) void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace tarvelo {
namespace {

// A picture whose bytes end exactly at the last texel of its last row, so
// that any read past it is caught by the address sanitizer.
struct TestPicture {
  int width = 0;
  int height = 0;
  std::ptrdiff_t bytesPerLine = 0;
  std::vector<std::uint8_t> bytes;

  RgbaPictureView view() const { return {bytes.data(), width, height, bytesPerLine}; }
  int channel(int column, int row, int index) const {
    return bytes[static_cast<std::size_t>(row * bytesPerLine + 4 * column + index)];
  }
};

// `padding` bytes after every row but the last; any count, odd ones included.
TestPicture randomPicture(std::mt19937& random, int width, int height, int padding) {
  TestPicture picture;
  picture.width = width;
  picture.height = height;
  picture.bytesPerLine = 4 * width + padding;
  picture.bytes.resize(static_cast<std::size_t>(picture.bytesPerLine * (height - 1) + 4 * width));
  std::uniform_int_distribution<int> byte(0, 255);
  for (std::uint8_t& value : picture.bytes) value = static_cast<std::uint8_t>(byte(random));
  // Alpha as the light draws it; the padding keeps its noise.
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      picture.bytes[static_cast<std::size_t>(row * picture.bytesPerLine + 4 * column + 3)] = 255;
    }
  }
  return picture;
}

// An image whose words end exactly at its last pixel. Every pixel starts as
// a marker with alpha 0x5A that the upscaler never writes, different for
// every pixel so a pixel copied from elsewhere shows too.
struct TestImage {
  int width = 0;
  int height = 0;
  int wordsPerLine = 0;
  std::vector<std::uint32_t> words;

  Argb32ImageView view() { return {words.data(), width, height, std::ptrdiff_t{4} * wordsPerLine}; }
  std::uint32_t pixel(int x, int y) const { return words[static_cast<std::size_t>(y * wordsPerLine + x)]; }
};

std::uint32_t markerFor(int x, int y) {
  return 0x5A000000U | ((static_cast<std::uint32_t>(x) * 2654435761U) ^ (static_cast<std::uint32_t>(y) * 40503U)) >> 8;
}

TestImage markedImage(int width, int height, int paddingWords) {
  TestImage image;
  image.width = width;
  image.height = height;
  image.wordsPerLine = width + paddingWords;
  image.words.resize(static_cast<std::size_t>(image.wordsPerLine * (height - 1) + width));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) image.words[static_cast<std::size_t>(y * image.wordsPerLine + x)] = markerFor(x, y);
  }
  return image;
}

// The GPU's linear filter with clamp-to-edge, in double precision.
double exactChannel(const TestPicture& picture, const LightRect& placement, int x, int y, int index) {
  const double s = (x + 0.5 - placement.x) / placement.width * picture.width - 0.5;
  const double t = (y + 0.5 - placement.y) / placement.height * picture.height - 0.5;
  const double column = std::floor(s);
  const double row = std::floor(t);
  const double fx = s - column;
  const double fy = t - row;
  const auto clampTo = [](double index, int count) {
    return static_cast<int>(std::clamp(index, 0.0, static_cast<double>(count - 1)));
  };
  const int left = clampTo(column, picture.width);
  const int right = clampTo(column + 1.0, picture.width);
  const int upper = clampTo(row, picture.height);
  const int lower = clampTo(row + 1.0, picture.height);
  const double top = picture.channel(left, upper, index) * (1.0 - fx) + picture.channel(right, upper, index) * fx;
  const double bottom = picture.channel(left, lower, index) * (1.0 - fx) + picture.channel(right, lower, index) * fx;
  return top * (1.0 - fy) + bottom * fy;
}

// 0xAARRGGBB: the picture's red, green, blue bytes are these shifts.
constexpr int kChannelShift[3] = {16, 8, 0};

PixelRegion clippedTo(const TestImage& image, PixelRegion region) {
  return {std::max(region.left, 0), std::max(region.top, 0), std::min(region.right, image.width),
          std::min(region.bottom, image.height)};
}

bool inside(const PixelRegion& region, int x, int y) {
  return x >= region.left && x < region.right && y >= region.top && y < region.bottom;
}

// Every pixel of the clipped region is opaque and within `tolerance` of the
// exact value rounded, per channel; every pixel outside it still its marker.
::testing::AssertionResult stretchedCorrectly(const TestPicture& picture, const LightRect& placement,
                                              const TestImage& image, PixelRegion region, int tolerance = 1) {
  const PixelRegion written = clippedTo(image, region);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const std::uint32_t pixel = image.pixel(x, y);
      if (!inside(written, x, y)) {
        if (pixel != markerFor(x, y)) {
          return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") outside the region was written";
        }
        continue;
      }
      if ((pixel >> 24) != 0xFF) {
        return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") is not opaque: " << std::hex << pixel;
      }
      for (int index = 0; index < 3; ++index) {
        const long expected = std::lround(exactChannel(picture, placement, x, y, index));
        const long actual = (pixel >> kChannelShift[index]) & 0xFF;
        if (std::abs(actual - expected) > tolerance) {
          return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") channel " << index << " is "
                                               << actual << ", exact " << expected;
        }
      }
    }
  }
  return ::testing::AssertionSuccess();
}

std::string describe(const LightRect& placement, const TestPicture& picture, const TestImage& image,
                     const PixelRegion& region) {
  std::ostringstream text;
  text << picture.width << "x" << picture.height << " (" << picture.bytesPerLine << " bytes a row) over "
       << placement.x << ", " << placement.y << " " << placement.width << "x" << placement.height << " on "
       << image.width << "x" << image.height << " (" << image.wordsPerLine << " words a row), region "
       << region.left << ", " << region.top << " to " << region.right << ", " << region.bottom;
  return text.str();
}

std::string nameOf(UpscalerInstructions instructions) {
  switch (instructions) {
    case UpscalerInstructions::fastest:
      return "fastest";
    case UpscalerInstructions::portable:
      return "portable";
    case UpscalerInstructions::sse2:
      return "sse2";
    case UpscalerInstructions::avx2:
      return "avx2";
  }
  return "unknown";
}

std::vector<UpscalerInstructions> availableInstructions() {
  std::vector<UpscalerInstructions> available;
  for (UpscalerInstructions instructions :
       {UpscalerInstructions::portable, UpscalerInstructions::sse2, UpscalerInstructions::avx2}) {
    if (LightUpscaler::isAvailable(instructions)) available.push_back(instructions);
  }
  return available;
}

class LightUpscalerTest : public ::testing::TestWithParam<UpscalerInstructions> {
 protected:
  LightUpscaler upscaler{GetParam()};
  std::mt19937 random{20240611};

  double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); }
  int uniformInt(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }
};

TEST_P(LightUpscalerTest, UsesTheRequestedInstructions) { EXPECT_EQ(upscaler.instructions(), GetParam()); }

TEST_P(LightUpscalerTest, RandomUpscalesMatchTheExactBilinearFilter) {
  for (int round = 0; round < 40; ++round) {
    const TestPicture picture = randomPicture(random, uniformInt(1, 24), uniformInt(1, 16), uniformInt(0, 13));
    TestImage image = markedImage(uniformInt(1, 260), uniformInt(1, 150), uniformInt(0, 5));
    const double scaleX = uniform(2.0, 40.0);
    const double scaleY = uniform(2.0, 40.0);
    LightRect placement;
    placement.width = picture.width * scaleX;
    placement.height = picture.height * scaleY;
    // Anywhere from hanging off the left or top to starting inside the image.
    placement.x = uniform(-placement.width * 0.75, image.width * 0.5);
    placement.y = uniform(-placement.height * 0.75, image.height * 0.5);
    const PixelRegion region{0, 0, image.width, image.height};
    upscaler.stretch(picture.view(), placement, image.view(), region);
    ASSERT_TRUE(stretchedCorrectly(picture, placement, image, region)) << describe(placement, picture, image, region);
  }
}

TEST_P(LightUpscalerTest, RoundsToNearestWithoutBias) {
  // Within 1 everywhere would allow truncating; rounding to nearest leaves
  // only the few values next to a half off by one, in either direction.
  long channels = 0;
  long offByOne = 0;
  double totalError = 0.0;
  for (int round = 0; round < 12; ++round) {
    const TestPicture picture = randomPicture(random, uniformInt(3, 40), uniformInt(3, 30), 0);
    TestImage image = markedImage(200, 120, 0);
    const LightRect placement{uniform(-25.0, 0.0), uniform(-25.0, 0.0), uniform(220.0, 400.0),
                                     uniform(130.0, 250.0)};
    upscaler.stretch(picture.view(), placement, image.view(), {0, 0, image.width, image.height});
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        for (int index = 0; index < 3; ++index) {
          const double exact = exactChannel(picture, placement, x, y, index);
          const long actual = (image.pixel(x, y) >> kChannelShift[index]) & 0xFF;
          totalError += static_cast<double>(actual) - exact;
          if (actual != std::lround(exact)) ++offByOne;
          ++channels;
        }
      }
    }
  }
  EXPECT_LT(static_cast<double>(offByOne) / static_cast<double>(channels), 0.03);
  EXPECT_LT(std::abs(totalError / static_cast<double>(channels)), 0.03);
}

TEST_P(LightUpscalerTest, DownscalesMatchTheExactBilinearFilter) {
  for (int round = 0; round < 30; ++round) {
    const TestPicture picture = randomPicture(random, uniformInt(1, 120), uniformInt(1, 90), uniformInt(0, 7));
    TestImage image = markedImage(uniformInt(1, 80), uniformInt(1, 60), uniformInt(0, 3));
    LightRect placement;
    placement.width = picture.width * uniform(0.05, 1.0);
    placement.height = picture.height * uniform(0.05, 1.0);
    placement.x = uniform(-placement.width * 0.5, image.width * 0.5);
    placement.y = uniform(-placement.height * 0.5, image.height * 0.5);
    const PixelRegion region{0, 0, image.width, image.height};
    upscaler.stretch(picture.view(), placement, image.view(), region);
    ASSERT_TRUE(stretchedCorrectly(picture, placement, image, region)) << describe(placement, picture, image, region);
  }
}

TEST_P(LightUpscalerTest, OneToOneAtWholePixelsCopiesTheTexels) {
  const TestPicture picture = randomPicture(random, 37, 21, 3);
  TestImage image = markedImage(50, 30, 1);
  const LightRect placement{5.0, -2.0, 37.0, 21.0};
  const PixelRegion region{0, 0, image.width, image.height};
  upscaler.stretch(picture.view(), placement, image.view(), region);
  ASSERT_TRUE(stretchedCorrectly(picture, placement, image, region, 0));
  // The same, spelled out for one texel: its bytes land in 0xAARRGGBB order.
  const std::uint32_t expected = 0xFF000000U | static_cast<std::uint32_t>(picture.channel(10, 7, 0)) << 16 |
                                 static_cast<std::uint32_t>(picture.channel(10, 7, 1)) << 8 |
                                 static_cast<std::uint32_t>(picture.channel(10, 7, 2));
  EXPECT_EQ(image.pixel(15, 5), expected);
}

TEST_P(LightUpscalerTest, OneToOneAtFractionalOffsetsMatches) {
  const TestPicture picture = randomPicture(random, 40, 25, 1);
  TestImage image = markedImage(43, 27, 0);
  const LightRect placement{1.37, 0.81, 40.0, 25.0};
  const PixelRegion region{0, 0, image.width, image.height};
  upscaler.stretch(picture.view(), placement, image.view(), region);
  EXPECT_TRUE(stretchedCorrectly(picture, placement, image, region));
}

TEST_P(LightUpscalerTest, LightWindowPictureWithItsRimMatches) {
  // The light's picture for a 1920 × 1080 view: one texel of rim beyond
  // every edge of the image.
  const TestPicture picture = randomPicture(random, 98, 56, 0);
  TestImage image = markedImage(1920, 1080, 0);
  const LightRect placement{-19.6, -19.3, 1959.2, 1118.6};
  const PixelRegion region{0, 0, image.width, image.height};
  upscaler.stretch(picture.view(), placement, image.view(), region);
  EXPECT_TRUE(stretchedCorrectly(picture, placement, image, region));
}

TEST_P(LightUpscalerTest, WritesOnlyTheRegion) {
  for (int round = 0; round < 20; ++round) {
    const TestPicture picture = randomPicture(random, uniformInt(2, 20), uniformInt(2, 12), uniformInt(0, 5));
    TestImage image = markedImage(uniformInt(2, 200), uniformInt(2, 120), uniformInt(0, 4));
    LightRect placement{uniform(-30.0, 0.0), uniform(-30.0, 0.0), 0.0, 0.0};
    placement.width = image.width - 2.0 * placement.x;
    placement.height = image.height - 2.0 * placement.y;
    const int left = uniformInt(0, image.width - 1);
    const int top = uniformInt(0, image.height - 1);
    const PixelRegion region{left, top, uniformInt(left + 1, image.width), uniformInt(top + 1, image.height)};
    upscaler.stretch(picture.view(), placement, image.view(), region);
    ASSERT_TRUE(stretchedCorrectly(picture, placement, image, region)) << describe(placement, picture, image, region);
  }
}

TEST_P(LightUpscalerTest, RegionsReachingOutsideTheImageAreClipped) {
  const TestPicture picture = randomPicture(random, 9, 7, 2);
  const LightRect placement{-12.5, -8.25, 180.0, 110.0};
  const PixelRegion regions[] = {
      {-40, -30, 70, 50},    // over the top-left corner
      {90, 60, 400, 300},    // over the bottom-right corner
      {-5, 20, 500, 21},     // one row, wider than the image
      {33, -100, 34, 1000},  // one column, taller than the image
      {-1000, -1000, 1000, 1000},
  };
  for (const PixelRegion& region : regions) {
    TestImage image = markedImage(157, 91, 3);
    upscaler.stretch(picture.view(), placement, image.view(), region);
    EXPECT_TRUE(stretchedCorrectly(picture, placement, image, region)) << describe(placement, picture, image, region);
  }
}

TEST_P(LightUpscalerTest, PixelsBeyondThePlacementTakeTheEdgeTexels) {
  // Texels: red, green on top; blue, white below.
  TestPicture picture;
  picture.width = 2;
  picture.height = 2;
  picture.bytesPerLine = 8;
  picture.bytes = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
  TestImage image = markedImage(60, 40, 0);
  const LightRect placement{20.0, 10.0, 20.0, 20.0};
  upscaler.stretch(picture.view(), placement, image.view(), {0, 0, 60, 40});
  EXPECT_EQ(image.pixel(0, 0), 0xFFFF0000U);
  EXPECT_EQ(image.pixel(59, 0), 0xFF00FF00U);
  EXPECT_EQ(image.pixel(0, 39), 0xFF0000FFU);
  EXPECT_EQ(image.pixel(59, 39), 0xFFFFFFFFU);
  // Up to the first texel's centre (x 25) the edge column is all there is.
  EXPECT_EQ(image.pixel(24, 2), 0xFFFF0000U);
  EXPECT_TRUE(stretchedCorrectly(picture, placement, image, {0, 0, 60, 40}));
}

TEST_P(LightUpscalerTest, OutputIsOpaqueWhateverThePictureAlphaSays) {
  TestPicture picture;
  picture.width = 1;
  picture.height = 1;
  picture.bytesPerLine = 4;
  picture.bytes = {0x12, 0x34, 0x56, 0x00};
  TestImage image = markedImage(13, 5, 2);
  upscaler.stretch(picture.view(), {0.0, 0.0, 13.0, 5.0}, image.view(), {0, 0, 13, 5});
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 13; ++x) EXPECT_EQ(image.pixel(x, y), 0xFF123456U) << x << ", " << y;
  }
}

TEST_P(LightUpscalerTest, SingleRowsAndColumnsStretch) {
  for (const auto& [width, height] : {std::pair{1, 9}, std::pair{9, 1}, std::pair{1, 1}, std::pair{2, 1}}) {
    const TestPicture picture = randomPicture(random, width, height, 3);
    TestImage image = markedImage(71, 45, 1);
    const LightRect placement{-3.3, 2.7, 80.0, 40.0};
    upscaler.stretch(picture.view(), placement, image.view(), {0, 0, 71, 45});
    EXPECT_TRUE(stretchedCorrectly(picture, placement, image, {0, 0, 71, 45}))
        << describe(placement, picture, image, {0, 0, 71, 45});
  }
}

TEST_P(LightUpscalerTest, NothingToDrawWritesNothing) {
  const TestPicture picture = randomPicture(random, 8, 6, 0);
  const LightRect placement{-4.0, -4.0, 72.0, 48.0};
  const PixelRegion all{0, 0, 64, 40};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const TestImage untouched = markedImage(64, 40, 0);
  TestImage image = untouched;
  const auto expectUntouched = [&](const char* what) { EXPECT_EQ(image.words, untouched.words) << what; };

  upscaler.stretch(RgbaPictureView{}, placement, image.view(), all);
  expectUntouched("no picture");
  upscaler.stretch(RgbaPictureView{picture.bytes.data(), 0, 6, 32}, placement, image.view(), all);
  expectUntouched("picture without columns");
  upscaler.stretch(RgbaPictureView{picture.bytes.data(), 8, -1, 32}, placement, image.view(), all);
  expectUntouched("picture with negative height");
  for (const LightRect& flat : {LightRect{0, 0, 0, 40}, LightRect{0, 0, 64, -1},
                                       LightRect{nan, 0, 64, 40}, LightRect{0, 0, infinity, 40},
                                       LightRect{0, -infinity, 64, 40}, LightRect{0, 0, 64, nan}}) {
    upscaler.stretch(picture.view(), flat, image.view(), all);
    expectUntouched("placement without area");
  }
  for (const PixelRegion& empty : {PixelRegion{10, 10, 10, 20}, PixelRegion{10, 20, 30, 20},
                                   PixelRegion{30, 10, 20, 20}, PixelRegion{64, 0, 100, 40},
                                   PixelRegion{0, -20, 64, 0}, PixelRegion{-50, -50, -1, -1}}) {
    upscaler.stretch(picture.view(), placement, image.view(), empty);
    expectUntouched("empty region");
  }
  upscaler.stretch(picture.view(), placement, Argb32ImageView{}, all);
}

TEST_P(LightUpscalerTest, ReuseAcrossChangingSizesStaysExact) {
  const int sizes[][4] = {{98, 56, 700, 400}, {5, 4, 33, 17}, {30, 20, 701, 399}, {98, 56, 9, 3}, {3, 2, 700, 400}};
  for (const auto& size : sizes) {
    const TestPicture picture = randomPicture(random, size[0], size[1], 1);
    TestImage image = markedImage(size[2], size[3], 2);
    const LightRect placement{-7.1, -6.9, size[2] + 14.2, size[3] + 13.8};
    const PixelRegion region{0, 0, size[2], size[3]};
    upscaler.stretch(picture.view(), placement, image.view(), region);
    ASSERT_TRUE(stretchedCorrectly(picture, placement, image, region)) << describe(placement, picture, image, region);
  }
}

TEST_P(LightUpscalerTest, EachCallDrawsItsOwnPicture) {
  // The second call needs only the picture rows the first one ended on.
  const TestPicture first = randomPicture(random, 12, 8, 0);
  const TestPicture second = randomPicture(random, 12, 8, 0);
  const LightRect placement{-10.0, -10.0, 240.0, 160.0};
  const PixelRegion bottomBand{0, 130, 220, 140};
  TestImage image = markedImage(220, 140, 0);
  upscaler.stretch(first.view(), placement, image.view(), bottomBand);
  image = markedImage(220, 140, 0);
  upscaler.stretch(second.view(), placement, image.view(), bottomBand);
  EXPECT_TRUE(stretchedCorrectly(second, placement, image, bottomBand));
}

TEST_P(LightUpscalerTest, RepeatedCallsOfOneSizeAllocateNothing) {
  const TestPicture first = randomPicture(random, 98, 56, 0);
  const TestPicture second = randomPicture(random, 98, 56, 0);
  TestImage image = markedImage(640, 360, 0);
  const LightRect placement{-6.5, -6.4, 653.0, 372.8};
  const PixelRegion region{0, 0, 640, 360};
  upscaler.stretch(first.view(), placement, image.view(), region);

  const long before = allocationCount.load();
  upscaler.stretch(second.view(), placement, image.view(), region);
  upscaler.stretch(second.view(), placement, image.view(), {100, 50, 300, 200});
  const long after = allocationCount.load();
  EXPECT_EQ(after - before, 0);
  // The count is live: the same calls on a fresh upscaler do allocate.
  LightUpscaler fresh{GetParam()};
  fresh.stretch(second.view(), placement, image.view(), region);
  EXPECT_GT(allocationCount.load(), after);
  EXPECT_TRUE(stretchedCorrectly(second, placement, image, region));
}

TEST_P(LightUpscalerTest, RowsShorterThanThePictureAreAProgrammingError) {
  const TestPicture picture = randomPicture(random, 8, 6, 0);
  TestImage image = markedImage(64, 40, 0);
  const RgbaPictureView overlapping{picture.bytes.data(), 8, 6, 31};
  EXPECT_DEATH(upscaler.stretch(overlapping, {0, 0, 64, 40}, image.view(), {0, 0, 64, 40}), "picture rows overlap");
  const Argb32ImageView misaligned{image.words.data(), 64, 40, 258};
  EXPECT_DEATH(upscaler.stretch(picture.view(), {0, 0, 64, 40}, misaligned, {0, 0, 64, 40}), "whole pixels");
}

INSTANTIATE_TEST_SUITE_P(Instructions, LightUpscalerTest, ::testing::ValuesIn(availableInstructions()),
                         [](const ::testing::TestParamInfo<UpscalerInstructions>& info) { return nameOf(info.param); });

TEST(LightUpscalerInstructionsTest, FastestPicksConcreteInstructions) {
  const LightUpscaler upscaler;
  EXPECT_NE(upscaler.instructions(), UpscalerInstructions::fastest);
  EXPECT_TRUE(LightUpscaler::isAvailable(upscaler.instructions()));
  EXPECT_TRUE(LightUpscaler::isAvailable(UpscalerInstructions::portable));
}

TEST(LightUpscalerInstructionsTest, AllInstructionsGiveTheSameImage) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int round = 0; round < 25; ++round) {
    const TestPicture picture = randomPicture(random, 2 + round % 17, 2 + round % 11, round % 5);
    const int width = 1 + static_cast<int>(unit(random) * 300);
    const int height = 1 + static_cast<int>(unit(random) * 120);
    const LightRect placement{-unit(random) * 30, -unit(random) * 30, width * (0.3 + unit(random) * 1.5),
                                     height * (0.3 + unit(random) * 1.5)};
    const PixelRegion region{-3, 1, width - 2, height + 5};
    TestImage reference = markedImage(width, height, 1);
    LightUpscaler portable{UpscalerInstructions::portable};
    portable.stretch(picture.view(), placement, reference.view(), region);
    for (UpscalerInstructions instructions : availableInstructions()) {
      TestImage image = markedImage(width, height, 1);
      LightUpscaler upscaler{instructions};
      upscaler.stretch(picture.view(), placement, image.view(), region);
      ASSERT_EQ(image.words, reference.words) << nameOf(instructions) << ": "
                                              << describe(placement, picture, image, region);
    }
  }
}

}  // namespace
}  // namespace tarvelo
