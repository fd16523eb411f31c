// The Wayland capture on the headless rig (scripts/virtual-wayland.sh): the
// portal shares HEADLESS-1 without asking (or refuses, while a
// RigShareAnswer says so), the test paints it with sway's background and
// checks the 160 x 100 frames.
#include <gtest/gtest.h>

#include <QImage>

#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "capture/pipewire/pipewire_capture_backend.h"
#include "capture/serial_queue.h"
#include "fakes/fake_restore_token_store.h"
#include "rig/wayland_rig_session.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;

using testing::runInRig;

void sway(const std::string& command) { runInRig("swaymsg '" + command + "' 2>&1"); }

struct Colour {
  int red, green, blue;
};

// Keeps a copy of the newest frame and the stream's end.
class RecordingDelegate final : public CaptureStreamDelegate {
 public:
  void streamDidOutputSampleBuffer(const SampleBuffer& sample) override {
    if (sample.image == nullptr || sample.image->bytes == nullptr) return;
    const Frame& frame = *sample.image;
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(frame.width * frame.height * 4));
    for (std::int64_t row = 0; row < frame.height; ++row) {
      std::copy_n(frame.bytes + row * frame.bytesPerRow, frame.width * 4, pixels.begin() + row * frame.width * 4);
    }
    const std::lock_guard guard(mutex_);
    width_ = frame.width;
    height_ = frame.height;
    pixels_ = std::move(pixels);
    ++frames_;
    changed_.notify_all();
  }
  void streamDidStopWithError(const std::exception& error) override {
    const std::lock_guard guard(mutex_);
    stopError_ = error.what();
    changed_.notify_all();
  }

  // Waits for a frame whose every pixel inside each of the rectangles is within 3 of its colour.
  bool waitForPicture(const std::vector<std::pair<std::array<int, 4>, Colour>>& areas,
                      std::chrono::seconds timeout = 10s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
      if (pixels_.empty()) return false;
      for (const auto& [rect, colour] : areas) {
        for (int y = rect[1]; y < rect[1] + rect[3]; ++y) {
          for (int x = rect[0]; x < rect[0] + rect[2]; ++x) {
            const std::uint8_t* pixel = &pixels_[static_cast<std::size_t>((y * width_ + x) * 4)];
            if (std::abs(pixel[2] - colour.red) > 3 || std::abs(pixel[1] - colour.green) > 3 ||
                std::abs(pixel[0] - colour.blue) > 3 || pixel[3] != 255) {
              return false;
            }
          }
        }
      }
      return true;
    });
  }
  // Waits for a frame in which `isWanted(pixel)` holds for the B, G, R, A
  // bytes of every pixel inside the rectangle.
  bool waitForArea(const std::array<int, 4>& rect, const std::function<bool(const std::uint8_t*)>& isWanted,
                   std::chrono::seconds timeout = 10s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
      if (pixels_.empty()) return false;
      for (int y = rect[1]; y < rect[1] + rect[3]; ++y) {
        for (int x = rect[0]; x < rect[0] + rect[2]; ++x) {
          if (!isWanted(&pixels_[static_cast<std::size_t>((y * width_ + x) * 4)])) return false;
        }
      }
      return true;
    });
  }
  std::optional<std::string> waitForStop(std::chrono::seconds timeout) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return stopError_.has_value(); });
    return stopError_;
  }
  int frames() {
    const std::lock_guard guard(mutex_);
    return frames_;
  }
  std::pair<std::int64_t, std::int64_t> size() {
    const std::lock_guard guard(mutex_);
    return {width_, height_};
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::uint8_t> pixels_;
  std::int64_t width_ = 0, height_ = 0;
  int frames_ = 0;
  std::optional<std::string> stopError_;
};

StreamConfiguration smallFrames() {
  StreamConfiguration configuration;
  configuration.width = 160;
  configuration.height = 100;
  configuration.minimumFrameInterval = FrameInterval{1, 30};
  configuration.pixelFormat = kPixelFormatBGRA;
  configuration.showsCursor = false;
  configuration.queueDepth = 3;
  return configuration;
}

std::exception_ptr startAndWait(CaptureStream& stream) {
  std::promise<std::exception_ptr> started;
  stream.startCapture([&](std::exception_ptr error) { started.set_value(error); });
  auto result = started.get_future();
  if (result.wait_for(60s) != std::future_status::ready) {
    return std::make_exception_ptr(std::runtime_error("the start never completed"));
  }
  return result.get();
}

