#include "output/click_recorder_window.h"

#include <QPainter>

namespace tarvelo::testing {

void ClickRecorderWindow::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.fillRect(QRect(QPoint(0, 0), size()), color_);
}

void ClickRecorderWindow::mousePressEvent(QMouseEvent* /*event*/) { ++presses_; }

}  // namespace tarvelo::testing
