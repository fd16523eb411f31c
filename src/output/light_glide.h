#pragma once

#include <QTimer>
#include <QVariantAnimation>

#include <chrono>
#include <cstdint>
#include <functional>

#include "output/ambient_gradient_model.h"
#include "output/glide_frames.h"
#include "output/light_color_transition.h"
#include "support/change_pacer.h"

namespace tarvelo {

// Moves a light's colours along their glide and says when to draw: new
// colours are drawn at once, already on their way, and the glide's later
// frames follow at an even pace over AmbientGradientModel::kColorAnimationSeconds.
// Under a maximum frame rate the later frames are paced (a frame beyond the
// capture's rate shows no newer light, and without a GPU each one is a
// full-screen copy), but the first frame of new colours is never held back
// (see GlideFrames). Requests that come too soon are drawn late, never
// dropped.
//
// Main thread only: it runs on the thread's Qt event loop.
class LightGlide {
 public:
  // `drawFrame` is called whenever the colours shown by `transition` have
  // moved and a frame should show them.
  LightGlide(LightColorTransition& transition, std::function<void()> drawFrame);

  LightGlide(const LightGlide&) = delete;
  LightGlide& operator=(const LightGlide&) = delete;

  // At most `framesPerSecond` frames a second while a glide moves on (and two
  // frames per glide at least); zero or less draws as often as there is
  // something new to show.
  void setMaximumFrameRate(std::int64_t framesPerSecond);

  // Starts gliding to the model's colours and draws the first frame. When
  // they are the colours shown already (a still picture), a glide under way
  // stops and nothing is drawn. True when a frame was drawn.
  bool glideTo(const AmbientGradientModel& model);

  bool isGliding() const { return animation_.state() == QAbstractAnimation::Running; }

 private:
  void showProgress(double progress);
  // Asks for a frame now, or when the frame rate allows.
  void requestFrame();
  // Draws now, whatever the pacer says, covering every change so far.
  void drawAt(ChangePacer::Clock::time_point now);

  LightColorTransition& transition_;
  std::function<void()> drawFrame_;
  QVariantAnimation animation_;
  GlideFrames glideFrames_;
  ChangePacer framePacer_{std::chrono::nanoseconds(0)};
  QTimer deferredFrame_;
};

}  // namespace tarvelo
