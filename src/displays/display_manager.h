#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "displays/display_info.h"
#include "displays/display_source.h"
#include "support/main_queue.h"

namespace tarvelo {

// Enumerates the online displays and tells its owner when the configuration
// changes. It keeps no list of its own: every query asks the source afresh.
class DisplayManager {
 public:
  static constexpr std::size_t kMaxDisplays = 8;

  // Registers for reconfiguration notices; destruction unregisters.
  DisplayManager(DisplaySource& source, MainQueue& mainQueue);
  ~DisplayManager();

  DisplayManager(const DisplayManager&) = delete;
  DisplayManager& operator=(const DisplayManager&) = delete;

  // The first kMaxDisplays online displays, in the platform's enumeration order.
  std::vector<DisplayInfo> discoverDisplays();

  // Runs on the main thread, once per reconfiguration notice that ends a change.
  std::function<void()> onDisplaysChanged;

 private:
  struct NoticeContext;

  static void displayReconfigCallback(std::uint32_t flags, const std::weak_ptr<NoticeContext>& context,
                                      MainQueue& mainQueue);

  DisplaySource& source_;
  std::shared_ptr<NoticeContext> noticeContext_;
};

}  // namespace tarvelo
