#include "capture/screen_capture_service.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "capture/capture_error.h"
#include "capture/serial_queue.h"
#include "fakes/fake_capture_backend.h"

namespace tarvelo {
namespace {

using testing::FakeCaptureBackend;

constexpr DisplayId kMovieDisplay = 42;
constexpr DisplayId kOtherDisplay = 7;
constexpr DisplayId kUnpluggedDisplay = 99;

// An error of the platform's own type, to check it arrives unchanged.
class PlatformError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct StartResult {
  std::exception_ptr error;
  int completionCalls = 0;
  std::thread::id completionThread;
};

// Starts the service and waits for its completion, then for every completion
// thread of the backend, so that the completion count is final.
StartResult startAndWait(ScreenCaptureService& service, FakeCaptureBackend& backend, DisplayId display,
                         std::int64_t fps) {
  std::mutex mutex;
  std::condition_variable completed;
  StartResult result;
  service.start(display, fps, [&](std::exception_ptr error) {
    std::lock_guard lock(mutex);
    result.error = error;
    result.completionThread = std::this_thread::get_id();
    ++result.completionCalls;
    completed.notify_all();
  });
  {
    std::unique_lock lock(mutex);
    completed.wait(lock, [&] { return result.completionCalls > 0; });
  }
  backend.joinCompletionThreads();
  std::lock_guard lock(mutex);
  return result;
}

std::string describeError(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& caught) {
    return caught.what();
  }
}

// What onFrame saw, filled on the capture queue and read after a flush.
struct ReceivedFrames {
  std::mutex mutex;
  std::vector<Frame> frames;
  std::vector<bool> onCaptureQueue;
  std::vector<std::thread::id> threads;
};

ScreenCaptureService::FrameCallback recordInto(ReceivedFrames& received, FakeCaptureBackend& backend) {
  return [&received, &backend](const Frame& frame) {
    const std::shared_ptr<SerialQueue> queue = backend.outputQueue();
    std::lock_guard lock(received.mutex);
    received.frames.push_back(frame);
    received.onCaptureQueue.push_back(queue && queue->isCurrent());
    received.threads.push_back(std::this_thread::get_id());
  };
}

class ScreenCaptureServiceTest : public ::testing::Test {
 protected:
  ScreenCaptureServiceTest() : backend({kOtherDisplay, kMovieDisplay}), service(backend) {
    service.onFrame = recordInto(received, backend);
  }

  std::size_t framesReceived() {
    backend.flush();
    std::lock_guard lock(received.mutex);
    return received.frames.size();
  }

  std::vector<std::uint8_t> pixels = std::vector<std::uint8_t>(704 * 100, 0x80);
  Frame frame{pixels.data(), 160, 100, 704};
  FakeCaptureBackend backend;
  ReceivedFrames received;
  ScreenCaptureService service;
};

// --- Starting ---

TEST_F(ScreenCaptureServiceTest, StartsCapturingTheRequestedDisplay) {
  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  EXPECT_EQ(result.error, nullptr);
  EXPECT_EQ(result.completionCalls, 1);
  EXPECT_TRUE(service.isCapturing());
  EXPECT_EQ(backend.lastDisplay(), kMovieDisplay);
  EXPECT_EQ(backend.streamsMade(), 1u);
  EXPECT_EQ(backend.liveStreamCount(), 1u);
  EXPECT_EQ(backend.stopCaptureCount(), 0u);
}

TEST_F(ScreenCaptureServiceTest, IsNotCapturingBeforeStart) {
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.queryCount(), 0u);
}

TEST_F(ScreenCaptureServiceTest, TellsWhichDisplayTheStartedStreamShows) {
  EXPECT_EQ(service.capturedDisplay(), std::nullopt);
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  EXPECT_EQ(service.capturedDisplay(), kMovieDisplay);
  service.stop();
  EXPECT_EQ(service.capturedDisplay(), std::nullopt);

  // Where the desktop's dialog picked another monitor.
  backend.sharedMonitor = kOtherDisplay;
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  EXPECT_EQ(service.capturedDisplay(), kOtherDisplay);
}

TEST_F(ScreenCaptureServiceTest, DisplayNotAmongShareableDisplaysFailsWithDisplayNotFound) {
  const StartResult result = startAndWait(service, backend, kUnpluggedDisplay, 30);

  ASSERT_NE(result.error, nullptr);
  EXPECT_EQ(result.completionCalls, 1);
  try {
    std::rethrow_exception(result.error);
  } catch (const CaptureFailure& failure) {
    EXPECT_EQ(failure.error(), CaptureError::displayNotFound);
    EXPECT_EQ(std::string(failure.what()), "Could not find the selected display for capture.");
  } catch (...) {
    ADD_FAILURE() << "expected a CaptureFailure";
  }
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.streamsMade(), 0u);
}

