#pragma once

#include <QString>
#include <QUrl>

namespace tarvelo::ui {

// Where the views and icons compiled into the program live.

// The floating HUD's QML view.
QUrl floatingHudViewUrl();

// The project's own icon called `name` ("play", "lightbulb-lit", …) as an SVG
// resource path, for QFile, QIcon or QSvgRenderer.
QString iconPath(const QString& name);

}  // namespace tarvelo::ui
