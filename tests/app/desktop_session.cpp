#include "desktop_session.h"

#include <xcb/xcb.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <cstdlib>
#include <stdexcept>

#include "end_to_end_support.h"

namespace tarvelo::testing {

using namespace std::chrono_literals;

QString runTool(const QString& program, const QStringList& arguments) {
  QProcess process;
  process.start(program, arguments);
  if (!process.waitForFinished(10000)) throw std::runtime_error("tool did not finish: " + program.toStdString());
  return QString::fromUtf8(process.readAllStandardOutput());
}

Helper::Helper(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment) {
  process_.setProcessEnvironment(environment);
  process_.setStandardOutputFile(QProcess::nullDevice());
  process_.setStandardErrorFile(QProcess::nullDevice());
  process_.start(program, arguments);
  if (!process_.waitForStarted()) throw std::runtime_error("could not start " + program.toStdString());
}

Helper::~Helper() {
  process_.terminate();
  if (!process_.waitForFinished(3000)) {
    process_.kill();
    process_.waitForFinished();
  }
}

WindowState windowState(std::uint32_t id) {
  const QString info = runTool(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(id)});
  const auto number = [&](const char* label) {
    const QRegularExpression pattern(QString::fromLatin1(label) + QStringLiteral(":\\s*(-?\\d+)"));
    return pattern.match(info).captured(1).toInt();
  };
  WindowState state;
  state.id = id;
  state.geometry = QRect(number("Absolute upper-left X"), number("Absolute upper-left Y"), number("Width"),
                         number("Height"));
  state.viewable = info.contains(QStringLiteral("IsViewable"));
  state.depth = number("Depth");
  return state;
}

namespace {

std::vector<std::uint32_t> search(const QString& how, const QString& pattern) {
  std::vector<std::uint32_t> ids;
  for (const QString& line : runTool(QStringLiteral("xdotool"), {QStringLiteral("search"), how, pattern})
                                 .split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
    ids.push_back(line.toUInt());
  }
  return ids;
}

}  // namespace

std::vector<std::uint32_t> windowsOfClass(const QString& pattern) {
  return search(QStringLiteral("--classname"), pattern);
}

std::vector<std::uint32_t> windowsNamed(const QString& pattern) { return search(QStringLiteral("--name"), pattern); }

std::optional<WindowState> findViewable(const QString& classPattern,
                                        const std::function<bool(const WindowState&)>& accept) {
  for (std::uint32_t id : windowsOfClass(classPattern)) {
    const WindowState state = windowState(id);
    if (state.viewable && accept(state)) return state;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> activeWindow() {
  const QString id = runTool(QStringLiteral("xdotool"), {QStringLiteral("getactivewindow")}).trimmed();
  if (id.isEmpty()) return std::nullopt;
  return id.toUInt();
}

namespace {

bool selectionOwned(const QByteArray& selection) {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  bool owned = false;
  if (!xcb_connection_has_error(connection)) {
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(selection.size()), selection.constData()),
        nullptr);
    if (atom != nullptr) {
      xcb_get_selection_owner_reply_t* owner = xcb_get_selection_owner_reply(
          connection, xcb_get_selection_owner(connection, atom->atom), nullptr);
      owned = owner != nullptr && owner->owner != XCB_WINDOW_NONE;
      std::free(owner);
      std::free(atom);
    }
  }
  xcb_disconnect(connection);
  return owned;
}

}  // namespace

bool compositorRunning() { return selectionOwned("_NET_WM_CM_S0"); }

bool trayHostRunning() { return selectionOwned("_NET_SYSTEM_TRAY_S0"); }

bool barsReserveSpace() {
  const QString area = runTool(QStringLiteral("xprop"), {QStringLiteral("-root"), QStringLiteral("_NET_WORKAREA")});
  const QString root = runTool(QStringLiteral("xwininfo"), {QStringLiteral("-root")});
  const QRegularExpression numbers(QStringLiteral("=\\s*(\\d+),\\s*(\\d+),\\s*(\\d+),\\s*(\\d+)"));
  const QRegularExpressionMatch found = numbers.match(area);
  if (!found.hasMatch()) return false;  // no window manager publishes one
  const QRegularExpressionMatch width = QRegularExpression(QStringLiteral("Width:\\s*(\\d+)")).match(root);
  const QRegularExpressionMatch height = QRegularExpression(QStringLiteral("Height:\\s*(\\d+)")).match(root);
  return found.captured(1).toInt() != 0 || found.captured(2).toInt() != 0 ||
         found.captured(3) != width.captured(1) || found.captured(4) != height.captured(1);
}

