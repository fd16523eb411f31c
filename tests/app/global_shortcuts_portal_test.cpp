// The global shortcuts of a Wayland desktop through its GlobalShortcuts portal,
// against a portal of the test's own on a private session bus: the desktops
// that offer the portal (KDE, GNOME 48) are not on this machine, and the
// wlroots portal backend has none.
#include "app/wayland/global_shortcuts_portal.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDeadlineTimer>
#include <QProcess>

#include <chrono>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

// One entry of the a(sa{sv}) lists the desktop sends back: a shortcut's id
// and what the desktop says of it.
struct DesktopShortcut {
  QString id;
  QVariantMap properties;
};

}  // namespace

Q_DECLARE_METATYPE(DesktopShortcut)

namespace {

QDBusArgument& operator<<(QDBusArgument& argument, const DesktopShortcut& shortcut) {
  argument.beginStructure();
  argument << shortcut.id << shortcut.properties;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DesktopShortcut& shortcut) {
  argument.beginStructure();
  argument >> shortcut.id >> shortcut.properties;
  argument.endStructure();
  return argument;
}

}  // namespace

namespace tarvelo {
namespace {

using namespace std::chrono_literals;

const QString kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kShortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

bool processEventsUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = 5s) {
  const QDeadlineTimer deadline(timeout);
  while (!done() && !deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  return done();
}

// What the code under test writes to std::cout, readable while the test
// waits: a refusal arrives whenever the bus delivers it, which on a loaded
// machine may be long after the call.
class SaidLines {
 public:
  SaidLines() : previous_(std::cout.rdbuf(said_.rdbuf())) {}
  ~SaidLines() { std::cout.rdbuf(previous_); }
  SaidLines(const SaidLines&) = delete;
  SaidLines& operator=(const SaidLines&) = delete;
  std::string text() const { return said_.str(); }

 private:
  std::ostringstream said_;
  std::streambuf* previous_;
};

// A bus of the test's own.
class PrivateBus {
 public:
  PrivateBus() {
    daemon_.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                   QStringLiteral("--print-address=1")});
    if (daemon_.waitForReadyRead(10000)) address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
  }
  ~PrivateBus() {
    daemon_.kill();
    daemon_.waitForFinished();
  }
  QDBusConnection connect(const QString& name) const { return QDBusConnection::connectToBus(address_, name); }
  bool isUp() const { return !address_.isEmpty(); }

 private:
  QProcess daemon_;
  QString address_;
};

struct BoundShortcut {
  QString id;
  QString description;
  QString preferredTrigger;
};

// The desktop's side, as the portal documents it: a version property, then
// CreateSession and BindShortcuts answered through Response signals of
// request objects, Activated signals, and the session's Close.
class FakePortal final : public QDBusVirtualObject {
 public:
  explicit FakePortal(QDBusConnection bus) : bus_(std::move(bus)) {
    qDBusRegisterMetaType<DesktopShortcut>();
    qDBusRegisterMetaType<QList<DesktopShortcut>>();
    bus_.registerVirtualObject(kPortalPath, this, QDBusConnection::SubPath);
    bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
  }
  ~FakePortal() override { bus_.unregisterObject(kPortalPath, QDBusConnection::UnregisterTree); }

  bool offersShortcuts = true;
  uint bindResponse = 0;  // 0 binds; 1 is the user's refusal
  // The keys the desktop says it bound the toggle to; none when empty.
  QString toggleTrigger;

  QString session;
  std::vector<BoundShortcut> bound;
  int closes = 0;

  void activate(const QString& sessionPath, const QString& id) {
    QDBusMessage signal = QDBusMessage::createSignal(kPortalPath, kShortcutsInterface, QStringLiteral("Activated"));
    signal.setArguments({QVariant::fromValue(QDBusObjectPath(sessionPath)), id, QVariant::fromValue(qulonglong(0)),
                         QVariantMap()});
    bus_.send(signal);
  }

  // The user rebinds the toggle in the desktop's settings.
  void rebindToggle(const QString& sessionPath, const QString& trigger) {
    QDBusMessage signal =
        QDBusMessage::createSignal(kPortalPath, kShortcutsInterface, QStringLiteral("ShortcutsChanged"));
    signal.setArguments({QVariant::fromValue(QDBusObjectPath(sessionPath)), triggers(trigger)});
    bus_.send(signal);
  }

