#pragma once

#include <memory>
#include <optional>
#include <string>

#include "capture/capture_stream.h"
#include "capture/x11/x11_capture_stream.h"

namespace tarvelo {

class SerialQueue;
class X11Connection;

// Screen capture on an X server: the capturable displays are the active RandR
// outputs, and a stream shows one output's part of the root window, scaled by
// the server (Render), read back through MIT-SHM and paced by Damage reports.
class X11CaptureBackend final : public CaptureBackend {
 public:
  // `displayName` as in DISPLAY; absent means the DISPLAY environment variable.
  // Does not connect yet: a server that cannot be reached, or lacks RandR,
  // Render, MIT-SHM or Damage, fails each query with a one-line reason.
  explicit X11CaptureBackend(std::optional<std::string> displayName = std::nullopt,
                             X11CaptureTuning tuning = X11CaptureTuning{});
  ~X11CaptureBackend() override;

  X11CaptureBackend(const X11CaptureBackend&) = delete;
  X11CaptureBackend& operator=(const X11CaptureBackend&) = delete;

  // Returns at once and answers on the backend's own worker: the question is a
  // round trip, and a hung server must not hold the caller (the main thread).
  void queryShareableDisplays(ShareableDisplaysCompletion completion) override;
  std::unique_ptr<CaptureStream> makeStream(DisplayId display, const StreamConfiguration& configuration,
                                            CaptureStreamDelegate& delegate) override;

 private:
  std::optional<std::string> displayName_;
  X11CaptureTuning tuning_;
  std::unique_ptr<X11Connection> connection_;  // used on queryQueue_ only
  std::shared_ptr<X11StreamSlots> streamSlots_ = std::make_shared<X11StreamSlots>(kMaxX11Streams);
  // Last, so that it goes first: a query under way finishes before the
  // connection it uses is closed.
  std::unique_ptr<SerialQueue> queryQueue_;
};

}  // namespace tarvelo
