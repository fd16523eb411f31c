#include "app/wayland/wayland_key_monitors.h"

#include <QDBusConnection>
#include <QGuiApplication>

#include <utility>

#include "app/wayland/global_shortcuts_portal.h"
#include "app/x11/xkb_local_key_filter.h"

namespace tarvelo {

WaylandKeyMonitors::WaylandKeyMonitors() = default;

WaylandKeyMonitors::~WaylandKeyMonitors() = default;

std::optional<MonitorToken> WaylandKeyMonitors::addGlobalKeyDownMonitor(
    std::function<void(const KeyEvent&)> handler) {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return std::nullopt;
  const MonitorToken token = nextToken_++;
  auto portal = std::make_unique<GlobalShortcutsPortal>(std::move(bus), std::move(handler));
  portal->bindingChanged = [this] {
    if (bindingHandler_) bindingHandler_();
  };
  globalMonitors_.emplace(token, std::move(portal));
  return token;
}

DesktopShortcutBinding WaylandKeyMonitors::desktopShortcutBinding() const {
  if (globalMonitors_.empty()) return {};
  const GlobalShortcutsPortal& portal = *globalMonitors_.begin()->second;
  return {portal.isBound(), portal.toggleTrigger().toStdString()};
}

void WaylandKeyMonitors::setDesktopShortcutBindingHandler(std::function<void()> handler) {
  bindingHandler_ = std::move(handler);
}

std::optional<MonitorToken> WaylandKeyMonitors::addLocalKeyDownMonitor(
    std::function<void(const KeyEvent&)> handler) {
  if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) return std::nullopt;
  const MonitorToken token = nextToken_++;
  localMonitors_.emplace(token, std::make_unique<XkbLocalKeyFilter>(std::move(handler)));
  return token;
}

void WaylandKeyMonitors::removeMonitor(MonitorToken token) {
  localMonitors_.erase(token);
  const bool wasBound = desktopShortcutBinding().isBound;
  globalMonitors_.erase(token);
  if (wasBound != desktopShortcutBinding().isBound && bindingHandler_) bindingHandler_();
}

}  // namespace tarvelo
