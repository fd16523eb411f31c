#include "ui/ui_resources.h"

#include <QCoreApplication>
#include <QQmlEngine>

#include "ui/symbol_icon_provider.h"

namespace tarvelo::ui {

QUrl floatingHudViewUrl() { return QUrl(QStringLiteral("qrc:/tarvelo/ui/FloatingHUDView.qml")); }

QUrl menuBarViewUrl() { return QUrl(QStringLiteral("qrc:/tarvelo/ui/MenuBarView.qml")); }

QUrl settingsViewUrl() { return QUrl(QStringLiteral("qrc:/tarvelo/ui/SettingsView.qml")); }

void registerSymbolIcons(QQmlEngine& engine) {
  engine.addImageProvider(QString::fromLatin1(SymbolIconProvider::kProviderId), new SymbolIconProvider);
}

void prepareEngine(QQmlEngine& engine) {
  registerSymbolIcons(engine);
  QObject::connect(&engine, &QQmlEngine::quit, QCoreApplication::instance(), &QCoreApplication::quit,
                   Qt::QueuedConnection);
}

QString symbolIconPath(const QString& symbolName) {
  return QStringLiteral(":/tarvelo/ui/icons/symbols/%1.svg").arg(symbolName);
}

QString iconPath(const QString& name) { return QStringLiteral(":/tarvelo/ui/icons/%1.svg").arg(name); }

}  // namespace tarvelo::ui
