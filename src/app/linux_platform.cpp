#include "app/linux_platform.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QSGRendererInterface>

#include <malloc.h>

#include <filesystem>

#include "app/local_socket_instance_channel.h"
#include "app/qsettings_store.h"
#include "app/qt_main_queue.h"
#include "app/qt_settings_window_host.h"
#include "app/qt_url_opener.h"
#include "app/display_server_session.h"
#include "app/wayland/wayland_session.h"
#include "app/x11/x11_session.h"
#include "app/xdg_login_items.h"
#include "ui/view_engine.h"

namespace tarvelo {

namespace {

// The one place the display server's facilities are chosen: by the platform
// Qt was started on (see useWaylandWhereTheSessionIsWayland).
std::unique_ptr<DisplayServerSession> makeSession(QQmlEngine& viewEngine) {
  if (QGuiApplication::platformName() == QLatin1String("wayland")) return makeWaylandSession(viewEngine);
  return makeX11Session(viewEngine);
}

}  // namespace

// Declared in the order they depend on each other: the main queue first,
// the view engine before every window whose view it makes.
struct LinuxPlatform::Parts {
  explicit Parts(const QUrl& settingsViewUrl) : settingsWindows(views, settingsViewUrl) {}

  QtMainQueue mainQueue;
  ui::ViewEngine views;
  QSettingsStore settings;
  std::unique_ptr<DisplayServerSession> session = makeSession(views);
  XdgLoginItems loginItems = XdgLoginItems::forRunningProgram();
  QtUrlOpener urls;
  QtSettingsWindowHost settingsWindows;
};

LinuxPlatform::LinuxPlatform(const QUrl& settingsViewUrl)
    : parts_(std::make_unique<Parts>(settingsViewUrl)),
      services_(std::make_unique<AppPlatform>(AppPlatform{
          parts_->mainQueue, parts_->settings, parts_->session->displaySource(), parts_->session->screens(),
          parts_->session->capture(), parts_->session->output(), parts_->session->keys(), parts_->loginItems,
          parts_->session->permission(), parts_->urls, parts_->settingsWindows})) {
  // Every start of the lights gets a capture queue of its own, and overlapping
  // starts (a burst of toggles) run several at once. glibc gives each such
  // thread a malloc arena of its own and keeps the arenas after the threads
  // end, so a burst would leave megabytes behind for the rest of the process.
  // Two arenas serve the main thread and one busy capture queue.
  mallopt(M_ARENA_MAX, 2);
}

LinuxPlatform::~LinuxPlatform() = default;

QQmlEngine& LinuxPlatform::viewEngine() { return parts_->views; }

// Without a GPU, OpenGL is emulated on the CPU, and stretching the light over
// the whole screen that way costs several times what Qt Quick's software
// renderer needs for the same picture (measured: about 2.5 times the CPU and
// three times the memory). A machine with a GPU has a DRM render node; an
// explicit QT_QUICK_BACKEND still wins.
void LinuxPlatform::chooseSceneGraphBackend() {
  if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND")) return;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", error)) {
    if (entry.path().filename().string().starts_with("renderD")) return;
  }
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

std::unique_ptr<InstanceChannel> LinuxPlatform::makeInstanceChannel() {
  return std::make_unique<LocalSocketInstanceChannel>(LocalSocketInstanceChannel::directoryForCurrentUser());
}

bool LinuxPlatform::useWaylandWhereTheSessionIsWayland() {
  if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
    return qEnvironmentVariable("QT_QPA_PLATFORM").startsWith(QLatin1String("wayland"));
  }
  if (!waylandCompositorAnswers()) return false;
  qputenv("QT_QPA_PLATFORM", "wayland");
  return true;
}

}  // namespace tarvelo