  QString introspect(const QString&) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    const QString member = message.member();
    if (message.interface() == QStringLiteral("org.freedesktop.DBus.Properties") && member == QStringLiteral("Get")) {
      if (!offersShortcuts || message.arguments().value(0).toString() != kShortcutsInterface) {
        connection.send(message.createErrorReply(QDBusError::UnknownInterface, QStringLiteral("no such interface")));
      } else {
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(QVariant(1U)))));
      }
      return true;
    }
    if (message.interface() == QStringLiteral("org.freedesktop.portal.Session") && member == QStringLiteral("Close")) {
      if (message.path() == session) ++closes;
      connection.send(message.createReply());
      return true;
    }
    if (message.interface() != kShortcutsInterface) return false;
    QString sender = message.service().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    const QVariantMap options = qdbus_cast<QVariantMap>(message.arguments().last());
    const QString request =
        kPortalPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + options.value("handle_token").toString();
    connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
    if (member == QStringLiteral("CreateSession")) {
      session = kPortalPath + QStringLiteral("/session/") + sender + QLatin1Char('/') +
                options.value("session_handle_token").toString();
      respond(connection, request, 0, {{QStringLiteral("session_handle"), session}});
    } else if (member == QStringLiteral("BindShortcuts")) {
      const QDBusArgument list = message.arguments().value(1).value<QDBusArgument>();
      list.beginArray();
      while (!list.atEnd()) {
        QString id;
        QVariantMap properties;
        list.beginStructure();
        list >> id >> properties;
        list.endStructure();
        bound.push_back({id, properties.value("description").toString(),
                         properties.value("preferred_trigger").toString()});
      }
      list.endArray();
      respond(connection, request, bindResponse,
              toggleTrigger.isEmpty() ? QVariantMap() : QVariantMap{{QStringLiteral("shortcuts"), triggers(toggleTrigger)}});
    }
    return true;
  }

 private:
  // What the desktop sends back of the bound shortcuts: the toggle with its
  // keys, and another shortcut with keys of its own.
  static QVariant triggers(const QString& toggle) {
    const QList<DesktopShortcut> shortcuts{
        {QStringLiteral("brightness-up"), {{QStringLiteral("trigger_description"), QStringLiteral("Meta+Shift+Up")}}},
        {QStringLiteral("toggle-lights"), {{QStringLiteral("trigger_description"), toggle}}}};
    return QVariant::fromValue(shortcuts);
  }

  static void respond(const QDBusConnection& connection, const QString& request, uint response,
                      const QVariantMap& results) {
    QDBusMessage signal =
        QDBusMessage::createSignal(request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
    signal.setArguments({response, results});
    connection.send(signal);
  }

  QDBusConnection bus_;
};

class GlobalShortcutsPortalTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(bus_.isUp()) << "no private session bus"; }
  void TearDown() override {
    QDBusConnection::disconnectFromBus(QStringLiteral("fake-portal"));
    QDBusConnection::disconnectFromBus(QStringLiteral("tarvelo"));
  }

  std::unique_ptr<GlobalShortcutsPortal> bind() {
    return std::make_unique<GlobalShortcutsPortal>(bus_.connect(QStringLiteral("tarvelo")),
                                                   [this](const KeyEvent& event) { pressed_.push_back(event); });
  }

  PrivateBus bus_;
  FakePortal portal_{bus_.connect(QStringLiteral("fake-portal"))};
  std::vector<KeyEvent> pressed_;
};

