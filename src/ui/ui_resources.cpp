#include "ui/ui_resources.h"

namespace tarvelo::ui {

QUrl floatingHudViewUrl() { return QUrl(QStringLiteral("qrc:/tarvelo/ui/FloatingHUDView.qml")); }

QString iconPath(const QString& name) { return QStringLiteral(":/tarvelo/ui/icons/%1.svg").arg(name); }

}  // namespace tarvelo::ui