QString windowProperty(std::uint32_t id, const QString& property) {
  return runTool(QStringLiteral("xprop"), {QStringLiteral("-id"), QString::number(id), property});
}

void click(const QPoint& point, int button) {
  runTool(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QString::number(point.x()),
                                      QString::number(point.y()), QStringLiteral("click"), QString::number(button)});
}

void pressKeys(const QStringList& keys) {
  // A modifier left down by an earlier test (a key burst cut short) would
  // turn Super+comma into Super+Shift+comma, which nothing grabs.
  runTool(QStringLiteral("xdotool"), {QStringLiteral("keyup"), QStringLiteral("super"), QStringLiteral("shift"),
                                      QStringLiteral("ctrl"), QStringLiteral("alt")});
  runTool(QStringLiteral("xdotool"), QStringList{QStringLiteral("key")} + keys);
}

QString saveArtifact(const QImage& image, const QString& name) {
  const QString directory = QStringLiteral(TARVELO_BINARY_DIR "/test-artifacts");
  QDir().mkpath(directory);
  const QString path = directory + QLatin1Char('/') + name + QStringLiteral(".png");
  image.save(path);
  return path;
}

// ICCCM: the window manager owns WM_S0 once it has taken the screen. The
// root window's _NET_SUPPORTING_WM_CHECK outlives the window manager of an
// earlier test, so waiting for it waited for nothing, and a window mapped
// while openbox was still starting after a layout change was left unmapped
// (4 runs in 16 on the rig; none in 16 once openbox had taken the screen).
WindowManager::WindowManager() : process_(QStringLiteral("openbox"), {}) {
  if (!waitUntil([] { return selectionOwned("WM_S0"); }, 10s)) throw std::runtime_error("openbox did not start");
}

WindowManager::~WindowManager() {
  process_.process().terminate();
  process_.process().waitForFinished(3000);
  waitUntil([] { return !selectionOwned("WM_S0"); }, 5s);
}

namespace {

constexpr int kBarHeight = 32;

// A panel across the top of the screen holding only the status tray.
const char kXfcePanelChannel[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
)";

}  // namespace

