#pragma once

#include <optional>
#include <vector>

#include "capture/pipewire/screen_cast_portal.h"
#include "displays/display_source.h"

namespace tarvelo {

// Which online display the desktop's share dialog gave us, from the place and
// size the portal reports for the stream. The size must be the display's, in
// pixels or in the desktop's logical units; the place, where it names one of
// those displays, tells two of the same size apart. Some portals report the
// place as 0,0 whatever was shared, so a place that fits no display of that
// size is not held against a single one. Absent when the portal reports no
// size, or the size fits no display or several that the place cannot tell
// apart: the shared monitor is then simply the user's choice.
std::optional<DisplayId> matchSharedMonitor(const ScreenCastGrant& grant, const std::vector<OnlineDisplay>& displays);

}  // namespace tarvelo
