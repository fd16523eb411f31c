#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRect>
#include <QUrl>

class QQmlEngine;

namespace tarvelo {

class AppState;

// The window that hosts the control panel's view: exactly 320 wide, as tall
// as the view's content. The view is given `appState` and whether the window
// is translucent (`translucentBackdrop`); it holds no state, and this window
// holds only where it is and whether it shows.
//
// Two presentations. A pop-up drops from the tray icon: frameless, above
// other windows, out of the taskbar; it closes when it loses the focus, on
// Escape, or when the icon is clicked again. Where a compositor runs it has
// an alpha channel and a transparent background, so the view can draw a
// frosted backdrop; elsewhere it is opaque. Without a tray host the panel is
// instead an ordinary window titled "Tarvelo", so the program is never
// without controls; closing it only hides it.
class QtPanelWindow final : public QObject {
  Q_OBJECT

 public:
  static constexpr int kWidth = 320;
  enum class Presentation { popUp, window };

  // The view is made by `engine`, which must outlive this window.
  QtPanelWindow(QQmlEngine& engine, const QUrl& viewUrl, AppState& appState, Presentation presentation);
  ~QtPanelWindow() override;

  // What a click on the tray icon does: closes an open pop-up, otherwise
  // opens it beside `anchor` (the icon, or the pointer), unless the pop-up
  // has just closed because this very click took the focus from it.
  void toggleNextTo(const QRect& anchor);
  // Opens the pop-up beside `anchor`, or brings it forward if it is open.
  void popUpNextTo(const QRect& anchor);
  // Shows the window presentation, or brings it forward.
  void bringForward();
  void close();

  bool isShown() const { return window_.isVisible(); }
  bool isTranslucent() const { return translucent_; }
  QQuickWindow& window() { return window_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void fitToContent();
  void focusChanged();

  const Presentation presentation_;
  bool translucent_ = false;
  QQuickWindow window_;
  QPointer<QQuickItem> view_;
  QElapsedTimer sinceClosedByFocusLoss_;
};

}  // namespace tarvelo
