#include "rig/nested_weston.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tarvelo::testing {

using namespace std::chrono_literals;

NestedWeston::NestedWeston() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr) throw std::runtime_error("the nested weston runs inside the rig only");
  waylandDisplay_ = "weston-" + std::to_string(getpid());
  log_ = std::string(runtime) + "/" + waylandDisplay_ + ".log";
  weston_ = std::make_unique<RigChild>(
      std::vector<std::string>{"weston", "--backend=wayland-backend.so", "--output-count=2", "--use-pixman",
                               "--width=640", "--height=360", "--socket=" + waylandDisplay_, "--idle-time=0"},
      std::vector<std::string>{}, log_);
  const std::string socket = std::string(runtime) + "/" + waylandDisplay_;
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (access(socket.c_str(), F_OK) != 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      const std::string firstLine = firstLineOf(log_);
      weston_.reset();
      throw std::runtime_error("the nested weston did not come up (its log begins: " + firstLine + ")");
    }
    std::this_thread::sleep_for(100ms);
  }
}

NestedWeston::~NestedWeston() {
  weston_.reset();
  std::remove(log_.c_str());
}

}  // namespace tarvelo::testing
