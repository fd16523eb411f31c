#pragma once

#include <QUrl>
#include <memory>

#include "app/app_platform.h"
#include "app/instance_channel.h"

class QQmlEngine;

namespace tarvelo {

// Every platform facility of a Linux desktop, made once at start-up: those
// of its display server (X11 or Wayland, whichever Qt runs on) and those every
// Linux desktop shares (settings, autostart, the Settings window). On X11,
// construction throws std::runtime_error with a one-line reason when the X
// server cannot be reached; a server that lacks an extension the capture
// needs still runs the program: starting the lights then fails with the reason.
// The Settings window hosts the view at `settingsViewUrl`.
class LinuxPlatform {
 public:
  explicit LinuxPlatform(const QUrl& settingsViewUrl);
  ~LinuxPlatform();

  LinuxPlatform(const LinuxPlatform&) = delete;
  LinuxPlatform& operator=(const LinuxPlatform&) = delete;

  AppPlatform& services() { return *services_; }
  // The one engine that makes every view: the HUD's, Settings' and the panel's.
  QQmlEngine& viewEngine();

  // Starts Qt on its wayland platform in a Wayland session (WAYLAND_DISPLAY
  // set and a compositor answering), unless QT_QPA_PLATFORM says otherwise;
  // call before the application object exists. True when Qt will run on
  // Wayland, so the X server need not be asked.
  static bool useWaylandWhereTheSessionIsWayland();

  // Picks how Qt Quick draws, before the application object exists: OpenGL
  // where there is a GPU, Qt Quick's own software renderer where there is not.
  static void chooseSceneGraphBackend();

  // The channel between launches, which decides before the X server is even
  // asked whether this launch runs or hands its command to the running one.
  static std::unique_ptr<InstanceChannel> makeInstanceChannel();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
  std::unique_ptr<AppPlatform> services_;
};

}  // namespace tarvelo
