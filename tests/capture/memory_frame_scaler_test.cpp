#include "capture/memory_frame_scaler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarvelo {
namespace {

struct Rgb {
  int red = 0;
  int green = 0;
  int blue = 0;
};

// Paints a picture from a colour per pixel, normalised coordinates 0 ... 1 so
// that the same scene can be painted at any size.
using Painter = std::function<Rgb(std::int64_t x, std::int64_t y, double across, double down)>;

bool isRgbOrder(MemoryPixelOrder order) {
  return order == MemoryPixelOrder::rgbx || order == MemoryPixelOrder::rgba;
}

// A picture in memory, allocated to end right after its last pixel (as a
// tightly cut shared buffer may), so the sanitizer catches any read past it.
// Row padding and the fourth byte of each pixel carry junk that must not show.
struct PaintedPicture {
  std::vector<std::uint8_t> bytes;
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t bytesPerRow = 0;
  MemoryPixelOrder order = MemoryPixelOrder::bgrx;

  MappedPicture view() const { return MappedPicture{bytes.data(), width, height, bytesPerRow, order}; }

  Rgb at(std::int64_t x, std::int64_t y) const {
    const std::uint8_t* pixel = &bytes[static_cast<std::size_t>(y * bytesPerRow + x * 4)];
    return isRgbOrder(order) ? Rgb{pixel[0], pixel[1], pixel[2]} : Rgb{pixel[2], pixel[1], pixel[0]};
  }
};

std::uint8_t clampByte(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

PaintedPicture paint(std::int64_t width, std::int64_t height, const Painter& painter,
                     MemoryPixelOrder order = MemoryPixelOrder::bgrx, std::int64_t bytesPerRow = 0) {
  PaintedPicture picture;
  picture.width = width;
  picture.height = height;
  picture.bytesPerRow = bytesPerRow == 0 ? width * 4 : bytesPerRow;
  picture.order = order;
  picture.bytes.assign(static_cast<std::size_t>((height - 1) * picture.bytesPerRow + width * 4), 0xA5);
  for (std::int64_t y = 0; y < height; ++y) {
    std::uint8_t* row = &picture.bytes[static_cast<std::size_t>(y * picture.bytesPerRow)];
    for (std::int64_t x = 0; x < width; ++x) {
      const Rgb colour = painter(x, y, (static_cast<double>(x) + 0.5) / static_cast<double>(width),
                                 (static_cast<double>(y) + 0.5) / static_cast<double>(height));
      std::uint8_t* pixel = row + x * 4;
      const std::uint8_t first = clampByte(isRgbOrder(order) ? colour.red : colour.blue);
      const std::uint8_t third = clampByte(isRgbOrder(order) ? colour.blue : colour.red);
      pixel[0] = first;
      pixel[1] = clampByte(colour.green);
      pixel[2] = third;
      pixel[3] = static_cast<std::uint8_t>(x * 7 + y * 13);  // alpha or nothing: never shown
    }
  }
  return picture;
}

// Film grain: a fixed pseudo-random offset in -amplitude ... amplitude per pixel.
int grain(std::int64_t x, std::int64_t y, int amplitude) {
  std::uint64_t hash = static_cast<std::uint64_t>(x) * 0x9E3779B97F4A7C15ULL ^
                       static_cast<std::uint64_t>(y) * 0xC2B2AE3D27D4EB4FULL;
  hash ^= hash >> 29;
  hash *= 0xBF58476D1CE4E5B9ULL;
  hash ^= hash >> 32;
  return static_cast<int>(hash % static_cast<std::uint64_t>(2 * amplitude + 1)) - amplitude;
}

Painter flat(Rgb colour) {
  return [colour](std::int64_t, std::int64_t, double, double) { return colour; };
}

Rgb gradientScene(std::int64_t, std::int64_t, double across, double down) {
  return Rgb{static_cast<int>(255 * across), static_cast<int>(255 * down),
             static_cast<int>(128 + 100 * std::sin(6.0 * across + 2.0 * down))};
}

// Colour bars with hard edges that fall anywhere inside an output pixel.
Rgb barsScene(std::int64_t, std::int64_t, double across, double down) {
  static const Rgb kBars[] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
                              {191, 0, 191},   {191, 0, 0},   {0, 0, 191}};
  if (down > 0.75) return static_cast<int>(across * 11) % 2 == 0 ? Rgb{16, 16, 16} : Rgb{235, 235, 235};
  return kBars[static_cast<int>(across * 7)];
}

Rgb grainyScene(std::int64_t x, std::int64_t y, double across, double down) {
  return Rgb{90 + static_cast<int>(80 * across) + grain(x, y, 20), 110 + grain(y, x, 20),
             140 - static_cast<int>(60 * down) + grain(x + 7, y, 20)};
}

// A 2.39:1 film in a 16:9 picture: black bars above and below.
Rgb letterboxScene(std::int64_t x, std::int64_t y, double across, double down) {
  if (down < 0.128 || down > 0.872) return Rgb{0, 0, 0};
  return Rgb{200 - static_cast<int>(120 * across) + grain(x, y, 12), 120 + static_cast<int>(60 * down),
             60 + static_cast<int>(150 * across * down) + grain(x, y + 3, 12)};
}

// A landscape: sky, a sun, hills with a textured field, a house with lit
// windows, and grain over everything.
Rgb photoScene(std::int64_t x, std::int64_t y, double across, double down) {
  Rgb colour{static_cast<int>(110 + 120 * down), static_cast<int>(160 + 60 * down), 235};
  const double sunDistance = std::hypot((across - 0.72) * 16.0 / 9.0, down - 0.22);
  if (sunDistance < 0.07) colour = Rgb{255, 236, 160};
  const double horizon = 0.55 + 0.05 * std::sin(9.0 * across) + 0.02 * std::sin(31.0 * across);
  if (down > horizon) {
    const double texture = std::sin(across * 320.0) * std::sin(down * 180.0);
    colour = Rgb{static_cast<int>(60 + 40 * texture), static_cast<int>(110 + 50 * texture + 60 * (down - horizon)),
                 static_cast<int>(40 + 20 * texture)};
  }
  if (across > 0.18 && across < 0.36 && down > 0.42 && down < 0.70) {
    colour = Rgb{150, 70, 50};
    const double windowX = std::fmod((across - 0.18) * 60.0, 1.0);
    const double windowY = std::fmod((down - 0.42) * 40.0, 1.0);
    if (windowX > 0.4 && windowY > 0.4) colour = Rgb{255, 220, 120};
  }
  const int noise = grain(x, y, 10);
  return Rgb{colour.red + noise, colour.green + noise, colour.blue + noise};
}

// Independent full-range noise in every pixel and channel: detail far finer
// than an output pixel, which only reading every pixel would average well.
Rgb fineNoiseScene(std::int64_t x, std::int64_t y, double, double) {
  return Rgb{128 + grain(x, y, 127), 128 + grain(x + 1, y, 127), 128 + grain(x, y + 1, 127)};
}

// The exact area average of `source` for every output pixel: every pixel it
// covers, weighted by how much of it is covered. Red, green, blue per pixel.
std::vector<double> exactBoxAverage(const PaintedPicture& picture, const PixelRect& source, std::int64_t width,
                                    std::int64_t height) {
  struct Cover {
    std::int64_t first;
    std::vector<double> weights;
  };
  auto covers = [](std::int64_t origin, std::int64_t length, std::int64_t count) {
    std::vector<Cover> result;
    for (std::int64_t index = 0; index < count; ++index) {
      const double start = static_cast<double>(origin) + static_cast<double>(length * index) / count;
      const double end = static_cast<double>(origin) + static_cast<double>(length * (index + 1)) / count;
      Cover cover{static_cast<std::int64_t>(std::floor(start)), {}};
      for (std::int64_t pixel = cover.first; static_cast<double>(pixel) < end; ++pixel) {
        cover.weights.push_back(std::min(end, pixel + 1.0) - std::max(start, static_cast<double>(pixel)));
      }
      result.push_back(cover);
    }
    return result;
  };
  const std::vector<Cover> columns = covers(source.x, source.width, width);
  const std::vector<Cover> rows = covers(source.y, source.height, height);
  std::vector<double> averages(static_cast<std::size_t>(width * height * 3));
  std::vector<double> rowSums(static_cast<std::size_t>(picture.width * 3));
  for (std::int64_t v = 0; v < height; ++v) {
    std::fill(rowSums.begin(), rowSums.end(), 0.0);
    double rowWeight = 0;
    for (std::size_t step = 0; step < rows[v].weights.size(); ++step) {
      const double weight = rows[v].weights[step];
      rowWeight += weight;
      for (std::int64_t x = source.x; x < source.x + source.width; ++x) {
        const Rgb colour = picture.at(x, rows[v].first + static_cast<std::int64_t>(step));
        rowSums[3 * x] += weight * colour.red;
        rowSums[3 * x + 1] += weight * colour.green;
        rowSums[3 * x + 2] += weight * colour.blue;
      }
    }
    for (std::int64_t u = 0; u < width; ++u) {
      double sums[3] = {0, 0, 0};
      double columnWeight = 0;
      for (std::size_t step = 0; step < columns[u].weights.size(); ++step) {
        const double weight = columns[u].weights[step];
        const std::int64_t x = columns[u].first + static_cast<std::int64_t>(step);
        columnWeight += weight;
        for (int channel = 0; channel < 3; ++channel) sums[channel] += weight * rowSums[3 * x + channel];
      }
      for (int channel = 0; channel < 3; ++channel) {
        averages[static_cast<std::size_t>((v * width + u) * 3 + channel)] = sums[channel] / (columnWeight * rowWeight);
      }
    }
  }
  return averages;
}

struct ErrorFigures {
  double mean = 0;  // mean absolute error over every pixel and channel, 0 ... 255
  double worst = 0;
};

ErrorFigures compare(const Frame& frame, const std::vector<double>& exact) {
  ErrorFigures figures;
  for (std::int64_t v = 0; v < frame.height; ++v) {
    for (std::int64_t u = 0; u < frame.width; ++u) {
      const std::uint8_t* pixel = frame.bytes + v * frame.bytesPerRow + u * 4;
      const double shown[3] = {static_cast<double>(pixel[2]), static_cast<double>(pixel[1]),
                               static_cast<double>(pixel[0])};
      for (int channel = 0; channel < 3; ++channel) {
        const double error =
            std::abs(shown[channel] - exact[static_cast<std::size_t>((v * frame.width + u) * 3 + channel)]);
        figures.mean += error;
        figures.worst = std::max(figures.worst, error);
      }
    }
  }
  figures.mean /= static_cast<double>(frame.width * frame.height * 3);
  return figures;
}

// Also prints the figures, which say more than whether they pass.
ErrorFigures scaleAndCompare(const char* scene, const PaintedPicture& picture, const PixelRect& source,
                             std::int64_t samplesX, std::int64_t samplesY) {
  MemoryFrameScaler scaler(160, 100, samplesX, samplesY);
  const Frame frame = scaler.scale(picture.view(), source);
  const ErrorFigures figures = compare(frame, exactBoxAverage(picture, source, 160, 100));
  std::printf("%s %lldx%lld samples %lldx%lld: mean absolute error %.3f, worst %.1f\n",
              scene, static_cast<long long>(source.width), static_cast<long long>(source.height),
              static_cast<long long>(scaler.plan().samplesX), static_cast<long long>(scaler.plan().samplesY),
              figures.mean, figures.worst);
  return figures;
}

std::vector<std::uint8_t> frameBytes(const Frame& frame) {
  std::vector<std::uint8_t> bytes;
  for (std::int64_t v = 0; v < frame.height; ++v) {
    const std::uint8_t* row = frame.bytes + v * frame.bytesPerRow;
    bytes.insert(bytes.end(), row, row + frame.width * 4);
  }
  return bytes;
}

::testing::AssertionResult isFlat(const Frame& frame, Rgb colour) {
  for (std::int64_t v = 0; v < frame.height; ++v) {
    for (std::int64_t u = 0; u < frame.width; ++u) {
      const std::uint8_t* pixel = frame.bytes + v * frame.bytesPerRow + u * 4;
      if (pixel[0] != colour.blue || pixel[1] != colour.green || pixel[2] != colour.red || pixel[3] != 255) {
        return ::testing::AssertionFailure()
               << "pixel " << u << "," << v << " is B " << int{pixel[0]} << " G " << int{pixel[1]} << " R "
               << int{pixel[2]} << " A " << int{pixel[3]};
      }
    }
  }
  return ::testing::AssertionSuccess();
}

constexpr MemoryPixelOrder kOrders[] = {MemoryPixelOrder::bgrx, MemoryPixelOrder::bgra, MemoryPixelOrder::rgbx,
                                        MemoryPixelOrder::rgba};

TEST(MemoryFrameScalerTest, TheFrameIsOpaqueBgraOfTheAskedSize) {
  const PaintedPicture picture = paint(1920, 1080, flat(Rgb{10, 20, 30}));
  MemoryFrameScaler scaler(160, 100, 4, 2);
  const Frame frame = scaler.scale(picture.view(), PixelRect{0, 0, 1920, 1080});
  EXPECT_EQ(frame.width, 160);
  EXPECT_EQ(frame.height, 100);
  EXPECT_EQ(frame.bytesPerRow, 640);
  ASSERT_NE(frame.bytes, nullptr);
  EXPECT_TRUE(isFlat(frame, Rgb{10, 20, 30}));
}

TEST(MemoryFrameScalerTest, FlatColoursComeOutExactlyInEveryByteOrder) {
  MemoryFrameScaler scaler(160, 100, 4, 2);
  for (const MemoryPixelOrder order : kOrders) {
    for (const Rgb colour : {Rgb{0, 0, 0}, Rgb{255, 255, 255}, Rgb{200, 30, 90}, Rgb{1, 254, 127}}) {
      const PaintedPicture picture = paint(3840, 2160, flat(colour), order);
      EXPECT_TRUE(isFlat(scaler.scale(picture.view(), PixelRect{0, 0, 3840, 2160}), colour))
          << "order " << static_cast<int>(order) << " colour " << colour.red << "," << colour.green << ","
          << colour.blue;
    }
  }
}

TEST(MemoryFrameScalerTest, EverySampleIsATwoByTwoBoxAndTheMeanIsRoundedToNearest) {
  // One lit pixel in every 2 x 2 tile: any 2 x 2 box holds exactly one, so
  // every sample is 255 / 4 and so is every output pixel, 63.75, shown as 64.
  // A sample of one row or one column would see 0 or 127.5 instead.
  const PaintedPicture picture = paint(3840, 2160, [](std::int64_t x, std::int64_t y, double, double) {
    return x % 2 == 1 && y % 2 == 1 ? Rgb{255, 255, 255} : Rgb{0, 0, 0};
  });
  MemoryFrameScaler scaler(160, 100, 4, 2);
  EXPECT_TRUE(isFlat(scaler.scale(picture.view(), PixelRect{0, 0, 3840, 2160}), Rgb{64, 64, 64}));
  EXPECT_TRUE(isFlat(scaler.scale(picture.view(), PixelRect{1, 3, 1919, 1077}), Rgb{64, 64, 64}));
}

TEST(MemoryFrameScalerTest, RgbOrdersPutRedLastAndBgrOrdersFirst) {
  MemoryFrameScaler scaler(16, 10, 4, 2);
  for (const MemoryPixelOrder order : kOrders) {
    PaintedPicture picture = paint(200, 100, flat(Rgb{}), order);
    for (std::size_t pixel = 0; pixel + 3 < picture.bytes.size(); pixel += 4) {
      picture.bytes[pixel] = 250;  // red in an RGB order, blue in a BGR one
      picture.bytes[pixel + 1] = 100;
      picture.bytes[pixel + 2] = 5;
    }
    const Frame frame = scaler.scale(picture.view(), PixelRect{0, 0, 200, 100});
    EXPECT_TRUE(isFlat(frame, isRgbOrder(order) ? Rgb{250, 100, 5} : Rgb{5, 100, 250}))
        << "order " << static_cast<int>(order);
  }
}

TEST(MemoryFrameScalerTest, TheSamePictureInAnyByteOrderGivesTheSameFrame) {
  MemoryFrameScaler scaler(160, 100, 4, 2);
  const PixelRect whole{0, 0, 1920, 1080};
  const std::vector<std::uint8_t> expected =
      frameBytes(scaler.scale(paint(1920, 1080, photoScene).view(), whole));
  for (const MemoryPixelOrder order : kOrders) {
    EXPECT_EQ(frameBytes(scaler.scale(paint(1920, 1080, photoScene, order).view(), whole)), expected)
        << "order " << static_cast<int>(order);
  }
}

TEST(MemoryFrameScalerTest, PaddedRowsAreFollowedAndThePaddingNeverShows) {
  MemoryFrameScaler scaler(160, 100, 4, 2);
  const PixelRect whole{0, 0, 1920, 1080};
  const PaintedPicture tight = paint(1920, 1080, photoScene);
  const PaintedPicture padded = paint(1920, 1080, photoScene, MemoryPixelOrder::bgrx, 1920 * 4 + 256);
  const std::vector<std::uint8_t> expected = frameBytes(scaler.scale(tight.view(), whole));
  EXPECT_EQ(frameBytes(scaler.scale(padded.view(), whole)), expected);

  const PaintedPicture flatPadded = paint(1000, 600, flat(Rgb{40, 50, 60}), MemoryPixelOrder::rgba, 1000 * 4 + 4);
  EXPECT_TRUE(isFlat(scaler.scale(flatPadded.view(), PixelRect{0, 0, 1000, 600}), Rgb{40, 50, 60}));
}

// Everything outside the rectangle is a colour that would show at once.
Painter framedBy(const PixelRect& inside, Painter painter) {
  return [inside, painter](std::int64_t x, std::int64_t y, double across, double down) {
    const bool isInside = x >= inside.x && x < inside.x + inside.width && y >= inside.y && y < inside.y + inside.height;
    return isInside ? painter(x, y, across, down) : Rgb{255, 0, 255};
  };
}

TEST(MemoryFrameScalerTest, ACropSeesNothingAroundIt) {
  MemoryFrameScaler scaler(160, 100, 4, 2);
  for (const PixelRect crop : {PixelRect{960, 540, 1920, 1080}, PixelRect{1, 1, 3838, 2158},
                               PixelRect{333, 71, 1001, 777}, PixelRect{5, 9, 161, 101}, PixelRect{7, 3, 17, 5}}) {
    const PaintedPicture picture = paint(3840, 2160, framedBy(crop, flat(Rgb{12, 200, 77})));
    EXPECT_TRUE(isFlat(scaler.scale(picture.view(), crop), Rgb{12, 200, 77}))
        << "crop " << crop.width << "x" << crop.height << " at " << crop.x << "," << crop.y;
  }
}

TEST(MemoryFrameScalerTest, ACropScalesLikeAPictureOfJustThatPart) {
  const PixelRect crop{960, 540, 1920, 1080};
  const PaintedPicture cropOnly = paint(1920, 1080, [](std::int64_t x, std::int64_t y, double, double) {
    return photoScene(x + 960, y + 540, (x + 960.5) / 3840.0, (y + 540.5) / 2160.0);
  });
  const PaintedPicture whole = paint(3840, 2160, framedBy(crop, photoScene));
  MemoryFrameScaler scaler(160, 100, 4, 2);
  const std::vector<std::uint8_t> expected = frameBytes(scaler.scale(cropOnly.view(), PixelRect{0, 0, 1920, 1080}));
  EXPECT_EQ(frameBytes(scaler.scale(whole.view(), crop)), expected);
  EXPECT_LE(scaleAndCompare("photo crop", whole, crop, 4, 2).mean, 3.0);
}

TEST(MemoryFrameScalerTest, ARectangleReachingPastThePictureIsClippedToIt) {
  const PaintedPicture picture = paint(1920, 1080, photoScene);
  MemoryFrameScaler scaler(160, 100, 4, 2);
  const std::vector<std::uint8_t> whole = frameBytes(scaler.scale(picture.view(), PixelRect{0, 0, 1920, 1080}));
  EXPECT_EQ(frameBytes(scaler.scale(picture.view(), PixelRect{-100, -50, 4000, 2300})), whole);
  EXPECT_EQ(frameBytes(scaler.scale(picture.view(), PixelRect{INT64_MIN / 2, 0, INT64_MAX, INT64_MAX})), whole);
  EXPECT_EQ(scaler.plan(), planBoxDownscale(PixelRect{0, 0, 1920, 1080}, 160, 100, 4, 2));

  const std::vector<std::uint8_t> lowerRight =
      frameBytes(scaler.scale(picture.view(), PixelRect{960, 540, 960, 540}));
  EXPECT_EQ(frameBytes(scaler.scale(picture.view(), PixelRect{960, 540, 5000, 5000})), lowerRight);
}

TEST(MemoryFrameScalerTest, RectanglesSmallerThanTheFrameRepeatTheirPixels) {
  const PaintedPicture picture = paint(64, 48, [](std::int64_t x, std::int64_t y, double, double) {
    return Rgb{static_cast<int>(x * 4), static_cast<int>(y * 5), 99};
  });
  MemoryFrameScaler scaler(160, 100, 4, 2);
  EXPECT_TRUE(isFlat(scaler.scale(picture.view(), PixelRect{10, 20, 1, 1}), Rgb{40, 100, 99}));
  EXPECT_TRUE(isFlat(scaler.scale(picture.view(), PixelRect{63, 47, 1, 1}), Rgb{252, 235, 99}));
  // One column: every output column shows it, each row the mean of two rows.
  const Frame column = scaler.scale(picture.view(), PixelRect{63, 0, 1, 48});
  for (std::int64_t v = 0; v < column.height; ++v) {
    const std::uint8_t* row = column.bytes + v * column.bytesPerRow;
    for (std::int64_t u = 0; u < column.width; ++u) {
      EXPECT_EQ(row[u * 4 + 2], 252);
      EXPECT_EQ(row[u * 4 + 1], row[1]);
    }
  }
  const PaintedPicture single = paint(1, 1, flat(Rgb{7, 8, 9}), MemoryPixelOrder::rgbx);
  EXPECT_TRUE(isFlat(scaler.scale(single.view(), PixelRect{0, 0, 1, 1}), Rgb{7, 8, 9}));
}

TEST(MemoryFrameScalerTest, TheSamplesAreTheX11CapturesGrid) {
  const PaintedPicture fourK = paint(3840, 2160, flat(Rgb{}));
  const PaintedPicture fullHd = paint(1920, 1080, flat(Rgb{}));
  MemoryFrameScaler scaler(160, 100, 4, 2);
  scaler.scale(fourK.view(), PixelRect{0, 0, 3840, 2160});
  EXPECT_EQ(scaler.plan(), planBoxDownscale(PixelRect{0, 0, 3840, 2160}, 160, 100, 4, 2));
  MemoryFrameScaler dense(160, 100, 8, 8);
  dense.scale(fullHd.view(), PixelRect{0, 0, 1920, 1080});
  EXPECT_EQ(dense.plan().samplesX, 4);
  EXPECT_EQ(dense.plan().samplesY, 4);
}

struct Scene {
  const char* name;
  Rgb (*painter)(std::int64_t, std::int64_t, double, double);
};

const Scene kFilmScenes[] = {{"gradient", gradientScene}, {"bars", barsScene},       {"grainy", grainyScene},
                             {"letterbox", letterboxScene}, {"photo", photoScene}};

void PrintTo(const Scene& scene, std::ostream* stream) { *stream << scene.name; }

class MemoryFrameScalerAccuracyTest
    : public ::testing::TestWithParam<std::tuple<Scene, std::int64_t, MemoryPixelOrder>> {};

TEST_P(MemoryFrameScalerAccuracyTest, FilmLikePicturesAreWithinThreeLevelsOfTheExactAverage) {
  const auto [scene, width, order] = GetParam();
  const std::int64_t height = width * 9 / 16;
  const PaintedPicture picture = paint(width, height, scene.painter, order);
  EXPECT_LE(scaleAndCompare(scene.name, picture, PixelRect{0, 0, width, height}, 4, 2).mean, 3.0);
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, MemoryFrameScalerAccuracyTest,
    ::testing::Combine(::testing::ValuesIn(kFilmScenes), ::testing::Values(std::int64_t{3840}, std::int64_t{1920}),
                       ::testing::Values(MemoryPixelOrder::bgrx, MemoryPixelOrder::rgba)),
    [](const auto& info) {
      const MemoryPixelOrder order = std::get<2>(info.param);
      return std::string(std::get<0>(info.param).name) + "_" + std::to_string(std::get<1>(info.param)) +
             (isRgbOrder(order) ? "_rgba" : "_bgrx");
    });

TEST(MemoryFrameScalerTest, DetailFinerThanTheSamplesIsWhereTheGridShows) {
  // The comparison can fail: on full-range noise one sample per pixel is far
  // off the exact average, and the default grid halves the error but stays
  // beyond three levels, since no sampling short of every pixel averages noise.
  const PaintedPicture picture = paint(3840, 2160, fineNoiseScene);
  const PixelRect whole{0, 0, 3840, 2160};
  const ErrorFigures single = scaleAndCompare("fine noise", picture, whole, 1, 1);
  const ErrorFigures grid = scaleAndCompare("fine noise", picture, whole, 4, 2);
  EXPECT_GT(single.mean, 3.0);
  EXPECT_GT(grid.mean, 3.0);
  EXPECT_LT(grid.mean, single.mean / 2);
}

TEST(MemoryFrameScalerTest, MoreSamplesComeCloserOnAFilmStill) {
  const PaintedPicture picture = paint(3840, 2160, photoScene);
  const PixelRect whole{0, 0, 3840, 2160};
  const double single = scaleAndCompare("photo", picture, whole, 1, 1).mean;
  const double grid = scaleAndCompare("photo", picture, whole, 4, 2).mean;
  const double dense = scaleAndCompare("photo", picture, whole, 8, 8).mean;
  EXPECT_LT(grid, single);
  EXPECT_LT(dense, grid);
}

void expectRefused(const std::function<void()>& call, const std::string& mentioning) {
  try {
    call();
    ADD_FAILURE() << "accepted; expected a refusal mentioning \"" << mentioning << "\"";
  } catch (const std::invalid_argument& error) {
    const std::string message = error.what();
    EXPECT_NE(message.find(mentioning), std::string::npos) << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  }
}

// The scene with a rectangle painted over it in one colour.
Painter withPatch(const Painter& scene, const PixelRect& patch, Rgb colour) {
  return [scene, patch, colour](std::int64_t x, std::int64_t y, double across, double down) {
    return PixelRect{x, y, 1, 1}.intersects(patch) ? colour : scene(x, y, across, down);
  };
}

// The colour of output pixel u, v.
Rgb frameAt(const Frame& frame, std::int64_t u, std::int64_t v) {
  const std::uint8_t* pixel = frame.bytes + v * frame.bytesPerRow + u * 4;
  return Rgb{pixel[2], pixel[1], pixel[0]};
}

TEST(MemoryFrameScalerTest, RescalingTheChangedPartsGivesWhatAWholeScaleWould) {
  const PixelRect whole{0, 0, 3840, 2160};
  const PaintedPicture before = paint(3840, 2160, photoScene);
  const std::vector<PixelRect> changes = {{100, 37, 300, 200}, {2999, 1500, 41, 659}, {1700, 1100, 1, 1}};
  Painter after = photoScene;
  for (const PixelRect& change : changes) after = withPatch(after, change, Rgb{250, 30, 90});
  const PaintedPicture changed = paint(3840, 2160, after);

  MemoryFrameScaler scaler(160, 100, 4, 2);
  scaler.scale(before.view(), whole);
  const std::optional<Frame> rescaled = scaler.rescale(changed.view(), whole, changes);
  ASSERT_TRUE(rescaled.has_value());
  MemoryFrameScaler fresh(160, 100, 4, 2);
  EXPECT_EQ(frameBytes(*rescaled), frameBytes(fresh.scale(changed.view(), whole)));
}

TEST(MemoryFrameScalerTest, RescalingReadsOnlyTheRowsAChangeMeets) {
  const PixelRect whole{0, 0, 3840, 2160};
  MemoryFrameScaler scaler(160, 100, 4, 2);
  scaler.scale(paint(3840, 2160, flat(Rgb{40, 40, 40})).view(), whole);
  // All of the picture is new, but only a strip 30 rows high at the top is
  // said to be: output row 0 (rows 0 to 21) and row 1 (22 to 43) are read
  // again, the rest keep the old grey.
  const PaintedPicture blue = paint(3840, 2160, flat(Rgb{0, 0, 255}));
  const std::optional<Frame> frame = scaler.rescale(blue.view(), whole, std::vector<PixelRect>{{500, 0, 10, 30}});
  ASSERT_TRUE(frame.has_value());
  for (std::int64_t v = 0; v < 100; ++v) {
    const Rgb expected = v < 2 ? Rgb{0, 0, 255} : Rgb{40, 40, 40};
    for (std::int64_t u : {0, 80, 159}) {
      const Rgb pixel = frameAt(*frame, u, v);
      EXPECT_TRUE(pixel.red == expected.red && pixel.green == expected.green && pixel.blue == expected.blue)
          << "pixel " << u << "," << v << " is " << pixel.red << " " << pixel.green << " " << pixel.blue;
    }
  }
}

TEST(MemoryFrameScalerTest, AChangeOutsideTheRectangleRescalesNothing) {
  const PixelRect crop{960, 540, 1920, 1080};
  MemoryFrameScaler scaler(160, 100, 4, 2);
  const std::vector<std::uint8_t> grey = frameBytes(scaler.scale(paint(3840, 2160, flat(Rgb{40, 40, 40})).view(), crop));
  const PaintedPicture blue = paint(3840, 2160, flat(Rgb{0, 0, 255}));
  EXPECT_FALSE(scaler.rescale(blue.view(), crop, std::vector<PixelRect>{{0, 0, 960, 2160}, {2880, 0, 960, 2160}}));
  EXPECT_FALSE(scaler.rescale(blue.view(), crop, std::vector<PixelRect>{}));
  EXPECT_FALSE(scaler.rescale(blue.view(), crop, std::vector<PixelRect>{{1000, 600, 0, 50}}));
  EXPECT_EQ(frameBytes(scaler.scale(paint(3840, 2160, flat(Rgb{40, 40, 40})).view(), crop)), grey);
}

TEST(MemoryFrameScalerTest, RescalingAnotherRectangleSizeOrOrderScalesEverything) {
  const PixelRect whole{0, 0, 1920, 1080};
  const PaintedPicture blue = paint(1920, 1080, flat(Rgb{0, 0, 255}));
  const std::vector<PixelRect> nothing;
  const auto rescaledIsBlue = [&](MemoryFrameScaler& scaler, const MappedPicture& picture, const PixelRect& source) {
    const std::optional<Frame> frame = scaler.rescale(picture, source, nothing);
    return frame ? isFlat(*frame, Rgb{0, 0, 255}) : ::testing::AssertionFailure() << "nothing was scaled";
  };
  {
    MemoryFrameScaler scaler(160, 100, 4, 2);
    EXPECT_TRUE(rescaledIsBlue(scaler, blue.view(), whole)) << "before any scale";
  }
  {
    MemoryFrameScaler scaler(160, 100, 4, 2);
    scaler.scale(paint(1920, 1080, flat(Rgb{40, 40, 40})).view(), PixelRect{0, 0, 1920, 1000});
    EXPECT_TRUE(rescaledIsBlue(scaler, blue.view(), whole)) << "after another rectangle";
  }
  {
    MemoryFrameScaler scaler(160, 100, 4, 2);
    scaler.scale(paint(1920, 1080, flat(Rgb{40, 40, 40}), MemoryPixelOrder::rgbx).view(), whole);
    EXPECT_TRUE(rescaledIsBlue(scaler, blue.view(), whole)) << "after another byte order";
  }
  {
    MemoryFrameScaler scaler(160, 100, 4, 2);
    scaler.scale(paint(1920, 1200, flat(Rgb{40, 40, 40})).view(), whole);
    EXPECT_TRUE(rescaledIsBlue(scaler, blue.view(), whole)) << "after a picture of another size";
  }
}

TEST(MemoryFrameScalerTest, BadPicturesAndRectanglesAreRefusedAndTheScalerGoesOn) {
  const PaintedPicture picture = paint(320, 200, flat(Rgb{1, 2, 3}));
  MemoryFrameScaler scaler(160, 100, 4, 2);
  const PixelRect whole{0, 0, 320, 200};
  auto scaleWith = [&](MappedPicture view, PixelRect source) {
    return [&scaler, view, source] { scaler.scale(view, source); };
  };
  MappedPicture view = picture.view();
  view.bytes = nullptr;
  expectRefused(scaleWith(view, whole), "null address");
  for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{0, 200}, {320, 0}, {-320, 200}, {320, -1}}) {
    view = picture.view();
    view.width = width;
    view.height = height;
    expectRefused(scaleWith(view, whole), "positive size, got " + std::to_string(width) + "x" + std::to_string(height));
  }
  view = picture.view();
  view.width = 70000;
  expectRefused(scaleWith(view, whole), "at most 65536 pixels a side");
  view = picture.view();
  view.bytesPerRow = 320 * 4 - 1;
  expectRefused(scaleWith(view, whole), "at least 1280 bytes per row, got 1279");
  view = picture.view();
  view.bytesPerRow = INT64_MAX / 100;
  expectRefused(scaleWith(view, whole), "cannot be addressed");

  for (const PixelRect outside : {PixelRect{320, 0, 10, 10}, PixelRect{0, 200, 10, 10}, PixelRect{-10, -10, 10, 10},
                                  PixelRect{0, 0, 0, 200}, PixelRect{0, 0, 320, -5}, PixelRect{INT64_MAX, 0, INT64_MAX, 1},
                                  PixelRect{INT64_MIN, INT64_MIN, 1, 1}}) {
    expectRefused(scaleWith(picture.view(), outside), "has no pixel inside the 320x200 picture");
  }
  EXPECT_TRUE(isFlat(scaler.scale(picture.view(), whole), Rgb{1, 2, 3}));
}

