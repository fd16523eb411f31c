#include "capture/pipewire/screen_cast_portal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QEventLoop>
#include <QObject>
#include <QRandomGenerator>
#include <QTimer>
#include <QVariantMap>

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

#include "capture/capture_error.h"
#include "capture/pipewire/screen_cast_restore_token.h"

namespace tarvelo {

namespace {

constexpr auto kPortalService = "org.freedesktop.portal.Desktop";
constexpr auto kPortalPath = "/org/freedesktop/portal/desktop";
constexpr auto kScreenCast = "org.freedesktop.portal.ScreenCast";
constexpr auto kRequest = "org.freedesktop.portal.Request";
constexpr auto kSession = "org.freedesktop.portal.Session";

constexpr std::uint32_t kMonitorSource = 1;
constexpr std::uint32_t kHiddenCursor = 1;
constexpr std::uint32_t kPersistUntilRevoked = 2;
constexpr std::uint32_t kResponseSuccess = 0;
constexpr std::uint32_t kResponseCancelled = 1;
// Requests that need no user answer still wait on the portal's own work.
constexpr int kPortalAnswerMs = 30'000;

// Receives one Request's Response signal.
class ResponseCatcher : public QObject {
  Q_OBJECT
 public:
  std::optional<std::uint32_t> response;
  QVariantMap results;
  QEventLoop loop;

 public slots:
  void onResponse(uint code, const QVariantMap& values) {
    response = code;
    results = values;
    loop.quit();
  }
};

[[noreturn]] void failPortal(const QString& what) {
  throw std::runtime_error(("The desktop's screen-cast portal failed: " + what).toStdString());
}

QString newToken() { return QStringLiteral("tarvelo%1").arg(QRandomGenerator::global()->generate()); }

// The Request object a call with this handle token answers on; it is known
// before the call, so the answer cannot arrive before we listen.
QString requestPath(const QDBusConnection& bus, const QString& token) {
  QString sender = bus.baseService().mid(1);
  sender.replace('.', '_');
  return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

QDBusConnection sessionBus() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    throw std::runtime_error(
        ("No screen-cast portal: the session bus cannot be reached (" + bus.lastError().message() + ")").toStdString());
  }
  return bus;
}

// Calls a portal method that answers through a Request, and waits for the answer.
QVariantMap callWithRequest(const QDBusConnection& bus, const QString& method, QVariantList arguments,
                            QVariantMap options, bool waitsForUser, const std::atomic<bool>& cancelled) {
  const QString token = newToken();
  options.insert(QStringLiteral("handle_token"), token);
  arguments.append(options);

  ResponseCatcher catcher;
  QDBusConnection connection = bus;
  const QString path = requestPath(bus, token);
  if (!connection.connect(kPortalService, path, kRequest, QStringLiteral("Response"), &catcher,
                          SLOT(onResponse(uint, QVariantMap)))) {
    failPortal(QStringLiteral("cannot listen for its answer"));
  }
  QDBusMessage call = QDBusMessage::createMethodCall(kPortalService, kPortalPath, kScreenCast, method);
  call.setArguments(arguments);
  const QDBusMessage reply = connection.call(call, QDBus::Block, kPortalAnswerMs);
  if (reply.type() == QDBusMessage::ErrorMessage) {
    connection.disconnect(kPortalService, path, kRequest, QStringLiteral("Response"), &catcher,
                          SLOT(onResponse(uint, QVariantMap)));
    const QString name = reply.errorName();
    if (name == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
        name == QLatin1String("org.freedesktop.DBus.Error.UnknownMethod") ||
        name == QLatin1String("org.freedesktop.DBus.Error.UnknownInterface") ||
        name == QLatin1String("org.freedesktop.DBus.Error.UnknownObject")) {
      throw std::runtime_error("The desktop offers no screen-cast portal (org.freedesktop.portal.ScreenCast).");
    }
    failPortal(method + ": " + reply.errorMessage());
  }

  QTimer poll;  // notices a cancel, and a portal that never answers
  int waitedMs = 0;
  QObject::connect(&poll, &QTimer::timeout, &catcher, [&] {
    waitedMs += poll.interval();
    if (cancelled || (!waitsForUser && waitedMs >= kPortalAnswerMs)) catcher.loop.quit();
  });
  poll.start(100);
  if (!catcher.response) catcher.loop.exec();
  poll.stop();
  connection.disconnect(kPortalService, path, kRequest, QStringLiteral("Response"), &catcher,
                        SLOT(onResponse(uint, QVariantMap)));

  if (!catcher.response) {
    if (cancelled) throw std::runtime_error("The capture was stopped before the desktop shared the screen.");
    failPortal(method + QStringLiteral(" was not answered"));
  }
  if (*catcher.response == kResponseCancelled) throw ScreenSharingRefused();
  if (*catcher.response != kResponseSuccess) failPortal(method + QStringLiteral(" did not succeed"));
  return catcher.results;
}

std::uint32_t portalProperty(const QDBusConnection& bus, const QString& name) {
  QDBusMessage get = QDBusMessage::createMethodCall(kPortalService, kPortalPath,
                                                    QStringLiteral("org.freedesktop.DBus.Properties"),
                                                    QStringLiteral("Get"));
  get.setArguments({QString::fromLatin1(kScreenCast), name});
  const QDBusReply<QDBusVariant> reply = bus.call(get, QDBus::Block, kPortalAnswerMs);
  if (!reply.isValid()) {
    const QString errorName = reply.error().name();
    if (errorName == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
        errorName == QLatin1String("org.freedesktop.DBus.Error.InvalidArgs") ||
        errorName == QLatin1String("org.freedesktop.DBus.Error.UnknownInterface")) {
      throw std::runtime_error("The desktop offers no screen-cast portal (org.freedesktop.portal.ScreenCast).");
    }
    failPortal(reply.error().message());
  }
  return reply.value().variant().toUInt();
}

}  // namespace

