#include "output/light_glide.h"

#include <QSignalBlocker>

#include <utility>

namespace tarvelo {

namespace {

constexpr std::chrono::nanoseconds kColorAnimation{
    static_cast<std::int64_t>(AmbientGradientModel::kColorAnimationSeconds * 1e9 + 0.5)};

}  // namespace

LightGlide::LightGlide(LightColorTransition& transition, std::function<void()> drawFrame)
    : transition_(transition), drawFrame_(std::move(drawFrame)) {
  // Colours glide at an even pace from the old to the new ones.
  animation_.setEndValue(1.0);
  animation_.setEasingCurve(QEasingCurve::Linear);
  setMaximumFrameRate(0);
  QObject::connect(&animation_, &QVariantAnimation::valueChanged, &animation_,
                   [this](const QVariant& progress) { showProgress(progress.toDouble()); });
  deferredFrame_.setSingleShot(true);
  deferredFrame_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&deferredFrame_, &QTimer::timeout, &deferredFrame_, [this] { requestFrame(); });
}

void LightGlide::setMaximumFrameRate(std::int64_t framesPerSecond) {
  glideFrames_ = glideFramesFor(framesPerSecond, kColorAnimation);
  framePacer_ = ChangePacer(glideFrames_.frameInterval);
  animation_.setStartValue(glideFrames_.firstProgress);
  const auto remainder = std::chrono::ceil<std::chrono::milliseconds>(glideFrames_.remainder);
  animation_.setDuration(static_cast<int>(remainder.count()));
}

bool LightGlide::glideTo(const AmbientGradientModel& model) {
  animation_.stop();
  if (!transition_.retarget(model)) return false;
  {
    // Starting announces the first progress; it is drawn below, once.
    const QSignalBlocker quiet(animation_);
    animation_.start();
  }
  transition_.setProgress(glideFrames_.firstProgress);
  // New colours are what the light is late with: their first frame is never
  // held back by the cap, only the glide's later frames are.
  drawAt(ChangePacer::Clock::now());
  return true;
}

void LightGlide::showProgress(double progress) {
  transition_.setProgress(progress);
  requestFrame();
}

void LightGlide::requestFrame() {
  framePacer_.noteChange();
  const ChangePacer::Clock::time_point now = ChangePacer::Clock::now();
  if (framePacer_.isDue(now)) {
    drawAt(now);
    return;
  }
  if (deferredFrame_.isActive()) return;
  if (const std::optional<ChangePacer::Clock::time_point> due = framePacer_.dueTime()) {
    deferredFrame_.start(std::chrono::ceil<std::chrono::milliseconds>(*due - now));
  }
}

void LightGlide::drawAt(ChangePacer::Clock::time_point now) {
  framePacer_.noteChange();
  deferredFrame_.stop();
  framePacer_.started(now);
  framePacer_.finished();  // the owner draws it; nothing to wait for
  drawFrame_();
}

}  // namespace tarvelo
