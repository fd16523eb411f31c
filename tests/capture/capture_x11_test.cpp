// Screen capture on a real X server: the virtual two-output rig (DUMMY0 on top,
// DUMMY1 below), captured through the real ScreenCaptureService.
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "capture/capture_error.h"
#include "capture/picture_window.h"
#include "capture/screen_capture_service.h"
#include "capture/still_picture.h"
#include "capture/x11/x11_capture_backend.h"
#include "capture/x11/x11_capture_stream.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;
using testing::PictureWindow;
using testing::StillPicture;

// Long enough for any frame the server owes us to arrive many times over on a
// loaded machine; short enough to keep the test quick. Waiting this long for a
// frame that must not come tests damage gating, not speed.
constexpr auto kQuietPeriod = 1500ms;
constexpr auto kFrameTimeout = 20s;

std::string testDisplay() {
  const char* display = std::getenv("DISPLAY");
  return display != nullptr && *display != '\0' ? display : TARVELO_TEST_DISPLAY;
}

void applyLayout(const std::string& layout) {
  const std::string command =
      std::string(TARVELO_SOURCE_DIR) + "/scripts/virtual-displays.sh layout " + testDisplay() + " " + layout;
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// Puts the rig back into its usual layout however the test ends.
struct LayoutRestorer {
  ~LayoutRestorer() { applyLayout("stacked"); }
};

// An output of the rig as the test itself reads it from RandR.
struct RigOutput {
  DisplayId id = 0;
  PixelRect rect;
};

class XcbClient {
 public:
  XcbClient() {
    connection_ = xcb_connect(testDisplay().c_str(), nullptr);
    if (xcb_connection_has_error(connection_) != 0) throw std::runtime_error("cannot reach the rig");
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  }
  ~XcbClient() { xcb_disconnect(connection_); }

  xcb_connection_t* get() const { return connection_; }
  const xcb_screen_t& screen() const { return *screen_; }

  // The named output when it shows a picture.
  std::optional<RigOutput> output(const std::string& name) const {
    auto* resources = xcb_randr_get_screen_resources_current_reply(
        connection_, xcb_randr_get_screen_resources_current(connection_, screen_->root), nullptr);
    if (resources == nullptr) return std::nullopt;
    std::optional<RigOutput> found;
    const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_current_outputs(resources);
    for (int index = 0; index < xcb_randr_get_screen_resources_current_outputs_length(resources); ++index) {
      auto* info = xcb_randr_get_output_info_reply(
          connection_, xcb_randr_get_output_info(connection_, outputs[index], resources->config_timestamp), nullptr);
      if (info == nullptr) continue;
      const std::string outputName(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info)),
                                   static_cast<std::size_t>(xcb_randr_get_output_info_name_length(info)));
      if (outputName == name && info->crtc != XCB_NONE) {
        auto* crtc = xcb_randr_get_crtc_info_reply(
            connection_, xcb_randr_get_crtc_info(connection_, info->crtc, resources->config_timestamp), nullptr);
        if (crtc != nullptr && crtc->mode != XCB_NONE) {
          found = RigOutput{outputs[index], PixelRect{crtc->x, crtc->y, crtc->width, crtc->height}};
        }
        std::free(crtc);
      }
      std::free(info);
    }
    std::free(resources);
    return found;
  }

  RigOutput requireOutput(const std::string& name) const {
    const std::optional<RigOutput> found = output(name);
    if (!found) throw std::runtime_error(name + " is not active on the rig");
    return *found;
  }

 private:
  xcb_connection_t* connection_ = nullptr;
  const xcb_screen_t* screen_ = nullptr;
};

// Collects what reaches onFrame. Frames are only valid during the call, so the
// recorder keeps a copy of the first one's pixels.
class FrameRecorder {
 public:
  void install(ScreenCaptureService& service) {
    service.onFrame = [this](const Frame& frame) { record(frame); };
  }

  std::size_t count() const {
    std::lock_guard lock(mutex_);
    return count_;
  }

