#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "output/output_platform.h"

class QQmlEngine;
class QScreen;

namespace tarvelo {

class X11MouseMonitor;

// The light output on an X11 desktop: windows on Qt's xcb platform
// and XInput 2 for pointer motion. Needs a QGuiApplication; call on its thread.
class X11OutputPlatform final : public OutputPlatform {
 public:
  // The RandR output id of the output with that name, if there is one
  // (X11DisplaySource::outputIdForName).
  using OutputIdForName = std::function<std::optional<DisplayId>(const std::string& outputName)>;

  // The HUD's view is made by `viewEngine`, the program's one engine, which
  // must outlive every window. `outputIdForName` ties a Screen's display
  // number to the QScreen of its output; without it screens are found by
  // their frame alone. Motion is watched on `displayName` ($DISPLAY when
  // absent), the server Qt runs on.
  explicit X11OutputPlatform(QQmlEngine& viewEngine, OutputIdForName outputIdForName = {},
                             std::optional<std::string> displayName = std::nullopt);
  // Stops every mouse monitor still running.
  ~X11OutputPlatform() override;

  X11OutputPlatform(const X11OutputPlatform&) = delete;
  X11OutputPlatform& operator=(const X11OutputPlatform&) = delete;

  std::unique_ptr<LightWindow> createLightWindow(const Screen& screen, std::int64_t maximumFramesPerSecond) override;
  std::unique_ptr<HudWindow> createHudWindow(const DisplayRect& frame, AppState& appState,
                                             std::function<void()> onDismiss) override;

  // Absent when the server lacks XInput 2; the HUD then stays hidden after its
  // first fade, which needs no report.
  std::optional<MonitorToken> addGlobalMouseMovedMonitor(std::function<void()> handler) override;
  // Returns once the monitor's handler has stopped for good.
  void removeMonitor(MonitorToken token) override;

  Point mouseLocation() override;

  // The QScreen showing `screen`: the one of its display number's output,
  // else the one with its frame; null when none does.
  QScreen* qtScreenFor(const Screen& screen) const;

 private:
  QQmlEngine& viewEngine_;
  OutputIdForName outputIdForName_;
  std::optional<std::string> displayName_;
  std::map<MonitorToken, std::unique_ptr<X11MouseMonitor>> monitors_;
  MonitorToken nextToken_ = 1;
};

}  // namespace tarvelo
