#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string_view>

#include "capture/capture_stream.h"
#include "displays/display_info.h"
#include "pipeline/frame.h"

namespace tarvelo {

// Turns one display into a steady stream of 160 x 100 BGRA frames, handed one
// at a time to `onFrame` on the service's own serial capture queue.
class ScreenCaptureService final : private CaptureStreamDelegate {
 public:
  using FrameCallback = std::function<void(const Frame&)>;
  // Receives null on success, otherwise the reason the start failed.
  using StartCompletion = std::function<void(std::exception_ptr error)>;

  static constexpr std::string_view kQueueLabel = "com.tarvelo.capture";

  explicit ScreenCaptureService(CaptureBackend& backend);
  ~ScreenCaptureService() override;

  ScreenCaptureService(const ScreenCaptureService&) = delete;
  ScreenCaptureService& operator=(const ScreenCaptureService&) = delete;

  // Installed before start(); called on the capture queue, once per frame.
  FrameCallback onFrame;

  // Returns at once; `completion` runs exactly once, on whatever thread the
  // backend completes on. The caller keeps the service alive until then and
  // does not overlap start() and stop().
  void start(DisplayId displayId, std::int64_t fps, StartCompletion completion);
  void stop();
  bool isCapturing() const { return isCapturing_; }
  // After a successful start: the display captured (see
  // CaptureStream::capturedDisplay), which on a desktop that lets the user
  // pick the shared monitor may not be the one asked for.
  std::optional<DisplayId> capturedDisplay() const;

  // The configuration start() asks for. An `fps` that does not fit a signed
  // 32-bit integer is a programming error and stops the process.
  static StreamConfiguration streamConfiguration(std::int64_t fps);

 private:
  void streamDidOutputSampleBuffer(const SampleBuffer& sample) override;
  void streamDidStopWithError(const std::exception& error) override;

  void startStream(DisplayId displayId, std::int64_t fps, StartCompletion completion);

  CaptureBackend& backend_;
  std::shared_ptr<CaptureStream> stream_;
  // Written by the start completion, by stop() and by the platform's stop callback.
  std::atomic<bool> isCapturing_ = false;
};

}  // namespace tarvelo
