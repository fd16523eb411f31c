#pragma once

#include <optional>
#include <string>

#include "app/app_platform.h"

namespace tarvelo {

// Screen capture on an X11 desktop: any client of the X server may read the
// screen, so there is no permission to ask for and no settings page to open.
class LinuxPermission final : public PermissionService {
 public:
  bool preflight() override;
  void request() override;
  std::optional<std::string> privacySettingsUrl() override;
};

}  // namespace tarvelo