std::string describe(std::exception_ptr error) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  }
  return "no error";
}

const std::array<int, 4> kWholeFrame{0, 0, 160, 100};

class PipeWireCaptureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::useRigLayout("4k-over-hd");
    sway("output HEADLESS-1 bg #000000 solid_color; output HEADLESS-2 bg #000000 solid_color");
  }

  // The rig's outputs in the 4k-over-hd layout, as the display source lists them.
  static std::vector<OnlineDisplay> rigDisplays() {
    OnlineDisplay top;
    top.id = 1;
    top.pixelWidth = 3840;
    top.pixelHeight = 2160;
    top.bounds = {0, 0, 3840, 2160};
    OnlineDisplay bottom;
    bottom.id = 2;
    bottom.pixelWidth = 1920;
    bottom.pixelHeight = 1080;
    bottom.bounds = {960, 2160, 1920, 1080};
    return {top, bottom};
  }

  std::shared_ptr<testing::FakeRestoreTokenStore> tokens_ = std::make_shared<testing::FakeRestoreTokenStore>();
  PipeWireCaptureBackend backend_{rigDisplays, tokens_};
  std::shared_ptr<SerialQueue> queue_ = std::make_shared<SerialQueue>("com.tarvelo.capture");
  RecordingDelegate delegate_;
};

TEST_F(PipeWireCaptureTest, FramesShowTheColoursPaintedOnTheSharedOutputAfterTheStart) {
  auto stream = backend_.makeStream(1, smallFrames(), delegate_);
  stream->addStreamOutput(queue_);
  ASSERT_EQ(describe(startAndWait(*stream)), "no error");
  EXPECT_EQ(stream->capturedDisplay(), 1u);

  // The light screen's colour must never show: only HEADLESS-1 is shared.
  sway("output HEADLESS-2 bg #22cc55 solid_color; output HEADLESS-1 bg #cc2233 solid_color");
  EXPECT_TRUE(delegate_.waitForPicture({{kWholeFrame, {0xcc, 0x22, 0x33}}})) << delegate_.frames() << " frames";
  EXPECT_EQ(delegate_.size(), (std::pair<std::int64_t, std::int64_t>{160, 100}));

  // Four quadrants: channel order and orientation. The frame's pixels at a
  // quadrant border average both sides, so only the inner parts are checked.
  const std::filesystem::path directory = std::filesystem::temp_directory_path() / ("tarvelo-wayland-test-" + std::to_string(getpid()));
  std::filesystem::create_directories(directory);
  std::filesystem::permissions(directory, std::filesystem::perms(0755));
  QImage quadrants(384, 216, QImage::Format_RGB32);
  for (int y = 0; y < 216; ++y) {
    for (int x = 0; x < 384; ++x) {
      const QRgb colour = y < 108 ? (x < 192 ? qRgb(255, 0, 0) : qRgb(0, 255, 0))
                                  : (x < 192 ? qRgb(0, 0, 255) : qRgb(250, 240, 10));
      quadrants.setPixel(x, y, colour);
    }
  }
  const std::string picture = (directory / "quadrants.png").string();
  ASSERT_TRUE(quadrants.save(QString::fromStdString(picture)));
  std::filesystem::permissions(picture, std::filesystem::perms(0644));
  sway("output HEADLESS-1 bg " + picture + " stretch");
  EXPECT_TRUE(delegate_.waitForPicture({{{2, 2, 76, 46}, {255, 0, 0}},
                                        {{82, 2, 76, 46}, {0, 255, 0}},
                                        {{2, 52, 76, 46}, {0, 0, 255}},
                                        {{82, 52, 76, 46}, {250, 240, 10}}}))
      << delegate_.frames() << " frames";
  stream.reset();
  std::filesystem::remove_all(directory);
}

