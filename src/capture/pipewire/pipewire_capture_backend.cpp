#include "capture/pipewire/pipewire_capture_backend.h"

#include <utility>

#include "capture/pipewire/pipewire_capture_stream.h"

namespace tarvelo {

PipeWireCaptureBackend::PipeWireCaptureBackend(std::function<std::vector<DisplayId>()> onlineDisplays,
                                               std::shared_ptr<RestoreTokenStore> restoreTokens)
    : onlineDisplays_(std::move(onlineDisplays)), restoreTokens_(std::move(restoreTokens)) {}

// Every display may be shared: the portal has no list of its own before its dialog.
void PipeWireCaptureBackend::queryShareableDisplays(ShareableDisplaysCompletion completion) {
  std::vector<DisplayId> displays;
  try {
    if (onlineDisplays_) displays = onlineDisplays_();
  } catch (...) {
    completion({}, std::current_exception());
    return;
  }
  completion(std::move(displays), nullptr);
}

std::unique_ptr<CaptureStream> PipeWireCaptureBackend::makeStream(DisplayId, const StreamConfiguration& configuration,
                                                                  CaptureStreamDelegate& delegate) {
  return std::make_unique<PipeWireCaptureStream>(configuration, delegate, restoreTokens_);
}

}  // namespace tarvelo