TEST_F(GlobalShortcutsPortalTest, BindsEveryShortcutAndReportsAnActivationAsItsKeys) {
  const auto shortcuts = bind();
  ASSERT_TRUE(processEventsUntil([&] { return shortcuts->isBound(); }));
  ASSERT_EQ(portal_.bound.size(), 9U);
  EXPECT_EQ(portal_.bound[0].id, QStringLiteral("toggle-lights"));
  EXPECT_EQ(portal_.bound[0].description, QStringLiteral("Toggle Tarvelo On/Off"));
  EXPECT_EQ(portal_.bound[0].preferredTrigger, QStringLiteral("LOGO+SHIFT+l"));
  EXPECT_EQ(portal_.bound[8].id, QStringLiteral("open-settings"));
  EXPECT_EQ(portal_.bound[8].preferredTrigger, QStringLiteral("LOGO+comma"));

  portal_.activate(portal_.session, QStringLiteral("toggle-lights"));
  portal_.activate(portal_.session, QStringLiteral("open-settings"));
  ASSERT_TRUE(processEventsUntil([&] { return pressed_.size() == 2; }));
  // Super+Shift+L and Super+comma, as the key handler knows them.
  EXPECT_EQ(pressed_[0].modifierFlags, 0x120000U);
  EXPECT_EQ(pressed_[0].keyCode, 37U);
  EXPECT_EQ(pressed_[1].modifierFlags, 0x100000U);
  EXPECT_EQ(pressed_[1].keyCode, 43U);

  // Another session's shortcut, and an id that is not ours, press nothing.
  portal_.activate(kPortalPath + QStringLiteral("/session/other/x"), QStringLiteral("toggle-lights"));
  portal_.activate(portal_.session, QStringLiteral("no-such-shortcut"));
  processEventsUntil([] { return false; }, 300ms);
  EXPECT_EQ(pressed_.size(), 2U);
}

TEST_F(GlobalShortcutsPortalTest, TellsTheKeysTheDesktopBoundTheToggleToAndFollowsARebinding) {
  portal_.toggleTrigger = QStringLiteral("Meta+Shift+L");
  const auto shortcuts = bind();
  int changes = 0;
  shortcuts->bindingChanged = [&] { ++changes; };
  ASSERT_TRUE(processEventsUntil([&] { return shortcuts->isBound(); }));
  EXPECT_EQ(shortcuts->toggleTrigger(), QStringLiteral("Meta+Shift+L"));
  EXPECT_EQ(changes, 1);

  portal_.rebindToggle(kPortalPath + QStringLiteral("/session/other/x"), QStringLiteral("Ctrl+Q"));
  portal_.rebindToggle(portal_.session, QStringLiteral("Ctrl+Alt+T"));
  ASSERT_TRUE(processEventsUntil([&] { return changes == 2; }));
  EXPECT_EQ(shortcuts->toggleTrigger(), QStringLiteral("Ctrl+Alt+T")) << "another session's change is not ours";
}

TEST_F(GlobalShortcutsPortalTest, ADesktopThatNamesNoKeysLeavesTheTriggerEmpty) {
  const auto shortcuts = bind();
  ASSERT_TRUE(processEventsUntil([&] { return shortcuts->isBound(); }));
  EXPECT_EQ(shortcuts->toggleTrigger(), QString());
}

TEST_F(GlobalShortcutsPortalTest, ClosingItClosesTheSession) {
  auto shortcuts = bind();
  ASSERT_TRUE(processEventsUntil([&] { return shortcuts->isBound(); }));
  shortcuts.reset();
  EXPECT_TRUE(processEventsUntil([&] { return portal_.closes == 1; }));
}

TEST_F(GlobalShortcutsPortalTest, ADesktopWithoutThePortalLeavesItSilentAfterOneLine) {
  portal_.offersShortcuts = false;
  const SaidLines said;
  const auto shortcuts = bind();
  ASSERT_TRUE(processEventsUntil([&] { return !said.text().empty(); }));
  processEventsUntil([] { return false; }, 300ms);
  EXPECT_FALSE(shortcuts->isBound());
  EXPECT_TRUE(portal_.bound.empty());
  EXPECT_EQ(said.text(),
            "[Tarvelo] No global shortcuts: the desktop offers no global shortcuts; bind tarvelo --toggle in the "
            "desktop's keyboard settings instead.\n");
}

TEST_F(GlobalShortcutsPortalTest, ARefusedBindingPressesNothing) {
  portal_.bindResponse = 1;
  const SaidLines said;
  const auto shortcuts = bind();
  ASSERT_TRUE(processEventsUntil([&] { return !said.text().empty(); })) << "the refusal never arrived";
  portal_.activate(portal_.session, QStringLiteral("toggle-lights"));
  processEventsUntil([] { return false; }, 300ms);
  EXPECT_FALSE(shortcuts->isBound());
  EXPECT_TRUE(pressed_.empty());
  EXPECT_EQ(said.text().rfind("[Tarvelo] No global shortcuts: the desktop did not bind the global shortcuts", 0), 0U)
      << said.text();
}

}  // namespace
}  // namespace tarvelo
