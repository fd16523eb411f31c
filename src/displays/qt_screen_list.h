#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/app_platform.h"
#include "displays/display_info.h"
#include "output/output_platform.h"

class QScreen;

namespace tarvelo {

// The application's QScreens, each tied to the display id its platform gives
// it: on X11 the RandR output of the screen's name, on Wayland the id derived
// from the output's identity. Needs a QGuiApplication; call on its thread.
class QtScreenList final : public ScreenList {
 public:
  using DisplayIdForScreen = std::function<std::optional<DisplayId>(const QScreen& screen)>;
  using OutputIdForName = std::function<std::optional<DisplayId>(const std::string& outputName)>;

  explicit QtScreenList(DisplayIdForScreen displayIdForScreen);
  // For platforms whose screens are named after the outputs showing them.
  explicit QtScreenList(const OutputIdForName& outputIdForName);

  // In QGuiApplication::screens() order. A screen the platform gives no id
  // carries no display number; an unnamed model falls back to the output name.
  std::vector<Screen> screens() override;

 private:
  DisplayIdForScreen displayIdForScreen_;
};

}  // namespace tarvelo
