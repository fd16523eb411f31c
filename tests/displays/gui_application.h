#pragma once

class QGuiApplication;

namespace tarvelo::testing {

// The process's one QGuiApplication on the rig's display (xcb platform), made
// on first use so that listing the tests needs no X server.
QGuiApplication& rigGuiApplication();

// Destroys it, if it was made; main() calls this after the tests have run.
void destroyRigGuiApplication();

}  // namespace tarvelo::testing