ScreenCastPortal::ScreenCastPortal() = default;

ScreenCastPortal::~ScreenCastPortal() {
  if (sessionHandle_.empty()) return;
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  QDBusMessage close = QDBusMessage::createMethodCall(kPortalService, QString::fromStdString(sessionHandle_),
                                                      kSession, QStringLiteral("Close"));
  bus.call(close, QDBus::Block, kPortalAnswerMs);
}

ScreenCastGrant ScreenCastPortal::start(RestoreTokenStore* grants, const std::atomic<bool>& cancelled) {
  try {
    ScreenCastGrant grant = ask(grants ? grants->restoreToken() : std::nullopt, cancelled);
    if (grant.restoreToken && grants) grants->storeRestoreToken(*grant.restoreToken);
    return grant;
  } catch (const ScreenSharingRefused&) {
    if (grants) grants->forgetRestoreToken();
    throw;
  }
}

ScreenCastGrant ScreenCastPortal::ask(const std::optional<std::string>& restoreToken,
                                      const std::atomic<bool>& cancelled) {
  if (!sessionHandle_.empty()) throw std::logic_error("The screen-cast session was already started.");
  const QDBusConnection bus = sessionBus();
  const std::uint32_t version = portalProperty(bus, QStringLiteral("version"));
  if ((portalProperty(bus, QStringLiteral("AvailableSourceTypes")) & kMonitorSource) == 0) {
    failPortal(QStringLiteral("it cannot share a monitor"));
  }
  const std::uint32_t cursorModes = version >= 2 ? portalProperty(bus, QStringLiteral("AvailableCursorModes")) : 0;

  const QVariantMap created = callWithRequest(bus, QStringLiteral("CreateSession"), {},
                                              {{QStringLiteral("session_handle_token"), newToken()}}, false,
                                              cancelled);
  sessionHandle_ = created.value(QStringLiteral("session_handle")).toString().toStdString();
  if (sessionHandle_.empty()) failPortal(QStringLiteral("CreateSession gave no session"));
  const QDBusObjectPath session(QString::fromStdString(sessionHandle_));

  QVariantMap selection{{QStringLiteral("types"), kMonitorSource}, {QStringLiteral("multiple"), false}};
  if ((cursorModes & kHiddenCursor) != 0) selection.insert(QStringLiteral("cursor_mode"), kHiddenCursor);
  if (version >= 4) {
    selection.insert(QStringLiteral("persist_mode"), kPersistUntilRevoked);
    if (restoreToken && !restoreToken->empty()) {
      selection.insert(QStringLiteral("restore_token"), QString::fromStdString(*restoreToken));
    }
  }
  callWithRequest(bus, QStringLiteral("SelectSources"), {QVariant::fromValue(session)}, selection, false, cancelled);

  const QVariantMap started = callWithRequest(bus, QStringLiteral("Start"), {QVariant::fromValue(session), QString()},
                                              {}, true, cancelled);

  ScreenCastGrant grant;
  const QString token = started.value(QStringLiteral("restore_token")).toString();
  if (!token.isEmpty()) grant.restoreToken = token.toStdString();

  // streams: a(ua{sv}); the first is the monitor we asked for.
  const QDBusArgument streams = started.value(QStringLiteral("streams")).value<QDBusArgument>();
  bool found = false;
  streams.beginArray();
  while (!streams.atEnd()) {
    std::uint32_t node = 0;
    QVariantMap properties;
    streams.beginStructure();
    streams >> node >> properties;
    streams.endStructure();
    if (found) continue;
    found = true;
    grant.nodeId = node;
    const QVariant position = properties.value(QStringLiteral("position"));
    const QVariant size = properties.value(QStringLiteral("size"));
    int x = 0, y = 0, width = 0, height = 0;
    if (position.isValid()) {
      const QDBusArgument pair = position.value<QDBusArgument>();
      pair.beginStructure();
      pair >> x >> y;
      pair.endStructure();
      grant.x = x;
      grant.y = y;
    }
    if (size.isValid()) {
      const QDBusArgument pair = size.value<QDBusArgument>();
      pair.beginStructure();
      pair >> width >> height;
      pair.endStructure();
      grant.width = width;
      grant.height = height;
    }
  }
  streams.endArray();
  if (!found) throw CaptureFailure(CaptureError::displayNotFound);

  QDBusMessage open = QDBusMessage::createMethodCall(kPortalService, kPortalPath, kScreenCast,
                                                     QStringLiteral("OpenPipeWireRemote"));
  open.setArguments({QVariant::fromValue(session), QVariantMap{}});
  const QDBusReply<QDBusUnixFileDescriptor> remote = bus.call(open, QDBus::Block, kPortalAnswerMs);
  if (!remote.isValid()) failPortal("OpenPipeWireRemote: " + remote.error().message());
  // QDBusUnixFileDescriptor closes its own copy.
  grant.pipeWireFd = fcntl(remote.value().fileDescriptor(), F_DUPFD_CLOEXEC, 3);
  if (grant.pipeWireFd < 0) failPortal(QStringLiteral("its PipeWire connection cannot be kept"));
  return grant;
}

}  // namespace tarvelo

#include "screen_cast_portal.moc"
