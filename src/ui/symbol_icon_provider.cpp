#include "ui/symbol_icon_provider.h"

#include <QFile>
#include <QPainter>
#include <QRegularExpression>
#include <QSvgRenderer>

#include "ui/ui_resources.h"

namespace tarvelo::ui {

namespace {

constexpr int kDefaultSide = 16;

}  // namespace

SymbolIconProvider::SymbolIconProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

QImage SymbolIconProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  static const QRegularExpression request(QStringLiteral("^([a-z0-9.]+)/([0-9a-fA-F]{6})$"));
  const QRegularExpressionMatch match = request.match(id);
  if (!match.hasMatch()) return {};
  const QSize side(requestedSize.width() > 0 ? requestedSize.width() : kDefaultSide,
                   requestedSize.height() > 0 ? requestedSize.height() : kDefaultSide);
  QImage image = renderSymbol(match.captured(1), QColor(QLatin1Char('#') + match.captured(2)), side);
  if (!image.isNull() && size != nullptr) *size = side;
  return image;
}

QImage renderSymbol(const QString& name, const QColor& tint, const QSize& side) {
  QFile file(symbolIconPath(name));
  if (!file.open(QIODevice::ReadOnly)) return {};
  QByteArray svg = file.readAll();
  svg.replace("currentColor", tint.name(QColor::HexRgb).toLatin1());

  QSvgRenderer renderer(svg);
  if (!renderer.isValid() || side.isEmpty()) return {};
  QImage image(side, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(side)));
  painter.end();
  return image;
}

}  // namespace tarvelo::ui
