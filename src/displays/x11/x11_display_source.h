#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "displays/display_identity.h"
#include "displays/display_source.h"

struct xcb_connection_t;

namespace tarvelo {

// The monitor's model as its EDID names it: the text of the display-product-name
// descriptor (tag 0xFC) of the 128-byte base block, up to its line feed, without
// surrounding blanks. Absent when the block is short, is not an EDID, or carries
// no such descriptor (or an empty one).
std::optional<std::string> edidProductName(std::span<const std::uint8_t> edid);

// The displays of an X server, one per active RandR output (connected, driven by
// a CRTC with a mode). Display ids are RandR output ids.
//
// A server without RandR 1.2 cannot tell its monitors apart: its one core
// screen is then the one display, with the root window's id, and no notices
// ever come.
class X11DisplaySource final : public DisplaySource {
 public:
  // Connects to `displayName`, or to $DISPLAY when absent. Throws
  // std::runtime_error with a one-line reason when the server cannot be reached.
  explicit X11DisplaySource(const std::optional<std::string>& displayName = std::nullopt);
  ~X11DisplaySource() override;

  X11DisplaySource(const X11DisplaySource&) = delete;
  X11DisplaySource& operator=(const X11DisplaySource&) = delete;

  // In the order of the screen resources' output list. Outputs that vanish
  // while being asked about are left out; a lost server yields an empty list.
  std::vector<OnlineDisplay> onlineDisplays() override;

  // The handler runs on the source's notice thread, once per RandR screen,
  // output or CRTC change, with the output id (0 for screen and CRTC changes)
  // and flags 0: X reports changes only after they happen. Once this returns,
  // a replaced handler is never called again. The handler must not destroy
  // the source.
  void setReconfigurationHandler(ReconfigurationHandler handler) override;

  // The RandR output called `outputName` (connected or not), if there is one.
  // Without RandR, the core screen's id whatever the name: the server shows a
  // single screen, and every screen Qt lists is that one.
  std::optional<DisplayId> outputIdForName(const std::string& outputName);

 private:
  struct Atoms {
    std::uint32_t connectorType = 0;
    std::uint32_t panel = 0;
    std::uint32_t edid = 0;
  };

  void watchNotices();
  void deliverNotice(DisplayId display);

  // Queries and notices use separate connections: a reply read on the query
  // connection would otherwise pull pending events off the socket, leaving
  // the notice thread asleep in poll() with events queued.
  xcb_connection_t* queries_ = nullptr;
  xcb_connection_t* notices_ = nullptr;
  std::uint32_t queryRoot_ = 0;
  bool hasCurrentResources_ = false;  // RandR 1.3: resources without re-probing outputs
  std::uint8_t randrEventBase_ = 0;   // on the notice connection
  Atoms atoms_;
  std::optional<OnlineDisplay> coreScreen_;  // present when the server has no RandR

  int wakeFd_ = -1;
  std::atomic<bool> stopping_{false};

  // Held while a handler runs, so replacing it waits for a delivery in progress;
  // recursive so the handler may replace itself.
  std::recursive_mutex handlerMutex_;
  ReconfigurationHandler handler_;

  std::thread noticeThread_;
};

}  // namespace tarvelo
