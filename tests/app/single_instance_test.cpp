#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <vector>

#include "app/instance_command.h"
#include "app/single_instance.h"
#include "fakes/fake_instance_channel.h"

namespace tarvelo::testing {
namespace {

using namespace std::chrono_literals;

TEST(InstanceMessageTest, EveryCommandReadsBackFromItsMessage) {
  for (const InstanceCommand command : {InstanceCommand::ShowControls, InstanceCommand::OpenSettings,
                                        InstanceCommand::ToggleLights, InstanceCommand::StartLights,
                                        InstanceCommand::StopLights}) {
    EXPECT_EQ(parseInstanceMessage(instanceMessage(command)), command) << instanceMessage(command);
  }
}

TEST(InstanceMessageTest, TheMessagesAreShortWords) {
  EXPECT_EQ(instanceMessage(InstanceCommand::ShowControls), "show-controls");
  EXPECT_EQ(instanceMessage(InstanceCommand::OpenSettings), "settings");
  EXPECT_EQ(instanceMessage(InstanceCommand::ToggleLights), "toggle");
  EXPECT_EQ(instanceMessage(InstanceCommand::StartLights), "start");
  EXPECT_EQ(instanceMessage(InstanceCommand::StopLights), "stop");
}

TEST(InstanceMessageTest, AnythingElseIsNoCommand) {
  for (const char* message : {"", "Toggle", "toggle ", " toggle", "toggle\n", "quit", "--toggle"}) {
    EXPECT_EQ(parseInstanceMessage(message), std::nullopt) << message;
  }
}

TEST(ForwardOrClaimTest, WithAnInstanceRunningTheCommandIsHandedOverAndNothingIsClaimed) {
  FakeInstanceChannel channel;
  channel.instanceRuns = true;
  EXPECT_EQ(forwardOrClaim(channel, InstanceCommand::ToggleLights), LaunchRole::Forwarded);
  EXPECT_EQ(channel.sent, std::vector<InstanceCommand>{InstanceCommand::ToggleLights});
  EXPECT_EQ(channel.claimAttempts, 0);
}

TEST(ForwardOrClaimTest, WithNoInstanceThisLaunchClaimsThePlace) {
  FakeInstanceChannel channel;
  EXPECT_EQ(forwardOrClaim(channel, InstanceCommand::ShowControls), LaunchRole::Instance);
  EXPECT_TRUE(channel.claimed);
  EXPECT_TRUE(channel.sent.empty());
}

TEST(ForwardOrClaimTest, ALaunchRacingAnInstanceStillStartingWaitsForItToListen) {
  FakeInstanceChannel channel;
  channel.instanceRuns = true;
  channel.placeHeld = true;
  channel.sendsBeforeInstanceListens = 3;
  EXPECT_EQ(forwardOrClaim(channel, InstanceCommand::StartLights), LaunchRole::Forwarded);
  EXPECT_EQ(channel.sendAttempts, 4);
  EXPECT_EQ(channel.claimAttempts, 3);
  EXPECT_FALSE(channel.claimed);
}

TEST(ForwardOrClaimTest, AnInstanceThatNeverListensEndsTheWaitWithAReason) {
  FakeInstanceChannel channel;
  channel.placeHeld = true;
  try {
    forwardOrClaim(channel, InstanceCommand::ToggleLights, 200ms);
    FAIL() << "nothing thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "another Tarvelo is starting but does not answer");
  }
  EXPECT_GT(channel.sendAttempts, 1);
}

TEST(ForwardOrClaimTest, AnUnsafeChannelIsNeverClaimed) {
  FakeInstanceChannel channel;
  channel.failSend = true;
  EXPECT_THROW(forwardOrClaim(channel, InstanceCommand::ToggleLights), std::runtime_error);
  EXPECT_EQ(channel.claimAttempts, 0);
}

}  // namespace
}  // namespace tarvelo::testing
