#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/app_platform.h"
#include "displays/display_info.h"
#include "output/output_platform.h"

namespace tarvelo {

class X11DisplaySource;

// The application's QScreens, each tied to its display id through the RandR
// output of the same name. Needs a QGuiApplication; call on its thread.
class QtScreenList final : public ScreenList {
 public:
  using OutputIdForName = std::function<std::optional<DisplayId>(const std::string& outputName)>;

  explicit QtScreenList(OutputIdForName outputIdForName);
  explicit QtScreenList(X11DisplaySource& displays);

  // In QGuiApplication::screens() order. A screen named after no output
  // carries no display number; an unnamed model falls back to the output name.
  std::vector<Screen> screens() override;

 private:
  OutputIdForName outputIdForName_;
};

}  // namespace tarvelo
