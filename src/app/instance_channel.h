#pragma once

#include <functional>

#include "app/instance_command.h"

namespace tarvelo {

// The channel between launches of the program by one user: the first launch
// becomes the instance and listens; a later launch hands its command over and
// ends. Private to the user: another user can neither send on it nor take it.
class InstanceChannel {
 public:
  virtual ~InstanceChannel() = default;

  // Hands `command` to the user's running instance and waits until it has
  // taken it. False when no instance is listening. Throws std::runtime_error
  // with a readable reason when the channel is not safe to use or the
  // instance does not take the command.
  virtual bool sendToRunningInstance(InstanceCommand command) = 0;
  // Makes this process the user's one instance; false while another process
  // holds that place (running, or still starting). Throws std::runtime_error
  // when the channel is not safe to use.
  virtual bool claimInstance() = 0;
  // After a successful claim: from now on each command from a later launch
  // reaches `onCommand` on the main thread. Throws std::runtime_error when
  // the channel cannot be opened.
  virtual void listen(std::function<void(InstanceCommand)> onCommand) = 0;
};

}  // namespace tarvelo