TEST_F(PipeWireCaptureTest, ASecondStartAsksWithTheRestoreTokenOfTheFirst) {
  {
    auto first = backend_.makeStream(1, smallFrames(), delegate_);
    first->addStreamOutput(queue_);
    ASSERT_EQ(describe(startAndWait(*first)), "no error");
  }
  ASSERT_EQ(tokens_->stored().size(), 1u) << "the portal handed out no restore token";
  const std::string firstToken = tokens_->stored().front();
  EXPECT_FALSE(firstToken.empty());

  // The rig's portal backend notes each share it restores from a token's data.
  const auto restoredShares = [] {
    const std::string log = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/../portal-wlr.log";
    return runInRig("grep -c 'restore data available' " + log + " || true");
  };
  const std::string restoredBefore = restoredShares();

  RecordingDelegate second;
  auto stream = backend_.makeStream(1, smallFrames(), second);
  stream->addStreamOutput(queue_);
  ASSERT_EQ(describe(startAndWait(*stream)), "no error");
  EXPECT_EQ(tokens_->reads(), 2);
  ASSERT_EQ(tokens_->stored().size(), 2u);
  EXPECT_EQ(std::stoi(restoredShares()), std::stoi(restoredBefore) + 1) << "the first grant's token was not used";
  sway("output HEADLESS-1 bg #3060f0 solid_color");
  EXPECT_TRUE(second.waitForPicture({{kWholeFrame, {0x30, 0x60, 0xf0}}}));
}

TEST_F(PipeWireCaptureTest, AStartTheUserRefusesFailsSayingSoAndForgetsTheKeptGrant) {
  // A token the desktop does not know (as after it forgot the share): it asks again.
  tokens_->setToken("0d5e3c58-6a55-4f0b-9b7e-1a2b3c4d5e6f");
  const testing::RigShareAnswer refusal("refuse");
  auto stream = backend_.makeStream(1, smallFrames(), delegate_);
  stream->addStreamOutput(queue_);
  EXPECT_EQ(describe(startAndWait(*stream)), "Screen sharing was refused in the desktop's dialog.");
  EXPECT_EQ(tokens_->forgets(), 1);
  EXPECT_EQ(tokens_->restoreToken(), std::nullopt);
  EXPECT_TRUE(tokens_->stored().empty());
  EXPECT_EQ(delegate_.frames(), 0);
}

TEST_F(PipeWireCaptureTest, AnotherMonitorChosenInTheDialogIsCapturedAndNamed) {
  const testing::RigShareAnswer choice("HEADLESS-2");
  auto stream = backend_.makeStream(1, smallFrames(), delegate_);
  stream->addStreamOutput(queue_);
  ASSERT_EQ(describe(startAndWait(*stream)), "no error");
  EXPECT_EQ(stream->capturedDisplay(), 2u) << "the shared monitor is the lower display";
  sway("output HEADLESS-1 bg #cc2233 solid_color; output HEADLESS-2 bg #22cc55 solid_color");
  EXPECT_TRUE(delegate_.waitForPicture({{kWholeFrame, {0x22, 0xcc, 0x55}}})) << delegate_.frames() << " frames";
}

