#pragma once

#include <filesystem>
#include <string>

#include "app/app_platform.h"

namespace tarvelo {

// Launch at login on a freedesktop.org desktop: an autostart entry
// "tarvelo.desktop" in the user's autostart directory. The entry is enabled
// (status 1) when it exists, starts this program and is neither hidden
// (Hidden=true) nor switched off by GNOME's X-GNOME-Autostart-enabled=false;
// anything else is 0, not registered. Registering writes a fresh entry over
// whatever is there; unregistering removes it.
class XdgLoginItems final : public LoginItemService {
 public:
  XdgLoginItems(std::filesystem::path autostartDirectory, std::filesystem::path executable);

  // The user's autostart directory and the running program.
  static XdgLoginItems forRunningProgram();
  // $XDG_CONFIG_HOME/autostart, or ~/.config/autostart when that is unset,
  // empty or relative. Throws std::runtime_error when there is no home.
  static std::filesystem::path defaultAutostartDirectory();
  // The absolute path of the running executable, from /proc/self/exe.
  static std::filesystem::path runningExecutable();

  int status() override;
  // Both throw std::runtime_error, e.g. "cannot write /home/x/.config/autostart/tarvelo.desktop: Permission denied".
  void registerApp() override;
  void unregisterApp() override;

  const std::filesystem::path& entryPath() const { return entryPath_; }
  // The exact text registerApp() writes.
  std::string entryText() const;

 private:
  std::filesystem::path autostartDirectory_;
  std::filesystem::path entryPath_;
  std::string exec_;
};

// `program` as the value of a desktop entry's Exec key: quoted when it holds a
// character the Exec syntax reserves (with ", `, $ and \ escaped inside the
// quotes), "%" written "%%", and the string escapes (\\, \n, \t, \r) applied
// last, as readers undo them first.
std::string desktopEntryExec(const std::filesystem::path& program);

}  // namespace tarvelo
