#pragma once

#include <QWindow>
#include <memory>
#include <optional>
#include <string>

#include "output/output_platform.h"

namespace tarvelo {

class PictureLightView;
class X11LightSurface;

// The full-screen light where there is no GPU: a plain window with the
// light's flags and hints (see prepareLightWindow), which X11LightSurface
// draws on directly, and PictureLightView colours. Shown when constructed.
class X11LightWindow final : public LightWindow {
 public:
  // Throws std::runtime_error (see X11LightSurface) when the server cannot
  // take the light's pictures this way.
  X11LightWindow(const DisplayRect& frame, QScreen* screen, const std::optional<std::string>& displayName);
  ~X11LightWindow() override;

  X11LightWindow(const X11LightWindow&) = delete;
  X11LightWindow& operator=(const X11LightWindow&) = delete;

  LightView* view() override;
  void orderOut() override;

  QWindow& window() { return window_; }
  PictureLightView& pictureView() { return *view_; }
  X11LightSurface& surface() { return *surface_; }

 private:
  // Tells the surface to draw again whatever the server has lost.
  class ExposedWindow final : public QWindow {
   public:
    explicit ExposedWindow(X11LightWindow& owner) : owner_(owner) {}

   protected:
    void exposeEvent(QExposeEvent* event) override;

   private:
    X11LightWindow& owner_;
  };

  // Destroyed in reverse: the view stops drawing before the surface goes,
  // and the surface before the window it draws on.
  ExposedWindow window_{*this};
  std::unique_ptr<X11LightSurface> surface_;
  std::unique_ptr<PictureLightView> view_;
};

}  // namespace tarvelo
