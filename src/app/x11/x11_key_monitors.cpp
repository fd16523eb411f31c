#include "app/x11/x11_key_monitors.h"

#include <QEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QObject>

#include <utility>

#include "app/x11/x11_key_mapping.h"
#include "app/x11/x11_shortcut_grab.h"

namespace tarvelo {

// Sees every event of the application before its receiver does. Qt hands a key
// press to the window first and then re-sends it to the focused item or widget
// and, if unhandled, to its parents; only the window's copy counts, so one
// press runs the handler once.
class X11KeyMonitors::LocalKeyFilter final : public QObject {
 public:
  explicit LocalKeyFilter(std::function<void(const KeyEvent&)> handler) : handler_(std::move(handler)) {
    QCoreApplication::instance()->installEventFilter(this);
  }

  ~LocalKeyFilter() override {
    if (QCoreApplication* application = QCoreApplication::instance()) application->removeEventFilter(this);
  }

  LocalKeyFilter(const LocalKeyFilter&) = delete;
  LocalKeyFilter& operator=(const LocalKeyFilter&) = delete;

 protected:
  bool eventFilter(QObject* receiver, QEvent* event) override {
    if (event->type() == QEvent::KeyPress && receiver->isWindowType()) {
      // On xcb the native scan code is the X keycode and the native modifiers
      // are the X state of the press.
      const auto* press = static_cast<const QKeyEvent*>(event);
      if (const std::optional<KeyEvent> key = keyEventFromX11(press->nativeScanCode(), press->nativeModifiers())) {
        handler_(*key);
      }
    }
    // Never consumed: the key still reaches the focused control.
    return false;
  }

 private:
  std::function<void(const KeyEvent&)> handler_;
};

X11KeyMonitors::X11KeyMonitors() = default;

X11KeyMonitors::~X11KeyMonitors() {
  globalMonitors_.clear();
  localMonitors_.clear();
}

std::optional<MonitorToken> X11KeyMonitors::addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) {
  std::unique_ptr<X11ShortcutGrab> grab = X11ShortcutGrab::start(std::move(handler));
  if (!grab) return std::nullopt;
  const MonitorToken token = nextToken_++;
  globalMonitors_.emplace(token, std::move(grab));
  return token;
}

std::optional<MonitorToken> X11KeyMonitors::addLocalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) {
  if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) return std::nullopt;
  const MonitorToken token = nextToken_++;
  localMonitors_.emplace(token, std::make_unique<LocalKeyFilter>(std::move(handler)));
  return token;
}

void X11KeyMonitors::removeMonitor(MonitorToken token) {
  globalMonitors_.erase(token);
  localMonitors_.erase(token);
}

}  // namespace tarvelo
