#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QStringList>

#include "app/application_identity.h"
#include "app/command_line.h"

namespace tarvelo::testing {
namespace {

ParsedCommandLine parse(QStringList arguments) {
  applyApplicationIdentity();
  arguments.prepend(QStringLiteral("tarvelo"));
  return parseCommandLine(arguments);
}

TEST(CommandLineTest, APlainLaunchAsksForNothingInParticular) {
  const ParsedCommandLine parsed = parse({});
  ASSERT_TRUE(parsed.launch.has_value());
  EXPECT_EQ(parsed.launch->command, std::nullopt);
  EXPECT_FALSE(parsed.launch->verbose);
  EXPECT_EQ(parsed.standardOutput, "");
  EXPECT_EQ(parsed.standardError, "");
}

TEST(CommandLineTest, EachCommandOptionNamesItsCommand) {
  EXPECT_EQ(parse({"--settings"}).launch->command, InstanceCommand::OpenSettings);
  EXPECT_EQ(parse({"--toggle"}).launch->command, InstanceCommand::ToggleLights);
  EXPECT_EQ(parse({"--start"}).launch->command, InstanceCommand::StartLights);
  EXPECT_EQ(parse({"--stop"}).launch->command, InstanceCommand::StopLights);
}

TEST(CommandLineTest, VerboseGoesWithACommandOrAlone) {
  const ParsedCommandLine parsed = parse({"--verbose", "--start"});
  EXPECT_TRUE(parsed.launch->verbose);
  EXPECT_EQ(parsed.launch->command, InstanceCommand::StartLights);
  EXPECT_TRUE(parse({"--verbose"}).launch->verbose);
}

TEST(CommandLineTest, VersionPrintsTheNameAndVersionAndEnds) {
  for (const char* option : {"--version", "-v"}) {
    const ParsedCommandLine parsed = parse({option});
    EXPECT_FALSE(parsed.launch.has_value());
    EXPECT_EQ(parsed.standardOutput, "Tarvelo " + std::string(kApplicationVersion) + "\n");
    EXPECT_EQ(parsed.exitStatus, 0);
  }
}

TEST(CommandLineTest, HelpListsEveryOptionAndEnds) {
  const ParsedCommandLine parsed = parse({"--help"});
  EXPECT_FALSE(parsed.launch.has_value());
  EXPECT_EQ(parsed.standardOutput.rfind("Usage: tarvelo [options]\n", 0), 0u) << parsed.standardOutput;
  EXPECT_EQ(parsed.exitStatus, 0);
  for (const char* option : {"--settings", "--toggle", "--start", "--stop", "--verbose", "--help", "--version"}) {
    EXPECT_NE(parsed.standardOutput.find(option), std::string::npos) << option;
  }
  EXPECT_EQ(parsed.standardError, "");
}

TEST(CommandLineTest, AnUnknownOptionIsOneLineOnStandardErrorAndStatusTwo) {
  const ParsedCommandLine parsed = parse({"--frobnicate"});
  EXPECT_FALSE(parsed.launch.has_value());
  EXPECT_EQ(parsed.standardError, "tarvelo: Unknown option 'frobnicate'.\n");
  EXPECT_EQ(parsed.standardOutput, "");
  EXPECT_EQ(parsed.exitStatus, 2);
}

TEST(CommandLineTest, AnUnexpectedArgumentIsRefusedTheSameWay) {
  const ParsedCommandLine parsed = parse({"movie.mkv"});
  EXPECT_FALSE(parsed.launch.has_value());
  EXPECT_EQ(parsed.standardError, "tarvelo: unexpected argument 'movie.mkv'\n");
  EXPECT_EQ(parsed.exitStatus, 2);
}

TEST(CommandLineTest, TwoCommandsAtOnceAreRefused) {
  const ParsedCommandLine parsed = parse({"--start", "--stop"});
  EXPECT_FALSE(parsed.launch.has_value());
  EXPECT_EQ(parsed.standardError, "tarvelo: choose one of --settings, --toggle, --start and --stop\n");
  EXPECT_EQ(parsed.exitStatus, 2);
}

}  // namespace
}  // namespace tarvelo::testing
