#include "displays/qt_screen_list.h"

#include <QGuiApplication>
#include <QRect>
#include <QScreen>

#include <utility>

namespace tarvelo {

QtScreenList::QtScreenList(DisplayIdForScreen displayIdForScreen)
    : displayIdForScreen_(std::move(displayIdForScreen)) {}

QtScreenList::QtScreenList(const OutputIdForName& outputIdForName)
    : displayIdForScreen_(
          [outputIdForName](const QScreen& screen) { return outputIdForName(screen.name().toStdString()); }) {}

std::vector<Screen> QtScreenList::screens() {
  std::vector<Screen> result;
  for (const QScreen* screen : QGuiApplication::screens()) {
    const QString model = screen->model();
    const QRect geometry = screen->geometry();
    result.push_back(Screen{displayIdForScreen_(*screen),
                            model.isEmpty() ? screen->name().toStdString() : model.toStdString(),
                            DisplayRect{static_cast<double>(geometry.x()), static_cast<double>(geometry.y()),
                                        static_cast<double>(geometry.width()),
                                        static_cast<double>(geometry.height())}});
  }
  return result;
}

}  // namespace tarvelo
