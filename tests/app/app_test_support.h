#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/app_state.h"
#include "fakes/fake_app_platform.h"

namespace tarvelo::testing {

inline OnlineDisplay onlineDisplay(DisplayId id, DisplayRect bounds, std::string name) {
  OnlineDisplay display;
  display.id = id;
  display.pixelWidth = static_cast<std::int64_t>(bounds.width);
  display.pixelHeight = static_cast<std::int64_t>(bounds.height);
  display.bounds = bounds;
  display.localizedName = std::move(name);
  return display;
}

inline Screen screenFor(DisplayId id, DisplayRect frame) { return Screen{id, "Screen " + std::to_string(id), frame}; }

inline constexpr DisplayId kTopDisplay = 1;
inline constexpr DisplayId kBottomDisplay = 2;
inline constexpr DisplayRect kTopBounds{0.0, 0.0, 1920.0, 1080.0};
inline constexpr DisplayRect kBottomBounds{0.0, 1080.0, 1920.0, 1080.0};

// A 160 x 100 picture of one colour, as the capture delivers it.
class TestPicture {
 public:
  TestPicture(std::uint8_t red, std::uint8_t green, std::uint8_t blue) : pixels_(160 * 100 * 4) {
    for (std::size_t i = 0; i < pixels_.size(); i += 4) {
      pixels_[i] = blue;
      pixels_[i + 1] = green;
      pixels_[i + 2] = red;
      pixels_[i + 3] = 255;
    }
  }
  Frame frame() const { return Frame{pixels_.data(), 160, 100, 160 * 4}; }

 private:
  std::vector<std::uint8_t> pixels_;
};

// The fakes and one AppState made from them. The state goes first on teardown,
// after any capture completions still running on their own threads.
class AppStateHarness {
 public:
  ~AppStateHarness() {
    fakes.capture.joinCompletionThreads();
    appState.reset();
  }

  // The movie display (id 1) directly above the light display (id 2), both
  // with platform screens, both shareable.
  void useStackedDisplays() {
    fakes.displays.displays = {onlineDisplay(kTopDisplay, kTopBounds, "Top"),
                               onlineDisplay(kBottomDisplay, kBottomBounds, "Bottom")};
    fakes.screens.list = {screenFor(kTopDisplay, kTopBounds), screenFor(kBottomDisplay, kBottomBounds)};
    fakes.capture.shareableDisplays = {kTopDisplay, kBottomDisplay};
  }

  AppState& create() {
    appState = std::make_unique<AppState>(fakes.platform);
    return *appState;
  }

  // start() and everything it leaves on the main queue (the capture answers
  // inside the call unless the backend completes asynchronously).
  void startAndSettle() {
    appState->start();
    fakes.capture.joinCompletionThreads();
    fakes.mainQueue.runPending();
  }

  FakeAppPlatform fakes;
  std::unique_ptr<AppState> appState;
};

}  // namespace tarvelo::testing
