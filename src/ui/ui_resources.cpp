#include "ui/ui_resources.h"

namespace tarvelo::ui {

QUrl floatingHudViewUrl() { return QUrl(QStringLiteral("qrc:/tarvelo/ui/FloatingHUDView.qml")); }

QUrl menuBarViewUrl() { return QUrl(QStringLiteral("qrc:/tarvelo/ui/MenuBarView.qml")); }

QUrl settingsViewUrl() { return QUrl(QStringLiteral("qrc:/tarvelo/ui/SettingsView.qml")); }

QString symbolIconPath(const QString& symbolName) {
  return QStringLiteral(":/tarvelo/ui/icons/symbols/%1.svg").arg(symbolName);
}

QString iconPath(const QString& name) { return QStringLiteral(":/tarvelo/ui/icons/%1.svg").arg(name); }

}  // namespace tarvelo::ui