  // True when at least `frames` frames have arrived within the timeout.
  bool waitFor(std::size_t frames, std::chrono::milliseconds timeout = kFrameTimeout) {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, timeout, [&] { return count_ >= frames; });
  }

  struct Seen {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t bytesPerRow = 0;
    bool hasBytes = false;
    std::string threadName;
  };
  std::vector<Seen> seen() const {
    std::lock_guard lock(mutex_);
    return seen_;
  }
  // Blue, green, red, alpha bytes of the first frame, rows packed.
  StillPicture firstFrame() const {
    std::lock_guard lock(mutex_);
    return first_;
  }

 private:
  void record(const Frame& frame) {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    std::lock_guard lock(mutex_);
    if (count_ == 0 && frame.bytes != nullptr) {
      first_ = StillPicture{frame.width, frame.height, {}};
      for (std::int64_t row = 0; row < frame.height; ++row) {
        const std::uint8_t* begin = frame.bytes + row * frame.bytesPerRow;
        first_.bgra.insert(first_.bgra.end(), begin, begin + frame.width * 4);
      }
    }
    seen_.push_back(Seen{frame.width, frame.height, frame.bytesPerRow, frame.bytes != nullptr, name});
    ++count_;
    arrived_.notify_all();
  }

  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::size_t count_ = 0;
  std::vector<Seen> seen_;
  StillPicture first_;
};

// Starts the service and waits for its completion; returns the error, if any.
std::exception_ptr startAndWait(ScreenCaptureService& service, DisplayId display, std::int64_t fps = 30) {
  std::mutex mutex;
  std::condition_variable completed;
  std::optional<std::exception_ptr> result;
  service.start(display, fps, [&](std::exception_ptr error) {
    std::lock_guard lock(mutex);
    result = error;
    completed.notify_all();
  });
  std::unique_lock lock(mutex);
  completed.wait(lock, [&] { return result.has_value(); });
  return *result;
}

