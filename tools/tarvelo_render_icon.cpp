// Renders the application's SVG icon as square PNGs for the icon theme's
// fixed-size folders, at build time, so no raster copy lives in the sources.
//
//   tarvelo-render-icon ICON.svg SIZE OUT.png

#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdlib>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: tarvelo-render-icon ICON.svg SIZE OUT.png" << std::endl;
    return 2;
  }
  char* end = nullptr;
  const long size = std::strtol(argv[2], &end, 10);
  if (*end != '\0' || size < 1 || size > 4096) {
    std::cerr << "tarvelo-render-icon: the size must be a whole number of pixels from 1 to 4096" << std::endl;
    return 2;
  }
  QSvgRenderer renderer{QString::fromLocal8Bit(argv[1])};
  if (!renderer.isValid()) {
    std::cerr << "tarvelo-render-icon: cannot read " << argv[1] << std::endl;
    return 1;
  }
  QImage image(static_cast<int>(size), static_cast<int>(size), QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  {
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
  }
  if (!image.save(QString::fromLocal8Bit(argv[3]), "PNG")) {
    std::cerr << "tarvelo-render-icon: cannot write " << argv[3] << std::endl;
    return 1;
  }
  return 0;
}
