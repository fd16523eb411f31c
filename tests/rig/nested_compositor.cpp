#include "rig/nested_compositor.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "rig/wayland_rig_session.h"

namespace tarvelo::testing {

namespace {

using namespace std::chrono_literals;

// The rig's compositor floats the windows of a nested one (see
// virtual-wayland.sh), so each output keeps the size its mode asks for.
constexpr const char* kConfig =
    "xwayland disable\n"
    "output WL-1 mode 1280x720 position 0 0 bg #000000 solid_color\n"
    "output WL-2 mode 640x360 position 320 720 bg #000000 solid_color\n"
    "output WL-3 mode 640x360 position 320 720 bg #000000 solid_color\n";

std::string readFile(const std::string& path) {
  std::ifstream file(path);
  std::string text;
  std::getline(file, text);
  return text;
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

}  // namespace

NestedCompositor::NestedCompositor() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr) throw std::runtime_error("the nested compositor runs inside the rig only");
  directory_ = std::string(runtime) + "/nested-" + std::to_string(getpid());
  if (mkdir(directory_.c_str(), 0700) != 0) throw std::runtime_error("cannot make " + directory_);
  std::ofstream(directory_ + "/sway.conf") << kConfig;

  // Spawned, not forked and set up: the test process may run threads already.
  std::vector<std::string> environment = {"WLR_BACKENDS=wayland", "WLR_WL_OUTPUTS=2", "WLR_RENDERER=pixman",
                                          "WLR_LIBINPUT_NO_DEVICES=1"};
  for (char** variable = environ; *variable != nullptr; ++variable) environment.emplace_back(*variable);
  std::vector<char*> envp;
  for (std::string& variable : environment) envp.push_back(variable.data());
  envp.push_back(nullptr);
  const std::string config = directory_ + "/sway.conf";
  const std::string log = directory_ + "/sway.log";
  std::vector<std::string> arguments = {"sway", "--config", config};
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  pid_t pid = 0;
  const int spawned = posix_spawnp(&pid, "sway", &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) throw std::runtime_error("cannot start the nested compositor");
  pid_ = pid;

  ipcSocket_ = std::string(runtime) + "/sway-ipc." + std::to_string(getuid()) + "." + std::to_string(pid_) + ".sock";
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  // sway tells its own children where it listens.
  const std::string socketFile = directory_ + "/wayland-display";
  while (std::chrono::steady_clock::now() < deadline && waylandDisplay_.empty()) {
    std::this_thread::sleep_for(100ms);
    if (!exists(ipcSocket_)) continue;
    if (!exists(socketFile)) {
      std::system(("swaymsg -s '" + ipcSocket_ + "' exec 'echo $WAYLAND_DISPLAY > " + socketFile +
                   "' > /dev/null 2>&1").c_str());
      continue;
    }
    waylandDisplay_ = readFile(socketFile);
  }
  while (std::chrono::steady_clock::now() < deadline && !(hasOutput("WL-1") && hasOutput("WL-2"))) {
    std::this_thread::sleep_for(100ms);
  }
  if (waylandDisplay_.empty() || !hasOutput("WL-1") || !hasOutput("WL-2")) {
    const std::string firstLine = readFile(log);
    stop();
    throw std::runtime_error("the nested compositor did not come up (its log begins: " + firstLine + ")");
  }
}

NestedCompositor::~NestedCompositor() { stop(); }

void NestedCompositor::stop() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }
  if (!directory_.empty()) std::system(("rm -rf '" + directory_ + "'").c_str());
  directory_.clear();
}

void NestedCompositor::unplug(const std::string& output) {
  runInRig("swaymsg '[app_id=\"wlroots\" title=\"wlroots - " + output + "\"] kill' > /dev/null");
}

void NestedCompositor::plugIn() { runInRig("swaymsg -s '" + ipcSocket_ + "' create_output > /dev/null"); }

bool NestedCompositor::hasOutput(const std::string& output) {
  const int status = std::system(
      ("swaymsg -s '" + ipcSocket_ + "' -t get_outputs 2> /dev/null | grep -q '\"name\": \"" + output + "\"'").c_str());
  return status == 0;
}

}  // namespace tarvelo::testing
