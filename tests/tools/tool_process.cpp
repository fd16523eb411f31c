#include "tool_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

extern char** environ;

namespace tarvelo {
namespace {

void drain(int& fd, std::string& into) {
  char buffer[4096];
  const ssize_t got = ::read(fd, buffer, sizeof buffer);
  if (got > 0) {
    into.append(buffer, static_cast<std::size_t>(got));
  } else if (got == 0 || errno != EINTR) {
    ::close(fd);
    fd = -1;
  }
}

}  // namespace

ToolRun runTool(const std::string& program, const std::vector<std::string>& arguments,
                std::chrono::milliseconds hangGuard) {
  int out[2];
  int err[2];
  if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);

  std::vector<std::string> argvStrings{program};
  argvStrings.insert(argvStrings.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& argument : argvStrings) argv.push_back(argument.data());
  argv.push_back(nullptr);

  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  ::close(err[1]);
  if (spawned != 0) throw std::runtime_error("cannot start " + program);

  ToolRun run;
  const auto deadline = std::chrono::steady_clock::now() + hangGuard;
  int outFd = out[0];
  int errFd = err[0];
  while (outFd >= 0 || errFd >= 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
    if (::poll(fds, 2, static_cast<int>(left.count())) < 0 && errno != EINTR) break;
    if (outFd >= 0 && fds[0].revents != 0) drain(outFd, run.standardOutput);
    if (errFd >= 0 && fds[1].revents != 0) drain(errFd, run.standardError);
  }
  run.finished = outFd < 0 && errFd < 0;
  if (!run.finished) ::kill(pid, SIGKILL);
  if (outFd >= 0) ::close(outFd);
  if (errFd >= 0) ::close(errFd);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  run.exitedNormally = WIFEXITED(status);
  run.exitStatus = run.exitedNormally ? WEXITSTATUS(status) : -1;
  return run;
}

}  // namespace tarvelo
