#include "app/instance_command.h"

#include <array>
#include <utility>

namespace tarvelo {

namespace {

constexpr std::array<std::pair<InstanceCommand, std::string_view>, 5> kMessages{{
    {InstanceCommand::ShowControls, "show-controls"},
    {InstanceCommand::OpenSettings, "settings"},
    {InstanceCommand::ToggleLights, "toggle"},
    {InstanceCommand::StartLights, "start"},
    {InstanceCommand::StopLights, "stop"},
}};

}  // namespace

std::string_view instanceMessage(InstanceCommand command) {
  for (const auto& [known, message] : kMessages) {
    if (known == command) return message;
  }
  return {};
}

std::optional<InstanceCommand> parseInstanceMessage(std::string_view message) {
  for (const auto& [command, known] : kMessages) {
    if (known == message) return command;
  }
  return std::nullopt;
}

}  // namespace tarvelo
