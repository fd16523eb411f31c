#include "displays/x11/x11_display_source.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "support/x11/xcb_reply.h"

namespace tarvelo {

namespace {

constexpr std::size_t kEdidBaseBlockSize = 128;
constexpr std::size_t kEdidFirstDescriptor = 54;
constexpr std::size_t kEdidDescriptorSize = 18;
constexpr std::size_t kEdidDescriptorCount = 4;
constexpr std::uint8_t kEdidProductNameTag = 0xFC;
constexpr std::size_t kEdidDescriptorTextOffset = 5;
constexpr std::uint8_t kEdidTextTerminator = 0x0A;
constexpr std::uint8_t kEdidHeader[8] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};

// Property lengths are counted in 32-bit units; the base block is all we read.
constexpr std::uint32_t kEdidBaseBlockLongs = kEdidBaseBlockSize / 4;

struct Disconnect {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

// Takes a reply, dropping any error that came instead of it: every caller
// treats "no answer" the same way, whatever the reason.
template <typename T, typename Cookie, typename Fetch>
XcbReply<T> take(xcb_connection_t* connection, Cookie cookie, Fetch fetch) {
  xcb_generic_error_t* error = nullptr;
  XcbReply<T> reply(fetch(connection, cookie, &error));
  std::free(error);
  return reply;
}

std::string requestedDisplay(const std::optional<std::string>& displayName) {
  if (displayName) return *displayName;
  const char* fromEnvironment = std::getenv("DISPLAY");
  return fromEnvironment != nullptr ? fromEnvironment : "";
}

std::string connectionFailure(const std::string& display, int error) {
  if (display.empty()) return "cannot connect to the X server: DISPLAY is not set";
  switch (error) {
    case XCB_CONN_CLOSED_PARSE_ERR:
      return "cannot connect to the X server: \"" + display + "\" is not a display name";
    case XCB_CONN_CLOSED_INVALID_SCREEN:
      return "cannot connect to the X server " + display + ": it has no such screen";
    default:
      return "cannot connect to the X server " + display;
  }
}

struct OpenedConnection {
  Connection connection;
  xcb_window_t root = XCB_NONE;
  const xcb_screen_t* screen = nullptr;  // in the connection's setup data
};

OpenedConnection connectTo(const std::optional<std::string>& displayName) {
  int screenNumber = 0;
  Connection connection(xcb_connect(displayName ? displayName->c_str() : nullptr, &screenNumber));
  if (const int error = xcb_connection_has_error(connection.get()); error != 0) {
    throw std::runtime_error(connectionFailure(requestedDisplay(displayName), error));
  }
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
  for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb_screen_next(&screens);
  if (screens.rem <= 0) {
    throw std::runtime_error(connectionFailure(requestedDisplay(displayName), XCB_CONN_CLOSED_INVALID_SCREEN));
  }
  return OpenedConnection{std::move(connection), screens.data->root, screens.data};
}

struct RandrVersion {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
};

// The server's RandR version when it speaks 1.2 or later (outputs and CRTCs);
// absent when it has no RandR, or one too old to list outputs.
std::optional<RandrVersion> findRandr(xcb_connection_t* connection) {
  const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_randr_id);
  if (extension == nullptr || extension->present == 0) return std::nullopt;
  const auto version = take<xcb_randr_query_version_reply_t>(
      connection, xcb_randr_query_version(connection, 1, 5), xcb_randr_query_version_reply);
  if (!version) return std::nullopt;
  const RandrVersion found{version->major_version, version->minor_version};
  if (found.major < 1 || (found.major == 1 && found.minor < 2)) return std::nullopt;
  return found;
}

std::uint8_t randrEventBase(xcb_connection_t* connection) {
  return xcb_get_extension_data(connection, &xcb_randr_id)->first_event;
}

struct ScreenResources {
  xcb_timestamp_t configTimestamp = XCB_CURRENT_TIME;
  std::vector<xcb_randr_output_t> outputs;
  std::vector<xcb_randr_mode_info_t> modes;
};

// Absent when the server is gone.
std::optional<ScreenResources> fetchScreenResources(xcb_connection_t* connection, xcb_window_t root,
                                                    bool current) {
  ScreenResources resources;
  if (current) {
    const auto reply = take<xcb_randr_get_screen_resources_current_reply_t>(
        connection, xcb_randr_get_screen_resources_current(connection, root),
        xcb_randr_get_screen_resources_current_reply);
    if (!reply) return std::nullopt;
    const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_current_outputs(reply.get());
    const xcb_randr_mode_info_t* modes = xcb_randr_get_screen_resources_current_modes(reply.get());
    resources.configTimestamp = reply->config_timestamp;
    resources.outputs.assign(outputs, outputs + reply->num_outputs);
    resources.modes.assign(modes, modes + reply->num_modes);
  } else {
    const auto reply = take<xcb_randr_get_screen_resources_reply_t>(
        connection, xcb_randr_get_screen_resources(connection, root), xcb_randr_get_screen_resources_reply);
    if (!reply) return std::nullopt;
    const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_outputs(reply.get());
    const xcb_randr_mode_info_t* modes = xcb_randr_get_screen_resources_modes(reply.get());
    resources.configTimestamp = reply->config_timestamp;
    resources.outputs.assign(outputs, outputs + reply->num_outputs);
    resources.modes.assign(modes, modes + reply->num_modes);
  }
  return resources;
}

// One reply per output, in list order; a null entry for an output that could
// not be described (it vanished, or the configuration moved under us).
std::vector<XcbReply<xcb_randr_get_output_info_reply_t>> fetchOutputInfos(xcb_connection_t* connection,
                                                                         const ScreenResources& resources) {
  std::vector<xcb_randr_get_output_info_cookie_t> cookies;
  cookies.reserve(resources.outputs.size());
  for (const xcb_randr_output_t output : resources.outputs) {
    cookies.push_back(xcb_randr_get_output_info(connection, output, resources.configTimestamp));
  }
  std::vector<XcbReply<xcb_randr_get_output_info_reply_t>> infos;
  infos.reserve(cookies.size());
  for (const auto& cookie : cookies) {
    auto info = take<xcb_randr_get_output_info_reply_t>(connection, cookie, xcb_randr_get_output_info_reply);
    if (info && info->status != XCB_RANDR_SET_CONFIG_SUCCESS) info.reset();
    infos.push_back(std::move(info));
  }
  return infos;
}

std::string outputName(const xcb_randr_get_output_info_reply_t& info) {
  const auto* bytes = xcb_randr_get_output_info_name(&info);
  return std::string(reinterpret_cast<const char*>(bytes),
                     static_cast<std::size_t>(xcb_randr_get_output_info_name_length(&info)));
}

xcb_randr_get_output_property_cookie_t requestProperty(xcb_connection_t* connection, xcb_randr_output_t output,
                                                       xcb_atom_t property, std::uint32_t longLength) {
  return xcb_randr_get_output_property(connection, output, property, XCB_GET_PROPERTY_TYPE_ANY, 0, longLength,
                                       0, 0);
}

std::optional<xcb_atom_t> atomProperty(xcb_connection_t* connection, xcb_randr_get_output_property_cookie_t cookie) {
  const auto reply =
      take<xcb_randr_get_output_property_reply_t>(connection, cookie, xcb_randr_get_output_property_reply);
  if (!reply || reply->type != XCB_ATOM_ATOM || reply->format != 32 || reply->num_items < 1) return std::nullopt;
  xcb_atom_t atom = XCB_NONE;
  std::memcpy(&atom, xcb_randr_get_output_property_data(reply.get()), sizeof atom);
  return atom;
}

std::vector<std::uint8_t> byteProperty(xcb_connection_t* connection, xcb_randr_get_output_property_cookie_t cookie) {
  const auto reply =
      take<xcb_randr_get_output_property_reply_t>(connection, cookie, xcb_randr_get_output_property_reply);
  if (!reply || reply->format != 8) return {};
  const std::uint8_t* data = xcb_randr_get_output_property_data(reply.get());
  return std::vector<std::uint8_t>(data, data + xcb_randr_get_output_property_data_length(reply.get()));
}

xcb_atom_t internAtom(xcb_connection_t* connection, xcb_intern_atom_cookie_t cookie) {
  const auto reply = take<xcb_intern_atom_reply_t>(connection, cookie, xcb_intern_atom_reply);
  return reply ? reply->atom : XCB_NONE;
}

xcb_intern_atom_cookie_t requestAtom(xcb_connection_t* connection, std::string_view name) {
  return xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
}

// Pixels of the CRTC's mode as the picture stands on screen: a quarter turn
// swaps width and height.
std::pair<std::int64_t, std::int64_t> modePixelSize(const ScreenResources& resources,
                                                    const xcb_randr_get_crtc_info_reply_t& crtc) {
  const auto mode = std::find_if(resources.modes.begin(), resources.modes.end(),
                                 [&](const xcb_randr_mode_info_t& candidate) { return candidate.id == crtc.mode; });
  // A mode missing from the list can only be a configuration that moved on
  // between the two replies; the CRTC's own size is already turned.
  if (mode == resources.modes.end()) return {crtc.width, crtc.height};
  const bool quarterTurn = (crtc.rotation & (XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270)) != 0;
  if (quarterTurn) return {mode->height, mode->width};
  return {mode->width, mode->height};
}

}  // namespace

