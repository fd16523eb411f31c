#include "output/light_glide.h"

#include <algorithm>
#include <utility>

namespace tarvelo {

namespace {

constexpr std::chrono::nanoseconds kColorAnimation{
    static_cast<std::int64_t>(AmbientGradientModel::kColorAnimationSeconds * 1e9 + 0.5)};

// Without a cap, a frame per refresh of a 60 Hz display: more would not be seen.
constexpr std::chrono::nanoseconds kUncappedFrameInterval{std::chrono::seconds(1) / 60};

}  // namespace

LightGlide::LightGlide(LightColorTransition& transition, std::function<void()> drawFrame)
    : transition_(transition), drawFrame_(std::move(drawFrame)) {
  setMaximumFrameRate(0);
  frameTimer_.setSingleShot(true);
  frameTimer_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&frameTimer_, &QTimer::timeout, &frameTimer_, [this] { drawDueFrame(); });
}

void LightGlide::setMaximumFrameRate(std::int64_t framesPerSecond) {
  glideFrames_ = glideFramesFor(framesPerSecond, kColorAnimation);
}

void LightGlide::driveByHand(TimeSource now) {
  timeSource_ = std::move(now);
  frameTimer_.stop();
}

bool LightGlide::glideTo(const AmbientGradientModel& model) {
  if (!transition_.retarget(model)) {
    start_.reset();
    frameTimer_.stop();
    return false;
  }
  // New colours are what the light is late with: their first frame is never
  // held back by the cap, only the glide's later frames are.
  const Clock::time_point startedAt = now();
  start_ = startedAt;
  drawAt(startedAt);
  return true;
}

void LightGlide::drawDueFrame() {
  if (!start_) return;
  const Clock::time_point current = now();
  if (current > lastFrame_ && current >= nextFrameAllowed()) {
    drawAt(current);
  } else if (!timeSource_) {
    startFrameTimer(current);  // woke early
  }
}

void LightGlide::drawAt(Clock::time_point now) {
  lastFrame_ = now;
  const std::chrono::nanoseconds run = now - *start_;
  const double progress =
      run >= glideFrames_.remainder
          ? 1.0
          : glideFrames_.firstProgress + (1.0 - glideFrames_.firstProgress) * static_cast<double>(run.count()) /
                                             static_cast<double>(glideFrames_.remainder.count());
  transition_.setProgress(progress);
  if (progress >= 1.0) {
    start_.reset();
    frameTimer_.stop();
  } else if (!timeSource_) {
    startFrameTimer(now);
  }
  drawFrame_();
}

void LightGlide::startFrameTimer(Clock::time_point now) {
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(nextWakeUp() - now);
  frameTimer_.start(std::max(wait, std::chrono::milliseconds(0)));
}

LightGlide::Clock::time_point LightGlide::nextFrameAllowed() const { return lastFrame_ + glideFrames_.frameInterval; }

LightGlide::Clock::time_point LightGlide::nextWakeUp() const {
  if (glideFrames_.frameInterval > std::chrono::nanoseconds(0)) return nextFrameAllowed();
  // Uncapped, the glide's last frame comes as it ends, not a refresh after.
  return std::min(lastFrame_ + kUncappedFrameInterval, *start_ + glideFrames_.remainder);
}

}  // namespace tarvelo
