#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace tarvelo {

// What a finished command-line tool left behind.
struct ToolRun {
  bool finished = false;  // false: killed by the hang guard
  bool exitedNormally = false;
  int exitStatus = -1;
  std::string standardOutput;
  std::string standardError;
};

// Runs `program` with `arguments`, standard input empty, and collects both
// outputs. A run that outlives `hangGuard` is killed and reported unfinished.
ToolRun runTool(const std::string& program, const std::vector<std::string>& arguments,
                std::chrono::milliseconds hangGuard);

}  // namespace tarvelo
