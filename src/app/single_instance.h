#pragma once

#include <chrono>

#include "app/instance_channel.h"

namespace tarvelo {

enum class LaunchRole {
  Forwarded,  // another instance runs and has taken the command: end now
  Instance,   // this process is the user's one instance
};

// Hands `command` to a running instance or, when none runs, claims the place.
// A launch that races another one still starting waits for it to listen, up
// to `patience`, then throws std::runtime_error.
LaunchRole forwardOrClaim(InstanceChannel& channel, InstanceCommand command,
                          std::chrono::milliseconds patience = std::chrono::seconds(10));

}  // namespace tarvelo
