#pragma once

#include <QUrl>

class QQmlEngine;
class QQuickItem;
class QQuickWindow;

namespace tarvelo {

// Makes the view at `url` the content of `window`, in the engine's root
// context (where the caller has put `appState`). On failure writes one line,
// "tarvelo: the <what> did not load: " and the reasons, to standard error and
// returns nullptr; the window is left empty and the program goes on.
QQuickItem* loadViewInto(QQuickWindow& window, QQmlEngine& engine, const QUrl& url, const char* what);

}  // namespace tarvelo