std::optional<std::string> edidProductName(std::span<const std::uint8_t> edid) {
  if (edid.size() < kEdidBaseBlockSize) return std::nullopt;
  if (!std::equal(std::begin(kEdidHeader), std::end(kEdidHeader), edid.begin())) return std::nullopt;
  for (std::size_t index = 0; index < kEdidDescriptorCount; ++index) {
    const auto descriptor = edid.subspan(kEdidFirstDescriptor + index * kEdidDescriptorSize, kEdidDescriptorSize);
    // Detailed timings start with a non-zero pixel clock; display descriptors with 00 00 00 tag 00.
    const bool isDisplayDescriptor = descriptor[0] == 0 && descriptor[1] == 0 && descriptor[2] == 0;
    if (!isDisplayDescriptor || descriptor[3] != kEdidProductNameTag) continue;
    std::string text;
    for (const std::uint8_t byte : descriptor.subspan(kEdidDescriptorTextOffset)) {
      if (byte == kEdidTextTerminator || byte == 0x00) break;
      // The text is meant to be ASCII; anything else would not be a readable name.
      if (byte >= 0x20 && byte < 0x7F) text.push_back(static_cast<char>(byte));
    }
    const auto first = text.find_first_not_of(' ');
    if (first == std::string::npos) return std::nullopt;
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
  }
  return std::nullopt;
}

