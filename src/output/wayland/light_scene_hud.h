#pragma once

#include <QRect>
#include <functional>
#include <optional>

#include "output/output_platform.h"
#include "output/hud_view.h"

class QQmlEngine;
class QQuickItem;

namespace tarvelo {

class AppState;

// The HUD as an item of the full-screen light's own Qt Quick scene (on a
// compositor without a layer shell): no window of its own, which Wayland
// would not let us place, and the pointer reaches it as it reaches the light.
// A HUD faded to nothing is hidden, so it takes no clicks. Shown at alpha 1
// when constructed.
class LightSceneHud final : public HudWindow {
 public:
  // Over everything else in `scene` (the light window's content item), at
  // `frame` of it. The view is made by `viewEngine`, which must outlive this.
  LightSceneHud(QQuickItem& scene, const QRect& frame, AppState& appState, QQmlEngine& viewEngine,
                std::function<void()> onDismiss);
  ~LightSceneHud() override;

  LightSceneHud(const LightSceneHud&) = delete;
  LightSceneHud& operator=(const LightSceneHud&) = delete;

  void animateAlpha(double alpha, std::optional<double> durationSeconds) override;
  double alpha() const override;
  void orderOut() override;

  QQuickItem& hudView() { return hud_.item(); }

 private:
  HudView hud_;
};

}  // namespace tarvelo
