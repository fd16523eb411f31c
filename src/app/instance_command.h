#pragma once

#include <optional>
#include <string_view>

namespace tarvelo {

// What a later launch asks of the running instance.
enum class InstanceCommand {
  ShowControls,  // a plain second launch: bring the controls forward
  OpenSettings,
  ToggleLights,
  StartLights,
  StopLights,
};

// The one-line message that carries a command between two launches, without
// the line end: "show-controls", "settings", "toggle", "start", "stop".
std::string_view instanceMessage(InstanceCommand command);
// The command a message names; absent for anything else.
std::optional<InstanceCommand> parseInstanceMessage(std::string_view message);

}  // namespace tarvelo
