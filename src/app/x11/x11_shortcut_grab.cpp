#include "app/x11/x11_shortcut_grab.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "support/x11/xcb_reply.h"

namespace tarvelo {

namespace {

// Sends every grab first and collects the answers afterwards, so the whole set
// costs one round trip. A refused grab (BadAccess: another client holds the
// combination) is left out.
std::vector<X11KeyGrab> grabWhatIsFree(xcb_connection_t* connection, xcb_window_t root) {
  const std::vector<X11KeyGrab> wanted = shortcutKeyGrabs();
  std::vector<xcb_void_cookie_t> cookies;
  cookies.reserve(wanted.size());
  for (const X11KeyGrab& grab : wanted) {
    // Not owner-events: the key goes to the grab connection, which owns no windows.
    cookies.push_back(xcb_grab_key_checked(connection, 0, root, grab.modifiers, grab.keycode, XCB_GRAB_MODE_ASYNC,
                                           XCB_GRAB_MODE_ASYNC));
  }
  std::vector<X11KeyGrab> held;
  for (std::size_t index = 0; index < wanted.size(); ++index) {
    XcbReply<xcb_generic_error_t> error(xcb_request_check(connection, cookies[index]));
    if (!error) held.push_back(wanted[index]);
  }
  return held;
}

}  // namespace

std::unique_ptr<X11ShortcutGrab> X11ShortcutGrab::start(std::function<void(const KeyEvent&)> handler) {
  int screenNumber = 0;
  xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
  if (xcb_connection_has_error(connection) != 0) {
    xcb_disconnect(connection);
    return nullptr;
  }
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (int skipped = 0; skipped < screenNumber && screens.rem > 1; ++skipped) xcb_screen_next(&screens);
  const xcb_window_t root = screens.data->root;

  std::vector<X11KeyGrab> held = grabWhatIsFree(connection, root);
  if (held.empty()) {
    xcb_disconnect(connection);
    return nullptr;
  }
  const int stopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (stopEvent < 0) {
    // Closing the connection releases the grabs it holds.
    xcb_disconnect(connection);
    return nullptr;
  }
  return std::unique_ptr<X11ShortcutGrab>(
      new X11ShortcutGrab(connection, root, std::move(held), stopEvent, std::move(handler)));
}

X11ShortcutGrab::X11ShortcutGrab(xcb_connection_t* connection, std::uint32_t root, std::vector<X11KeyGrab> heldGrabs,
                                 int stopEvent, std::function<void(const KeyEvent&)> handler)
    : connection_(connection),
      root_(root),
      heldGrabs_(std::move(heldGrabs)),
      stopEvent_(stopEvent),
      handler_(std::move(handler)),
      listener_([this] { listen(); }) {}

X11ShortcutGrab::~X11ShortcutGrab() {
  const std::uint64_t one = 1;
  // An eventfd write of 8 bytes cannot come up short; it only fails if the
  // counter were about to overflow, and one write per life never gets there.
  [[maybe_unused]] const ssize_t written = write(stopEvent_, &one, sizeof one);
  listener_.join();
  close(stopEvent_);

  for (const X11KeyGrab& grab : heldGrabs_) xcb_ungrab_key(connection_, grab.keycode, root_, grab.modifiers);
  // A reply means the server has handled the ungrabs before it: another client
  // may take the keys as soon as we return.
  XcbReply<xcb_get_input_focus_reply_t> focus(
      xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
  xcb_disconnect(connection_);
}

void X11ShortcutGrab::listen() {
  pthread_setname_np(pthread_self(), "tarvelo-keys");
  const int serverSocket = xcb_get_file_descriptor(connection_);
  for (;;) {
    // Events already read into xcb's buffer would not wake poll(): drain first.
    while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
      if ((event->response_type & 0x7F) != XCB_KEY_PRESS) continue;
      const auto* press = reinterpret_cast<const xcb_key_press_event_t*>(event.get());
      if (const std::optional<KeyEvent> key = keyEventFromX11(press->detail, press->state)) handler_(*key);
    }
    // The server went away: nothing more will come.
    if (xcb_connection_has_error(connection_) != 0) return;

    pollfd sources[2] = {{serverSocket, POLLIN, 0}, {stopEvent_, POLLIN, 0}};
    if (poll(sources, 2, -1) < 0 && errno != EINTR) return;
    if ((sources[1].revents & POLLIN) != 0) return;
  }
}

}  // namespace tarvelo
