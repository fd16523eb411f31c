#pragma once

#include <QStringList>

#include <optional>
#include <string>

#include "app/instance_command.h"

namespace tarvelo {

// How this launch should run.
struct LaunchOptions {
  // What the launch asks of the program; absent for a plain launch, which
  // starts the program or, when it runs already, brings its controls forward.
  std::optional<InstanceCommand> command;
  // Print the capture and light figures every ten seconds.
  bool verbose = false;
};

// Either the options to run with, or the text to print and the status to
// end with (help, version, or a one-line error and status 2).
struct ParsedCommandLine {
  std::optional<LaunchOptions> launch;
  std::string standardOutput;
  std::string standardError;
  int exitStatus = 0;
};

// `arguments` as the process got them, the program's name first. Needs the
// application's name and version set, not the application object.
ParsedCommandLine parseCommandLine(const QStringList& arguments);

}  // namespace tarvelo
