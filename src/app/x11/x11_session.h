#pragma once

#include <memory>

#include "app/display_server_session.h"

class QQmlEngine;

namespace tarvelo {

// Everything X11: RandR for the displays, XRender and MIT-SHM for the capture,
// Qt windows on xcb with XInput 2 for the light and the HUD, passive grabs for
// the shortcuts. Throws std::runtime_error with a one-line reason when the X
// server cannot be reached.
std::unique_ptr<DisplayServerSession> makeX11Session(QQmlEngine& viewEngine);

}  // namespace tarvelo
