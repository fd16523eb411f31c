#pragma once

#include <map>
#include <string>
#include <vector>

#include "displays/display_info.h"

namespace tarvelo::testing {

// The X display the rig runs on for this build.
std::string rigDisplay();

// Rearranges the rig's outputs with the project's script ("stacked",
// "4k-over-hd", "side-by-side", "single"); false when the script fails.
bool applyRigLayout(const std::string& layout);

// Puts the rig back into its stacked layout when a test that rearranged it ends,
// whichever way it ends.
class StackedLayoutRestorer {
 public:
  StackedLayoutRestorer() = default;
  ~StackedLayoutRestorer();
  StackedLayoutRestorer(const StackedLayoutRestorer&) = delete;
  StackedLayoutRestorer& operator=(const StackedLayoutRestorer&) = delete;
};

// Every RandR output of the rig by name, with the id `xrandr --verbose` reports:
// an account of the ids that does not go through the code under test.
std::map<std::string, DisplayId> xrandrOutputIds();

// A display name on which no X server listens.
std::string unusedDisplayName();

// An X server of a test's own, on a display nobody uses: the rig's Xorg with
// its dummy outputs in `layout`, started with extra Xorg arguments (for
// instance "-extension RENDER" to leave an extension out), stopped when the
// object goes.
class PrivateXServer {
 public:
  explicit PrivateXServer(const std::string& layout, const std::vector<std::string>& xorgArguments = {});
  ~PrivateXServer();
  PrivateXServer(const PrivateXServer&) = delete;
  PrivateXServer& operator=(const PrivateXServer&) = delete;

  // False when Xorg did not come up.
  bool isRunning() const { return isRunning_; }
  const std::string& display() const { return display_; }

 private:
  std::string display_;
  bool isRunning_ = false;
};

}  // namespace tarvelo::testing
