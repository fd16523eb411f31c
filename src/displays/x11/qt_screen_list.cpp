#include "displays/x11/qt_screen_list.h"

#include <QGuiApplication>
#include <QRect>
#include <QScreen>

#include <utility>

#include "displays/x11/x11_display_source.h"

namespace tarvelo {

QtScreenList::QtScreenList(OutputIdForName outputIdForName) : outputIdForName_(std::move(outputIdForName)) {}

QtScreenList::QtScreenList(X11DisplaySource& displays)
    : outputIdForName_([&displays](const std::string& outputName) { return displays.outputIdForName(outputName); }) {}

std::vector<Screen> QtScreenList::screens() {
  std::vector<Screen> result;
  for (const QScreen* screen : QGuiApplication::screens()) {
    // On X11 a screen's name is the name of the RandR output showing it.
    const std::string outputName = screen->name().toStdString();
    const QString model = screen->model();
    const QRect geometry = screen->geometry();
    result.push_back(Screen{outputIdForName_(outputName), model.isEmpty() ? outputName : model.toStdString(),
                            DisplayRect{static_cast<double>(geometry.x()), static_cast<double>(geometry.y()),
                                        static_cast<double>(geometry.width()),
                                        static_cast<double>(geometry.height())}});
  }
  return result;
}

}  // namespace tarvelo
