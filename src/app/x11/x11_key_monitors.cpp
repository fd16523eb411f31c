#include "app/x11/x11_key_monitors.h"

#include <QGuiApplication>

#include <utility>

#include "app/x11/xkb_local_key_filter.h"
#include "app/x11/x11_shortcut_grab.h"

namespace tarvelo {

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
  localMonitors_.emplace(token, std::make_unique<XkbLocalKeyFilter>(std::move(handler)));
  return token;
}

void X11KeyMonitors::removeMonitor(MonitorToken token) {
  globalMonitors_.erase(token);
  localMonitors_.erase(token);
}

}  // namespace tarvelo