TEST_F(ScreenCaptureServiceTest, NoShareableDisplaysFailsWithDisplayNotFound) {
  backend.shareableDisplays.clear();

  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  ASSERT_NE(result.error, nullptr);
  EXPECT_EQ(describeError(result.error), "Could not find the selected display for capture.");
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.streamsMade(), 0u);
}

TEST_F(ScreenCaptureServiceTest, QueryErrorIsPassedThroughUnchanged) {
  backend.queryError = std::make_exception_ptr(PlatformError("The user declined TCCs for application."));

  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  EXPECT_EQ(result.error, backend.queryError);
  EXPECT_EQ(result.completionCalls, 1);
  try {
    std::rethrow_exception(result.error);
  } catch (const PlatformError& error) {
    EXPECT_EQ(std::string(error.what()), "The user declined TCCs for application.");
  } catch (...) {
    ADD_FAILURE() << "expected the platform's own error type";
  }
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.streamsMade(), 0u);
}

TEST_F(ScreenCaptureServiceTest, AddStreamOutputFailureIsPassedThroughAndNothingIsStored) {
  backend.addStreamOutputError = std::make_exception_ptr(PlatformError("Failed to add stream output."));

  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  ASSERT_NE(result.error, nullptr);
  EXPECT_EQ(result.completionCalls, 1);
  EXPECT_THROW(std::rethrow_exception(result.error), PlatformError);
  EXPECT_EQ(describeError(result.error), "Failed to add stream output.");
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.streamsMade(), 1u);
  EXPECT_EQ(backend.liveStreamCount(), 0u);
  service.stop();
  EXPECT_EQ(backend.stopCaptureCount(), 0u);
}

TEST_F(ScreenCaptureServiceTest, StartCaptureFailureIsPassedThroughAndNothingIsStored) {
  backend.startCaptureError = std::make_exception_ptr(PlatformError("The stream failed to start."));

  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  EXPECT_EQ(result.error, backend.startCaptureError);
  EXPECT_EQ(result.completionCalls, 1);
  EXPECT_EQ(describeError(result.error), "The stream failed to start.");
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.liveStreamCount(), 0u);
  service.stop();
  EXPECT_EQ(backend.stopCaptureCount(), 0u);
}

TEST_F(ScreenCaptureServiceTest, FailedStartLeavesARunningCaptureAsItWas) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  backend.startCaptureError = std::make_exception_ptr(PlatformError("The stream failed to start."));

  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  EXPECT_NE(result.error, nullptr);
  EXPECT_TRUE(service.isCapturing());
  EXPECT_EQ(backend.liveStreamCount(), 1u);  // the first stream, still held
  service.stop();
  EXPECT_EQ(backend.stopCaptureCount(), 1u);
  EXPECT_EQ(backend.liveStreamCount(), 0u);
}

TEST_F(ScreenCaptureServiceTest, NewStartReleasesTheEarlierStreamWithoutStoppingIt) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  ASSERT_EQ(startAndWait(service, backend, kOtherDisplay, 30).error, nullptr);

  EXPECT_EQ(backend.streamsMade(), 2u);
  EXPECT_EQ(backend.liveStreamCount(), 1u);
  EXPECT_EQ(backend.stopCaptureCount(), 0u);
  EXPECT_EQ(backend.lastDisplay(), kOtherDisplay);
  EXPECT_TRUE(service.isCapturing());
}

TEST_F(ScreenCaptureServiceTest, EachStartMakesANewCaptureQueueWithTheCaptureLabel) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  const std::shared_ptr<SerialQueue> firstQueue = backend.outputQueue();
  service.stop();
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  const std::shared_ptr<SerialQueue> secondQueue = backend.outputQueue();

  ASSERT_NE(firstQueue, nullptr);
  ASSERT_NE(secondQueue, nullptr);
  EXPECT_NE(firstQueue, secondQueue);
  EXPECT_EQ(firstQueue->label(), "com.tarvelo.capture");
  EXPECT_EQ(secondQueue->label(), "com.tarvelo.capture");
  EXPECT_EQ(ScreenCaptureService::kQueueLabel, "com.tarvelo.capture");
}

TEST_F(ScreenCaptureServiceTest, StartCompletesOnTheBackendsThreadWhenTheBackendIsAsynchronous) {
  backend.completesAsynchronously = true;

  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  EXPECT_EQ(result.error, nullptr);
  EXPECT_EQ(result.completionCalls, 1);
  EXPECT_NE(result.completionThread, std::this_thread::get_id());
  EXPECT_TRUE(service.isCapturing());
  EXPECT_EQ(backend.liveStreamCount(), 1u);
}

