#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "capture/capture_stream.h"
#include "displays/display_source.h"

namespace tarvelo {

class RestoreTokenStore;
class SerialQueue;

// A capture stream through the desktop's screen-cast portal: the portal shares
// one monitor (the user's choice in the desktop's dialog, or the one a stored
// restore token names), and PipeWire carries its pictures at native size in
// shared memory. Each picture is scaled to the configured size on PipeWire's
// thread, reading only the samples the average needs, and of those only the
// rows the compositor says changed since the picture before (its damage), so
// that the buffer goes back to the compositor at once; the small frame is handed to the delegate on
// the output queue, at most once per minimum frame interval. The compositor sends
// pictures only when the screen changes, so a still screen costs nothing.
//
// Where the portal reports the shared monitor's size (and place), the stream
// knows which display it shows (capturedDisplay).
//
// When the share ends (the monitor is unplugged, or the user stops sharing from
// the desktop), the stream ends through the delegate's streamDidStopWithError.
class PipeWireCaptureStream final : public CaptureStream {
 public:
  // `displays` are the ones online when the stream is made, to match the
  // shared monitor against.
  PipeWireCaptureStream(const StreamConfiguration& configuration, CaptureStreamDelegate& delegate,
                        std::shared_ptr<RestoreTokenStore> restoreTokens, std::vector<OnlineDisplay> displays);
  // Stops and waits for a delivery in progress: no frame reaches the delegate afterwards.
  ~PipeWireCaptureStream() override;

  PipeWireCaptureStream(const PipeWireCaptureStream&) = delete;
  PipeWireCaptureStream& operator=(const PipeWireCaptureStream&) = delete;

  void addStreamOutput(std::shared_ptr<SerialQueue> queue) override;
  // Returns at once. On the output queue: asks the portal (which may show the
  // desktop's dialog), connects to PipeWire and reports once, there.
  void startCapture(std::function<void(std::exception_ptr)> completion) override;
  void stopCapture() override;
  std::optional<DisplayId> capturedDisplay() const override { return capturedDisplay_; }

  // What the PipeWire thread and the delivery jobs share; named here only so
  // that PipeWire's C callbacks can reach it.
  struct Shared;

 private:
  std::exception_ptr setUp();
  void waitForDeliveries();

  StreamConfiguration configuration_;
  std::shared_ptr<RestoreTokenStore> restoreTokens_;
  std::vector<OnlineDisplay> displays_;
  // Written on the output queue before the start's completion runs.
  std::optional<DisplayId> capturedDisplay_;
  std::shared_ptr<SerialQueue> queue_;
  std::shared_ptr<Shared> shared_;
  bool isStarted_ = false;
};

}  // namespace tarvelo
