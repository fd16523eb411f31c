#pragma once

#include <QString>
#include <QUrl>

namespace tarvelo::ui {

// Where the views and icons compiled into the program live, and what an
// engine needs before it loads a view.

// The floating HUD, the tray panel's content and the Settings form. Each view
// takes the AppState as its required property "appState".
QUrl floatingHudViewUrl();
QUrl menuBarViewUrl();
QUrl settingsViewUrl();

// The SVG of the symbol `symbolName` ("lightbulb.max.fill", "rays", …) as a
// resource path. Symbols are painted in currentColor.
QString symbolIconPath(const QString& symbolName);

// The tray's own coloured artwork called `name` ("lightbulb", "lightbulb-lit")
// as an SVG resource path, for QIcon.
QString iconPath(const QString& name);

}  // namespace tarvelo::ui
