#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

#include "app/app_platform.h"

class QDBusPendingCallWatcher;

namespace tarvelo {

// The program's global shortcuts on a Wayland desktop, through its
// GlobalShortcuts portal (org.freedesktop.portal.GlobalShortcuts), spoken with
// QtDBus. One session binds every shortcut of globalShortcuts() with its
// description and preferred trigger; the desktop may ask the user, who may
// choose other keys. Each activation is reported as the shortcut's key-down
// event, as if its keys had been typed on X11, so the key handler serves both.
//
// Asynchronous throughout, on the thread's event loop: the desktop's dialog
// never blocks it. A desktop without the portal (or one that refuses the
// binding) leaves it silent after one line on standard output; the desktop's
// own keyboard settings can still bind `tarvelo --toggle` and its kin.
class GlobalShortcutsPortal final : public QObject {
  Q_OBJECT

 public:
  using Activation = std::function<void(const KeyEvent&)>;

  // Starts asking at once.
  GlobalShortcutsPortal(QDBusConnection bus, Activation activated);
  // Closes the session, which unbinds the shortcuts.
  ~GlobalShortcutsPortal() override;

  GlobalShortcutsPortal(const GlobalShortcutsPortal&) = delete;
  GlobalShortcutsPortal& operator=(const GlobalShortcutsPortal&) = delete;

  // True once the desktop has bound the shortcuts.
  bool isBound() const { return isBound_; }
  // How the desktop names the keys that toggle the lights (its
  // trigger_description, e.g. "Meta+Shift+L"), once bound; empty when it
  // does not say. The user may change it in the desktop's settings.
  const QString& toggleTrigger() const { return toggleTrigger_; }
  // Called when isBound() or toggleTrigger() changes.
  std::function<void()> bindingChanged;

 private slots:
  void sessionCreated(uint response, const QVariantMap& results);
  void shortcutsBound(uint response, const QVariantMap& results);
  void shortcutActivated(const QDBusObjectPath& session, const QString& shortcutId, qulonglong timestamp,
                         const QVariantMap& options);
  void shortcutsChanged(const QDBusMessage& message);

 private:
  void versionAnswered(QDBusPendingCallWatcher* answer);
  void createSession();
  void bindShortcuts();
  // Calls a portal method whose answer comes as the Response of a request
  // object, and routes that Response to `responseSlot`.
  void callWithRequest(const QString& method, QList<QVariant> arguments, const char* responseSlot);
  void giveUp(const QString& reason);
  // Takes the toggle's trigger from an a(sa{sv}) list of bound shortcuts.
  void readTriggers(const QVariant& shortcuts);

  QDBusConnection bus_;
  Activation activated_;
  int requests_ = 0;
  QString session_;
  bool isBound_ = false;
  bool hasGivenUp_ = false;
  QString toggleTrigger_;
};

}  // namespace tarvelo
