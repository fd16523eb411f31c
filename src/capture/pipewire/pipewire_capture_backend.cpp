#include "capture/pipewire/pipewire_capture_backend.h"

#include <utility>

#include "capture/pipewire/pipewire_capture_stream.h"

namespace tarvelo {

PipeWireCaptureBackend::PipeWireCaptureBackend(std::function<std::vector<OnlineDisplay>()> onlineDisplays,
                                               std::shared_ptr<RestoreTokenStore> restoreTokens)
    : onlineDisplays_(std::move(onlineDisplays)), restoreTokens_(std::move(restoreTokens)) {}

// Every display may be shared: the portal has no list of its own before its dialog.
void PipeWireCaptureBackend::queryShareableDisplays(ShareableDisplaysCompletion completion) {
  std::vector<DisplayId> ids;
  try {
    for (const OnlineDisplay& display : listOnlineDisplays()) ids.push_back(display.id);
  } catch (...) {
    completion({}, std::current_exception());
    return;
  }
  completion(std::move(ids), nullptr);
}

std::unique_ptr<CaptureStream> PipeWireCaptureBackend::makeStream(DisplayId, const StreamConfiguration& configuration,
                                                                  CaptureStreamDelegate& delegate) {
  // Read here, on the caller's thread: the stream matches the shared monitor
  // on a thread of its own. Without a list, no display is matched and the
  // shared monitor is simply the user's choice.
  std::vector<OnlineDisplay> displays;
  try {
    displays = listOnlineDisplays();
  } catch (...) {
    displays.clear();
  }
  return std::make_unique<PipeWireCaptureStream>(configuration, delegate, restoreTokens_, std::move(displays));
}

std::vector<OnlineDisplay> PipeWireCaptureBackend::listOnlineDisplays() const {
  return onlineDisplays_ ? onlineDisplays_() : std::vector<OnlineDisplay>{};
}

}  // namespace tarvelo
