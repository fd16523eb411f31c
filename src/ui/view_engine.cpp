#include "ui/view_engine.h"

#include <QCoreApplication>

#include "ui/symbol_icon_provider.h"

namespace tarvelo::ui {

ViewEngine::ViewEngine() {
  addImageProvider(QString::fromLatin1(SymbolIconProvider::kProviderId), new SymbolIconProvider);
  connect(this, &QQmlEngine::quit, QCoreApplication::instance(), &QCoreApplication::quit, Qt::QueuedConnection);
}

}  // namespace tarvelo::ui
