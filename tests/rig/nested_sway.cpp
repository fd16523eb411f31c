#include "rig/nested_sway.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

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

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

}  // namespace

NestedSway::NestedSway() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr) throw std::runtime_error("the nested compositor runs inside the rig only");
  directory_ = std::string(runtime) + "/nested-sway-" + std::to_string(getpid());
  if (mkdir(directory_.c_str(), 0700) != 0) throw std::runtime_error("cannot make " + directory_);
  std::ofstream(directory_ + "/sway.conf") << kConfig;
  const std::string log = directory_ + "/sway.log";
  sway_ = std::make_unique<RigChild>(
      std::vector<std::string>{"sway", "--config", directory_ + "/sway.conf"},
      std::vector<std::string>{"WLR_BACKENDS=wayland", "WLR_WL_OUTPUTS=2", "WLR_RENDERER=pixman",
                               "WLR_LIBINPUT_NO_DEVICES=1"},
      log);

  ipcSocket_ = std::string(runtime) + "/sway-ipc." + std::to_string(getuid()) + "." + std::to_string(sway_->pid()) +
               ".sock";
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
    waylandDisplay_ = firstLineOf(socketFile);
  }
  while (std::chrono::steady_clock::now() < deadline && !(hasOutput("WL-1") && hasOutput("WL-2"))) {
    std::this_thread::sleep_for(100ms);
  }
  if (waylandDisplay_.empty() || !hasOutput("WL-1") || !hasOutput("WL-2")) {
    const std::string firstLine = firstLineOf(log);
    stop();
    throw std::runtime_error("the nested sway did not come up (its log begins: " + firstLine + ")");
  }
}

NestedSway::~NestedSway() { stop(); }

void NestedSway::stop() {
  sway_.reset();
  if (!directory_.empty()) std::system(("rm -rf '" + directory_ + "'").c_str());
  directory_.clear();
}

void NestedSway::unplug(const std::string& output) {
  runInRig("swaymsg '[app_id=\"wlroots\" title=\"wlroots - " + output + "\"] kill' > /dev/null");
}

void NestedSway::plugIn() { runInRig("swaymsg -s '" + ipcSocket_ + "' create_output > /dev/null"); }

bool NestedSway::hasOutput(const std::string& output) {
  const int status = std::system(
      ("swaymsg -s '" + ipcSocket_ + "' -t get_outputs 2> /dev/null | grep -q '\"name\": \"" + output + "\"'").c_str());
  return status == 0;
}

}  // namespace tarvelo::testing