// A small window on a still screen, opened, moved and closed: the compositor
// tells what changed with each picture (for the move, the place it left and
// the place it went), and only those parts are read again. The frame must
// still show the whole screen as it is: the window where it is now, the
// background everywhere else, and nothing left behind.
TEST_F(PipeWireCaptureTest, AWindowMovedOnAStillScreenShowsWhereItIsAndLeavesNothingBehind) {
  auto stream = backend_.makeStream(1, smallFrames(), delegate_);
  stream->addStreamOutput(queue_);
  ASSERT_EQ(describe(startAndWait(*stream)), "no error");
  sway("output HEADLESS-1 bg #204080 solid_color");
  ASSERT_TRUE(delegate_.waitForPicture({{kWholeFrame, {0x20, 0x40, 0x80}}})) << delegate_.frames() << " frames";

  // weston-flower draws a purple cross in 200 x 200 pixels of the 3840 x 2160
  // output, which are 8 x 9 pixels of the frame: at 960,540 its middle is
  // frame pixel 44,29.
  sway("for_window [app_id=org.freedesktop.weston.flower] \"floating enable, move to output HEADLESS-1, "
       "move position 960 540\"");
  const std::string window = runInRig("weston-flower > /dev/null 2>&1 & echo $!");
  ASSERT_FALSE(window.empty());
  struct CloseWindow {
    std::string pid;
    ~CloseWindow() { runInRig("kill " + pid + " 2> /dev/null || true"); }
  } closeWindow{window};

  // The window's middle is not the background; outside 22 x 22 frame pixels
  // around it (room for the frame sway draws) everything is.
  const auto showsTheWindowAt = [&](int u, int v, Colour background) {
    const auto isBackground = [background](const std::uint8_t* pixel) {
      return std::abs(pixel[2] - background.red) <= 3 && std::abs(pixel[1] - background.green) <= 3 &&
             std::abs(pixel[0] - background.blue) <= 3;
    };
    const int left = u - 9;
    const int top = v - 9;
    return delegate_.waitForArea({u, v, 1, 1}, [&](const std::uint8_t* pixel) { return !isBackground(pixel); }) &&
           delegate_.waitForPicture({{{0, 0, 160, top}, background},
                                     {{0, top + 22, 160, 100 - top - 22}, background},
                                     {{0, top, left, 22}, background},
                                     {{left + 22, top, 160 - left - 22, 22}, background}});
  };
  EXPECT_TRUE(showsTheWindowAt(44, 29, {0x20, 0x40, 0x80})) << delegate_.frames() << " frames";

  sway("output HEADLESS-1 bg #c03010 solid_color");
  EXPECT_TRUE(showsTheWindowAt(44, 29, {0xc0, 0x30, 0x10})) << delegate_.frames() << " frames";

  // To 2400,1200: its middle is frame pixel 104,60, and the place it left
  // must be the background again.
  sway("[app_id=org.freedesktop.weston.flower] move position 2400 1200");
  EXPECT_TRUE(showsTheWindowAt(104, 60, {0xc0, 0x30, 0x10})) << "the place the window left went stale";

  runInRig("kill " + window);
  EXPECT_TRUE(delegate_.waitForPicture({{kWholeFrame, {0xc0, 0x30, 0x10}}})) << "the window's place went stale";
}

TEST_F(PipeWireCaptureTest, NoFrameReachesTheDelegateAfterStopCapture) {
  auto stream = backend_.makeStream(1, smallFrames(), delegate_);
  stream->addStreamOutput(queue_);
  ASSERT_EQ(describe(startAndWait(*stream)), "no error");
  sway("output HEADLESS-1 bg #808080 solid_color");
  ASSERT_TRUE(delegate_.waitForPicture({{kWholeFrame, {0x80, 0x80, 0x80}}}));

  stream->stopCapture();
  queue_->waitUntilIdle();
  const int framesAtStop = delegate_.frames();
  sway("output HEADLESS-1 bg #ffffff solid_color");
  std::this_thread::sleep_for(1s);
  queue_->waitUntilIdle();
  EXPECT_EQ(delegate_.frames(), framesAtStop);
  EXPECT_FALSE(delegate_.waitForStop(0s).has_value()) << "a stop the owner asked for is not reported";
}

// As when the user stops sharing from the desktop's indicator: the portal's
// node for the screen goes away.
TEST_F(PipeWireCaptureTest, WhenTheDesktopStopsSharingTheStreamEndsOnceSayingSo) {
  auto stream = backend_.makeStream(1, smallFrames(), delegate_);
  stream->addStreamOutput(queue_);
  ASSERT_EQ(describe(startAndWait(*stream)), "no error");
  sway("output HEADLESS-1 bg #408020 solid_color");
  ASSERT_TRUE(delegate_.waitForPicture({{kWholeFrame, {0x40, 0x80, 0x20}}}));

  const std::string node =
      runInRig("pw-cli ls Node | awk '/^\\tid / { id = $2 } /node.name = \"xdg-desktop-portal-wlr\"/ { print id }' | tr -d ,");
  ASSERT_FALSE(node.empty()) << "the portal's node is not in the graph";
  runInRig("pw-cli destroy " + node);

  const std::optional<std::string> reason = delegate_.waitForStop(10s);
  ASSERT_TRUE(reason.has_value()) << "the stream went on as if the screen were still shared";
  EXPECT_EQ(*reason, "the desktop stopped sharing the screen");
  const int framesAtTheEnd = delegate_.frames();
  sway("output HEADLESS-1 bg #ffffff solid_color");
  std::this_thread::sleep_for(500ms);
  EXPECT_EQ(delegate_.frames(), framesAtTheEnd);
}

}  // namespace
}  // namespace tarvelo
