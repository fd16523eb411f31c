#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "displays/display_info.h"
#include "pipeline/frame.h"

namespace tarvelo {

class SerialQueue;

// A minimum frame interval of value/timescale seconds.
struct FrameInterval {
  std::int64_t value = 0;
  std::int32_t timescale = 0;

  friend bool operator==(const FrameInterval&, const FrameInterval&) = default;
};

inline constexpr std::uint32_t kPixelFormatBGRA = 0x42475241;  // 'BGRA'

struct StreamConfiguration {
  std::int64_t width = 0;
  std::int64_t height = 0;
  FrameInterval minimumFrameInterval;
  std::uint32_t pixelFormat = 0;
  bool showsCursor = true;
  std::int64_t queueDepth = 0;

  friend bool operator==(const StreamConfiguration&, const StreamConfiguration&) = default;
};

enum class StreamOutputType : std::int64_t { screen = 0, audio = 1 };

// One delivery from a stream. `image` is null for samples that carry no picture
// (nothing changed, or a dropped frame); it is valid only during the call.
struct SampleBuffer {
  StreamOutputType type = StreamOutputType::screen;
  const Frame* image = nullptr;
};

// What a stream reports back to its owner.
class CaptureStreamDelegate {
 public:
  virtual ~CaptureStreamDelegate() = default;
  // On the sample-handler queue, one sample at a time.
  virtual void streamDidOutputSampleBuffer(const SampleBuffer& sample) = 0;
  // The stream ended by itself; on any thread.
  virtual void streamDidStopWithError(const std::exception& error) = 0;
};

// One platform capture stream of one display. Destroying it stops delivery.
class CaptureStream {
 public:
  virtual ~CaptureStream() = default;
  // Routes screen samples to the delegate on `queue`. Throws the platform's error.
  virtual void addStreamOutput(std::shared_ptr<SerialQueue> queue) = 0;
  // Calls `completion` once, on any thread, with null or the platform's error.
  virtual void startCapture(std::function<void(std::exception_ptr)> completion) = 0;
  // Asks the stream to stop; does not wait, reports nothing.
  virtual void stopCapture() = 0;
  // The display the stream shows, once it has started: the one it was made
  // for, or, where the desktop has the user pick the monitor to share, the
  // display that monitor was matched to; absent when none matches.
  virtual std::optional<DisplayId> capturedDisplay() const = 0;
};

// The platform's capture facility; one implementation per platform.
class CaptureBackend {
 public:
  using ShareableDisplaysCompletion = std::function<void(std::vector<DisplayId> displays, std::exception_ptr error)>;

  virtual ~CaptureBackend() = default;
  // The displays that can be captured now; `completion` runs once, on any thread.
  virtual void queryShareableDisplays(ShareableDisplaysCompletion completion) = 0;
  // The whole display, every window on it. The delegate outlives the stream.
  virtual std::unique_ptr<CaptureStream> makeStream(DisplayId display, const StreamConfiguration& configuration,
                                                    CaptureStreamDelegate& delegate) = 0;
};

}  // namespace tarvelo
