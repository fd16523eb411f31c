#include "output/hud_icon_provider.h"

#include <QColor>
#include <QFile>
#include <QPainter>
#include <QRegularExpression>
#include <QSvgRenderer>

#include "ui/ui_resources.h"

namespace tarvelo {

namespace {

constexpr int kDefaultSide = 16;

}  // namespace

HudIconProvider::HudIconProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

QImage HudIconProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  static const QRegularExpression request(QStringLiteral("^([a-z-]+)/([0-9a-fA-F]{6})$"));
  const QRegularExpressionMatch match = request.match(id);
  if (!match.hasMatch()) return {};

  QFile file(ui::iconPath(match.captured(1)));
  if (!file.open(QIODevice::ReadOnly)) return {};
  QByteArray svg = file.readAll();
  const QByteArray colour = QColor(QLatin1Char('#') + match.captured(2)).name(QColor::HexRgb).toLatin1();
  svg.replace("currentColor", colour);

  QSvgRenderer renderer(svg);
  if (!renderer.isValid()) return {};
  const QSize side(requestedSize.width() > 0 ? requestedSize.width() : kDefaultSide,
                   requestedSize.height() > 0 ? requestedSize.height() : kDefaultSide);
  QImage image(side, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(side)));
  painter.end();
  if (size != nullptr) *size = side;
  return image;
}

}  // namespace tarvelo
