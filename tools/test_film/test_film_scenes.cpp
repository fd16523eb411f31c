#include "test_film_scenes.h"

#include <QPainter>
#include <QRegularExpression>

#include <cmath>

namespace tarvelo::film {

namespace {

// Fractions of the picture the colour zones of the light are taken from.
constexpr double kBandFraction = 0.2;
constexpr double kLetterboxBarFraction = 0.12;

void drawBands(QPainter& painter, QRectF area) {
  painter.fillRect(area, QColor(60, 60, 60));
  const double band = area.height() * kBandFraction;
  const double side = area.width() * kBandFraction;
  painter.fillRect(QRectF(area.left(), area.top(), side, area.height() - band), leftSideColour());
  painter.fillRect(QRectF(area.right() - side, area.top(), side, area.height() - band), rightSideColour());
  painter.fillRect(QRectF(area.left(), area.top(), area.width(), band), topBandColour());
  const std::vector<QColor>& bottom = bottomBandColours();
  const double segment = area.width() / static_cast<double>(bottom.size());
  for (std::size_t i = 0; i < bottom.size(); ++i) {
    painter.fillRect(QRectF(area.left() + segment * static_cast<double>(i), area.bottom() - band, segment, band),
                     bottom[i]);
  }
}

void drawMoving(QPainter& painter, QSize size, double seconds) {
  // A slow hue sweep across the width and a bright block crossing the
  // bottom band, so every zone keeps changing.
  const int columns = 32;
  const double columnWidth = static_cast<double>(size.width()) / columns;
  for (int i = 0; i < columns; ++i) {
    const double hue = std::fmod(seconds * 0.1 + static_cast<double>(i) / columns, 1.0);
    painter.fillRect(QRectF(columnWidth * i, 0, columnWidth + 1, size.height()), QColor::fromHsvF(hue, 0.8, 0.85));
  }
  const double blockWidth = size.width() * 0.15;
  const double x = std::fmod(seconds * size.width() * 0.25, size.width() + blockWidth) - blockWidth;
  painter.fillRect(QRectF(x, size.height() * 0.7, blockWidth, size.height() * 0.3), Qt::white);
}

}  // namespace

std::optional<Scene> parseScene(const QString& text) {
  if (text == QLatin1String("bands")) return Scene{SceneKind::bands, {}};
  if (text == QLatin1String("letterbox")) return Scene{SceneKind::letterbox, {}};
  if (text == QLatin1String("moving")) return Scene{SceneKind::moving, {}};
  static const QRegularExpression solid(QStringLiteral("^solid:([0-9a-fA-F]{6})$"));
  if (const QRegularExpressionMatch match = solid.match(text); match.hasMatch()) {
    return Scene{SceneKind::solid, QColor(QLatin1Char('#') + match.captured(1))};
  }
  return std::nullopt;
}

const std::vector<QColor>& bottomBandColours() {
  static const std::vector<QColor> colours{
      QColor(230, 40, 40),  QColor(230, 140, 30), QColor(220, 220, 40), QColor(60, 200, 60), QColor(40, 200, 200),
      QColor(40, 90, 230),  QColor(140, 50, 220), QColor(230, 50, 160), QColor(240, 240, 240),
  };
  return colours;
}

QColor topBandColour() { return QColor(30, 60, 200); }
QColor leftSideColour() { return QColor(200, 40, 120); }
QColor rightSideColour() { return QColor(40, 180, 90); }

void drawScene(QPainter& painter, const Scene& scene, QSize size, double seconds) {
  const QRectF whole(QPointF(0, 0), QSizeF(size));
  switch (scene.kind) {
    case SceneKind::solid:
      painter.fillRect(whole, scene.colour);
      break;
    case SceneKind::bands:
      drawBands(painter, whole);
      break;
    case SceneKind::letterbox: {
      painter.fillRect(whole, Qt::black);
      const double bar = size.height() * kLetterboxBarFraction;
      drawBands(painter, QRectF(0, bar, size.width(), size.height() - 2 * bar));
      break;
    }
    case SceneKind::moving:
      drawMoving(painter, size, seconds);
      break;
  }
}

QImage renderScene(const Scene& scene, QSize size, double seconds) {
  QImage image(size, QImage::Format_ARGB32);
  QPainter painter(&image);
  drawScene(painter, scene, size, seconds);
  return image;
}

}  // namespace tarvelo::film
