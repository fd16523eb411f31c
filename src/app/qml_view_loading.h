#pragma once

#include <QUrl>
#include <QVariantMap>

class QQmlEngine;
class QQuickItem;
class QQuickWindow;

namespace tarvelo {

// Makes the view at `url`, created with `properties` (every view requires
// "appState"), the content of `window`, made by `engine` (the program's
// ui::ViewEngine). On failure writes one line,
// "tarvelo: the <what> did not load: " and the reasons, to standard error and
// returns nullptr; the window is left empty and the program goes on.
QQuickItem* loadViewInto(QQuickWindow& window, QQmlEngine& engine, const QUrl& url, const QVariantMap& properties,
                         const char* what);

}  // namespace tarvelo