std::string describe(std::exception_ptr error) {
  if (!error) return "no error";
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

// A picture that fills `rect` with one colour, as a still scene on that output.
StillPicture solid(const PixelRect& rect, std::uint8_t blue, std::uint8_t green, std::uint8_t red) {
  StillPicture picture{rect.width, rect.height, {}};
  picture.bgra.resize(static_cast<std::size_t>(rect.width * rect.height * 4));
  for (std::size_t index = 0; index < picture.bgra.size(); index += 4) {
    picture.bgra[index] = blue;
    picture.bgra[index + 1] = green;
    picture.bgra[index + 2] = red;
    picture.bgra[index + 3] = 255;
  }
  return picture;
}

class X11CaptureTest : public ::testing::Test {
 protected:
  XcbClient client;
  X11CaptureBackend backend{testDisplay()};
};

// What one query of the shareable displays answered, and where.
struct ShareableAnswer {
  int completions = 0;
  std::vector<DisplayId> displays;
  std::exception_ptr error;
  std::thread::id thread;
};

ShareableAnswer queryAndWait(X11CaptureBackend& backend) {
  std::mutex mutex;
  std::condition_variable answered;
  ShareableAnswer answer;
  backend.queryShareableDisplays([&](std::vector<DisplayId> ids, std::exception_ptr error) {
    std::lock_guard lock(mutex);
    ++answer.completions;
    answer.displays = std::move(ids);
    answer.error = error;
    answer.thread = std::this_thread::get_id();
    answered.notify_all();
  });
  std::unique_lock lock(mutex);
  answered.wait_for(lock, std::chrono::seconds(10), [&] { return answer.completions > 0; });
  return answer;
}

TEST(X11CaptureBackendTest, AnUnreachableServerFailsEachQueryWithAReadableOneLineError) {
  X11CaptureBackend backend(std::string(":4093"));
  for (int attempt = 0; attempt < 2; ++attempt) {
    const ShareableAnswer answer = queryAndWait(backend);
    ASSERT_EQ(answer.completions, 1);
    EXPECT_TRUE(answer.displays.empty());
    const std::string text = describe(answer.error);
    EXPECT_EQ(text.rfind("Cannot connect to the X server \":4093\"", 0), 0u) << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
  }
}

TEST_F(X11CaptureTest, ShareableDisplaysAreTheActiveOutputs) {
  const RigOutput top = client.requireOutput("DUMMY0");
  const RigOutput bottom = client.requireOutput("DUMMY1");
  const ShareableAnswer answer = queryAndWait(backend);
  EXPECT_EQ(answer.completions, 1);
  EXPECT_EQ(answer.error, nullptr) << describe(answer.error);
  EXPECT_EQ(answer.displays, (std::vector<DisplayId>{top.id, bottom.id}));
}

// The question is a round trip to the server; the caller (the main thread)
// must never wait for it.
TEST_F(X11CaptureTest, ShareableDisplaysAreAnsweredOffTheCallersThread) {
  const ShareableAnswer answer = queryAndWait(backend);
  EXPECT_EQ(answer.completions, 1);
  EXPECT_NE(answer.thread, std::this_thread::get_id());
}

TEST_F(X11CaptureTest, ASwitchedOffOutputIsNotShareable) {
  const LayoutRestorer restorer;
  const RigOutput top = client.requireOutput("DUMMY0");
  applyLayout("single");
  EXPECT_EQ(queryAndWait(backend).displays, std::vector<DisplayId>{top.id});
}

TEST_F(X11CaptureTest, FramesAre160By100BGRADeliveredOnTheCaptureQueue) {
  const RigOutput top = client.requireOutput("DUMMY0");
  const PictureWindow scene(client.get(), client.screen(), top.rect, solid(top.rect, 30, 140, 220));
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  const std::exception_ptr error = startAndWait(service, top.id);
  ASSERT_EQ(error, nullptr) << describe(error);
  EXPECT_TRUE(service.isCapturing());
  ASSERT_TRUE(recorder.waitFor(1));
  service.stop();
  EXPECT_FALSE(service.isCapturing());

  const FrameRecorder::Seen frame = recorder.seen().front();
  EXPECT_EQ(frame.width, 160);
  EXPECT_EQ(frame.height, 100);
  EXPECT_GE(frame.bytesPerRow, 640);
  EXPECT_TRUE(frame.hasBytes);
  // Thread names hold 15 characters of the queue's label.
  EXPECT_EQ(frame.threadName, std::string(ScreenCaptureService::kQueueLabel).substr(0, 15));
  // A solid scene scales to itself, bytes blue, green, red, opaque alpha.
  const StillPicture first = recorder.firstFrame();
  EXPECT_EQ(first.bgra[0], 30);
  EXPECT_EQ(first.bgra[1], 140);
  EXPECT_EQ(first.bgra[2], 220);
  EXPECT_EQ(first.bgra[3], 255);
}

TEST_F(X11CaptureTest, ADisplayThatIsNotAnOutputFailsWithDisplayNotFound) {
  ScreenCaptureService service(backend);
  const std::exception_ptr error = startAndWait(service, 0x7FFF0001);
  ASSERT_NE(error, nullptr);
  try {
    std::rethrow_exception(error);
  } catch (const CaptureFailure& failure) {
    EXPECT_EQ(failure.error(), CaptureError::displayNotFound);
    EXPECT_STREQ(failure.what(), "Could not find the selected display for capture.");
  }
  EXPECT_FALSE(service.isCapturing());
}

TEST_F(X11CaptureTest, AStillScreenGivesOneFrameAndOnlyAChangeOnTheOutputGivesAnother) {
  const RigOutput top = client.requireOutput("DUMMY0");
  const RigOutput bottom = client.requireOutput("DUMMY1");
  PictureWindow scene(client.get(), client.screen(), top.rect, solid(top.rect, 200, 200, 200));
  PictureWindow elsewhere(client.get(), client.screen(), bottom.rect, solid(bottom.rect, 10, 10, 10));
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, top.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));

  std::this_thread::sleep_for(kQuietPeriod);
  EXPECT_EQ(recorder.count(), 1u) << "frames came while nothing changed";

  elsewhere.fill(PixelRect{0, 0, 400, 300}, 0xFF0000);
  std::this_thread::sleep_for(kQuietPeriod);
  EXPECT_EQ(recorder.count(), 1u) << "drawing on another output gave a frame";

  scene.fill(PixelRect{100, 100, 50, 50}, 0x00FF00);
  EXPECT_TRUE(recorder.waitFor(2)) << "drawing on the captured output gave no frame";
  service.stop();
}

// How often a thread of this process named `name` has gone to sleep and been
// woken since it started; none when there is no such thread.
std::optional<long> voluntarySwitchesOf(const std::string& name) {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream comm(task.path() / "comm");
    std::string taskName;
    if (!std::getline(comm, taskName) || taskName != name) continue;
    std::ifstream status(task.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (line.rfind("voluntary_ctxt_switches:", 0) == 0) return std::stol(line.substr(line.find(':') + 1));
    }
  }
  return std::nullopt;
}

