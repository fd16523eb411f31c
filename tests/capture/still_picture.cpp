#include "capture/still_picture.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace tarvelo::testing {

namespace {

// A well-mixed hash of a pixel position, for grain that looks random but is fixed.
std::uint32_t hashOf(std::uint32_t x, std::uint32_t y) {
  std::uint32_t h = x * 0x9E3779B1u ^ (y + 0x7F4A7C15u) * 0x85EBCA77u;
  h ^= h >> 15;
  h *= 0x2C1B3C6Du;
  h ^= h >> 12;
  h *= 0x297A2D39u;
  h ^= h >> 15;
  return h;
}

std::uint8_t clampToByte(double value) { return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L)); }

struct Colour {
  double red, green, blue;
};

Colour mix(const Colour& a, const Colour& b, double t) {
  return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t};
}

}  // namespace

StillPicture makeFilmStill(std::int64_t width, std::int64_t height) {
  StillPicture picture{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width * height * 4))};
  const double w = static_cast<double>(width);
  const double h = static_cast<double>(height);
  const double barHeight = std::floor(h * 0.11);  // letterbox bars, as a 2.39:1 film on a 16:9 screen shows
  const Colour bands[] = {{230, 30, 40},  {250, 200, 20}, {40, 180, 60},  {20, 120, 230},
                          {160, 40, 200}, {240, 240, 240}, {10, 10, 10},   {250, 120, 30}};
  for (std::int64_t y = 0; y < height; ++y) {
    const double fy = (static_cast<double>(y) + 0.5) / h;
    for (std::int64_t x = 0; x < width; ++x) {
      const double fx = (static_cast<double>(x) + 0.5) / w;
      Colour colour;
      if (static_cast<double>(y) < barHeight || static_cast<double>(y) >= h - barHeight) {
        colour = {0, 0, 0};
      } else {
        // Sky: deep blue at the top to a warm haze at the horizon, with a sun.
        colour = mix({30, 60, 150}, {250, 170, 110}, std::clamp((fy - 0.11) / 0.5, 0.0, 1.0));
        const double sunDistance = std::hypot((fx - 0.7) * w / h, fy - 0.35);
        colour = mix(colour, {255, 240, 200}, std::clamp(1.0 - sunDistance / 0.12, 0.0, 1.0));
        // Hills with a wavy skyline: a hard, slanted edge across many cells.
        const double skyline = 0.55 + 0.05 * std::sin(fx * 11.0) + 0.02 * std::sin(fx * 37.0 + 1.0);
        if (fy > skyline) colour = mix({40, 90, 40}, {15, 45, 20}, std::clamp((fy - skyline) / 0.25, 0.0, 1.0));
        // A strip of colour bands with edges that fall anywhere in a cell.
        if (fy > 0.74 && fy < 0.84) colour = bands[static_cast<int>(fx * 8.0 * 1.03) % 8];
        // Fabric: a one-pixel weave of two colours on a patch of the hills.
        if (fx > 0.08 && fx < 0.3 && fy > 0.62 && fy < 0.72) {
          colour = ((x + y) % 2 == 0) ? Colour{200, 190, 170} : Colour{90, 60, 50};
        }
        // Wires: thin dark lines across the sky.
        if (fy < 0.5 && std::abs(std::fmod(static_cast<double>(x) * 0.21 + static_cast<double>(y), 97.0)) < 1.0) {
          colour = mix(colour, {20, 20, 25}, 0.8);
        }
        // Film grain.
        const double grain = static_cast<double>(hashOf(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)) % 41) - 20.0;
        colour = {colour.red + grain, colour.green + grain, colour.blue + grain};
      }
      std::uint8_t* pixel = &picture.bgra[static_cast<std::size_t>((y * width + x) * 4)];
      pixel[0] = clampToByte(colour.blue);
      pixel[1] = clampToByte(colour.green);
      pixel[2] = clampToByte(colour.red);
      pixel[3] = 255;
    }
  }
  return picture;
}

