#pragma once

#include <QQuickImageProvider>

namespace tarvelo {

// The HUD's symbols, drawn from the project's own SVG icons in any colour:
// QML asks for "image://<kProviderId>/<icon name>/<colour as rrggbb>", and the
// icon's "currentColor" paint becomes that colour. Unknown icons and
// malformed requests give an empty image.
class HudIconProvider final : public QQuickImageProvider {
 public:
  static constexpr const char* kProviderId = "tarvelo-icons";

  HudIconProvider();

  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

}  // namespace tarvelo
