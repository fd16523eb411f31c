#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "capture/capture_stream.h"

namespace tarvelo {

class RestoreTokenStore;

// Screen capture on a Wayland desktop, through the screen-cast portal and
// PipeWire. The desktop, not the program, decides which monitor is shared (its
// dialog, or the restore token of an earlier grant), so a stream shows the
// shared monitor whatever display it is made for.
class PipeWireCaptureBackend final : public CaptureBackend {
 public:
  // `onlineDisplays` lists the displays the desktop has now (from the display source).
  PipeWireCaptureBackend(std::function<std::vector<DisplayId>()> onlineDisplays,
                         std::shared_ptr<RestoreTokenStore> restoreTokens);

  void queryShareableDisplays(ShareableDisplaysCompletion completion) override;
  std::unique_ptr<CaptureStream> makeStream(DisplayId display, const StreamConfiguration& configuration,
                                            CaptureStreamDelegate& delegate) override;

 private:
  std::function<std::vector<DisplayId>()> onlineDisplays_;
  std::shared_ptr<RestoreTokenStore> restoreTokens_;
};

}  // namespace tarvelo