// A film changes the screen all the time; drawing before the next capture may
// start must not wake the watcher each time.
TEST_F(X11CaptureTest, AFilmWakesTheWatcherAboutOnceAFrame) {
  const RigOutput top = client.requireOutput("DUMMY0");
  PictureWindow scene(client.get(), client.screen(), top.rect, solid(top.rect, 200, 200, 200));
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, top.id, 10), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));
  const std::optional<long> before = voluntarySwitchesOf(X11CaptureStream::kWatcherThreadName);
  ASSERT_TRUE(before.has_value()) << "no thread named " << X11CaptureStream::kWatcherThreadName;

  constexpr int kDrawings = 200;
  for (int drawing = 0; drawing < kDrawings; ++drawing) {
    scene.fill(PixelRect{100 + drawing % 50, 100, 40, 40}, drawing % 2 == 0 ? 0x00FF00 : 0x0000FF);
    std::this_thread::sleep_for(5ms);
  }
  const std::optional<long> after = voluntarySwitchesOf(X11CaptureStream::kWatcherThreadName);
  const std::size_t frames = recorder.count();
  service.stop();
  ASSERT_TRUE(after.has_value());
  EXPECT_GE(frames, 3u) << "the drawing gave too few frames to judge";
  // One wake-up a frame, when the interval ends: the drawing meanwhile and the
  // capture's end, well within the interval, are read then. Waking for each
  // would be three a frame; one per drawing without care.
  const long switches = *after - *before;
  std::printf("watcher: %ld switches for %zu frames\n", switches, frames);
  EXPECT_LE(static_cast<double>(switches), 1.5 * static_cast<double>(frames) + 2) << frames << " frames";
}

TEST_F(X11CaptureTest, NoFrameArrivesAfterStopReturns) {
  const RigOutput top = client.requireOutput("DUMMY0");
  PictureWindow scene(client.get(), client.screen(), top.rect, solid(top.rect, 90, 90, 90));
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, top.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));
  service.stop();
  const std::size_t framesAtStop = recorder.count();

  scene.fill(PixelRect{0, 0, 500, 500}, 0x0000FF);
  std::this_thread::sleep_for(kQuietPeriod);
  EXPECT_EQ(recorder.count(), framesAtStop);
}

TEST_F(X11CaptureTest, CapturedFilmStillIsCloseToAnExactBoxAverage) {
  const RigOutput top = client.requireOutput("DUMMY0");
  const StillPicture still = testing::makeFilmStill(top.rect.width, top.rect.height);
  const PictureWindow scene(client.get(), client.screen(), top.rect, still);
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, top.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));
  service.stop();

  const std::array<double, 3> error =
      testing::meanAbsoluteDifference(recorder.firstFrame().view(), testing::boxDownscale(still, 160, 100));
  for (int channel = 0; channel < 3; ++channel) EXPECT_LE(error[channel], 3.0) << "channel " << channel;
}

TEST_F(X11CaptureTest, CapturedFilmStillOnA4KOutputIsCloseToAnExactBoxAverage) {
  const LayoutRestorer restorer;
  applyLayout("4k-over-hd");
  const RigOutput top = client.requireOutput("DUMMY0");
  ASSERT_EQ(top.rect, (PixelRect{0, 0, 3840, 2160}));
  const StillPicture still = testing::makeFilmStill(top.rect.width, top.rect.height);
  const PictureWindow scene(client.get(), client.screen(), top.rect, still);
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, top.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));
  service.stop();

  const std::array<double, 3> error =
      testing::meanAbsoluteDifference(recorder.firstFrame().view(), testing::boxDownscale(still, 160, 100));
  for (int channel = 0; channel < 3; ++channel) EXPECT_LE(error[channel], 3.0) << "channel " << channel;
}

TEST_F(X11CaptureTest, TheBottomOutputIsCapturedFromItsOwnRectangle) {
  const RigOutput top = client.requireOutput("DUMMY0");
  const RigOutput bottom = client.requireOutput("DUMMY1");
  const PictureWindow upper(client.get(), client.screen(), top.rect, solid(top.rect, 255, 0, 0));
  const PictureWindow lower(client.get(), client.screen(), bottom.rect, solid(bottom.rect, 0, 0, 255));
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, bottom.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));
  service.stop();
  const StillPicture first = recorder.firstFrame();
  // Every pixel, the edges included, shows the lower output's red and none of the blue above.
  for (std::size_t index = 0; index < first.bgra.size(); index += 4) {
    ASSERT_EQ(first.bgra[index], 0) << "pixel " << index / 4;
    ASSERT_EQ(first.bgra[index + 2], 255) << "pixel " << index / 4;
  }
}

