#pragma once

#include <string>
#include <vector>

namespace tarvelo::testing {

// A program started by a test inside the Wayland rig (as the rig's user, in
// its environment, with `extraEnvironment` before it), its output kept in
// `logFile`. Stopped, and waited for, when destroyed.
class RigChild {
 public:
  // Throws std::runtime_error when the program cannot be started.
  RigChild(const std::vector<std::string>& command, const std::vector<std::string>& extraEnvironment,
           const std::string& logFile);
  ~RigChild();
  RigChild(const RigChild&) = delete;
  RigChild& operator=(const RigChild&) = delete;

  int pid() const { return pid_; }

 private:
  int pid_ = 0;
};

// The first line of a file; empty when there is none.
std::string firstLineOf(const std::string& path);

}  // namespace tarvelo::testing
