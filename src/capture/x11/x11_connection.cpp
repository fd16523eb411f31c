#include "capture/x11/x11_connection.h"

#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/render.h>
#include <xcb/shm.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "support/x11/xcb_reply.h"

namespace tarvelo {

namespace {

std::string labelFor(const std::optional<std::string>& displayName) {
  if (displayName) return "\"" + *displayName + "\"";
  const char* environment = std::getenv("DISPLAY");
  if (environment == nullptr || *environment == '\0') return "(DISPLAY is not set)";
  return "\"" + std::string(environment) + "\"";
}

// What xcb_connection_has_error's codes mean, for a person reading the message.
std::string describeConnectionError(int error) {
  switch (error) {
    case XCB_CONN_ERROR:
      return "the connection failed";
    case XCB_CONN_CLOSED_EXT_NOTSUPPORTED:
      return "an extension is not supported";
    case XCB_CONN_CLOSED_MEM_INSUFFICIENT:
      return "out of memory";
    case XCB_CONN_CLOSED_REQ_LEN_EXCEED:
      return "a request was too long";
    case XCB_CONN_CLOSED_PARSE_ERR:
      return "the display name could not be parsed";
    case XCB_CONN_CLOSED_INVALID_SCREEN:
      return "the display has no such screen";
    default:
      return "error " + std::to_string(error);
  }
}

}  // namespace

X11Connection::X11Connection(const std::optional<std::string>& displayName) : displayLabel_(labelFor(displayName)) {
  int screenNumber = 0;
  connection_ = xcb_connect(displayName ? displayName->c_str() : nullptr, &screenNumber);
  if (const int error = xcb_connection_has_error(connection_); error != 0) {
    xcb_disconnect(connection_);
    connection_ = nullptr;
    throw std::runtime_error("Cannot connect to the X server " + displayLabel_ + ": " +
                             describeConnectionError(error) + ".");
  }
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
  for (int index = 0; screens.rem > 0 && index < screenNumber; ++index) xcb_screen_next(&screens);
  if (screens.rem == 0) {
    xcb_disconnect(connection_);
    connection_ = nullptr;
    throw std::runtime_error("The X server " + displayLabel_ + " has no screen " + std::to_string(screenNumber) + ".");
  }
  screen_ = screens.data;
  try {
    requireExtensions();
  } catch (...) {
    xcb_disconnect(connection_);
    connection_ = nullptr;
    throw;
  }
}

X11Connection::~X11Connection() {
  if (connection_ != nullptr) xcb_disconnect(connection_);
}

bool X11Connection::hasFailed() const { return xcb_connection_has_error(connection_) != 0; }

void X11Connection::requireExtensions() {
  const auto missing = [this](const std::string& extension, const std::string& purpose) {
    return std::runtime_error("The X server " + displayLabel_ + " lacks the " + extension +
                              " extension, which screen capture needs " + purpose + ".");
  };
  // Ask for every extension first, so their answers travel in one round trip.
  xcb_prefetch_extension_data(connection_, &xcb_randr_id);
  xcb_prefetch_extension_data(connection_, &xcb_render_id);
  xcb_prefetch_extension_data(connection_, &xcb_shm_id);
  xcb_prefetch_extension_data(connection_, &xcb_damage_id);

  const xcb_query_extension_reply_t* randr = xcb_get_extension_data(connection_, &xcb_randr_id);
  if (randr == nullptr || !randr->present) throw missing("RANDR", "to find the displays");
  const xcb_query_extension_reply_t* render = xcb_get_extension_data(connection_, &xcb_render_id);
  if (render == nullptr || !render->present) throw missing("RENDER", "to scale the screen");
  const xcb_query_extension_reply_t* shm = xcb_get_extension_data(connection_, &xcb_shm_id);
  if (shm == nullptr || !shm->present) throw missing("MIT-SHM", "to read pixels back");
  const xcb_query_extension_reply_t* damage = xcb_get_extension_data(connection_, &xcb_damage_id);
  if (damage == nullptr || !damage->present) throw missing("DAMAGE", "to notice changes");
  randrEventBase_ = randr->first_event;
  damageEventBase_ = damage->first_event;

  // The servers want each client to state the versions it speaks before use.
  const xcb_randr_query_version_cookie_t randrCookie = xcb_randr_query_version(connection_, 1, 5);
  const xcb_render_query_version_cookie_t renderCookie = xcb_render_query_version(connection_, 0, 11);
  const xcb_shm_query_version_cookie_t shmCookie = xcb_shm_query_version(connection_);
  const xcb_damage_query_version_cookie_t damageCookie = xcb_damage_query_version(connection_, 1, 1);
  const XcbReply<xcb_randr_query_version_reply_t> randrVersion(
      xcb_randr_query_version_reply(connection_, randrCookie, nullptr));
  const XcbReply<xcb_render_query_version_reply_t> renderVersion(
      xcb_render_query_version_reply(connection_, renderCookie, nullptr));
  const XcbReply<xcb_shm_query_version_reply_t> shmVersion(xcb_shm_query_version_reply(connection_, shmCookie, nullptr));
  const XcbReply<xcb_damage_query_version_reply_t> damageVersion(
      xcb_damage_query_version_reply(connection_, damageCookie, nullptr));
  // Screen resources of the current configuration came with RandR 1.3,
  // picture transforms and filters with Render 0.6.
  if (!randrVersion || randrVersion->major_version < 1 ||
      (randrVersion->major_version == 1 && randrVersion->minor_version < 3)) {
    throw missing("RANDR 1.3", "to find the displays");
  }
  if (!renderVersion || (renderVersion->major_version == 0 && renderVersion->minor_version < 6)) {
    throw missing("RENDER 0.6", "to scale the screen");
  }
  if (!shmVersion) throw missing("MIT-SHM", "to read pixels back");
  if (!damageVersion || damageVersion->major_version < 1) throw missing("DAMAGE 1.0", "to notice changes");
}

}  // namespace tarvelo