TEST_F(X11CaptureTest, SwitchingTheCapturedOutputOffEndsTheStream) {
  const LayoutRestorer restorer;
  const RigOutput bottom = client.requireOutput("DUMMY1");
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, bottom.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));

  ::testing::internal::CaptureStdout();
  applyLayout("single");
  const auto deadline = std::chrono::steady_clock::now() + kFrameTimeout;
  while (service.isCapturing() && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(10ms);
  const std::string output = ::testing::internal::GetCapturedStdout();
  EXPECT_FALSE(service.isCapturing());
  EXPECT_EQ(output, "[Tarvelo] Capture stream stopped: the captured display was disconnected\n");
  service.stop();
}

TEST_F(X11CaptureTest, TheCaptureFollowsAModeChangeOfItsOutput) {
  const LayoutRestorer restorer;
  const RigOutput top = client.requireOutput("DUMMY0");
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, top.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));

  applyLayout("4k-over-hd");
  const RigOutput larger = client.requireOutput("DUMMY0");
  ASSERT_EQ(larger.rect.width, 3840);
  // The new rectangle is captured afresh, and the stream goes on.
  ASSERT_TRUE(recorder.waitFor(2));
  EXPECT_TRUE(service.isCapturing());
  const PictureWindow scene(client.get(), client.screen(), PixelRect{3000, 1500, 200, 200},
                            solid(PixelRect{3000, 1500, 200, 200}, 0, 255, 0));
  EXPECT_TRUE(recorder.waitFor(3)) << "drawing in the enlarged part of the output gave no frame";
  service.stop();
}

TEST_F(X11CaptureTest, StoppingFromInsideTheFrameCallbackEndsDeliveries) {
  const RigOutput top = client.requireOutput("DUMMY0");
  PictureWindow scene(client.get(), client.screen(), top.rect, solid(top.rect, 60, 60, 60));
  ScreenCaptureService service(backend);
  std::mutex mutex;
  std::condition_variable stopped;
  int frames = 0;
  service.onFrame = [&](const Frame&) {
    service.stop();
    std::lock_guard lock(mutex);
    ++frames;
    stopped.notify_all();
  };
  ASSERT_EQ(startAndWait(service, top.id), nullptr);
  {
    std::unique_lock lock(mutex);
    ASSERT_TRUE(stopped.wait_for(lock, kFrameTimeout, [&] { return frames > 0; }));
  }
  scene.fill(PixelRect{0, 0, 300, 300}, 0xFFFFFF);
  std::this_thread::sleep_for(kQuietPeriod);
  std::lock_guard lock(mutex);
  EXPECT_EQ(frames, 1);
  EXPECT_FALSE(service.isCapturing());
}

TEST_F(X11CaptureTest, SharedMemoryIsPrivateToTheUserAndMarkedForRemoval) {
  const RigOutput top = client.requireOutput("DUMMY0");
  ScreenCaptureService service(backend);
  FrameRecorder recorder;
  recorder.install(service);
  ASSERT_EQ(startAndWait(service, top.id), nullptr);
  ASSERT_TRUE(recorder.waitFor(1));

  // The segments this process made, from the kernel's list:
  // key shmid perms size cpid lpid ...
  std::vector<int> ours;
  std::ifstream list("/proc/sysvipc/shm");
  std::string line;
  std::getline(list, line);
  while (std::getline(list, line)) {
    std::istringstream fields(line);
    long key = 0;
    int id = 0;
    std::string perms;
    std::size_t size = 0;
    pid_t creator = 0;
    if (fields >> key >> id >> perms >> size >> creator && creator == getpid()) ours.push_back(id);
  }
  ASSERT_FALSE(ours.empty()) << "no shared-memory segment of this process";
  for (const int id : ours) {
    shmid_ds status{};
    ASSERT_EQ(shmctl(id, IPC_STAT, &status), 0) << "segment " << id;
    EXPECT_EQ(status.shm_perm.mode & 0777, 0600u) << "segment " << id;
    EXPECT_NE(status.shm_perm.mode & SHM_DEST, 0u) << "segment " << id << " is not marked for removal";
  }
  service.stop();
}

}  // namespace
}  // namespace tarvelo
