#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "output/output_platform.h"

namespace tarvelo {

class CaptureBackend;
class DisplaySource;
class MainQueue;
class SettingsStore;

// A key-down event: the modifier-flag word (Shift 0x20000, Command 0x100000,
// Caps Lock 0x10000, Control 0x40000, Option 0x80000, numeric pad 0x200000,
// help 0x400000, function 0x800000) and the virtual key code of an ANSI
// keyboard position (L is 37, comma 43, digits 1…3 are 18…20, arrows 123…126).
struct KeyEvent {
  std::uint64_t modifierFlags = 0;
  std::uint16_t keyCode = 0;
};

// Where the desktop, not the program, binds the global shortcuts (Wayland's
// GlobalShortcuts portal): whether it has bound them, and how it names the
// keys that toggle the lights (empty when it does not say).
struct DesktopShortcutBinding {
  bool isBound = false;
  std::string toggleTrigger;

  bool operator==(const DesktopShortcutBinding&) const = default;
};

// Key-down sources: global for keys typed into other applications, local for
// keys typed into our own windows.
class KeyMonitors {
 public:
  virtual ~KeyMonitors() = default;
  // `handler` may run on any thread.
  virtual std::optional<MonitorToken> addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) = 0;
  // The desktop's binding of the global monitors' shortcuts; never bound
  // where the program holds the keys itself (X11).
  virtual DesktopShortcutBinding desktopShortcutBinding() const { return {}; }
  // `handler` runs on the main thread after each change of desktopShortcutBinding().
  virtual void setDesktopShortcutBindingHandler(std::function<void()> handler) { static_cast<void>(handler); }
  // `handler` runs on the main thread before the key reaches the focused
  // control; the key is always delivered afterwards.
  virtual std::optional<MonitorToken> addLocalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) = 0;
  virtual void removeMonitor(MonitorToken token) = 0;
};

// The platform's screens, in its order.
class ScreenList {
 public:
  virtual ~ScreenList() = default;
  virtual std::vector<Screen> screens() = 0;
};

// Screen-capture permission.
class PermissionService {
 public:
  virtual ~PermissionService() = default;
  // Whether capture is allowed now; never prompts.
  virtual bool preflight() = 0;
  // May show the system's prompt; the answer is read with preflight().
  virtual void request() = 0;
  // Where the user grants the permission; absent when it cannot be formed.
  virtual std::optional<std::string> privacySettingsUrl() = 0;
  // Where request() returns before the user answers (a desktop's own dialog),
  // `answered` runs on the main thread once they have; an empty function
  // stops it. Elsewhere the answer is read with preflight() alone.
  virtual void setAnswerHandler(std::function<void()> answered) { (void)answered; }
};

class UrlOpener {
 public:
  virtual ~UrlOpener() = default;
  virtual void open(const std::string& url) = 0;
};

// The login-item registry. Only status 1 (enabled) counts as on; 0 not
// registered, 2 requires approval, 3 not found.
class LoginItemService {
 public:
  static constexpr int kEnabled = 1;

  virtual ~LoginItemService() = default;
  virtual int status() = 0;
  // Both throw a std::exception whose what() is the readable reason.
  virtual void registerApp() = 0;
  virtual void unregisterApp() = 0;
};

// The Settings window: created once, then kept and brought forward.
class SettingsWindow {
 public:
  virtual ~SettingsWindow() = default;
  virtual void makeKeyAndOrderFront() = 0;
};

class SettingsWindowHost {
 public:
  virtual ~SettingsWindowHost() = default;
  // Titled, closable, minimisable, not resizable, centred, floating above
  // normal windows; closing only hides it. Not yet shown when returned.
  virtual std::unique_ptr<SettingsWindow> createSettingsWindow(AppState& appState, const std::string& title,
                                                               int width, int height) = 0;
  // Brings the application to the front, ignoring other applications.
  virtual void activateApplication() = 0;
};

// Every platform facility the application state uses, chosen once at start-up.
struct AppPlatform {
  MainQueue& mainQueue;
  SettingsStore& settings;
  DisplaySource& displaySource;
  ScreenList& screens;
  CaptureBackend& capture;
  OutputPlatform& output;
  KeyMonitors& keys;
  LoginItemService& loginItems;
  PermissionService& permission;
  UrlOpener& urls;
  SettingsWindowHost& settingsWindows;
};

}  // namespace tarvelo