X11DisplaySource::X11DisplaySource(const std::optional<std::string>& displayName) {
  OpenedConnection queries = connectTo(displayName);
  const std::optional<RandrVersion> version = findRandr(queries.connection.get());
  if (!version) {
    // The core protocol still knows the screen: it is the one display, and
    // nothing tells us when it changes.
    const xcb_screen_t& screen = *queries.screen;
    coreScreen_ = OnlineDisplay{queries.root, screen.width_in_pixels, screen.height_in_pixels, false,
                                DisplayRect{0.0, 0.0, static_cast<double>(screen.width_in_pixels),
                                            static_cast<double>(screen.height_in_pixels)},
                                std::nullopt};
    queries_ = queries.connection.release();
    queryRoot_ = queries.root;
    return;
  }
  OpenedConnection notices = connectTo(displayName);
  if (!findRandr(notices.connection.get())) throw std::runtime_error("the X server's RandR extension does not answer");

  const auto connectorType = requestAtom(queries.connection.get(), "ConnectorType");
  const auto panel = requestAtom(queries.connection.get(), "Panel");
  const auto edid = requestAtom(queries.connection.get(), "EDID");
  atoms_.connectorType = internAtom(queries.connection.get(), connectorType);
  atoms_.panel = internAtom(queries.connection.get(), panel);
  atoms_.edid = internAtom(queries.connection.get(), edid);

  const std::uint16_t changes = XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE |
                                XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE;
  XcbReply<xcb_generic_error_t> refused(
      xcb_request_check(notices.connection.get(),
                        xcb_randr_select_input_checked(notices.connection.get(), notices.root, changes)));
  if (refused) throw std::runtime_error("the X server refuses to report display changes");

  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeFd_ < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot create the display notice wake-up");
  }

  queries_ = queries.connection.release();
  queryRoot_ = queries.root;
  hasCurrentResources_ = version->major > 1 || version->minor >= 3;
  notices_ = notices.connection.release();
  randrEventBase_ = randrEventBase(notices_);
  try {
    noticeThread_ = std::thread([this] { watchNotices(); });
  } catch (...) {
    close(wakeFd_);
    xcb_disconnect(notices_);
    xcb_disconnect(queries_);
    throw;
  }
}

X11DisplaySource::~X11DisplaySource() {
  if (noticeThread_.joinable()) {
    stopping_ = true;
    const std::uint64_t wake = 1;
    if (write(wakeFd_, &wake, sizeof wake) < 0) {
      // The counter cannot overflow from one write; nothing else can fail here.
    }
    noticeThread_.join();
    close(wakeFd_);
    xcb_disconnect(notices_);
  }
  xcb_disconnect(queries_);
}

