#pragma once

class QGuiApplication;

namespace tarvelo::testing {

// The process's QGuiApplication on the rig's display (xcb platform), made on
// first use so that listing the tests needs no X server.
QGuiApplication& rigApplication();

}  // namespace tarvelo::testing
