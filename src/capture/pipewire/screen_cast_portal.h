#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace tarvelo {

// A monitor the desktop agreed to share, and the PipeWire connection to read it.
struct ScreenCastGrant {
  int pipeWireFd = -1;  // owned by the caller from here on
  std::uint32_t nodeId = 0;
  // The monitor's place and size in the desktop, where the compositor reports them.
  std::optional<std::int64_t> x, y, width, height;
  std::optional<std::string> restoreToken;  // for the next session; absent when the portal gave none
};

class RestoreTokenStore;

// The user said no in the desktop's share dialog. A refusal is the platform's
// own error, as a missing permission is elsewhere; the capture error cases
// are the service's own conditions.
class ScreenSharingRefused : public std::runtime_error {
 public:
  ScreenSharingRefused() : std::runtime_error("Screen sharing was refused in the desktop's dialog.") {}
};

// One session of the desktop's screen-cast portal (org.freedesktop.portal.ScreenCast),
// spoken with QtDBus on the session bus: it asks for one monitor, remembered by
// the desktop (persist mode 2), and opens the PipeWire remote that carries it.
// The grant is kept in a RestoreTokenStore: the kept token restores the share
// without a dialog, and each share's new token replaces it.
//
// Blocking: each call waits, in an event loop of the calling thread, for the
// portal's answer; the desktop's share dialog may take as long as the user
// does. Use it from one thread (a capture queue), never the main thread.
class ScreenCastPortal {
 public:
  ScreenCastPortal();
  // Closes the session, which ends the share on the desktop's side.
  ~ScreenCastPortal();

  ScreenCastPortal(const ScreenCastPortal&) = delete;
  ScreenCastPortal& operator=(const ScreenCastPortal&) = delete;

  // Asks with the token kept in `grants` (none when null) and keeps the new
  // one there. Throws ScreenSharingRefused when the user refuses, having
  // forgotten the kept token: the dialog came back, so the desktop no longer
  // honours it. Throws a one-line std::runtime_error when there is no portal
  // or it fails, and CaptureFailure(displayNotFound) when no monitor is
  // shared. Waiting stops with an error once `cancelled` is set.
  ScreenCastGrant start(RestoreTokenStore* grants, const std::atomic<bool>& cancelled);

 private:
  ScreenCastGrant ask(const std::optional<std::string>& restoreToken, const std::atomic<bool>& cancelled);

  std::string sessionHandle_;
};

}  // namespace tarvelo
