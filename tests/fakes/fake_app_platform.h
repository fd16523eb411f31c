#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "app/app_platform.h"
#include "fakes/fake_call_log.h"
#include "fakes/fake_capture_backend.h"
#include "fakes/fake_display_source.h"
#include "fakes/fake_main_queue.h"
#include "fakes/fake_output_platform.h"
#include "fakes/fake_settings_store.h"

namespace tarvelo::testing {

class FakeScreenList final : public ScreenList {
 public:
  std::vector<Screen> list;
  std::vector<Screen> screens() override { return list; }
};

// Key-down sources the test types into. Handlers run on the calling thread.
class FakeKeyMonitors final : public KeyMonitors {
 public:
  CallLog* log = nullptr;
  // False: the platform gives no token back for that monitor.
  bool installsGlobal = true;
  bool installsLocal = true;
  std::vector<MonitorToken> removed;

  std::optional<MonitorToken> addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override {
    recordCall(log, "keys.addGlobal");
    if (!installsGlobal) return std::nullopt;
    return install(global_, std::move(handler));
  }

  std::optional<MonitorToken> addLocalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override {
    recordCall(log, "keys.addLocal");
    if (!installsLocal) return std::nullopt;
    return install(local_, std::move(handler));
  }

  void removeMonitor(MonitorToken token) override {
    recordCall(log, "keys.remove " + std::to_string(token));
    std::lock_guard lock(mutex_);
    global_.erase(token);
    local_.erase(token);
    removed.push_back(token);
  }

  DesktopShortcutBinding desktopShortcutBinding() const override { return binding_; }
  void setDesktopShortcutBindingHandler(std::function<void()> handler) override {
    bindingHandler_ = std::move(handler);
  }
  // The desktop binds (or unbinds, or renames) the global shortcuts.
  void desktopBinds(DesktopShortcutBinding binding) {
    binding_ = std::move(binding);
    if (bindingHandler_) bindingHandler_();
  }
  bool hasBindingHandler() const { return static_cast<bool>(bindingHandler_); }

  // A key typed into another application.
  void typeGlobally(const KeyEvent& event) { deliver(global_, event); }
  // A key typed into one of the program's own windows.
  void typeLocally(const KeyEvent& event) { deliver(local_, event); }

  std::vector<MonitorToken> globalTokens() const { return tokensOf(global_); }
  std::vector<MonitorToken> localTokens() const { return tokensOf(local_); }

 private:
  using Handlers = std::map<MonitorToken, std::function<void(const KeyEvent&)>>;

  DesktopShortcutBinding binding_;
  std::function<void()> bindingHandler_;

  MonitorToken install(Handlers& handlers, std::function<void(const KeyEvent&)> handler) {
    std::lock_guard lock(mutex_);
    const MonitorToken token = nextToken_++;
    handlers[token] = std::move(handler);
    return token;
  }

  void deliver(const Handlers& handlers, const KeyEvent& event) {
    std::vector<std::function<void(const KeyEvent&)>> current;
    {
      std::lock_guard lock(mutex_);
      for (const auto& [token, handler] : handlers) current.push_back(handler);
    }
    for (const auto& handler : current) handler(event);
  }

  std::vector<MonitorToken> tokensOf(const Handlers& handlers) const {
    std::lock_guard lock(mutex_);
    std::vector<MonitorToken> tokens;
    for (const auto& [token, handler] : handlers) tokens.push_back(token);
    return tokens;
  }

  mutable std::mutex mutex_;
  MonitorToken nextToken_ = 100;
  Handlers global_;
  Handlers local_;
};

// The login-item registry. A successful registration turns the status on, a
// successful unregistration off; a configured failure throws and changes nothing.
class FakeLoginItemService final : public LoginItemService {
 public:
  CallLog* log = nullptr;
  int currentStatus = 0;
  std::optional<std::string> registerFailure;
  std::optional<std::string> unregisterFailure;
  int registerCalls = 0;
  int unregisterCalls = 0;

  int status() override {
    recordCall(log, "login.status");
    return currentStatus;
  }

  void registerApp() override {
    recordCall(log, "login.register");
    ++registerCalls;
    if (registerFailure) throw std::runtime_error(*registerFailure);
    currentStatus = kEnabled;
  }

  void unregisterApp() override {
    recordCall(log, "login.unregister");
    ++unregisterCalls;
    if (unregisterFailure) throw std::runtime_error(*unregisterFailure);
    currentStatus = 0;
  }
};

class FakePermissionService final : public PermissionService {
 public:
  CallLog* log = nullptr;
  bool granted = true;
  // Whether the user grants the permission when request() shows the prompt.
  bool grantsOnRequest = false;
  std::optional<std::string> url = std::string("settings://privacy/screen-capture");
  int preflightCalls = 0;
  int requestCalls = 0;

  bool preflight() override {
    recordCall(log, "permission.preflight");
    ++preflightCalls;
    return granted;
  }

  void request() override {
    recordCall(log, "permission.request");
    ++requestCalls;
    if (grantsOnRequest) granted = true;
  }

  // What the owner runs when the user answers a desktop's dialog later.
  std::function<void()> answered;
  void setAnswerHandler(std::function<void()> handler) override { answered = std::move(handler); }

  std::optional<std::string> privacySettingsUrl() override { return url; }
};

class FakeUrlOpener final : public UrlOpener {
 public:
  std::vector<std::string> opened;
  void open(const std::string& url) override { opened.push_back(url); }
};

// What happened to one Settings window; kept by the host after the window is gone.
struct SettingsWindowRecord {
  AppState* appState = nullptr;
  std::string title;
  int width = 0;
  int height = 0;
  int broughtToFront = 0;
};

class FakeSettingsWindow final : public SettingsWindow {
 public:
  explicit FakeSettingsWindow(std::shared_ptr<SettingsWindowRecord> record) : record_(std::move(record)) {}
  void makeKeyAndOrderFront() override { ++record_->broughtToFront; }

 private:
  std::shared_ptr<SettingsWindowRecord> record_;
};

class FakeSettingsWindowHost final : public SettingsWindowHost {
 public:
  std::vector<std::shared_ptr<SettingsWindowRecord>> windows;
  int activations = 0;

  std::unique_ptr<SettingsWindow> createSettingsWindow(AppState& appState, const std::string& title, int width,
                                                       int height) override {
    auto record = std::make_shared<SettingsWindowRecord>();
    record->appState = &appState;
    record->title = title;
    record->width = width;
    record->height = height;
    windows.push_back(record);
    return std::make_unique<FakeSettingsWindow>(record);
  }

  void activateApplication() override { ++activations; }
};

// Every platform facility of the application state, faked, ready to hand to
// an AppState. The main queue is declared after the capture backend and the
// output platform, so jobs still queued (which may hold a capture service or a
// light window) are destroyed while those are still there.
class FakeAppPlatform {
 public:
  FakeCaptureBackend capture;
  FakeOutputPlatform output;
  FakeDisplaySource displays;
  FakeScreenList screens;
  FakeSettingsStore settings;
  FakeKeyMonitors keys;
  FakeLoginItemService loginItems;
  FakePermissionService permission;
  FakeUrlOpener urls;
  FakeSettingsWindowHost settingsWindows;
  FakeMainQueue mainQueue;

  AppPlatform platform{mainQueue, settings, displays, screens, capture, output, keys,
                       loginItems, permission, urls, settingsWindows};
};

}  // namespace tarvelo::testing
