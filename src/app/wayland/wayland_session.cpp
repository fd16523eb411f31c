#include "app/wayland/wayland_session.h"

#include <QGuiApplication>
#include <QScreen>
#include <QStandardPaths>

#include <wayland-client.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "app/wayland/screen_sharing_permission.h"
#include "app/wayland/wayland_key_monitors.h"
#include "capture/pipewire/pipewire_capture_backend.h"
#include "capture/pipewire/restore_token_file.h"
#include "displays/qt_screen_list.h"
#include "displays/wayland/wayland_display_source.h"
#include "output/wayland/wayland_output_platform.h"

namespace tarvelo {

namespace {

std::filesystem::path restoreTokenPath() {
  const QString settingsFolder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
  return std::filesystem::path(settingsFolder.toStdString()) / "Tarvelo" / "screen-cast-restore-token";
}

// The compositor's name of the output that shows `screen`: Qt names a screen
// after its output.
std::string outputNameFor(const Screen& screen) {
  if (!screen.displayNumber) return {};
  for (QScreen* candidate : QGuiApplication::screens()) {
    if (WaylandDisplaySource::displayIdForScreen(*candidate) == screen.displayNumber) {
      return candidate->name().toStdString();
    }
  }
  return {};
}

class WaylandSession final : public DisplayServerSession {
 public:
  explicit WaylandSession(QQmlEngine& viewEngine) : output_(viewEngine, outputNameFor) {}

  DisplaySource& displaySource() override { return displaySource_; }
  ScreenList& screens() override { return screens_; }
  CaptureBackend& capture() override { return capture_; }
  OutputPlatform& output() override { return output_; }
  KeyMonitors& keys() override { return keys_; }
  PermissionService& permission() override { return permission_; }

 private:
  // The desktop's screen-sharing grant, read and renewed by the capture and the permission alike.
  std::shared_ptr<RestoreTokenFile> grants_ = std::make_shared<RestoreTokenFile>(restoreTokenPath());
  WaylandDisplaySource displaySource_;
  QtScreenList screens_{
      QtScreenList::DisplayIdForScreen([](const QScreen& screen) { return WaylandDisplaySource::displayIdForScreen(screen); })};
  // The capture asks from the main thread, as the start of the lights does.
  PipeWireCaptureBackend capture_{[this] { return displaySource_.onlineDisplays(); }, grants_};
  WaylandOutputPlatform output_;
  WaylandKeyMonitors keys_;
  ScreenSharingPermission permission_{grants_};
};

}  // namespace

bool waylandCompositorAnswers() {
  const char* socket = std::getenv("WAYLAND_DISPLAY");
  if (socket == nullptr || *socket == '\0') return false;
  wl_display* display = wl_display_connect(nullptr);
  if (display == nullptr) return false;
  wl_display_disconnect(display);
  return true;
}

std::unique_ptr<DisplayServerSession> makeWaylandSession(QQmlEngine& viewEngine) {
  return std::make_unique<WaylandSession>(viewEngine);
}

}  // namespace tarvelo
