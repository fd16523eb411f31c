#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "app/app_platform.h"

namespace tarvelo {

// Launch at login on a freedesktop.org desktop: an autostart entry named
// after the application id ("com.tarvelo.Tarvelo.desktop") in the user's
// autostart directory. The entry is enabled (status 1) when it exists, starts
// this program and is neither hidden (Hidden=true) nor switched off by GNOME's
// X-GNOME-Autostart-enabled=false; anything else is 0, not registered.
// Registering writes a fresh entry over whatever is there; unregistering
// removes it.
//
// Only an installed program can start at login: a copy in a build folder
// would leave an entry that breaks when the folder goes. Without an installed
// executable the status is 3, not found, and registering fails.
//
// Earlier versions wrote "tarvelo.desktop". An enabled entry under that name
// is carried over to the new name the first time the status is read, pointing
// at this program; registering or unregistering removes the old name.
class XdgLoginItems final : public LoginItemService {
 public:
  static constexpr int kNotFound = 3;

  XdgLoginItems(std::filesystem::path autostartDirectory, std::optional<std::filesystem::path> installedExecutable);

  // The user's autostart directory and the running program, if it is installed.
  static XdgLoginItems forRunningProgram();
  // $XDG_CONFIG_HOME/autostart, or ~/.config/autostart when that is unset,
  // empty or relative. Throws std::runtime_error when there is no home.
  static std::filesystem::path defaultAutostartDirectory();
  // The absolute path of the running executable, from /proc/self/exe; absent
  // when the system does not tell.
  static std::optional<std::filesystem::path> runningExecutable();
  // `executable` when it is an installed program: it sits in the prefix's
  // program directory (PREFIX/bin) and the install put the application's
  // desktop entry beside it (PREFIX/share/applications). A program run from
  // its build folder is not.
  static std::optional<std::filesystem::path> installedProgram(const std::filesystem::path& executable);

  int status() override;
  // Both throw std::runtime_error, e.g. "cannot write /home/x/.config/autostart/tarvelo.desktop: Permission denied".
  void registerApp() override;
  void unregisterApp() override;

  const std::filesystem::path& entryPath() const { return entryPath_; }
  // Where earlier versions kept the entry.
  const std::filesystem::path& previousEntryPath() const { return previousEntryPath_; }
  // The exact text registerApp() writes; empty without an installed program.
  std::string entryText() const;

 private:
  void carryOverPreviousEntry();
  void removePreviousEntry();

  std::filesystem::path autostartDirectory_;
  std::filesystem::path entryPath_;
  std::filesystem::path previousEntryPath_;
  std::optional<std::string> exec_;
};

// `program` as the value of a desktop entry's Exec key: quoted when it holds a
// character the Exec syntax reserves (with ", `, $ and \ escaped inside the
// quotes), "%" written "%%", and the string escapes (\\, \n, \t, \r) applied
// last, as readers undo them first.
std::string desktopEntryExec(const std::filesystem::path& program);

}  // namespace tarvelo
