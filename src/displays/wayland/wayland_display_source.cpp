#include "displays/wayland/wayland_display_source.h"

#include <QGuiApplication>
#include <QRect>
#include <QScreen>

#include <cmath>
#include <stdexcept>
#include <utility>

#include "displays/display_identity.h"

namespace tarvelo {

namespace {

// Qt 6.4 reports integer output scales only; under a fractional compositor
// scale this is the picture at the next whole scale, as Qt renders it.
std::int64_t pixels(int logical, qreal scale) { return std::llround(static_cast<double>(logical) * scale); }

}  // namespace

WaylandDisplaySource::WaylandDisplaySource() {
  auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
  if (application == nullptr) throw std::runtime_error("the Wayland display list needs a QGuiApplication");
  QObject::connect(application, &QGuiApplication::screenAdded, &connections_, [this](QScreen* screen) {
    watch(screen);
    deliverNotice(*screen);
  });
  // Qt has already taken the screen off its list; the screen itself is still whole.
  QObject::connect(application, &QGuiApplication::screenRemoved, &connections_,
                   [this](QScreen* screen) { deliverNotice(*screen); });
  for (QScreen* screen : QGuiApplication::screens()) watch(screen);
}

WaylandDisplaySource::~WaylandDisplaySource() = default;

std::optional<DisplayId> WaylandDisplaySource::displayIdForScreen(const QScreen& screen) {
  // Qt's name of a Wayland screen is the output's (the connector's) name.
  return stableDisplayId(DisplayIdentity{screen.name().toStdString(), screen.manufacturer().toStdString(),
                                         screen.model().toStdString(), screen.serialNumber().toStdString()});
}

std::vector<OnlineDisplay> WaylandDisplaySource::onlineDisplays() {
  std::vector<OnlineDisplay> displays;
  for (const QScreen* screen : QGuiApplication::screens()) {
    const std::optional<DisplayId> id = displayIdForScreen(*screen);
    if (!id) continue;
    const QRect geometry = screen->geometry();
    const qreal scale = screen->devicePixelRatio();
    const QString model = screen->model();
    displays.push_back(OnlineDisplay{
        *id, pixels(geometry.width(), scale), pixels(geometry.height(), scale),
        isBuiltinOutput(screen->name().toStdString(), false),
        DisplayRect{static_cast<double>(geometry.x()), static_cast<double>(geometry.y()),
                    static_cast<double>(geometry.width()), static_cast<double>(geometry.height())},
        model.isEmpty() ? std::nullopt : std::optional<std::string>(model.toStdString())});
  }
  return displays;
}

void WaylandDisplaySource::setReconfigurationHandler(ReconfigurationHandler handler) {
  std::lock_guard lock(handlerMutex_);
  handler_ = std::move(handler);
}

void WaylandDisplaySource::watch(QScreen* screen) {
  QObject::connect(screen, &QScreen::geometryChanged, &connections_,
                   [this, screen](const QRect&) { deliverNotice(*screen); });
}

void WaylandDisplaySource::deliverNotice(const QScreen& screen) {
  const std::optional<DisplayId> id = displayIdForScreen(screen);
  if (!id) return;
  std::lock_guard lock(handlerMutex_);
  if (!handler_) return;
  // A copy, so a handler that replaces itself does not destroy what is running.
  const ReconfigurationHandler handler = handler_;
  handler(*id, 0);
}

}  // namespace tarvelo
