#include <gtest/gtest.h>

#include <QColor>
#include <QImage>
#include <QString>

#include "ui/symbol_icon_provider.h"

namespace tarvelo::ui {
namespace {

// Every symbol a view asks for, by its symbol name.
const char* const kSymbols[] = {
    "lightbulb.max.fill", "lock.shield.fill", "exclamationmark.triangle.fill", "display", "arrow.down",
    "macbook", "popcorn.fill", "rays", "moon.fill", "sun.max.fill", "paintpalette.fill",
    "circle.hexagongrid.fill", "gearshape", "power", "gearshape.2.fill", "display.2", "sparkles", "lock.shield",
    "command", "display.and.arrow.down", "arrow.clockwise", "checkmark.circle.fill", "waveform.path",
    "pause.fill", "play.fill", "minus", "plus", "xmark"};

// How many pixels are painted, and whether all of them in `tint`.
struct Coverage {
  int painted = 0;
  bool onlyTint = true;
};

Coverage coverageOf(const QImage& image, const QColor& tint) {
  Coverage coverage;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QColor pixel = image.pixelColor(x, y);
      if (pixel.alpha() < 200) continue;
      ++coverage.painted;
      if (std::abs(pixel.red() - tint.red()) > 2 || std::abs(pixel.green() - tint.green()) > 2 ||
          std::abs(pixel.blue() - tint.blue()) > 2) {
        coverage.onlyTint = false;
      }
    }
  }
  return coverage;
}

TEST(SymbolIcons, EverySymbolOfTheViewsIsPaintedInTheAskedColour) {
  SymbolIconProvider provider;
  const QColor tint("#ff9f0a");
  for (const char* name : kSymbols) {
    QSize size;
    const QImage image =
        provider.requestImage(QString::fromLatin1(name) + QStringLiteral("/ff9f0a"), &size, QSize(48, 48));
    ASSERT_FALSE(image.isNull()) << name;
    EXPECT_EQ(size, QSize(48, 48)) << name;
    const Coverage coverage = coverageOf(image.convertToFormat(QImage::Format_ARGB32), tint);
    EXPECT_GT(coverage.painted, 48 * 48 / 20) << name;
    EXPECT_LT(coverage.painted, 48 * 48 * 9 / 10) << name;
    EXPECT_TRUE(coverage.onlyTint) << name;
  }
}

TEST(SymbolIcons, UnknownSymbolsAndMalformedRequestsGiveNothing) {
  SymbolIconProvider provider;
  QSize size(-1, -1);
  EXPECT_TRUE(provider.requestImage(QStringLiteral("no.such.symbol/ffffff"), &size, QSize(16, 16)).isNull());
  EXPECT_TRUE(provider.requestImage(QStringLiteral("rays"), &size, QSize(16, 16)).isNull());
  EXPECT_TRUE(provider.requestImage(QStringLiteral("rays/fff"), &size, QSize(16, 16)).isNull());
  EXPECT_TRUE(provider.requestImage(QStringLiteral("../icons/lightbulb/ffffff"), &size, QSize(16, 16)).isNull());
  EXPECT_EQ(size, QSize(-1, -1));
}

TEST(SymbolIcons, WithoutARequestedSizeTheSymbolIsSixteenSquare) {
  SymbolIconProvider provider;
  QSize size;
  const QImage image = provider.requestImage(QStringLiteral("rays/0a84ff"), &size, QSize());
  EXPECT_EQ(image.size(), QSize(16, 16));
  EXPECT_EQ(size, QSize(16, 16));
}

}  // namespace
}  // namespace tarvelo::ui
