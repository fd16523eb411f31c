#pragma once

#include <QColor>
#include <QImage>
#include <QQuickImageProvider>
#include <QSize>
#include <QString>

namespace tarvelo::ui {

// The symbols every view shows, drawn from the project's own SVG icons in any
// colour. A view asks for "image://<kProviderId>/<symbol name>/<rrggbb>" with
// the symbol's own name ("lightbulb.max.fill", "popcorn.fill", …); the icon's
// "currentColor" paint becomes that colour. Unknown symbols and malformed
// requests give an empty image.
class SymbolIconProvider final : public QQuickImageProvider {
 public:
  static constexpr const char* kProviderId = "tarvelo-icons";

  SymbolIconProvider();

  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

// The symbol `name` painted in `tint` into a transparent square of `side`
// pixels; a null image when there is no such symbol.
QImage renderSymbol(const QString& name, const QColor& tint, const QSize& side);

}  // namespace tarvelo::ui
