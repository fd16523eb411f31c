#pragma once

#include <map>
#include <string>

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

}  // namespace tarvelo::testing
