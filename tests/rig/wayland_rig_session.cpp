#include "rig/wayland_rig_session.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace tarvelo::testing {

namespace {

constexpr char kRigScript[] = TARVELO_SOURCE_DIR "/scripts/virtual-wayland.sh";

// Applies the `export NAME=value` lines the rig prints; nothing else it says.
void takeRigEnvironment() {
  const std::string command = std::string(kRigScript) + " env " TARVELO_TEST_WAYLAND_RIG;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return;
  std::array<char, 1024> line{};
  while (fgets(line.data(), line.size(), pipe) != nullptr) {
    std::string text(line.data());
    if (text.rfind("export ", 0) != 0) continue;
    text = text.substr(7);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    const auto equals = text.find('=');
    if (equals != std::string::npos) setenv(text.substr(0, equals).c_str(), text.substr(equals + 1).c_str(), 1);
  }
  pclose(pipe);
}

}  // namespace

bool isListingTests(int argc, char** argv) {
  return argc > 1 && std::string(argv[1]).rfind("--gtest_list_tests", 0) == 0;
}

bool joinWaylandRig(int argc, char** argv) {
  if (getuid() == 0) {
    std::vector<char*> command{const_cast<char*>(kRigScript), const_cast<char*>("run"),
                               const_cast<char*>(TARVELO_TEST_WAYLAND_RIG)};
    for (int i = 0; i < argc; ++i) command.push_back(argv[i]);
    command.push_back(nullptr);
    execv(command[0], command.data());
    std::perror("virtual-wayland.sh run");
    return false;
  }
  takeRigEnvironment();
  return true;
}

std::string runInRig(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << command << " could not be run";
    return output;
  }
  std::array<char, 512> chunk{};
  while (fgets(chunk.data(), chunk.size(), pipe) != nullptr) output += chunk.data();
  const int status = pclose(pipe);
  if (status != 0) ADD_FAILURE() << command << " failed (" << status << "): " << output;
  return output;
}

void useRigLayout(const std::string& layout) {
  runInRig(std::string(kRigScript) + " layout " TARVELO_TEST_WAYLAND_RIG " " + layout + " 2>&1");
}

RigShareAnswer::RigShareAnswer(const std::string& answer) { answerWith(answer); }

RigShareAnswer::~RigShareAnswer() { answerWith("share"); }

void RigShareAnswer::answerWith(const std::string& answer) {
  runInRig(std::string(kRigScript) + " answer " TARVELO_TEST_WAYLAND_RIG " " + answer + " 2>&1");
}

}  // namespace tarvelo::testing
