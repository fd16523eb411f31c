#include "app/wayland/global_shortcuts_portal.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include <iostream>
#include <utility>

#include "app/global_shortcuts.h"

namespace {

// One entry of the a(sa{sv}) list BindShortcuts takes.
struct PortalShortcut {
  QString id;
  QVariantMap properties;
};

}  // namespace

Q_DECLARE_METATYPE(PortalShortcut)

namespace {

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
  argument.beginStructure();
  argument << shortcut.id << shortcut.properties;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
  argument.beginStructure();
  argument >> shortcut.id >> shortcut.properties;
  argument.endStructure();
  return argument;
}

const QString kPortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kShortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequestInterface = QStringLiteral("org.freedesktop.portal.Request");
constexpr uint kResponseSuccess = 0;

}  // namespace

namespace tarvelo {

GlobalShortcutsPortal::GlobalShortcutsPortal(QDBusConnection bus, Activation activated)
    : bus_(std::move(bus)), activated_(std::move(activated)) {
  qDBusRegisterMetaType<PortalShortcut>();
  qDBusRegisterMetaType<QList<PortalShortcut>>();
  // The interface's version property tells whether the desktop offers it at all.
  QDBusMessage version = QDBusMessage::createMethodCall(kPortalService, kPortalPath,
                                                        QStringLiteral("org.freedesktop.DBus.Properties"),
                                                        QStringLiteral("Get"));
  version.setArguments({kShortcutsInterface, QStringLiteral("version")});
  auto* answer = new QDBusPendingCallWatcher(bus_.asyncCall(version), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, &GlobalShortcutsPortal::versionAnswered);
}

GlobalShortcutsPortal::~GlobalShortcutsPortal() {
  if (session_.isEmpty()) return;
  bus_.asyncCall(QDBusMessage::createMethodCall(kPortalService, session_, QStringLiteral("org.freedesktop.portal.Session"),
                                                QStringLiteral("Close")));
}

void GlobalShortcutsPortal::versionAnswered(QDBusPendingCallWatcher* answer) {
  answer->deleteLater();
  const QDBusPendingReply<QDBusVariant> reply = *answer;
  if (reply.isError()) {
    giveUp(QStringLiteral("the desktop offers no global shortcuts"));
    return;
  }
  createSession();
}

void GlobalShortcutsPortal::createSession() {
  callWithRequest(QStringLiteral("CreateSession"),
                  {QVariantMap{{QStringLiteral("session_handle_token"), QStringLiteral("tarvelo_shortcuts")}}},
                  SLOT(sessionCreated(uint, QVariantMap)));
}

void GlobalShortcutsPortal::sessionCreated(uint response, const QVariantMap& results) {
  // A string by the portal's documentation; an object path from some desktops.
  const QVariant handle = results.value(QStringLiteral("session_handle"));
  session_ = handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path() : handle.toString();
  if (response != kResponseSuccess || session_.isEmpty()) {
    session_.clear();
    giveUp(QStringLiteral("the desktop did not open a global shortcuts session"));
    return;
  }
  bus_.connect(kPortalService, kPortalPath, kShortcutsInterface, QStringLiteral("Activated"), this,
               SLOT(shortcutActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
  bus_.connect(kPortalService, kPortalPath, kShortcutsInterface, QStringLiteral("ShortcutsChanged"), this,
               SLOT(shortcutsChanged(QDBusMessage)));
  bindShortcuts();
}

void GlobalShortcutsPortal::bindShortcuts() {
  QList<PortalShortcut> shortcuts;
  for (const GlobalShortcut& shortcut : globalShortcuts()) {
    shortcuts.push_back(PortalShortcut{
        QString::fromLatin1(shortcut.id),
        {{QStringLiteral("description"), QString::fromUtf8(shortcut.description)},
         {QStringLiteral("preferred_trigger"), QString::fromLatin1(shortcut.preferredTrigger)}}});
  }
  callWithRequest(QStringLiteral("BindShortcuts"),
                  {QVariant::fromValue(QDBusObjectPath(session_)), QVariant::fromValue(shortcuts), QString(),
                   QVariantMap()},
                  SLOT(shortcutsBound(uint, QVariantMap)));
}

void GlobalShortcutsPortal::shortcutsBound(uint response, const QVariantMap& results) {
  if (response != kResponseSuccess) {
    giveUp(QStringLiteral("the desktop did not bind the global shortcuts"));
    return;
  }
  isBound_ = true;
  readTriggers(results.value(QStringLiteral("shortcuts")));
  if (bindingChanged) bindingChanged();
}

// The user rebound a shortcut in the desktop's settings.
void GlobalShortcutsPortal::shortcutsChanged(const QDBusMessage& message) {
  const QList<QVariant> arguments = message.arguments();
  if (!isBound_ || arguments.size() < 2 || arguments[0].value<QDBusObjectPath>().path() != session_) return;
  const QString before = toggleTrigger_;
  readTriggers(arguments[1]);
  if (toggleTrigger_ != before && bindingChanged) bindingChanged();
}

void GlobalShortcutsPortal::readTriggers(const QVariant& shortcuts) {
  if (!shortcuts.canConvert<QDBusArgument>()) return;
  const QString toggleId = QString::fromLatin1(toggleLightsShortcut().id);
  for (const PortalShortcut& shortcut : qdbus_cast<QList<PortalShortcut>>(shortcuts.value<QDBusArgument>())) {
    if (shortcut.id == toggleId) {
      toggleTrigger_ = shortcut.properties.value(QStringLiteral("trigger_description")).toString();
    }
  }
}

void GlobalShortcutsPortal::shortcutActivated(const QDBusObjectPath& session, const QString& shortcutId,
                                              qulonglong /*timestamp*/, const QVariantMap& /*options*/) {
  if (!isBound_ || session.path() != session_) return;
  for (const GlobalShortcut& shortcut : globalShortcuts()) {
    if (shortcutId == QLatin1String(shortcut.id)) {
      activated_(shortcut.event);
      return;
    }
  }
}

void GlobalShortcutsPortal::callWithRequest(const QString& method, QList<QVariant> arguments,
                                            const char* responseSlot) {
  // The request object's path is known before the call (our unique name and
  // our token), so the Response cannot come before we listen for it.
  const QString token = QStringLiteral("tarvelo_%1").arg(++requests_);
  QString sender = bus_.baseService().mid(1);
  sender.replace(QLatin1Char('.'), QLatin1Char('_'));
  const QString request = kPortalPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
  bus_.connect(kPortalService, request, kRequestInterface, QStringLiteral("Response"), this, responseSlot);

  QVariantMap options = arguments.takeLast().toMap();
  options.insert(QStringLiteral("handle_token"), token);
  arguments.push_back(options);
  QDBusMessage call = QDBusMessage::createMethodCall(kPortalService, kPortalPath, kShortcutsInterface, method);
  call.setArguments(arguments);
  auto* answer = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this, method](QDBusPendingCallWatcher* finished) {
    finished->deleteLater();
    if (finished->isError()) giveUp(method + QStringLiteral(": ") + finished->error().message());
  });
}

void GlobalShortcutsPortal::giveUp(const QString& reason) {
  if (hasGivenUp_) return;
  hasGivenUp_ = true;
  std::cout << "[Tarvelo] No global shortcuts: " << reason.toStdString()
            << "; bind tarvelo --toggle in the desktop's keyboard settings instead." << std::endl;
}

}  // namespace tarvelo
