#pragma once

#include <string>

namespace tarvelo::testing {

// Whether gtest was asked only to list the tests, which needs no rig.
bool isListingTests(int argc, char** argv);

// Puts this test process inside the headless Wayland rig. The rig's
// compositor and portal serve the rig's own user, as a desktop serves its
// user's programs, so as root the process runs itself again as that user
// (with the same arguments) and does not return unless that fails. Then the
// rig's environment (runtime directory, bus, Wayland and sway sockets) is
// taken over, as `virtual-wayland.sh env` prints it. False, with the reason
// on standard error, when the process could not run as the rig's user.
bool joinWaylandRig(int argc, char** argv);

// Runs a shell command inside the rig and returns what it printed; a command
// that fails fails the test, with its output.
std::string runInRig(const std::string& command);

// Arranges the rig's outputs as `virtual-wayland.sh layout` names them
// (4k-over-hd, stacked, side-by-side, reversed).
void useRigLayout(const std::string& layout);

// While one lives, the rig's share dialog gives `answer`: "refuse", as a user
// who says no, or the name of the output to share; afterwards it shares
// HEADLESS-1 again. A share restored from a grant the desktop still honours
// asks no one, so it is not answered.
class RigShareAnswer {
 public:
  explicit RigShareAnswer(const std::string& answer);
  ~RigShareAnswer();
  RigShareAnswer(const RigShareAnswer&) = delete;
  RigShareAnswer& operator=(const RigShareAnswer&) = delete;

 private:
  static void answerWith(const std::string& answer);
};

}  // namespace tarvelo::testing
