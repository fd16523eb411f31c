#include "capture/screen_capture_service.h"

#include <algorithm>
#include <iostream>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "capture/capture_error.h"
#include "capture/serial_queue.h"
#include "support/fatal_error.h"

namespace tarvelo {

ScreenCaptureService::ScreenCaptureService(CaptureBackend& backend) : backend_(backend) {}

// The stream goes first: destroying it stops delivery before the frame
// callback it would deliver to is destroyed.
ScreenCaptureService::~ScreenCaptureService() { stream_.reset(); }

StreamConfiguration ScreenCaptureService::streamConfiguration(std::int64_t fps) {
  if (fps < std::numeric_limits<std::int32_t>::min() || fps > std::numeric_limits<std::int32_t>::max()) {
    fatalError("capture frame rate does not fit a signed 32-bit integer: " + std::to_string(fps));
  }
  StreamConfiguration configuration;
  // Always 160 x 100 whatever the display's shape: only zone averages are wanted,
  // and the platform does the scaling.
  configuration.width = 160;
  configuration.height = 100;
  configuration.minimumFrameInterval = FrameInterval{1, static_cast<std::int32_t>(fps)};
  configuration.pixelFormat = kPixelFormatBGRA;
  configuration.showsCursor = false;
  // Bounds memory and latency when the consumer is slow.
  configuration.queueDepth = 3;
  return configuration;
}

void ScreenCaptureService::start(DisplayId displayId, std::int64_t fps, StartCompletion completion) {
  backend_.queryShareableDisplays(
      [this, displayId, fps, completion = std::move(completion)](std::vector<DisplayId> displays,
                                                                 std::exception_ptr error) {
        // A missing screen-recording permission shows itself here; the caller
        // needs the platform's own error to explain it.
        if (error) {
          completion(error);
          return;
        }
        if (std::find(displays.begin(), displays.end(), displayId) == displays.end()) {
          completion(std::make_exception_ptr(CaptureFailure(CaptureError::displayNotFound)));
          return;
        }
        startStream(displayId, fps, completion);
      });
}

void ScreenCaptureService::startStream(DisplayId displayId, std::int64_t fps, StartCompletion completion) {
  const StreamConfiguration configuration = streamConfiguration(fps);
  std::shared_ptr<CaptureStream> stream = backend_.makeStream(displayId, configuration, *this);
  // A fresh queue per start, so nothing of an earlier run can still be queued on it.
  auto queue = std::make_shared<SerialQueue>(std::string(kQueueLabel));
  try {
    stream->addStreamOutput(std::move(queue));
  } catch (...) {
    completion(std::current_exception());
    return;
  }
  stream->startCapture([this, stream, completion = std::move(completion)](std::exception_ptr error) {
    if (error) {
      completion(error);
      return;
    }
    // Callers stop before starting again, so an earlier stream is only released.
    stream_ = stream;
    isCapturing_ = true;
    completion(nullptr);
  });
}

std::optional<DisplayId> ScreenCaptureService::capturedDisplay() const {
  return stream_ ? stream_->capturedDisplay() : std::nullopt;
}

void ScreenCaptureService::stop() {
  if (!isCapturing_) return;
  isCapturing_ = false;
  if (stream_) stream_->stopCapture();
  stream_.reset();
}

void ScreenCaptureService::streamDidOutputSampleBuffer(const SampleBuffer& sample) {
  if (sample.type != StreamOutputType::screen) return;
  // Samples without a picture come when nothing changed or a frame was dropped.
  if (sample.image == nullptr) return;
  // isCapturing is deliberately not consulted: frames already in flight when
  // stop() runs still reach the consumer.
  if (onFrame) onFrame(*sample.image);
}

void ScreenCaptureService::streamDidStopWithError(const std::exception& error) {
  const std::string line = std::string("[Tarvelo] Capture stream stopped: ") + error.what() + "\n";
  std::cout << line << std::flush;
  // The stream is kept and nothing restarts; the consumer notices by the frames
  // that stop arriving.
  isCapturing_ = false;
}

}  // namespace tarvelo