std::vector<OnlineDisplay> X11DisplaySource::onlineDisplays() {
  if (coreScreen_) {
    if (xcb_connection_has_error(queries_) != 0) return {};
    return {*coreScreen_};
  }
  const std::optional<ScreenResources> resources = fetchScreenResources(queries_, queryRoot_, hasCurrentResources_);
  if (!resources) return {};
  const auto infos = fetchOutputInfos(queries_, *resources);

  struct Pending {
    xcb_randr_output_t output;
    const xcb_randr_get_output_info_reply_t* info;
    xcb_randr_get_crtc_info_cookie_t crtc;
    xcb_randr_get_output_property_cookie_t connectorType;
    xcb_randr_get_output_property_cookie_t edid;
  };
  std::vector<Pending> pending;
  for (std::size_t i = 0; i < infos.size(); ++i) {
    const auto& info = infos[i];
    // An output is online when a CRTC drives it. Its connection state is not
    // asked: the server only refreshes it when some client polls the
    // hardware, so a freshly configured output can still read "disconnected".
    if (!info || info->crtc == XCB_NONE) continue;
    const xcb_randr_output_t output = resources->outputs[i];
    pending.push_back(Pending{
        output, info.get(), xcb_randr_get_crtc_info(queries_, info->crtc, resources->configTimestamp),
        requestProperty(queries_, output, atoms_.connectorType, 1),
        requestProperty(queries_, output, atoms_.edid, kEdidBaseBlockLongs)});
  }

  std::vector<OnlineDisplay> displays;
  displays.reserve(pending.size());
  for (const Pending& request : pending) {
    // Every reply is taken, even for an output already known to be skipped,
    // so none is left queued on the connection.
    const auto crtc = take<xcb_randr_get_crtc_info_reply_t>(queries_, request.crtc, xcb_randr_get_crtc_info_reply);
    const std::optional<xcb_atom_t> connectorType = atomProperty(queries_, request.connectorType);
    const std::vector<std::uint8_t> edid = byteProperty(queries_, request.edid);
    if (!crtc || crtc->status != XCB_RANDR_SET_CONFIG_SUCCESS || crtc->mode == XCB_NONE) continue;

    const std::string name = outputName(*request.info);
    const bool isPanel = connectorType.has_value() && atoms_.panel != XCB_NONE && *connectorType == atoms_.panel;
    const auto [pixelWidth, pixelHeight] = modePixelSize(*resources, *crtc);
    displays.push_back(OnlineDisplay{
        request.output, pixelWidth, pixelHeight,
        isBuiltinOutput(name, isPanel),
        DisplayRect{static_cast<double>(crtc->x), static_cast<double>(crtc->y), static_cast<double>(crtc->width),
                    static_cast<double>(crtc->height)},
        edidProductName(edid)});
  }
  return displays;
}

void X11DisplaySource::setReconfigurationHandler(ReconfigurationHandler handler) {
  std::lock_guard lock(handlerMutex_);
  handler_ = std::move(handler);
}

std::optional<DisplayId> X11DisplaySource::outputIdForName(const std::string& name) {
  if (coreScreen_) return coreScreen_->id;
  const std::optional<ScreenResources> resources = fetchScreenResources(queries_, queryRoot_, hasCurrentResources_);
  if (!resources) return std::nullopt;
  const auto infos = fetchOutputInfos(queries_, *resources);
  for (std::size_t i = 0; i < infos.size(); ++i) {
    if (infos[i] && outputName(*infos[i]) == name) return resources->outputs[i];
  }
  return std::nullopt;
}

void X11DisplaySource::watchNotices() {
  pollfd watched[2] = {{xcb_get_file_descriptor(notices_), POLLIN, 0}, {wakeFd_, POLLIN, 0}};
  while (!stopping_) {
    while (xcb_generic_event_t* received = xcb_poll_for_event(notices_)) {
      const XcbReply<xcb_generic_event_t> event(received);
      if (stopping_) return;
      const std::uint8_t type = event->response_type & 0x7F;
      if (type == randrEventBase_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY) {
        deliverNotice(0);
      } else if (type == randrEventBase_ + XCB_RANDR_NOTIFY) {
        xcb_randr_notify_event_t notice;
        std::memcpy(&notice, event.get(), sizeof notice);
        if (notice.subCode == XCB_RANDR_NOTIFY_OUTPUT_CHANGE) deliverNotice(notice.u.oc.output);
        if (notice.subCode == XCB_RANDR_NOTIFY_CRTC_CHANGE) deliverNotice(0);
      }
    }
    // A server that went away sends nothing more; the thread just ends.
    if (xcb_connection_has_error(notices_) != 0) return;
    watched[0].revents = 0;
    watched[1].revents = 0;
    if (poll(watched, 2, -1) < 0 && errno != EINTR) return;
    if (watched[1].revents != 0) return;
  }
}

void X11DisplaySource::deliverNotice(DisplayId display) {
  std::lock_guard lock(handlerMutex_);
  if (stopping_ || !handler_) return;
  // A copy, so a handler that replaces itself does not destroy what is running.
  const ReconfigurationHandler handler = handler_;
  handler(display, 0);
}

}  // namespace tarvelo
