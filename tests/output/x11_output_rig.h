#pragma once

#include <QImage>
#include <QRect>
#include <QRgb>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "output/output_platform.h"

struct xcb_connection_t;
class QWindow;

namespace tarvelo::testing {

// A connection of the test's own to the rig's X server, to read back what the
// program's windows look like to the server (and to other clients).
class RigConnection {
 public:
  RigConnection();
  ~RigConnection();
  RigConnection(const RigConnection&) = delete;
  RigConnection& operator=(const RigConnection&) = delete;

  std::uint32_t atom(const std::string& name);
  // The window's ATOM-list property, empty when unset.
  std::vector<std::uint32_t> atomList(const QWindow& window, const std::string& property);
  std::optional<std::uint32_t> cardinal(const QWindow& window, const std::string& property);
  // WM_HINTS: whether the window asks the window manager for keyboard input
  // (absent when it does not say).
  std::optional<bool> acceptsInputHint(const QWindow& window);
  // The window's rectangle in root coordinates.
  QRect rootGeometry(const QWindow& window);
  std::vector<QRect> inputShape(const QWindow& window);
  std::vector<QRect> boundingShape(const QWindow& window);
  bool isViewable(const QWindow& window);
  // What the screen shows at one point of the root window.
  QRgb pixelAt(int x, int y);
  // What it shows in `area` (root coordinates); null when it cannot be read.
  QImage image(const QRect& area);

 private:
  xcb_connection_t* connection_;
};

// Runs xdotool on the rig's display with `arguments`; false when it fails.
bool xdotool(const std::string& arguments);

// The platform's screen of the rig's bottom (light) output, found the way
// the program finds it: through the RandR outputs and Qt's screens.
Screen bottomScreen();
// The same for the top (movie) output.
Screen topScreen();

// The rig's RandR output id for a QScreen name.
std::optional<DisplayId> rigOutputIdForName(const std::string& outputName);

}  // namespace tarvelo::testing
