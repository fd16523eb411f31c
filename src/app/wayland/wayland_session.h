#pragma once

#include <memory>

#include "app/display_server_session.h"

class QQmlEngine;

namespace tarvelo {

// Whether this is a Wayland session: WAYLAND_DISPLAY is set and a compositor
// answers on it. Asked before the application object exists, so that Qt is
// started on the platform the program then uses.
bool waylandCompositorAnswers();

// Everything Wayland: Qt's wayland platform for the displays, the desktop's
// screen-cast portal and PipeWire for the capture, a layer surface of our own
// for the light with the HUD drawn inside it by `viewEngine` (which must
// outlive the session), and the desktop's GlobalShortcuts portal where it
// has one. The desktop's permission to
// share the screen is kept in an owner-only file beside the settings.
// Needs a QGuiApplication on the wayland platform.
std::unique_ptr<DisplayServerSession> makeWaylandSession(QQmlEngine& viewEngine);

}  // namespace tarvelo
