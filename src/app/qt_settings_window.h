#pragma once

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <QUrl>
#include <optional>
#include <string>

#include "app/app_platform.h"

class QQmlEngine;

namespace tarvelo {

class AppState;

// The Settings window: titled, closable and minimisable but of one fixed
// size, kept above normal windows. It is centred on the primary screen the
// first time it shows; closing it only hides it, and it comes back where the
// user left it. It holds nothing but that place and whether it shows.
class QtSettingsWindow final : public QObject, public SettingsWindow {
  Q_OBJECT

 public:
  // The view, `formWidth` × `formHeight`, is centred in a window of
  // `width` × `height`.
  QtSettingsWindow(const std::string& title, int width, int height, int formWidth, int formHeight);
  ~QtSettingsWindow() override;

  // Made by `engine`, which must outlive this window. False, after one line
  // on standard error, when the view does not load.
  bool loadView(QQmlEngine& engine, const QUrl& viewUrl, AppState& appState);

  void makeKeyAndOrderFront() override;

  QQuickWindow& window() { return window_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QQuickWindow window_;
  QPointer<QQuickItem> view_;
  const int formWidth_;
  const int formHeight_;
  // Where the window's frame was when it was last closed.
  std::optional<QPoint> lastFramePosition_;
};

}  // namespace tarvelo