namespace {

// For each output cell along one axis, the source pixels it covers and how much
// of each, as fractions of a pixel.
struct Coverage {
  std::int64_t first = 0;
  std::vector<double> weights;
};

std::vector<Coverage> coverageAlong(std::int64_t sourceLength, std::int64_t outputLength) {
  std::vector<Coverage> cells(static_cast<std::size_t>(outputLength));
  const double step = static_cast<double>(sourceLength) / static_cast<double>(outputLength);
  for (std::int64_t cell = 0; cell < outputLength; ++cell) {
    const double begin = step * static_cast<double>(cell);
    const double end = step * static_cast<double>(cell + 1);
    Coverage& coverage = cells[static_cast<std::size_t>(cell)];
    coverage.first = static_cast<std::int64_t>(std::floor(begin));
    for (std::int64_t pixel = coverage.first; static_cast<double>(pixel) < end && pixel < sourceLength; ++pixel) {
      const double overlap =
          std::min(end, static_cast<double>(pixel + 1)) - std::max(begin, static_cast<double>(pixel));
      coverage.weights.push_back(std::max(overlap, 0.0));
    }
  }
  return cells;
}

}  // namespace

std::vector<std::array<double, 3>> boxDownscale(const StillPicture& picture, std::int64_t width,
                                                std::int64_t height) {
  const std::vector<Coverage> columns = coverageAlong(picture.width, width);
  const std::vector<Coverage> rows = coverageAlong(picture.height, height);
  // Horizontal first: every source row reduced to `width` cells.
  std::vector<std::array<double, 3>> rowSums(static_cast<std::size_t>(picture.height * width));
  for (std::int64_t y = 0; y < picture.height; ++y) {
    for (std::int64_t cell = 0; cell < width; ++cell) {
      const Coverage& coverage = columns[static_cast<std::size_t>(cell)];
      std::array<double, 3> sum{0, 0, 0};
      for (std::size_t index = 0; index < coverage.weights.size(); ++index) {
        const std::uint8_t* pixel =
            &picture.bgra[static_cast<std::size_t>((y * picture.width + coverage.first + static_cast<std::int64_t>(index)) * 4)];
        for (int channel = 0; channel < 3; ++channel) sum[channel] += coverage.weights[index] * pixel[channel];
      }
      rowSums[static_cast<std::size_t>(y * width + cell)] = sum;
    }
  }
  const double area = static_cast<double>(picture.width) / static_cast<double>(width) *
                      static_cast<double>(picture.height) / static_cast<double>(height);
  std::vector<std::array<double, 3>> result(static_cast<std::size_t>(width * height));
  for (std::int64_t row = 0; row < height; ++row) {
    const Coverage& coverage = rows[static_cast<std::size_t>(row)];
    for (std::int64_t cell = 0; cell < width; ++cell) {
      std::array<double, 3> sum{0, 0, 0};
      for (std::size_t index = 0; index < coverage.weights.size(); ++index) {
        const std::array<double, 3>& partial =
            rowSums[static_cast<std::size_t>((coverage.first + static_cast<std::int64_t>(index)) * width + cell)];
        for (int channel = 0; channel < 3; ++channel) sum[channel] += coverage.weights[index] * partial[channel];
      }
      for (int channel = 0; channel < 3; ++channel) sum[channel] /= area;
      result[static_cast<std::size_t>(row * width + cell)] = sum;
    }
  }
  return result;
}

std::array<double, 3> meanAbsoluteDifference(const Frame& frame, const std::vector<std::array<double, 3>>& expected) {
  if (frame.bytes == nullptr || static_cast<std::size_t>(frame.width * frame.height) != expected.size()) {
    throw std::invalid_argument("frame and expected picture differ in size");
  }
  std::array<double, 3> total{0, 0, 0};
  for (std::int64_t y = 0; y < frame.height; ++y) {
    for (std::int64_t x = 0; x < frame.width; ++x) {
      const std::uint8_t* pixel = frame.bytes + y * frame.bytesPerRow + x * 4;
      const std::array<double, 3>& want = expected[static_cast<std::size_t>(y * frame.width + x)];
      for (int channel = 0; channel < 3; ++channel) total[channel] += std::abs(pixel[channel] - want[channel]);
    }
  }
  const double count = static_cast<double>(frame.width * frame.height);
  return {total[0] / count, total[1] / count, total[2] / count};
}

}  // namespace tarvelo::testing
