#include "displays/display_identity.h"

#include <cstdint>

namespace tarvelo {

std::uint32_t fnv1a32(std::string_view bytes) {
  std::uint32_t hash = 2166136261U;
  for (const char byte : bytes) {
    hash ^= static_cast<std::uint8_t>(byte);
    hash *= 16777619U;  // unsigned: wraps by definition
  }
  return hash;
}

std::optional<DisplayId> stableDisplayId(const DisplayIdentity& identity) {
  std::string key;
  if (!identity.connectorName.empty()) {
    key = "connector:" + identity.connectorName;
  } else if (!identity.manufacturer.empty() || !identity.model.empty() || !identity.serialNumber.empty()) {
    key = "edid:" + identity.manufacturer + '\n' + identity.model + '\n' + identity.serialNumber;
  } else {
    return std::nullopt;
  }
  const DisplayId id = fnv1a32(key);
  return id != 0 ? id : DisplayId{1};
}

bool isBuiltinOutput(std::string_view outputName, bool connectorTypeIsPanel) {
  if (connectorTypeIsPanel) return true;
  for (const std::string_view panelPrefix : {"eDP", "LVDS", "DSI"}) {
    if (outputName.starts_with(panelPrefix)) return true;
  }
  return false;
}

}  // namespace tarvelo
