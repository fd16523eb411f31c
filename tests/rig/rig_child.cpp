#include "rig/rig_child.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace tarvelo::testing {

namespace {

std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

// Spawned, not forked and set up: the test process may run threads already.
RigChild::RigChild(const std::vector<std::string>& command, const std::vector<std::string>& extraEnvironment,
                   const std::string& logFile) {
  std::vector<std::string> environment = extraEnvironment;  // first, so that they win
  for (char** variable = environ; *variable != nullptr; ++variable) environment.emplace_back(*variable);
  std::vector<std::string> arguments = command;
  std::vector<char*> envp = pointersTo(environment);
  std::vector<char*> argv = pointersTo(arguments);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, logFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  pid_t pid = 0;
  const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) throw std::runtime_error("cannot start " + command.front());
  pid_ = pid;
}

RigChild::~RigChild() {
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

std::string firstLineOf(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

}  // namespace tarvelo::testing