TrayHost::TrayHost(Kind kind) : kind_(kind) {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  if (kind == Kind::xembedTrayer) {
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
    host_ = std::make_unique<Helper>(
        QStringLiteral("trayer"),
        QStringList{QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"), QStringLiteral("right"),
                    QStringLiteral("--widthtype"), QStringLiteral("request"), QStringLiteral("--height"),
                    QString::number(kBarHeight), QStringLiteral("--SetDockType"), QStringLiteral("true"),
                    QStringLiteral("--SetPartialStrut"), QStringLiteral("true")},
        environment);
    clientEnvironment_ = environment;
    bar_ = QRect(0, 0, 1920, kBarHeight);
    // trayer owns the tray selection once it runs.
    if (!waitUntil(
            [] {
              return runTool(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--class"),
                                                         QStringLiteral("trayer")})
                  .size() > 0;
            },
            10s)) {
      throw std::runtime_error("trayer did not start");
    }
    return;
  }

  // xfconf's daemon is started by the bus, so the bus carries the config home.
  const QString config = home_.path() + QStringLiteral("/config");
  const QString runtime = home_.path() + QStringLiteral("/runtime");
  QDir().mkpath(config + QStringLiteral("/xfce4/xfconf/xfce-perchannel-xml"));
  QDir().mkpath(runtime);
  QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  QFile channel(config + QStringLiteral("/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml"));
  if (!channel.open(QIODevice::WriteOnly)) throw std::runtime_error("cannot write the panel's configuration");
  channel.write(kXfcePanelChannel);
  channel.close();
  environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config);
  environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);

  const QString address = QStringLiteral("unix:path=") + home_.path() + QStringLiteral("/bus");
  bus_ = std::make_unique<Helper>(
      QStringLiteral("dbus-daemon"),
      QStringList{QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--address=") + address},
      environment);
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
  if (!waitUntil([&] { return QFile::exists(home_.path() + QStringLiteral("/bus")); }, 10s)) {
    throw std::runtime_error("the private session bus did not start");
  }
  host_ = std::make_unique<Helper>(QStringLiteral("xfce4-panel"), QStringList{}, environment);
  const auto watcherRegistered = [&] {
    QProcess query;
    query.setProcessEnvironment(environment);
    query.start(QStringLiteral("dbus-send"),
                {QStringLiteral("--session"), QStringLiteral("--print-reply"), QStringLiteral("--dest=org.freedesktop.DBus"),
                 QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus.ListNames")});
    query.waitForFinished();
    return query.readAllStandardOutput().contains("org.kde.StatusNotifierWatcher");
  };
  if (!waitUntil(watcherRegistered, 20s)) throw std::runtime_error("xfce4-panel's tray did not come up");
  clientEnvironment_ = environment;
  bar_ = QRect(0, 0, 1920, kBarHeight);
}

TrayHost::~TrayHost() {
  host_.reset();
  bus_.reset();
  // The next test must not find a tray that is still going away.
  waitUntil([] { return !selectionOwned("_NET_SYSTEM_TRAY_S0"); }, 5s);
}

DesktopApp::DesktopApp(const QProcessEnvironment& environment) {
  QProcessEnvironment own = environment;
  own.insert(QStringLiteral("XDG_CONFIG_HOME"), configHome_.path());
  process_.setProcessEnvironment(own);
  process_.setProcessChannelMode(QProcess::SeparateChannels);
  process_.setStandardErrorFile(configHome_.filePath(QStringLiteral("stderr")));
  QObject::connect(&process_, &QProcess::readyReadStandardOutput, [this] { readLines(); });
  process_.start(QStringLiteral(TARVELO_BINARY_DIR "/tests/app/tarvelo-desktop-test-app"), {});
  if (!process_.waitForStarted()) throw std::runtime_error("the desktop test app did not start");
}

DesktopApp::~DesktopApp() {
  if (process_.state() != QProcess::NotRunning) {
    process_.kill();
    process_.waitForFinished();
  }
}

void DesktopApp::send(const QString& line) {
  process_.write((line + QLatin1Char('\n')).toUtf8());
  process_.waitForBytesWritten();
}

void DesktopApp::readLines() {
  while (process_.canReadLine()) lines_.push_back(QString::fromUtf8(process_.readLine()).trimmed());
}

bool DesktopApp::waitForLine(const QString& line, std::chrono::milliseconds timeout) {
  return waitUntil([&] { return lines_.contains(line); }, timeout);
}

bool DesktopApp::waitForExit(std::chrono::milliseconds timeout) {
  return waitUntil([&] { return process_.state() == QProcess::NotRunning; }, timeout);
}

QString DesktopApp::report() const {
  QString text = process_.state() == QProcess::NotRunning
                     ? QStringLiteral("the program ended (exit code %1)").arg(process_.exitCode())
                     : QStringLiteral("the program runs");
  QFile errors(configHome_.filePath(QStringLiteral("stderr")));
  if (errors.open(QIODevice::ReadOnly)) {
    text += QStringLiteral("; its standard error:\n") + QString::fromUtf8(errors.readAll().right(4000));
  }
  text += QStringLiteral("\nits windows:");
  for (std::uint32_t id : windowsOfClass(QStringLiteral("^tarvelo"))) {
    const WindowState state = windowState(id);
    text += QStringLiteral("\n  0x%1 \"%2\" %3 %4").arg(id, 0, 16)
                .arg(runTool(QStringLiteral("xdotool"), {QStringLiteral("getwindowname"), QString::number(id)}).trimmed())
                .arg(state.viewable ? QStringLiteral("viewable") : QStringLiteral("unmapped"))
                .arg(QStringLiteral("%1x%2+%3+%4").arg(state.geometry.width()).arg(state.geometry.height())
                         .arg(state.geometry.x()).arg(state.geometry.y()));
  }
  text += selectionOwned("WM_S0") ? QStringLiteral("\na window manager runs") : QStringLiteral("\nno window manager runs");
  text += trayHostRunning() ? QStringLiteral("; a tray host runs") : QStringLiteral("; no tray host runs");
  return text;
}

QProcessEnvironment noTrayEnvironment() {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
  return environment;
}

}  // namespace tarvelo::testing
