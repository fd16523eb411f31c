#include "capture/x11/x11_screen_watcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/randr.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "capture/x11/x11_outputs.h"

namespace tarvelo {

X11ScreenWatcher::X11ScreenWatcher(const std::optional<std::string>& displayName) : connection_(displayName) {
  xcb_connection_t* c = connection_.get();
  wakeDescriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeDescriptor_ < 0) {
    throw std::runtime_error(std::string("Cannot create a wake-up channel for screen capture: ") +
                             std::strerror(errno) + ".");
  }
  // Raw rectangles: one report per drawing operation and no damage region kept
  // on the server, so nothing has to be acknowledged between frames.
  damage_ = xcb_generate_id(c);
  const xcb_void_cookie_t damageCookie =
      xcb_damage_create_checked(c, damage_, connection_.root(), XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
  const xcb_void_cookie_t randrCookie = xcb_randr_select_input_checked(
      c, connection_.root(),
      XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
  xcb_generic_error_t* damageError = xcb_request_check(c, damageCookie);
  xcb_generic_error_t* randrError = xcb_request_check(c, randrCookie);
  const bool failed = damageError != nullptr || randrError != nullptr || connection_.hasFailed();
  std::free(damageError);
  std::free(randrError);
  if (failed) {
    close(wakeDescriptor_);
    throw std::runtime_error("The X server refused to report screen changes.");
  }
  // A new damage object reports the whole window as damaged at once. The
  // stream's first frame, which always comes, covers that; it arrived before
  // the checks' round trip ended, so it is already queued here.
  while (xcb_generic_event_t* event = xcb_poll_for_queued_event(c)) std::free(event);
}

X11ScreenWatcher::~X11ScreenWatcher() {
  xcb_damage_destroy(connection_.get(), damage_);
  xcb_flush(connection_.get());
  close(wakeDescriptor_);
}

void X11ScreenWatcher::wake() {
  const std::uint64_t one = 1;
  // A full counter already means a pending wake-up, so a failed write loses nothing.
  [[maybe_unused]] const ssize_t written = write(wakeDescriptor_, &one, sizeof one);
}

std::optional<PixelRect> X11ScreenWatcher::outputRectangle(DisplayId output) {
  return activeOutputRectangle(connection_.get(), connection_.root(), output);
}

void X11ScreenWatcher::collectEvents(const PixelRect& watched, ScreenChanges& changes) {
  xcb_connection_t* c = connection_.get();
  const std::uint8_t damageNotify = connection_.damageEventBase() + XCB_DAMAGE_NOTIFY;
  const std::uint8_t screenChangeNotify = connection_.randrEventBase() + XCB_RANDR_SCREEN_CHANGE_NOTIFY;
  const std::uint8_t randrNotify = connection_.randrEventBase() + XCB_RANDR_NOTIFY;
  while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == damageNotify) {
      const auto* notify = reinterpret_cast<const xcb_damage_notify_event_t*>(event);
      const PixelRect area{notify->area.x, notify->area.y, notify->area.width, notify->area.height};
      if (area.intersects(watched)) changes.changedInside = true;
    } else if (type == screenChangeNotify || type == randrNotify) {
      changes.outputsChanged = true;
    }
    std::free(event);
  }
  if (connection_.hasFailed()) changes.connectionLost = true;
}

ScreenChanges X11ScreenWatcher::wait(const PixelRect& watched, std::optional<Clock::time_point> deadline,
                                     ScreenNews news) {
  ScreenChanges changes;
  for (;;) {
    if (news == ScreenNews::now) collectEvents(watched, changes);
    if (changes.any()) return changes;

    timespec timeout{};
    timespec* timeoutPointer = nullptr;
    if (deadline) {
      const Clock::time_point now = Clock::now();
      if (*deadline <= now) return changes;
      const auto remaining = std::chrono::duration_cast<std::chrono::nanoseconds>(*deadline - now).count();
      timeout.tv_sec = static_cast<time_t>(remaining / 1'000'000'000);
      timeout.tv_nsec = static_cast<long>(remaining % 1'000'000'000);
      timeoutPointer = &timeout;
    }
    pollfd descriptors[2] = {{wakeDescriptor_, POLLIN, 0}, {xcb_get_file_descriptor(connection_.get()), POLLIN, 0}};
    const nfds_t descriptorCount = news == ScreenNews::now ? 2 : 1;
    const int ready = ppoll(descriptors, descriptorCount, timeoutPointer, nullptr);
    if (ready < 0 && errno != EINTR) {
      changes.connectionLost = true;
      return changes;
    }
    if ((descriptors[0].revents & POLLIN) != 0) {
      std::uint64_t count = 0;
      [[maybe_unused]] const ssize_t read_ = read(wakeDescriptor_, &count, sizeof count);
      changes.woken = true;
    }
    if ((descriptors[1].revents & (POLLERR | POLLHUP)) != 0) changes.connectionLost = true;
  }
}

}  // namespace tarvelo
