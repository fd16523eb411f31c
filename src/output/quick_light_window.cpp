#include "output/quick_light_window.h"

#include <QQuickItem>

#include "output/ambient_gradient_view.h"

namespace tarvelo {

QuickLightWindow::QuickLightWindow()
    : window_(std::make_unique<QQuickWindow>()), view_(std::make_unique<AmbientGradientView>()) {
  window_->setColor(Qt::black);
  // How --verbose finds the light among the program's windows to count its frames.
  window_->setObjectName(QStringLiteral("tarvelo-light"));
  view_->setParentItem(window_->contentItem());
  view_->setSize(window_->size());
  QObject::connect(window_.get(), &QWindow::widthChanged, view_.get(), [this](int width) { view_->setWidth(width); });
  QObject::connect(window_.get(), &QWindow::heightChanged, view_.get(),
                   [this](int height) { view_->setHeight(height); });
}

QuickLightWindow::~QuickLightWindow() = default;

LightView* QuickLightWindow::view() { return view_.get(); }

void QuickLightWindow::orderOut() { window_->hide(); }

}  // namespace tarvelo
