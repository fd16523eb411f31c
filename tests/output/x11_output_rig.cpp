#include "output/x11_output_rig.h"

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <QWindow>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "displays/qt_screen_list.h"
#include "displays/x11/x11_display_source.h"
#include "support/x11/xcb_reply.h"

namespace tarvelo::testing {

namespace {

xcb_window_t idOf(const QWindow& window) { return static_cast<xcb_window_t>(window.winId()); }

X11DisplaySource& rigDisplays() {
  static X11DisplaySource displays(std::string(TARVELO_TEST_DISPLAY));
  return displays;
}

Screen screenAtY(double y) {
  QtScreenList list([](const std::string& outputName) { return rigDisplays().outputIdForName(outputName); });
  for (const Screen& screen : list.screens()) {
    if (screen.frame.y == y) return screen;
  }
  throw std::runtime_error("the rig has no output at y " + std::to_string(y) + " (is it stacked?)");
}

}  // namespace

RigConnection::RigConnection() : connection_(xcb_connect(TARVELO_TEST_DISPLAY, nullptr)) {
  if (xcb_connection_has_error(connection_)) throw std::runtime_error("cannot reach the rig's X server");
}

RigConnection::~RigConnection() { xcb_disconnect(connection_); }

std::uint32_t RigConnection::atom(const std::string& name) {
  const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      connection_, xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr));
  return reply ? reply->atom : std::uint32_t{XCB_ATOM_NONE};
}

std::vector<std::uint32_t> RigConnection::atomList(const QWindow& window, const std::string& property) {
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection_, xcb_get_property(connection_, 0, idOf(window), atom(property), XCB_ATOM_ATOM, 0, 1024), nullptr));
  if (!reply || reply->format != 32) return {};
  const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
  return std::vector<std::uint32_t>(values, values + xcb_get_property_value_length(reply.get()) / 4);
}

std::optional<std::uint32_t> RigConnection::cardinal(const QWindow& window, const std::string& property) {
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection_, xcb_get_property(connection_, 0, idOf(window), atom(property), XCB_ATOM_CARDINAL, 0, 1), nullptr));
  if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) return std::nullopt;
  return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
}

std::optional<bool> RigConnection::acceptsInputHint(const QWindow& window) {
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection_, xcb_get_property(connection_, 0, idOf(window), XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 0, 9),
      nullptr));
  if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 8) return std::nullopt;
  const auto* hints = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
  constexpr std::uint32_t kInputHint = 1;  // ICCCM: the flags word says the input field is set
  if ((hints[0] & kInputHint) == 0) return std::nullopt;
  return hints[1] != 0;
}

QRect RigConnection::rootGeometry(const QWindow& window) {
  const XcbReply<xcb_get_geometry_reply_t> geometry(
      xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, idOf(window)), nullptr));
  if (!geometry) return {};
  const XcbReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
      connection_, xcb_translate_coordinates(connection_, idOf(window), geometry->root, 0, 0), nullptr));
  if (!origin) return {};
  return QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
}

namespace {

std::vector<QRect> shapeOf(xcb_connection_t* connection, xcb_window_t window, xcb_shape_kind_t kind) {
  const XcbReply<xcb_shape_get_rectangles_reply_t> reply(
      xcb_shape_get_rectangles_reply(connection, xcb_shape_get_rectangles(connection, window, kind), nullptr));
  std::vector<QRect> rects;
  if (!reply) return rects;
  const xcb_rectangle_t* first = xcb_shape_get_rectangles_rectangles(reply.get());
  for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i) {
    rects.emplace_back(first[i].x, first[i].y, first[i].width, first[i].height);
  }
  return rects;
}

}  // namespace

std::vector<QRect> RigConnection::inputShape(const QWindow& window) {
  return shapeOf(connection_, idOf(window), XCB_SHAPE_SK_INPUT);
}

std::vector<QRect> RigConnection::boundingShape(const QWindow& window) {
  return shapeOf(connection_, idOf(window), XCB_SHAPE_SK_BOUNDING);
}

bool RigConnection::isViewable(const QWindow& window) {
  const XcbReply<xcb_get_window_attributes_reply_t> attributes(
      xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, idOf(window)), nullptr));
  return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

QImage RigConnection::image(const QRect& area) {
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  const XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
      connection_,
      xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<std::int16_t>(area.x()),
                    static_cast<std::int16_t>(area.y()), static_cast<std::uint16_t>(area.width()),
                    static_cast<std::uint16_t>(area.height()), 0xFFFFFFFF),
      nullptr));
  const std::size_t bytes = static_cast<std::size_t>(area.width()) * 4 * static_cast<std::size_t>(area.height());
  if (!reply || area.isEmpty() || static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) < bytes) return {};
  // Depth 24 in 32 bits per pixel, little-endian: Qt's RGB32 words.
  QImage image(area.size(), QImage::Format_RGB32);
  const std::uint8_t* data = xcb_get_image_data(reply.get());
  for (int row = 0; row < area.height(); ++row) {
    std::memcpy(image.scanLine(row), data + static_cast<std::size_t>(row) * area.width() * 4,
                static_cast<std::size_t>(area.width()) * 4);
  }
  return image;
}

QRgb RigConnection::pixelAt(int x, int y) {
  const QImage pixel = image(QRect(x, y, 1, 1));
  return pixel.isNull() ? 0 : qRgb(qRed(pixel.pixel(0, 0)), qGreen(pixel.pixel(0, 0)), qBlue(pixel.pixel(0, 0)));
}

bool xdotool(const std::string& arguments) {
  const std::string command = "DISPLAY=" + std::string(TARVELO_TEST_DISPLAY) + " xdotool " + arguments;
  return std::system(command.c_str()) == 0;
}

Screen bottomScreen() { return screenAtY(1080.0); }
Screen topScreen() { return screenAtY(0.0); }

std::optional<DisplayId> rigOutputIdForName(const std::string& outputName) {
  return rigDisplays().outputIdForName(outputName);
}

}  // namespace tarvelo::testing
