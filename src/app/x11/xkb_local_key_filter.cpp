#include "app/x11/xkb_local_key_filter.h"

#include <QCoreApplication>
#include <QEvent>
#include <QKeyEvent>

#include <optional>
#include <utility>

#include "app/x11/x11_key_mapping.h"

namespace tarvelo {

XkbLocalKeyFilter::XkbLocalKeyFilter(std::function<void(const KeyEvent&)> handler) : handler_(std::move(handler)) {
  QCoreApplication::instance()->installEventFilter(this);
}

XkbLocalKeyFilter::~XkbLocalKeyFilter() {
  if (QCoreApplication* application = QCoreApplication::instance()) application->removeEventFilter(this);
}

bool XkbLocalKeyFilter::eventFilter(QObject* receiver, QEvent* event) {
  if (event->type() == QEvent::KeyPress && receiver->isWindowType()) {
    const auto* press = static_cast<const QKeyEvent*>(event);
    if (const std::optional<KeyEvent> key = keyEventFromX11(press->nativeScanCode(), press->nativeModifiers())) {
      handler_(*key);
    }
  }
  // Never consumed: the key still reaches the focused control.
  return false;
}

}  // namespace tarvelo
