#include "app/x11/x11_session.h"

#include "app/linux_permission.h"
#include "app/x11/x11_key_monitors.h"
#include "capture/x11/x11_capture_backend.h"
#include "displays/qt_screen_list.h"
#include "displays/x11/x11_display_source.h"
#include "output/x11/x11_output_platform.h"

namespace tarvelo {

namespace {

// Declared in the order they depend on each other: the screen list and the
// output after the display source they ask for output ids.
class X11Session final : public DisplayServerSession {
 public:
  explicit X11Session(QQmlEngine& viewEngine)
      : output_(viewEngine, [this](const std::string& name) { return displaySource_.outputIdForName(name); }) {}

  DisplaySource& displaySource() override { return displaySource_; }
  ScreenList& screens() override { return screens_; }
  CaptureBackend& capture() override { return capture_; }
  OutputPlatform& output() override { return output_; }
  KeyMonitors& keys() override { return keys_; }
  PermissionService& permission() override { return permission_; }

 private:
  X11DisplaySource displaySource_;
  QtScreenList screens_{[this](const std::string& name) { return displaySource_.outputIdForName(name); }};
  X11CaptureBackend capture_;
  X11OutputPlatform output_;
  X11KeyMonitors keys_;
  LinuxPermission permission_;
};

}  // namespace

std::unique_ptr<DisplayServerSession> makeX11Session(QQmlEngine& viewEngine) {
  return std::make_unique<X11Session>(viewEngine);
}

}  // namespace tarvelo
