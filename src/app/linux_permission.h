#pragma once

#include <optional>
#include <string>

#include "app/app_platform.h"

namespace tarvelo {

// Screen capture on an X11 desktop: any client of the X server may read the
// screen, so there is no permission to ask for and no settings page to open.
// A server that cannot capture at all (it lacks an extension) is no matter of
// permission either: the start of the capture fails with that reason, and the
// user reads it in the error text instead of being told to grant something
// that does not exist.
class LinuxPermission final : public PermissionService {
 public:
  bool preflight() override;
  void request() override;
  std::optional<std::string> privacySettingsUrl() override;
};

}  // namespace tarvelo
