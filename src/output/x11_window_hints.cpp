#include "output/x11_window_hints.h"

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QWindow>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "support/xcb_reply.h"

namespace tarvelo {

namespace {

// Qt's own connection: requests made on it are ordered with Qt's, so a
// property written here is in place before Qt's map request for the window.
xcb_connection_t* qtConnection() {
  auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
  return x11 ? x11->connection() : nullptr;
}

xcb_atom_t internAtom(xcb_connection_t* connection, std::string_view name) {
  const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// A request of an extension the server lacks closes the connection, and
// with it Qt's: without SHAPE the window just keeps its rectangle.
bool hasShapeExtension(xcb_connection_t* connection) {
  const xcb_query_extension_reply_t* shape = xcb_get_extension_data(connection, &xcb_shape_id);
  return shape != nullptr && shape->present != 0;
}

void setShape(QWindow& window, xcb_shape_kind_t kind, const std::vector<QRect>& rects) {
  xcb_connection_t* connection = qtConnection();
  if (connection == nullptr || !hasShapeExtension(connection)) return;
  std::vector<xcb_rectangle_t> xRects;
  xRects.reserve(rects.size());
  for (const QRect& rect : rects) {
    xRects.push_back(xcb_rectangle_t{static_cast<std::int16_t>(rect.x()), static_cast<std::int16_t>(rect.y()),
                                     static_cast<std::uint16_t>(rect.width()),
                                     static_cast<std::uint16_t>(rect.height())});
  }
  xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_UNSORTED,
                       static_cast<xcb_window_t>(window.winId()), 0, 0, static_cast<std::uint32_t>(xRects.size()),
                       xRects.data());
  xcb_flush(connection);
}

}  // namespace

void markAsOverlayWindow(QWindow& window) {
  xcb_connection_t* connection = qtConnection();
  if (connection == nullptr) return;
  const auto id = static_cast<xcb_window_t>(window.winId());

  // Qt merges its own states (above, for a stay-on-top window) into this
  // list when it maps the window.
  const std::array<xcb_atom_t, 3> states{internAtom(connection, "_NET_WM_STATE_STICKY"),
                                         internAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                         internAtom(connection, "_NET_WM_STATE_SKIP_PAGER")};
  xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, internAtom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32,
                      static_cast<std::uint32_t>(states.size()), states.data());

  constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;
  xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, internAtom(connection, "_NET_WM_DESKTOP"),
                      XCB_ATOM_CARDINAL, 32, 1, &kAllDesktops);

  // Compositors of the compton/picom family read this to leave the shadow off.
  constexpr std::uint32_t kNoShadow = 0;
  xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, internAtom(connection, "_COMPTON_SHADOW"),
                      XCB_ATOM_CARDINAL, 32, 1, &kNoShadow);
  xcb_flush(connection);
}

bool hasCompositingManager(QWindow& window) {
  xcb_connection_t* connection = qtConnection();
  if (connection == nullptr) return true;  // other platforms composite windows themselves
  const XcbReply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(connection, xcb_query_tree(connection, static_cast<xcb_window_t>(window.winId())), nullptr));
  if (!tree) return false;

  int screenNumber = 0;
  for (xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection)); it.rem;
       xcb_screen_next(&it), ++screenNumber) {
    if (it.data->root == tree->root) break;
  }
  // EWMH: a compositing manager owns the selection _NET_WM_CM_S<screen>.
  const xcb_atom_t selection = internAtom(connection, "_NET_WM_CM_S" + std::to_string(screenNumber));
  const XcbReply<xcb_get_selection_owner_reply_t> owner(
      xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr));
  return owner && owner->owner != XCB_WINDOW_NONE;
}

void setWindowBoundingShape(QWindow& window, const std::vector<QRect>& rects) {
  setShape(window, XCB_SHAPE_SK_BOUNDING, rects);
}

void setWindowInputShape(QWindow& window, const std::vector<QRect>& rects) {
  setShape(window, XCB_SHAPE_SK_INPUT, rects);
}

}  // namespace tarvelo
