#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "app/app_platform.h"

namespace tarvelo {

class GlobalShortcutsPortal;
class XkbLocalKeyFilter;

// Key-down monitors of a Wayland session. A Wayland client hears only the keys
// typed into its own surfaces, so the global monitor hears what the desktop
// reports through its GlobalShortcuts portal (GlobalShortcutsPortal), where it
// offers one; elsewhere the desktop's own keyboard settings bind the shortcuts
// to `tarvelo --toggle` and its kin. The local monitor works as on X11
// (XkbLocalKeyFilter).
class WaylandKeyMonitors final : public KeyMonitors {
 public:
  WaylandKeyMonitors();
  ~WaylandKeyMonitors() override;

  WaylandKeyMonitors(const WaylandKeyMonitors&) = delete;
  WaylandKeyMonitors& operator=(const WaylandKeyMonitors&) = delete;

  // Absent without a session bus; the handler runs on the main thread, once
  // the desktop has bound the shortcuts, for each one the user presses.
  std::optional<MonitorToken> addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override;
  // Absent when there is no QGuiApplication; the handler runs on the main thread.
  std::optional<MonitorToken> addLocalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override;
  void removeMonitor(MonitorToken token) override;
  // As the first global monitor's portal has it.
  DesktopShortcutBinding desktopShortcutBinding() const override;
  void setDesktopShortcutBindingHandler(std::function<void()> handler) override;

 private:
  MonitorToken nextToken_ = 1;
  std::map<MonitorToken, std::unique_ptr<XkbLocalKeyFilter>> localMonitors_;
  std::map<MonitorToken, std::unique_ptr<GlobalShortcutsPortal>> globalMonitors_;
  std::function<void()> bindingHandler_;
};

}  // namespace tarvelo
