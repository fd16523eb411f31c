#include "app/linux_permission.h"

namespace tarvelo {

bool LinuxPermission::preflight() { return true; }

void LinuxPermission::request() {}

std::optional<std::string> LinuxPermission::privacySettingsUrl() { return std::nullopt; }

}  // namespace tarvelo