TEST_F(ScreenCaptureServiceTest, AsynchronousStartCaptureFailureStoresNothing) {
  backend.completesAsynchronously = true;
  backend.startCaptureError = std::make_exception_ptr(PlatformError("The stream failed to start."));

  const StartResult result = startAndWait(service, backend, kMovieDisplay, 30);

  EXPECT_EQ(result.error, backend.startCaptureError);
  EXPECT_EQ(result.completionCalls, 1);
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.liveStreamCount(), 0u);
}

// --- Configuration ---

TEST_F(ScreenCaptureServiceTest, AsksFor160By100BgraWithoutCursorAndThreeFramesInFlight) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 60).error, nullptr);

  const std::optional<StreamConfiguration> configuration = backend.lastConfiguration();
  ASSERT_TRUE(configuration.has_value());
  EXPECT_EQ(configuration->width, 160);
  EXPECT_EQ(configuration->height, 100);
  EXPECT_EQ(configuration->minimumFrameInterval, (FrameInterval{1, 60}));
  EXPECT_EQ(configuration->pixelFormat, 0x42475241u);
  EXPECT_FALSE(configuration->showsCursor);
  EXPECT_EQ(configuration->queueDepth, 3);
  EXPECT_EQ(*configuration, ScreenCaptureService::streamConfiguration(60));
}

TEST_F(ScreenCaptureServiceTest, Fps30GivesAMinimumFrameIntervalOfOneThirtiethSecond) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);

  ASSERT_TRUE(backend.lastConfiguration().has_value());
  EXPECT_EQ(backend.lastConfiguration()->minimumFrameInterval, (FrameInterval{1, 30}));
}

TEST_F(ScreenCaptureServiceTest, Fps1GivesAMinimumFrameIntervalOfOneSecond) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 1).error, nullptr);

  ASSERT_TRUE(backend.lastConfiguration().has_value());
  EXPECT_EQ(backend.lastConfiguration()->minimumFrameInterval, (FrameInterval{1, 1}));
}

TEST(ScreenCaptureServiceConfigurationTest, LargestSigned32BitFpsIsAccepted) {
  const std::int64_t largest = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(ScreenCaptureService::streamConfiguration(largest).minimumFrameInterval,
            (FrameInterval{1, std::numeric_limits<std::int32_t>::max()}));
}

TEST(ScreenCaptureServiceDeathTest, FpsAboveTheSigned32BitRangeStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::int64_t tooLarge = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  EXPECT_DEATH(ScreenCaptureService::streamConfiguration(tooLarge),
               "capture frame rate does not fit a signed 32-bit integer: 2147483648");
}

TEST(ScreenCaptureServiceDeathTest, FpsBelowTheSigned32BitRangeStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::int64_t tooSmall = std::int64_t{std::numeric_limits<std::int32_t>::min()} - 1;
  EXPECT_DEATH(ScreenCaptureService::streamConfiguration(tooSmall),
               "capture frame rate does not fit a signed 32-bit integer: -2147483649");
}

TEST(ScreenCaptureServiceDeathTest, StartWithFpsAboveTheSigned32BitRangeStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        FakeCaptureBackend backend({kMovieDisplay});
        ScreenCaptureService service(backend);
        service.start(kMovieDisplay, std::numeric_limits<std::int64_t>::max(), [](std::exception_ptr) {});
      },
      "capture frame rate does not fit a signed 32-bit integer");
}

// --- Frames ---

TEST_F(ScreenCaptureServiceTest, FramesReachOnFrameOnTheCaptureQueueUncopied) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);

  backend.deliver(frame);

  ASSERT_EQ(framesReceived(), 1u);
  EXPECT_EQ(received.frames[0].bytes, pixels.data());
  EXPECT_EQ(received.frames[0].width, 160);
  EXPECT_EQ(received.frames[0].height, 100);
  EXPECT_EQ(received.frames[0].bytesPerRow, 704);
  EXPECT_TRUE(received.onCaptureQueue[0]);
  EXPECT_NE(received.threads[0], std::this_thread::get_id());
}

TEST_F(ScreenCaptureServiceTest, FramesReachOnFrameInDeliveryOrder) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);

  for (std::int64_t width = 1; width <= 20; ++width) {
    backend.deliver(Frame{pixels.data(), width, 100, 704});
  }

  ASSERT_EQ(framesReceived(), 20u);
  for (std::int64_t width = 1; width <= 20; ++width) EXPECT_EQ(received.frames[width - 1].width, width);
}

TEST_F(ScreenCaptureServiceTest, SampleThatIsNotScreenContentNeverReachesOnFrame) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  const Frame audioMarker{pixels.data(), 1, 1, 4};

  backend.deliver(SampleBuffer{StreamOutputType::audio, &audioMarker});
  backend.deliver(frame);

  ASSERT_EQ(framesReceived(), 1u);
  EXPECT_EQ(received.frames[0].width, 160);
}

