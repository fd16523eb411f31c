#include "output/hud_view.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QString>
#include <QVariantMap>
#include <cmath>
#include <utility>

#include "support/fatal_error.h"
#include "ui/ui_resources.h"

namespace tarvelo {

HudView::HudView(QQmlEngine& engine, QObject& appState, std::function<void()> onDismiss)
    : onDismiss_(std::move(onDismiss)) {
  QQmlComponent component(&engine, ui::floatingHudViewUrl());
  QObject* made =
      component.createWithInitialProperties({{QStringLiteral("appState"), QVariant::fromValue(&appState)}});
  item_.reset(qobject_cast<QQuickItem*>(made));
  if (!item_) {
    delete made;
    QString reasons;
    for (const QQmlError& error : component.errors()) reasons += QLatin1Char('\n') + error.toString();
    fatalError("The HUD view did not load:" + reasons.toStdString());
  }
  QQmlEngine::setObjectOwnership(item_.get(), QQmlEngine::CppOwnership);
  connect(item_.get(), SIGNAL(dismiss()), this, SLOT(dismissRequested()));
  fade_ = std::make_unique<QPropertyAnimation>(item_.get(), "opacity");
  connect(fade_.get(), &QPropertyAnimation::finished, this, &HudView::fadeFinished);
}

HudView::~HudView() { fade_.reset(); }

void HudView::animateAlpha(double alpha, std::optional<double> durationSeconds) {
  fade_->stop();
  const double seconds = durationSeconds.value_or(kDefaultFadeSeconds);
  if (!(seconds > 0.0)) {
    item_->setOpacity(alpha);
    fadeFinished();
    return;
  }
  fade_->setStartValue(item_->opacity());
  fade_->setEndValue(alpha);
  fade_->setDuration(static_cast<int>(std::lround(seconds * 1000.0)));
  fade_->start();
}

void HudView::dismissRequested() {
  if (onDismiss_) onDismiss_();
}

void HudView::fadeFinished() {
  if (item_->opacity() <= 0.0 && onFadedOut) onFadedOut();
}

}  // namespace tarvelo
