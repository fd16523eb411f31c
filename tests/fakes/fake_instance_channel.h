#pragma once

#include <functional>
#include <stdexcept>
#include <vector>

#include "app/instance_channel.h"

namespace tarvelo::testing {

// An instance channel whose answers a test scripts: how many sends find no
// instance before one listens, and whether the place is free to claim.
class FakeInstanceChannel final : public InstanceChannel {
 public:
  bool sendToRunningInstance(InstanceCommand command) override {
    ++sendAttempts;
    if (failSend) throw std::runtime_error("the instance channel is held by another user");
    if (sendsBeforeInstanceListens > 0) {
      --sendsBeforeInstanceListens;
      return false;
    }
    if (!instanceRuns) return false;
    sent.push_back(command);
    return true;
  }
  bool claimInstance() override {
    ++claimAttempts;
    if (placeHeld) return false;
    claimed = true;
    return true;
  }
  void listen(std::function<void(InstanceCommand)> handler) override { onCommand = std::move(handler); }

  bool instanceRuns = false;
  bool placeHeld = false;
  bool failSend = false;
  int sendsBeforeInstanceListens = 0;

  int sendAttempts = 0;
  int claimAttempts = 0;
  bool claimed = false;
  std::vector<InstanceCommand> sent;
  std::function<void(InstanceCommand)> onCommand;
};

}  // namespace tarvelo::testing
