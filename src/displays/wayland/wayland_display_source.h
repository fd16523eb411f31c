#pragma once

#include <QObject>

#include <mutex>
#include <optional>
#include <vector>

#include "displays/display_source.h"

class QScreen;

namespace tarvelo {

// The displays of a Wayland session, one per output, as Qt's wayland platform
// reads them (wl_output and xdg-output): QGuiApplication's screens.
//
// An output carries no number, so a display's id is derived from its identity
// (stableDisplayId): from its connector name, or where the compositor names
// none, from the monitor's maker, model and serial number. It never depends on
// the order of the outputs, so saved choices survive restarts and replugging.
//
// Needs a QGuiApplication on the wayland platform; make it, ask it and destroy
// it on that application's thread.
class WaylandDisplaySource final : public DisplaySource {
 public:
  WaylandDisplaySource();
  ~WaylandDisplaySource() override;

  WaylandDisplaySource(const WaylandDisplaySource&) = delete;
  WaylandDisplaySource& operator=(const WaylandDisplaySource&) = delete;

  // In QGuiApplication::screens() order. Bounds are in logical units, the
  // space windows are placed in; pixels are the bounds at the output's scale.
  // A screen with no identity at all (Qt's stand-in while no output exists)
  // is left out.
  std::vector<OnlineDisplay> onlineDisplays() override;

  // The handler runs on the application's thread, once per output that
  // appears, disappears or changes place or size, with that output's id and
  // flags 0: Qt reports changes only after they happen. Once this returns,
  // a replaced handler is never called again.
  void setReconfigurationHandler(ReconfigurationHandler handler) override;

  // The id a screen's display carries; absent for a screen with no identity.
  static std::optional<DisplayId> displayIdForScreen(const QScreen& screen);

 private:
  void watch(QScreen* screen);
  void deliverNotice(const QScreen& screen);

  // Owns the signal connections, so none outlives the source.
  QObject connections_;

  // Held while a handler runs, so replacing it from another thread waits for a
  // delivery in progress; recursive so the handler may replace itself.
  std::recursive_mutex handlerMutex_;
  ReconfigurationHandler handler_;
};

}  // namespace tarvelo
