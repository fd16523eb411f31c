// tarvelo-screenshot: writes what an X server shows (the whole root window, or
// one rectangle of it) to a PNG. Used by the demo and the end-to-end tests.
//
//   tarvelo-screenshot OUT.png [X Y WIDTH HEIGHT]
#include <xcb/xcb.h>

#include <QImage>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <memory>

int main(int argc, char** argv) {
  if (argc != 2 && argc != 6) {
    std::fprintf(stderr, "usage: tarvelo-screenshot OUT.png [X Y WIDTH HEIGHT]\n");
    return 2;
  }
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(connection)) {
    std::fprintf(stderr, "tarvelo-screenshot: cannot connect to the X server\n");
    return 1;
  }
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  int x = 0, y = 0, width = screen->width_in_pixels, height = screen->height_in_pixels;
  if (argc == 6) {
    x = std::atoi(argv[2]);
    y = std::atoi(argv[3]);
    width = std::atoi(argv[4]);
    height = std::atoi(argv[5]);
  }
  const xcb_get_image_cookie_t cookie = xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root,
                                                      static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                                                      static_cast<std::uint16_t>(width),
                                                      static_cast<std::uint16_t>(height), ~0U);
  std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> reply(
      xcb_get_image_reply(connection, cookie, nullptr), &std::free);
  if (!reply || reply->depth != 24) {
    std::fprintf(stderr, "tarvelo-screenshot: the X server did not return a 24-bit image of that rectangle\n");
    xcb_disconnect(connection);
    return 1;
  }
  // 24-bit depth comes as 32-bit pixels, B G R x in memory.
  const QImage image(xcb_get_image_data(reply.get()), width, height, width * 4, QImage::Format_RGB32);
  const bool saved = image.save(QString::fromLocal8Bit(argv[1]), "PNG");
  xcb_disconnect(connection);
  if (!saved) {
    std::fprintf(stderr, "tarvelo-screenshot: cannot write %s\n", argv[1]);
    return 1;
  }
  return 0;
}
