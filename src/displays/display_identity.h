#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "displays/display_info.h"

namespace tarvelo {

// What a platform says about who a display is, as opposed to where it is.
struct DisplayIdentity {
  std::string connectorName;  // e.g. "DP-1", "HDMI-A-1", "HEADLESS-1"
  std::string manufacturer;   // the monitor's maker, as its EDID gives it
  std::string model;
  std::string serialNumber;
};

// A display id that names the same display in every run, for platforms whose
// displays carry no number of their own (Wayland outputs are known by name).
//
// The id is the 32-bit FNV-1a hash of a key: "connector:" and the connector
// name when there is one (the compositor gives every output a distinct name,
// and the name follows the port, as a RandR output id does); otherwise
// "edid:" and the manufacturer, model and serial number, separated by line
// feeds. A hash of 0, which means "no display", becomes 1. Absent when the
// identity says nothing at all: such a display cannot be named twice alike.
//
// Saved choices of source and target are these ids, so the derivation must
// never change.
std::optional<DisplayId> stableDisplayId(const DisplayIdentity& identity);

// The 32-bit FNV-1a hash of `bytes` (offset basis 2166136261, prime 16777619).
std::uint32_t fnv1a32(std::string_view bytes);

// Whether an output drives the machine's own panel: its connector type says
// so, or, where the platform publishes no type, its name ("eDP", "LVDS", "DSI").
bool isBuiltinOutput(std::string_view outputName, bool connectorTypeIsPanel);

}  // namespace tarvelo
