#include "output/x11/x11_window_hints.h"

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QEvent>
#include <QObject>
#include <QWindow>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "support/x11/xcb_reply.h"

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

bool selectionOwned(xcb_connection_t* connection, const std::string& name) {
  const xcb_atom_t selection = internAtom(connection, name);
  const XcbReply<xcb_get_selection_owner_reply_t> owner(
      xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr));
  return owner && owner->owner != XCB_WINDOW_NONE;
}

// EWMH: a compositing manager owns the selection _NET_WM_CM_S<screen>.
bool compositorOwnsScreen(xcb_connection_t* connection, int screenNumber) {
  return selectionOwned(connection, "_NET_WM_CM_S" + std::to_string(screenNumber));
}

int defaultScreenNumber() {
  char* host = nullptr;
  int displayNumber = 0;
  int screenNumber = 0;
  if (xcb_parse_display(nullptr, &host, &displayNumber, &screenNumber) == 0) screenNumber = 0;
  std::free(host);
  return screenNumber;
}

// The edge a dock sits on is the one it reserves room at (EWMH struts:
// left, right, top, bottom first). Its shape does not tell: a tray bar that
// is only as wide as its one icon is taller than it is wide.
std::optional<Qt::Orientation> reservedEdgeOrientation(xcb_connection_t* connection, xcb_window_t dock) {
  for (const std::string_view name : {std::string_view("_NET_WM_STRUT_PARTIAL"), std::string_view("_NET_WM_STRUT")}) {
    const XcbReply<xcb_get_property_reply_t> strut(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, dock, internAtom(connection, name), XCB_ATOM_CARDINAL, 0, 4),
        nullptr));
    if (!strut || strut->format != 32 || xcb_get_property_value_length(strut.get()) < 16) continue;
    const auto* sides = static_cast<const std::uint32_t*>(xcb_get_property_value(strut.get()));
    if (sides[2] > 0 || sides[3] > 0) return Qt::Horizontal;
    if (sides[0] > 0 || sides[1] > 0) return Qt::Vertical;
  }
  return std::nullopt;
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
  return compositorOwnsScreen(connection, screenNumber);
}

bool hasCompositingManager() {
  xcb_connection_t* connection = qtConnection();
  if (connection == nullptr) return true;
  return compositorOwnsScreen(connection, defaultScreenNumber());
}

namespace {

void askForActivation(QWindow& window) {
  xcb_connection_t* connection = qtConnection();
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  constexpr std::uint32_t kSourcePager = 2;
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = static_cast<xcb_window_t>(window.winId());
  message.type = internAtom(connection, "_NET_ACTIVE_WINDOW");
  message.data.data32[0] = kSourcePager;
  message.data.data32[1] = XCB_CURRENT_TIME;
  xcb_send_event(connection, 0, screen->root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                 reinterpret_cast<const char*>(&message));
  xcb_flush(connection);
}

// A window manager gives a window it has just mapped the focus only if the
// window's last user input is recent, and one it has not mapped yet cannot be
// activated at all; so a window shown from its hidden state asks once more
// when it first shows on the screen.
class ActivateWhenExposed final : public QObject {
 public:
  explicit ActivateWhenExposed(QWindow& window) : QObject(&window), window_(window) { window.installEventFilter(this); }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == &window_ && event->type() == QEvent::Expose && window_.isExposed()) {
      askForActivation(window_);
      deleteLater();
    }
    return false;
  }

 private:
  QWindow& window_;
};

}  // namespace

void bringToFront(QWindow& window) {
  const bool wasVisible = window.isVisible();
  window.show();
  window.raise();
  xcb_connection_t* connection = qtConnection();
  if (connection == nullptr) {
    window.requestActivate();
    return;
  }
  // ICCCM: a window manager owns WM_S<screen> while it runs. (EWMH's
  // _NET_SUPPORTING_WM_CHECK stays on the root window after it quits.)
  if (!selectionOwned(connection, "WM_S" + std::to_string(defaultScreenNumber()))) {
    window.requestActivate();
    return;
  }
  askForActivation(window);
  if (!wasVisible) new ActivateWhenExposed(window);
}

std::optional<Dock> dockAt(const QPoint& point) {
  xcb_connection_t* connection = qtConnection();
  if (connection == nullptr) return std::nullopt;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const xcb_atom_t typeAtom = internAtom(connection, "_NET_WM_WINDOW_TYPE");
  const xcb_atom_t dockAtom = internAtom(connection, "_NET_WM_WINDOW_TYPE_DOCK");
  // The top-most mapped window under the point, in its parent's coordinates;
  // a window manager's frame holds the client one level down.
  xcb_window_t parent = root;
  QPoint inParent = point;
  for (int depth = 0; depth < 2; ++depth) {
    const XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection, xcb_query_tree(connection, parent), nullptr));
    if (!tree) return std::nullopt;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    std::optional<xcb_window_t> hit;
    QRect hitRect;
    for (int i = xcb_query_tree_children_length(tree.get()) - 1; i >= 0 && !hit; --i) {
      const XcbReply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
          connection, xcb_get_window_attributes(connection, children[i]), nullptr));
      if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;
      const XcbReply<xcb_get_geometry_reply_t> geometry(
          xcb_get_geometry_reply(connection, xcb_get_geometry(connection, children[i]), nullptr));
      if (!geometry) continue;
      const QRect rect(geometry->x, geometry->y, geometry->width, geometry->height);
      if (!rect.contains(inParent)) continue;
      hit = children[i];
      hitRect = rect;
    }
    if (!hit) return std::nullopt;
    const XcbReply<xcb_get_property_reply_t> type(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, *hit, typeAtom, XCB_ATOM_ATOM, 0, 8), nullptr));
    if (type && xcb_get_property_value_length(type.get()) > 0) {
      const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(type.get()));
      const int count = xcb_get_property_value_length(type.get()) / static_cast<int>(sizeof(xcb_atom_t));
      for (int k = 0; k < count; ++k) {
        if (atoms[k] != dockAtom) continue;
        const QRect geometry = hitRect.translated(point - inParent);
        const Qt::Orientation shape = geometry.width() >= geometry.height() ? Qt::Horizontal : Qt::Vertical;
        return Dock{geometry, reservedEdgeOrientation(connection, *hit).value_or(shape)};
      }
      return std::nullopt;  // a client, and not a dock
    }
    parent = *hit;
    inParent -= hitRect.topLeft();
  }
  return std::nullopt;
}

void setWindowBoundingShape(QWindow& window, const std::vector<QRect>& rects) {
  setShape(window, XCB_SHAPE_SK_BOUNDING, rects);
}

void setWindowInputShape(QWindow& window, const std::vector<QRect>& rects) {
  setShape(window, XCB_SHAPE_SK_INPUT, rects);
}

}  // namespace tarvelo
