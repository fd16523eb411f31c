#include "displays/x11_rig.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

namespace tarvelo::testing {

namespace {

struct ClosePipe {
  void operator()(FILE* pipe) const { pclose(pipe); }
};

std::string commandOutput(const std::string& command) {
  std::unique_ptr<FILE, ClosePipe> pipe(popen(command.c_str(), "r"));
  if (!pipe) return {};
  std::string output;
  char buffer[4096];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, count);
  return output;
}

}  // namespace

std::string rigDisplay() { return TARVELO_TEST_DISPLAY; }

bool applyRigLayout(const std::string& layout) {
  const std::string command =
      std::string(TARVELO_SOURCE_DIR) + "/scripts/virtual-displays.sh layout " + rigDisplay() + " " + layout;
  return std::system(command.c_str()) == 0;
}

StackedLayoutRestorer::~StackedLayoutRestorer() { applyRigLayout("stacked"); }

std::map<std::string, DisplayId> xrandrOutputIds() {
  // An output's block starts with its name at the line's start; its
  // "Identifier:" line follows, indented.
  std::istringstream lines(commandOutput("xrandr --display " + rigDisplay() + " --verbose"));
  std::map<std::string, DisplayId> ids;
  std::string line;
  std::string currentOutput;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    if (line[0] != ' ' && line[0] != '\t') {
      currentOutput = line.starts_with("Screen ") ? "" : line.substr(0, line.find(' '));
      continue;
    }
    const std::string key = "Identifier:";
    const auto at = line.find(key);
    if (currentOutput.empty() || at == std::string::npos) continue;
    ids[currentOutput] = static_cast<DisplayId>(std::stoul(line.substr(at + key.size()), nullptr, 16));
    currentOutput.clear();
  }
  return ids;
}

std::string unusedDisplayName() {
  // /proc/net/unix lists X servers' sockets, abstract and in /tmp/.X11-unix alike.
  std::ifstream socketsFile("/proc/net/unix");
  std::stringstream sockets;
  sockets << socketsFile.rdbuf();
  const std::string listed = sockets.str();
  for (int number = 59;; ++number) {
    const std::string socket = "/tmp/.X11-unix/X" + std::to_string(number);
    const std::string lock = "/tmp/.X" + std::to_string(number) + "-lock";
    const bool inUse = listed.find(socket + "\n") != std::string::npos || std::ifstream(lock).good();
    if (!inUse) return ":" + std::to_string(number);
  }
}

PrivateXServer::PrivateXServer(const std::string& layout, const std::vector<std::string>& xorgArguments)
    : display_(unusedDisplayName()) {
  std::string command =
      std::string(TARVELO_SOURCE_DIR) + "/scripts/virtual-displays.sh start " + display_ + " " + layout;
  for (const std::string& argument : xorgArguments) command += " '" + argument + "'";
  isRunning_ = std::system((command + " > /dev/null").c_str()) == 0;
}

PrivateXServer::~PrivateXServer() {
  const std::string command = std::string(TARVELO_SOURCE_DIR) + "/scripts/virtual-displays.sh stop " + display_;
  [[maybe_unused]] const int status = std::system(command.c_str());
}

}  // namespace tarvelo::testing
