#include "displays/display_manager.h"

#include <algorithm>
#include <utility>

namespace tarvelo {

namespace {

DisplayInfo describeDisplay(const OnlineDisplay& display) {
  // A built-in panel is always called by its role, never by the screen's own name.
  std::string name = display.isBuiltin ? "Built-in Display" : display.localizedName.value_or("External Display");
  return DisplayInfo{display.id, std::move(name), display.pixelWidth, display.pixelHeight, display.isBuiltin,
                     display.bounds};
}

}  // namespace

// Notices are answered on the main thread, possibly after the manager is gone;
// jobs reach it only through a weak reference to this, which the manager owns.
struct DisplayManager::NoticeContext {
  DisplayManager* manager;
};

DisplayManager::DisplayManager(DisplaySource& source, MainQueue& mainQueue)
    : source_(source), noticeContext_(std::make_shared<NoticeContext>(NoticeContext{this})) {
  std::weak_ptr<NoticeContext> context = noticeContext_;
  source_.setReconfigurationHandler([context, &mainQueue](DisplayId, std::uint32_t flags) {
    displayReconfigCallback(flags, context, mainQueue);
  });
}

DisplayManager::~DisplayManager() { source_.setReconfigurationHandler({}); }

std::vector<DisplayInfo> DisplayManager::discoverDisplays() {
  const std::vector<OnlineDisplay> online = source_.onlineDisplays();
  const std::size_t count = std::min(online.size(), kMaxDisplays);
  std::vector<DisplayInfo> displays;
  displays.reserve(count);
  for (std::size_t i = 0; i < count; ++i) displays.push_back(describeDisplay(online[i]));
  return displays;
}

// May run on any thread: it only hands the work to the main queue. Every
// notice gets its own job, so one change can refresh several times in a row.
void DisplayManager::displayReconfigCallback(std::uint32_t flags, const std::weak_ptr<NoticeContext>& context,
                                             MainQueue& mainQueue) {
  if ((flags & DisplaySource::kBeginConfigurationFlag) != 0) return;
  mainQueue.post([context] {
    const std::shared_ptr<NoticeContext> live = context.lock();
    if (!live) return;
    if (live->manager->onDisplaysChanged) live->manager->onDisplaysChanged();
  });
}

}  // namespace tarvelo
