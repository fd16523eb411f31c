#pragma once

#include <QColor>
#include <QRasterWindow>

namespace tarvelo::testing {

// An ordinary application window that paints itself one colour and counts the
// mouse presses it receives: what lies below the program's overlays.
class ClickRecorderWindow final : public QRasterWindow {
 public:
  explicit ClickRecorderWindow(QColor color) : color_(color) {}

  int presses() const { return presses_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  QColor color_;
  int presses_ = 0;
};

}  // namespace tarvelo::testing
