#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fakes/fake_call_log.h"
#include "output/light_view.h"
#include "output/output_platform.h"

namespace tarvelo::testing {

// Records every updateColors call and the thread it came on.
class FakeLightView final : public LightView {
 public:
  struct Update {
    ZoneColorList colors;
    double brightness = 0.0;
    double blurRadius = 0.0;
    double spread = 0.0;
    std::thread::id thread;
  };

  void updateColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread) override {
    updates.push_back(Update{colors, brightness, blurRadius, spread, std::this_thread::get_id()});
  }

  std::vector<Update> updates;
};

// What happened to one light window; kept by the platform after the window is gone.
struct LightWindowRecord {
  Screen screen;
  std::int64_t maximumFramesPerSecond = 0;
  std::shared_ptr<FakeLightView> view = std::make_shared<FakeLightView>();
  // When set, the window shows this view (a real one, drawn by the test) instead.
  LightView* drawnView = nullptr;
  bool orderedOut = false;
  bool destroyed = false;
};

struct AlphaAnimation {
  double alpha = 0.0;
  std::optional<double> durationSeconds;  // absent: the platform's default

  friend bool operator==(const AlphaAnimation&, const AlphaAnimation&) = default;
};

// What happened to one HUD window; kept by the platform after the window is gone.
struct HudWindowRecord {
  DisplayRect frame;
  AppState* appState = nullptr;
  std::function<void()> onDismiss;
  double alpha = 1.0;
  std::vector<AlphaAnimation> animations;
  bool orderedOut = false;
  bool destroyed = false;
};

// Windows log to whatever log their platform has attached at the time of the call.
class FakeLightWindow final : public LightWindow {
 public:
  FakeLightWindow(std::shared_ptr<LightWindowRecord> record, CallLog* const& log)
      : record_(std::move(record)), log_(log) {}
  ~FakeLightWindow() override { record_->destroyed = true; }

  LightView* view() override {
    if (record_->drawnView != nullptr) return record_->drawnView;
    return record_->view.get();
  }
  void orderOut() override {
    recordCall(log_, "output.lightWindow.orderOut");
    record_->orderedOut = true;
  }

 private:
  std::shared_ptr<LightWindowRecord> record_;
  CallLog* const& log_;
};

class FakeHudWindow final : public HudWindow {
 public:
  FakeHudWindow(std::shared_ptr<HudWindowRecord> record, CallLog* const& log)
      : record_(std::move(record)), log_(log) {}
  ~FakeHudWindow() override { record_->destroyed = true; }

  // The fade is taken as finished at once: the window shows its target alpha.
  void animateAlpha(double alpha, std::optional<double> durationSeconds) override {
    record_->animations.push_back(AlphaAnimation{alpha, durationSeconds});
    record_->alpha = alpha;
  }
  double alpha() const override { return record_->alpha; }
  void orderOut() override {
    recordCall(log_, "output.hudWindow.orderOut");
    record_->orderedOut = true;
  }

 private:
  std::shared_ptr<HudWindowRecord> record_;
  CallLog* const& log_;
};

// A windowing layer the test drives: it keeps a record of every window made,
// holds the mouse monitors and lets the test move the pointer. It must outlive
// the windows it makes.
class FakeOutputPlatform final : public OutputPlatform {
 public:
  CallLog* log = nullptr;
  // False: the platform refuses mouse monitors (no token comes back).
  bool installsMouseMonitors = true;
  Point pointer;
  // When set, every light window made from now on shows this view.
  LightView* lightViewToDraw = nullptr;

  std::vector<std::shared_ptr<LightWindowRecord>> lightWindows;
  std::vector<std::shared_ptr<HudWindowRecord>> hudWindows;
  std::vector<MonitorToken> removedMonitors;

  std::unique_ptr<LightWindow> createLightWindow(const Screen& screen, std::int64_t maximumFramesPerSecond) override {
    recordCall(log, "output.createLightWindow");
    auto record = std::make_shared<LightWindowRecord>();
    record->screen = screen;
    record->maximumFramesPerSecond = maximumFramesPerSecond;
    record->drawnView = lightViewToDraw;
    lightWindows.push_back(record);
    return std::make_unique<FakeLightWindow>(record, log);
  }

  std::unique_ptr<HudWindow> createHudWindow(const DisplayRect& frame, AppState& appState,
                                             std::function<void()> onDismiss) override {
    recordCall(log, "output.createHudWindow");
    auto record = std::make_shared<HudWindowRecord>();
    record->frame = frame;
    record->appState = &appState;
    record->onDismiss = std::move(onDismiss);
    hudWindows.push_back(record);
    return std::make_unique<FakeHudWindow>(record, log);
  }

  std::optional<MonitorToken> addGlobalMouseMovedMonitor(std::function<void()> handler) override {
    recordCall(log, "output.addMouseMonitor");
    if (!installsMouseMonitors) return std::nullopt;
    std::lock_guard lock(mutex_);
    const MonitorToken token = nextToken_++;
    mouseMonitors_[token] = std::move(handler);
    return token;
  }

  void removeMonitor(MonitorToken token) override {
    recordCall(log, "output.removeMonitor");
    std::lock_guard lock(mutex_);
    mouseMonitors_.erase(token);
    removedMonitors.push_back(token);
  }

  Point mouseLocation() override { return pointer; }

  // The pointer moves to `location`; every installed monitor hears of it, on
  // the calling thread.
  void moveMouse(Point location) {
    pointer = location;
    std::vector<std::function<void()>> handlers;
    {
      std::lock_guard lock(mutex_);
      for (const auto& [token, handler] : mouseMonitors_) handlers.push_back(handler);
    }
    for (const auto& handler : handlers) handler();
  }

  std::size_t mouseMonitorCount() const {
    std::lock_guard lock(mutex_);
    return mouseMonitors_.size();
  }

 private:
  mutable std::mutex mutex_;
  MonitorToken nextToken_ = 1;
  std::map<MonitorToken, std::function<void()>> mouseMonitors_;
};

}  // namespace tarvelo::testing