TEST(MemoryFrameScalerTest, BadFrameSizesAndSampleCountsAreRefused) {
  expectRefused([] { MemoryFrameScaler(0, 100, 4, 2); }, "got 0x100");
  expectRefused([] { MemoryFrameScaler(160, -1, 4, 2); }, "got 160x-1");
  expectRefused([] { MemoryFrameScaler(100000, 100, 4, 2); }, "got 100000x100");
  expectRefused([] { MemoryFrameScaler(160, 100, 0, 2); }, "at least one sample per pixel and axis, got 0x2");
  expectRefused([] { MemoryFrameScaler(160, 100, 4, -2); }, "got 4x-2");
}

TEST(MemoryFrameScalerTest, HugeSampleCountsAreCutToWhatTheRectangleHolds) {
  const PaintedPicture picture = paint(1920, 1080, flat(Rgb{90, 91, 92}));
  MemoryFrameScaler scaler(160, 100, INT64_MAX, INT64_MAX);
  EXPECT_TRUE(isFlat(scaler.scale(picture.view(), PixelRect{0, 0, 1920, 1080}), Rgb{90, 91, 92}));
  EXPECT_EQ(scaler.plan().samplesX, 4);
  EXPECT_EQ(scaler.plan().samplesY, 4);
}

}  // namespace
}  // namespace tarvelo
