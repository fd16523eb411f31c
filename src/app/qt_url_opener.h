#pragma once

#include <string>

#include "app/app_platform.h"

namespace tarvelo {

// Opens a URL with the desktop's handler for its scheme (through
// QDesktopServices; needs a QGuiApplication). Failures are silent, as the
// caller has nothing to do about them.
class QtUrlOpener final : public UrlOpener {
 public:
  void open(const std::string& url) override;
};

}  // namespace tarvelo
