#include "output/x11/x11_mouse_monitor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "support/x11/xcb_reply.h"

namespace tarvelo {

namespace {

// Selects raw motion of every master pointer on the root window; false when
// the server has no XInput 2.
bool selectRawMotion(xcb_connection_t* connection, std::uint8_t& inputOpcode) {
  const xcb_query_extension_reply_t* input = xcb_get_extension_data(connection, &xcb_input_id);
  if (input == nullptr || !input->present) return false;
  // XI2 events reach only clients that announced the version they speak.
  const XcbReply<xcb_input_xi_query_version_reply_t> version(
      xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 0), nullptr));
  if (!version || version->major_version < 2) return false;

  struct {
    xcb_input_event_mask_t head;
    std::uint32_t bits;
  } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const XcbReply<xcb_generic_error_t> error(
      xcb_request_check(connection, xcb_input_xi_select_events_checked(connection, root, 1, &mask.head)));
  if (error) return false;
  inputOpcode = input->major_opcode;
  return true;
}

}  // namespace

std::unique_ptr<X11MouseMonitor> X11MouseMonitor::start(const std::optional<std::string>& displayName,
                                                        std::function<void()> onMove) {
  xcb_connection_t* connection = xcb_connect(displayName ? displayName->c_str() : nullptr, nullptr);
  std::uint8_t inputOpcode = 0;
  if (xcb_connection_has_error(connection) || !selectRawMotion(connection, inputOpcode)) {
    xcb_disconnect(connection);
    return nullptr;
  }
  const int wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeFd < 0) {
    xcb_disconnect(connection);
    return nullptr;
  }
  return std::unique_ptr<X11MouseMonitor>(new X11MouseMonitor(connection, inputOpcode, wakeFd, std::move(onMove)));
}

X11MouseMonitor::X11MouseMonitor(xcb_connection_t* connection, std::uint8_t inputOpcode, int wakeFd,
                                 std::function<void()> onMove)
    : connection_(connection), inputOpcode_(inputOpcode), wakeFd_(wakeFd), onMove_(std::move(onMove)) {
  thread_ = std::thread([this] { watch(); });
}

X11MouseMonitor::~X11MouseMonitor() {
  const std::uint64_t one = 1;
  // An eventfd write of 8 bytes cannot be short; if it failed the thread
  // could not be woken, which only a broken descriptor would cause.
  [[maybe_unused]] const ssize_t written = write(wakeFd_, &one, sizeof one);
  thread_.join();
  close(wakeFd_);
  xcb_disconnect(connection_);
}

void X11MouseMonitor::watch() {
  std::array<pollfd, 2> fds{pollfd{xcb_get_file_descriptor(connection_), POLLIN, 0}, pollfd{wakeFd_, POLLIN, 0}};
  for (;;) {
    // Drain first: events may already sit in xcb's queue, read off the socket
    // while an earlier reply was awaited, and poll() would not report them.
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
      const bool isRawMotion = (event->response_type & 0x7f) == XCB_GE_GENERIC &&
                               reinterpret_cast<xcb_ge_generic_event_t*>(event)->extension == inputOpcode_ &&
                               reinterpret_cast<xcb_ge_generic_event_t*>(event)->event_type == XCB_INPUT_RAW_MOTION;
      std::free(event);
      if (isRawMotion) onMove_();
    }
    // A lost server sends nothing more.
    if (xcb_connection_has_error(connection_)) return;
    if (poll(fds.data(), fds.size(), -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (fds[1].revents != 0) return;
  }
}

}  // namespace tarvelo
