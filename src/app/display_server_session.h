#pragma once

#include "app/app_platform.h"

namespace tarvelo {

class CaptureBackend;
class DisplaySource;
class OutputPlatform;

// The facilities that depend on the display server a Linux desktop runs:
// which displays there are, how the screen is captured and who allows it, how
// the light is shown and how keys are heard. One per process, chosen by the platform Qt
// runs on (LinuxPlatform); made and used on the application's thread.
class DisplayServerSession {
 public:
  virtual ~DisplayServerSession() = default;
  virtual DisplaySource& displaySource() = 0;
  virtual ScreenList& screens() = 0;
  virtual CaptureBackend& capture() = 0;
  virtual OutputPlatform& output() = 0;
  virtual KeyMonitors& keys() = 0;
  virtual PermissionService& permission() = 0;
};

}  // namespace tarvelo
