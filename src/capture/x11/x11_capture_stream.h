#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <thread>

#include "capture/capture_stream.h"
#include "capture/pixel_rect.h"

namespace tarvelo {

class SerialQueue;
class X11FrameScaler;
class X11ScreenWatcher;

// How many streams may hold their own connections to the X server at once.
// Starts that overlap (a burst of toggles) each make a stream before the
// earlier ones are released; without a bound they would take every client
// slot the server has, and no program on the desktop could connect. A stream
// beyond the bound waits, on its capture queue, for an earlier one to go.
using X11StreamSlots = std::counting_semaphore<>;
inline constexpr std::ptrdiff_t kMaxX11Streams = 4;

// Knobs of the X11 capture that are not part of a stream configuration.
struct X11CaptureTuning {
  // 2 x 2 box samples per output pixel and axis in the first scaling pass
  // (powers of two). The server's cost is mostly memory traffic, which grows
  // with the screen rows the samples touch (2 per sample row) and less with
  // samples along a row. Measured with tarvelo-capture-probe on a 4K output
  // (film still: mean absolute error against an exact box average, 0-255;
  // X server plus process CPU per frame at 60 fps, on a busy two-core machine):
  //   1x1 5.0 / 0.35 ms   2x1 3.5 / 0.42 ms   4x1 2.6 / 0.45 ms   8x1 2.1 / 0.59 ms
  //   2x2 2.5 / 0.50 ms   4x2 1.9 / 0.67 ms   8x2 1.6 / 0.92 ms   4x4 1.4 / 1.17 ms
  // 4 x 2 keeps a wide margin under an error of 3 for well under a millisecond.
  std::int64_t samplesX = 4;
  std::int64_t samplesY = 2;
};

// A capture stream of one RandR output: the output's rectangle of the root
// window, scaled by the X server, read back through shared memory and handed to
// the delegate on the output queue. A frame is taken only when something was
// drawn inside the rectangle (the first frame always), at most once per minimum
// frame interval.
//
// Two threads serve it: a watcher thread that waits for the server's change
// reports and decides when to capture, and the output queue, where each frame
// is scaled, read back and delivered. When the output is switched off or the
// server goes away, the stream ends through the delegate's
// streamDidStopWithError with the reason.
class X11CaptureStream final : public CaptureStream {
 public:
  // The watcher thread's name, as tools like top and perf show it.
  static constexpr const char* kWatcherThreadName = "tarvelo-watcher";

  X11CaptureStream(std::optional<std::string> displayName, DisplayId display, const StreamConfiguration& configuration,
                   CaptureStreamDelegate& delegate, X11CaptureTuning tuning,
                   std::shared_ptr<X11StreamSlots> slots);
  // Stops, waits for the watcher thread and for a delivery in progress, and
  // drops deliveries not yet started: no frame reaches the delegate afterwards.
  ~X11CaptureStream() override;

  X11CaptureStream(const X11CaptureStream&) = delete;
  X11CaptureStream& operator=(const X11CaptureStream&) = delete;

  void addStreamOutput(std::shared_ptr<SerialQueue> queue) override;
  // Returns at once. On the output queue: waits for a stream slot, connects,
  // finds the output and prepares the scaling, then reports once, there. A display that is no longer an active output fails with
  // CaptureError::displayNotFound.
  void startCapture(std::function<void(std::exception_ptr)> completion) override;
  void stopCapture() override;
  std::optional<DisplayId> capturedDisplay() const override { return display_; }

 private:
  // What the watcher thread and the capture jobs share; a capture job keeps it
  // alive even if the stream is destroyed from inside its delivery.
  struct Shared;

  std::exception_ptr setUp();
  void watch(PixelRect source);
  void postCapture(const PixelRect& source);
  void end(const std::string& reason);
  void waitForDeliveries();

  std::optional<std::string> displayName_;
  DisplayId display_;
  StreamConfiguration configuration_;
  CaptureStreamDelegate& delegate_;
  X11CaptureTuning tuning_;
  std::shared_ptr<X11StreamSlots> slots_;
  std::shared_ptr<SerialQueue> queue_;
  std::shared_ptr<Shared> shared_;
  std::thread watchThread_;  // runs watch()
  bool isStarted_ = false;
};

}  // namespace tarvelo
