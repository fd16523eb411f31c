#pragma once

#include <QTimer>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

#include "output/ambient_gradient_model.h"
#include "output/glide_frames.h"
#include "output/light_color_transition.h"

namespace tarvelo {

// Moves a light's colours along their glide and says when to draw: new
// colours are drawn at once, already on their way, and the glide's later
// frames follow at an even pace over AmbientGradientModel::kColorAnimationSeconds.
// Under a maximum frame rate the later frames are paced (a frame beyond the
// capture's rate shows no newer light, and without a GPU each one is a
// full-screen copy), but the first frame of new colours is never held back
// (see GlideFrames).
//
// Each later frame is one timer wake-up at the time it is due, and nothing
// runs between frames: the light's colours change with every captured frame,
// so a glide is nearly always under way, and an animation ticking at the
// display's rate would wake the program twice per frame it draws.
//
// Main thread only: it runs on the thread's Qt event loop.
class LightGlide {
 public:
  using Clock = std::chrono::steady_clock;
  // Where the glide reads the time.
  using TimeSource = std::function<Clock::time_point()>;

  // `drawFrame` is called whenever the colours shown by `transition` have
  // moved and a frame should show them.
  LightGlide(LightColorTransition& transition, std::function<void()> drawFrame);

  LightGlide(const LightGlide&) = delete;
  LightGlide& operator=(const LightGlide&) = delete;

  // At most `framesPerSecond` frames a second while a glide moves on (and two
  // frames per glide at least); zero or less draws a frame per 60 Hz refresh.
  void setMaximumFrameRate(std::int64_t framesPerSecond);

  // For renderings whose frames must not depend on how fast they were drawn:
  // the glide reads this clock, which is moved by hand, and frames falling
  // due on it are drawn by drawDueFrame(), not by a timer.
  void driveByHand(TimeSource now);
  void drawDueFrame();

  // Starts gliding to the model's colours and draws the first frame. When
  // they are the colours shown already (a still picture), a glide under way
  // stops and nothing is drawn. True when a frame was drawn.
  bool glideTo(const AmbientGradientModel& model);

  bool isGliding() const { return start_.has_value(); }

 private:
  // Shows the glide as it stands at `now` and draws it.
  void drawAt(Clock::time_point now);
  // When the frame after the last one may be drawn (under the cap) and when
  // the timer wakes for it.
  Clock::time_point nextFrameAllowed() const;
  Clock::time_point nextWakeUp() const;
  void startFrameTimer(Clock::time_point now);
  Clock::time_point now() const { return timeSource_ ? timeSource_() : Clock::now(); }

  LightColorTransition& transition_;
  std::function<void()> drawFrame_;
  GlideFrames glideFrames_;
  TimeSource timeSource_;
  // When the glide under way started; none once it has drawn its last frame.
  std::optional<Clock::time_point> start_;
  Clock::time_point lastFrame_;
  QTimer frameTimer_;
};

}  // namespace tarvelo