TEST_F(ScreenCaptureServiceTest, SampleWithoutImageNeverReachesOnFrame) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);

  backend.deliver(SampleBuffer{StreamOutputType::screen, nullptr});
  backend.deliver(frame);

  ASSERT_EQ(framesReceived(), 1u);
  EXPECT_EQ(received.frames[0].width, 160);
}

TEST(ScreenCaptureServiceFrameTest, FrameWithoutOnFrameInstalledIsDropped) {
  FakeCaptureBackend backend({kMovieDisplay});
  ScreenCaptureService service(backend);
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  std::vector<std::uint8_t> pixels(640 * 100, 0);

  backend.deliver(Frame{pixels.data(), 160, 100, 640});
  backend.flush();

  EXPECT_TRUE(service.isCapturing());
  EXPECT_FALSE(static_cast<bool>(service.onFrame));
}

TEST_F(ScreenCaptureServiceTest, FramesArrivingAfterStopStillReachOnFrame) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  service.stop();

  backend.deliver(frame);

  EXPECT_TRUE(static_cast<bool>(service.onFrame));
  EXPECT_EQ(framesReceived(), 1u);
}

TEST_F(ScreenCaptureServiceTest, FrameQueuedWhileStopRunsStillReachesOnFrame) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  std::mutex gateMutex;
  std::condition_variable gateChanged;
  bool firstFrameEntered = false;
  bool stopped = false;
  service.onFrame = [&, record = recordInto(received, backend)](const Frame& delivered) {
    std::unique_lock lock(gateMutex);
    if (!firstFrameEntered) {
      firstFrameEntered = true;
      gateChanged.notify_all();
      gateChanged.wait(lock, [&] { return stopped; });
    }
    lock.unlock();
    record(delivered);
  };
  backend.deliver(frame);
  backend.deliver(frame);  // queued behind the first while stop() runs
  {
    std::unique_lock lock(gateMutex);
    gateChanged.wait(lock, [&] { return firstFrameEntered; });
  }

  service.stop();
  {
    std::lock_guard lock(gateMutex);
    stopped = true;
    gateChanged.notify_all();
  }

  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(framesReceived(), 2u);
}

// --- Stopping ---

TEST_F(ScreenCaptureServiceTest, StopEndsCaptureAndReleasesTheStream) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);

  service.stop();

  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.stopCaptureCount(), 1u);
  EXPECT_EQ(backend.liveStreamCount(), 0u);
}

TEST_F(ScreenCaptureServiceTest, SecondStopInARowDoesNothing) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  service.stop();

  service.stop();

  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.stopCaptureCount(), 1u);
}

TEST_F(ScreenCaptureServiceTest, StopBeforeAnyStartDoesNothing) {
  service.stop();

  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.stopCaptureCount(), 0u);
  EXPECT_EQ(backend.streamsMade(), 0u);
}

TEST_F(ScreenCaptureServiceTest, PlatformStopWritesOneLogLineAndLaterStopDoesNothing) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);

  ::testing::internal::CaptureStdout();
  backend.stopWithError("The display was disconnected.");
  const bool capturingAfterPlatformStop = service.isCapturing();
  service.stop();
  const std::string output = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(output, "[Tarvelo] Capture stream stopped: The display was disconnected.\n");
  EXPECT_FALSE(capturingAfterPlatformStop);
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(backend.stopCaptureCount(), 0u);
  EXPECT_EQ(backend.liveStreamCount(), 1u);  // the stopped stream is kept
}

TEST_F(ScreenCaptureServiceTest, StartAfterPlatformStopReplacesTheHeldStream) {
  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
  ::testing::internal::CaptureStdout();
  backend.stopWithError("The display was disconnected.");
  ::testing::internal::GetCapturedStdout();

  ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);

  EXPECT_TRUE(service.isCapturing());
  EXPECT_EQ(backend.streamsMade(), 2u);
  EXPECT_EQ(backend.liveStreamCount(), 1u);
  EXPECT_EQ(backend.stopCaptureCount(), 0u);
}

TEST(ScreenCaptureServiceLifetimeTest, DestroyingTheServiceReleasesItsStream) {
  FakeCaptureBackend backend({kMovieDisplay});
  {
    ScreenCaptureService service(backend);
    ASSERT_EQ(startAndWait(service, backend, kMovieDisplay, 30).error, nullptr);
    ASSERT_EQ(backend.liveStreamCount(), 1u);
  }
  EXPECT_EQ(backend.liveStreamCount(), 0u);
}

}  // namespace
}  // namespace tarvelo
