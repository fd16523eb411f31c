#include "output/wayland/light_scene_hud.h"

#include <QQuickItem>
#include <utility>

#include "app/app_state.h"

namespace tarvelo {

LightSceneHud::LightSceneHud(QQuickItem& scene, const QRect& frame, AppState& appState, QQmlEngine& viewEngine,
                             std::function<void()> onDismiss)
    : hud_(viewEngine, appState, std::move(onDismiss)) {
  QQuickItem& item = hud_.item();
  item.setParentItem(&scene);
  item.setZ(1.0);
  item.setPosition(frame.topLeft());
  item.setSize(frame.size());
  hud_.onFadedOut = [&item] { item.setVisible(false); };
}

LightSceneHud::~LightSceneHud() {
  hud_.stopFading();
  hud_.item().setParentItem(nullptr);
}

void LightSceneHud::animateAlpha(double alpha, std::optional<double> durationSeconds) {
  if (alpha > 0.0) hud_.item().setVisible(true);
  hud_.animateAlpha(alpha, durationSeconds);
}

double LightSceneHud::alpha() const { return hud_.alpha(); }

void LightSceneHud::orderOut() {
  hud_.stopFading();
  hud_.item().setVisible(false);
}

}  // namespace tarvelo
