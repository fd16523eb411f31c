#include "app/single_instance.h"

#include <stdexcept>
#include <thread>

namespace tarvelo {

LaunchRole forwardOrClaim(InstanceChannel& channel, InstanceCommand command, std::chrono::milliseconds patience) {
  constexpr std::chrono::milliseconds kRetryInterval(50);
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    if (channel.sendToRunningInstance(command)) return LaunchRole::Forwarded;
    if (channel.claimInstance()) return LaunchRole::Instance;
    // Another launch holds the place but does not listen yet.
    if (std::chrono::steady_clock::now() >= deadline) {
      throw std::runtime_error("another Tarvelo is starting but does not answer");
    }
    std::this_thread::sleep_for(kRetryInterval);
  }
}

}  // namespace tarvelo
