#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "capture/capture_stream.h"
#include "displays/display_source.h"

namespace tarvelo {

class RestoreTokenStore;

// Screen capture on a Wayland desktop, through the screen-cast portal and
// PipeWire. The desktop, not the program, decides which monitor is shared (its
// dialog, or the restore token of an earlier grant), so a stream shows the
// shared monitor whatever display it is made for, and reports the display
// that monitor matches (see matchSharedMonitor).
class PipeWireCaptureBackend final : public CaptureBackend {
 public:
  // `onlineDisplays` lists the displays the desktop has now (from the display
  // source); it is called on the thread that makes the streams.
  PipeWireCaptureBackend(std::function<std::vector<OnlineDisplay>()> onlineDisplays,
                         std::shared_ptr<RestoreTokenStore> restoreTokens);

  void queryShareableDisplays(ShareableDisplaysCompletion completion) override;
  std::unique_ptr<CaptureStream> makeStream(DisplayId display, const StreamConfiguration& configuration,
                                            CaptureStreamDelegate& delegate) override;

 private:
  std::vector<OnlineDisplay> listOnlineDisplays() const;

  std::function<std::vector<OnlineDisplay>()> onlineDisplays_;
  std::shared_ptr<RestoreTokenStore> restoreTokens_;
};

}  // namespace tarvelo
