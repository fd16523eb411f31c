// The program's windows on a real desktop: openbox as the window manager,
// real tray hosts of both protocols, clicks and keys from xdotool, and what
// the screen then shows. The panel and Settings views are the tests' own
// stand-ins of known size and colour.
#include <QColor>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QProcess>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRegularExpression>
#include <QScreen>
#include <QUrl>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "app/app_state.h"
#include "app/linux_platform.h"
#include "app/qt_panel_window.h"
#include "app/qt_settings_window_host.h"
#include "desktop_session.h"
#include "end_to_end_support.h"
#include "ui/ui_resources.h"

namespace tarvelo::testing {
namespace {

using namespace std::chrono_literals;

const QRect kTopScreen(0, 0, 1920, 1080);
const QString kAppClass = QStringLiteral("tarvelo-desktop-test-app");
const QColor kOpaquePanelColour(0x33, 0x99, 0x4d);

bool isPanel(const WindowState& window) { return window.geometry.width() == 320; }
bool isTrayIcon(const WindowState& window) {
  return window.geometry.width() <= 64 && window.geometry.height() <= 64 && window.geometry.width() > 1;
}

std::optional<WindowState> panel() { return findViewable(kAppClass, isPanel); }

bool near(const QColor& shown, const QColor& expected, int tolerance = 3) {
  return std::abs(shown.red() - expected.red()) <= tolerance && std::abs(shown.green() - expected.green()) <= tolerance &&
         std::abs(shown.blue() - expected.blue()) <= tolerance;
}

std::string describe(const QColor& colour) { return colour.name().toStdString(); }

class DesktopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    runRigScript({QStringLiteral("layout"), QStringLiteral("stacked")});
    windowManager_ = std::make_unique<WindowManager>();
    // A tray host of an earlier test can take seconds to go on a loaded
    // machine; its bar would move windows out of its way and its tray would
    // make the program believe it has one.
    ASSERT_TRUE(waitUntil([] { return !trayHostRunning() && !barsReserveSpace(); }, 60s))
        << "a tray or bar of an earlier test is still there";
  }
  void TearDown() override { windowManager_.reset(); }

  std::unique_ptr<WindowManager> windowManager_;
};

// Where the tray shows our icon: the embedded window under XEmbed; under
// StatusNotifierItem the host draws it, so it is found in the bar's pixels.
std::optional<QRect> findTrayIcon(const TrayHost& host) {
  if (host.kind() == TrayHost::Kind::xembedTrayer) {
    // Embedded once it sits in trayer's bar, at the screen's right end.
    const auto embedded = [&](const WindowState& window) {
      return isTrayIcon(window) && host.bar().contains(window.geometry) && window.geometry.left() > 1800;
    };
    if (auto icon = findViewable(kAppClass, embedded)) return icon->geometry;
    return std::nullopt;
  }
  const QImage bar = grabScreen(host.bar());
  const QRgb background = bar.pixel(bar.width() - 2, bar.height() / 2);
  QRect found;
  for (int y = 2; y < bar.height() - 2; ++y) {
    for (int x = 0; x < bar.width(); ++x) {
      if (bar.pixel(x, y) != background) found |= QRect(x, y, 1, 1);
    }
  }
  if (found.isEmpty()) return std::nullopt;
  return found.translated(host.bar().topLeft());
}

class TrayTest : public DesktopTest, public ::testing::WithParamInterface<TrayHost::Kind> {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    host_ = std::make_unique<TrayHost>(GetParam());
    app_ = std::make_unique<DesktopApp>(host_->clientEnvironment());
    ASSERT_TRUE(app_->waitForLine(QStringLiteral("ready"), 20s));
    // The host lays its icons out again as they arrive: wait until ours stays put.
    std::optional<QRect> previous;
    const auto settled = [&] {
      icon_ = findTrayIcon(*host_);
      const bool same = icon_.has_value() && icon_ == previous;
      previous = icon_;
      if (!same) waitUntil([] { return false; }, 300ms);
      return same;
    };
    ASSERT_TRUE(waitUntil(settled, 30s)) << "no tray icon";
  }
  void TearDown() override {
    app_.reset();
    host_.reset();
    DesktopTest::TearDown();
  }
  QString hostName() const {
    return GetParam() == TrayHost::Kind::xembedTrayer ? QStringLiteral("xembed") : QStringLiteral("sni");
  }

  std::unique_ptr<TrayHost> host_;
  std::unique_ptr<DesktopApp> app_;
  std::optional<QRect> icon_;
};

TEST_P(TrayTest, AClickOpensThePanelBesideTheIconAndAClickOrEscapeClosesIt) {
  const QImage bar = grabScreen(host_->bar());
  saveArtifact(bar, QStringLiteral("tray-%1-bar").arg(hostName()));
  click(icon_->center());
  std::optional<WindowState> open;
  ASSERT_TRUE(waitUntil([&] { return (open = panel()).has_value(); }, 30s)) << "the panel did not open";
  const QRect shown = open->geometry;
  EXPECT_EQ(shown.width(), 320);
  EXPECT_EQ(shown.height(), 240) << "as tall as the view's content";
  EXPECT_TRUE(kTopScreen.contains(shown)) << "inside the icon's screen";
  // Dropped from the icon: just below it, past the bar it sits in, and
  // across the icon's column.
  EXPECT_GT(shown.top(), icon_->bottom());
  EXPECT_GT(shown.top(), host_->bar().bottom());
  EXPECT_LE(shown.top(), host_->bar().bottom() + 3);
  EXPECT_LE(shown.left(), icon_->center().x());
  EXPECT_GE(shown.right(), icon_->center().x());
  ASSERT_TRUE(waitUntil([&] { return activeWindow() == open->id; }, 15s)) << "the panel did not take the focus";

  const QImage screen = grabScreen(kTopScreen);
  saveArtifact(screen.copy(shown.adjusted(-40, -40, 40, 40).intersected(kTopScreen)),
               QStringLiteral("tray-%1-panel").arg(hostName()));
  EXPECT_TRUE(near(screen.pixelColor(shown.left() + 10, shown.top() + 10), kOpaquePanelColour))
      << describe(screen.pixelColor(shown.left() + 10, shown.top() + 10)) << ": opaque without a compositor";

  click(icon_->center());
  EXPECT_TRUE(waitUntil([] { return !panel().has_value(); }, 15s)) << "a second click closes it";
  waitUntil([] { return false; }, 600ms);

  click(icon_->center());
  ASSERT_TRUE(waitUntil([] { return panel().has_value(); }, 15s)) << "a third click opens it again";
  ASSERT_TRUE(waitUntil([] { return activeWindow() == panel()->id; }, 15s));
  pressKeys({QStringLiteral("Escape")});
  EXPECT_TRUE(waitUntil([] { return !panel().has_value(); }, 15s)) << "Escape closes it";
}

TEST_P(TrayTest, ThePanelClosesWhenAnotherWindowTakesTheFocus) {
  Helper other(QStringLiteral("xmessage"), {QStringLiteral("-geometry"), QStringLiteral("+200+600"), QStringLiteral("other")});
  std::optional<WindowState> otherWindow;
  ASSERT_TRUE(waitUntil([&] { return (otherWindow = findViewable(QStringLiteral("xmessage"), [](auto&) { return true; })).has_value(); }, 30s));
  click(icon_->center());
  ASSERT_TRUE(waitUntil([] { return panel().has_value() && activeWindow() == panel()->id; }, 30s));
  runTool(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QString::number(otherWindow->id)});
  EXPECT_TRUE(waitUntil([] { return !panel().has_value(); }, 15s)) << "losing the focus closes it";
}

TEST_P(TrayTest, ASecondLaunchBringsThePanelForward) {
  app_->send(QStringLiteral("show-controls"));
  std::optional<WindowState> open;
  ASSERT_TRUE(waitUntil([&] { return (open = panel()).has_value(); }, 30s));
  EXPECT_TRUE(waitUntil([&] { return activeWindow() == open->id; }, 15s)) << "and it has the focus";
}

TEST_P(TrayTest, TheMenuStartsTheLightsAndQuitStopsThemBeforeTheProgramEnds) {
  const auto openMenu = [&] {
    click(icon_->center(), 3);
    waitUntil([] { return false; }, 800ms);
    // Off the menu, so the keys below start from no item.
    runTool(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QStringLiteral("960"), QStringLiteral("700")});
    waitUntil([] { return false; }, 300ms);
  };
  openMenu();
  saveArtifact(grabScreen(kTopScreen).copy(QRect(icon_->center() - QPoint(300, 20), QSize(600, 200)).intersected(kTopScreen)),
               QStringLiteral("tray-%1-menu").arg(hostName()));
  pressKeys({QStringLiteral("Down"), QStringLiteral("Return")});  // the first item: "Start Lights"
  ASSERT_TRUE(app_->waitForLine(QStringLiteral("lights running"), 20s));
  const QRect lightScreen(0, 1080, 1920, 1080);
  EXPECT_TRUE(waitUntil([&] { return findViewable(kAppClass, [&](const WindowState& w) { return w.geometry == lightScreen; }).has_value(); }, 30s))
      << "the light window is up";

  openMenu();
  pressKeys({QStringLiteral("Up"), QStringLiteral("Return")});  // the last item: "Quit"
  ASSERT_TRUE(app_->waitForExit(20s)) << "Quit ends the program";
  EXPECT_EQ(app_->process().exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(app_->process().exitCode(), 0);
  EXPECT_EQ(app_->lines().last(), QStringLiteral("lights stopped")) << "the lights were stopped first";
}

INSTANTIATE_TEST_SUITE_P(Hosts, TrayTest,
                         ::testing::Values(TrayHost::Kind::xembedTrayer, TrayHost::Kind::statusNotifierXfcePanel),
                         [](const ::testing::TestParamInfo<TrayHost::Kind>& info) {
                           return info.param == TrayHost::Kind::xembedTrayer ? std::string("XEmbedTrayer")
                                                                               : std::string("StatusNotifierXfcePanel");
                         });

// The StatusNotifierItem host builds the menu from what the program exports
// over D-Bus, so its labels can be read back there.
TEST_F(DesktopTest, TheExportedTrayMenuHasTheToggleSettingsAndQuit) {
  TrayHost host(TrayHost::Kind::statusNotifierXfcePanel);
  DesktopApp app(host.clientEnvironment());
  ASSERT_TRUE(app.waitForLine(QStringLiteral("ready"), 20s));
  QString layout;
  const auto readMenu = [&] {
    QProcess query;
    query.setProcessEnvironment(host.clientEnvironment());
    query.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral(
        "item=$(dbus-send --session --print-reply --dest=org.kde.StatusNotifierWatcher /StatusNotifierWatcher "
        "org.freedesktop.DBus.Properties.Get string:org.kde.StatusNotifierWatcher string:RegisteredStatusNotifierItems "
        "| sed -n 's/.*string \"\\(.*\\)\".*/\\1/p' | head -1); "
        "[ -n \"$item\" ] || exit 1; service=${item%%/*}; "
        "menu=$(dbus-send --session --print-reply --dest=$service /${item#*/} org.freedesktop.DBus.Properties.Get "
        "string:org.kde.StatusNotifierItem string:Menu | sed -n 's/.*object path \"\\(.*\\)\".*/\\1/p'); "
        "dbus-send --session --print-reply --dest=$service $menu com.canonical.dbusmenu.GetLayout int32:0 int32:-1 "
        "array:string:label")});
    query.waitForFinished();
    layout = QString::fromUtf8(query.readAllStandardOutput());
    return layout.contains(QStringLiteral("Quit"));
  };
  ASSERT_TRUE(waitUntil(readMenu, 30s)) << layout.toStdString();
  const QRegularExpression labels(QStringLiteral("string \"label\"\\s*variant\\s*string \"([^\"]*)\""));
  QStringList found;
  for (const auto& match : labels.globalMatch(layout)) found << match.captured(1);
  EXPECT_EQ(found, (QStringList{QStringLiteral("Start Lights"), QStringLiteral("Settings\u2026"), QStringLiteral("Quit")}))
      << layout.toStdString();
}

TEST_F(DesktopTest, WithoutATrayThePanelIsAWindowAndClosingItKeepsTheProgram) {
  DesktopApp app(noTrayEnvironment());
  ASSERT_TRUE(app.waitForLine(QStringLiteral("ready"), 20s));
  std::optional<WindowState> found;
  const auto titled = [&] {
    for (std::uint32_t id : windowsNamed(QStringLiteral("^Tarvelo$"))) {
      if (windowState(id).viewable) found = windowState(id);
    }
    return found.has_value();
  };
  ASSERT_TRUE(waitUntil(titled, 30s)) << "no window titled Tarvelo; " << app.report().toStdString();
  const WindowState window = *found;
  EXPECT_EQ(window.geometry.width(), 320);
  EXPECT_EQ(window.geometry.height(), 240);
  saveArtifact(grabScreen(kTopScreen).copy(window.geometry.adjusted(-20, -40, 20, 20).intersected(kTopScreen)),
               QStringLiteral("no-tray-window"));

  runTool(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(window.id)});
  pressKeys({QStringLiteral("alt+F4")});
  ASSERT_TRUE(waitUntil([&] { return !windowState(window.id).viewable; }, 15s)) << "the window manager's close hides it";
  waitUntil([] { return false; }, 1s);
  EXPECT_EQ(app.process().state(), QProcess::Running) << "the program goes on";

  app.send(QStringLiteral("show-controls"));
  EXPECT_TRUE(waitUntil([&] { return windowState(window.id).viewable && activeWindow() == window.id; }, 15s))
      << "a second launch brings the same window back";
}

TEST_F(DesktopTest, UnderACompositorThePanelIsTranslucent) {
  Helper compositor(QStringLiteral("xcompmgr"), {});
  ASSERT_TRUE(waitUntil(compositorRunning, 30s)) << "xcompmgr did not take the compositing selection";
  TrayHost host(TrayHost::Kind::xembedTrayer);
  DesktopApp app(host.clientEnvironment());
  ASSERT_TRUE(app.waitForLine(QStringLiteral("ready"), 20s));
  std::optional<QRect> icon;
  ASSERT_TRUE(waitUntil([&] { return (icon = findTrayIcon(host)).has_value(); }, 30s));
  click(icon->center());
  std::optional<WindowState> open;
  ASSERT_TRUE(waitUntil([&] { return (open = panel()).has_value(); }, 30s));
  EXPECT_EQ(open->depth, 32) << "an alpha visual";
  waitUntil([] { return false; }, 500ms);
  const QImage screen = grabScreen(kTopScreen);
  saveArtifact(screen.copy(open->geometry.adjusted(-40, -40, 40, 40).intersected(kTopScreen)),
               QStringLiteral("compositor-panel"));
  // The view's tint at half opacity, blended by the compositor over what lies below.
  const QColor below = screen.pixelColor(open->geometry.left() - 10, open->geometry.top() + 10);
  const QColor blended((0x33 + below.red()) / 2, (0x99 + below.green()) / 2, (0x4d + below.blue()) / 2);
  const QColor shown = screen.pixelColor(open->geometry.left() + 10, open->geometry.top() + 10);
  EXPECT_TRUE(near(shown, blended, 4)) << describe(shown);
}

// The Settings window in this process, over the real Linux platform.
class SettingsWindowTest : public DesktopTest {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    // The window is centred on the screen's free area as this process's Qt
    // knows it; let it hear that an earlier test's bar has gone.
    ASSERT_TRUE(waitUntil([] { return QGuiApplication::primaryScreen()->availableGeometry() == kTopScreen; }, 15s))
        << "Qt still reserves room for a bar that is gone";
    platform_ = std::make_unique<LinuxPlatform>(QUrl(QStringLiteral("qrc:/tarvelo/test/SettingsTestView.qml")));
    state_ = std::make_unique<AppState>(platform_->services());
  }
  void TearDown() override {
    state_.reset();
    platform_.reset();
    DesktopTest::TearDown();
  }

  static std::optional<WindowState> settingsWindow() {
    for (std::uint32_t id : windowsNamed(QStringLiteral("^Tarvelo Settings$"))) {
      const WindowState state = windowState(id);
      if (state.viewable) return state;
    }
    return std::nullopt;
  }

  std::unique_ptr<LinuxPlatform> platform_;
  std::unique_ptr<AppState> state_;
};

TEST_F(SettingsWindowTest, FixedSizeTitledAboveAndCentredHidingOnCloseAndComingBackWhereItWas) {
  // Opened as a user opens it, by the shortcut.
  pressKeys({QStringLiteral("super+comma")});
  std::optional<WindowState> window;
  ASSERT_TRUE(waitUntil([&] { return (window = settingsWindow()).has_value(); }, 30s));
  EXPECT_EQ(window->geometry.size(), QSize(520, 600));
  const QString hints = windowProperty(window->id, QStringLiteral("WM_NORMAL_HINTS"));
  EXPECT_EQ(window->geometry.center(), kTopScreen.center()) << "centred on the primary screen";
  EXPECT_TRUE(hints.contains(QStringLiteral("minimum size: 520 by 600"))) << hints.toStdString();
  EXPECT_TRUE(hints.contains(QStringLiteral("maximum size: 520 by 600"))) << hints.toStdString();
  EXPECT_TRUE(windowProperty(window->id, QStringLiteral("_NET_WM_STATE")).contains(QStringLiteral("_NET_WM_STATE_ABOVE")));
  EXPECT_TRUE(waitUntil([&] { return activeWindow() == window->id; }, 15s)) << "it has the focus";

  waitUntil([] { return false; }, 300ms);
  const QImage screen = grabScreen(kTopScreen);
  saveArtifact(screen.copy(window->geometry.adjusted(-30, -40, 30, 30)), QStringLiteral("settings-window"));
  // The 500-wide form centred in the 520-wide window: 10 pixels of the window's own colour each side.
  const QColor form(0x33, 0x66, 0xcc);
  EXPECT_TRUE(near(screen.pixelColor(window->geometry.left() + 12, window->geometry.top() + 300), form));
  EXPECT_TRUE(near(screen.pixelColor(window->geometry.right() - 12, window->geometry.top() + 300), form));
  EXPECT_FALSE(near(screen.pixelColor(window->geometry.left() + 4, window->geometry.top() + 300), form, 40));

  runTool(QStringLiteral("xdotool"), {QStringLiteral("windowmove"), QString::number(window->id), QStringLiteral("100"), QStringLiteral("150")});
  std::optional<WindowState> moved;
  ASSERT_TRUE(waitUntil([&] { return (moved = settingsWindow()) && moved->geometry.topLeft() != window->geometry.topLeft(); }, 15s));
  pressKeys({QStringLiteral("alt+F4")});
  ASSERT_TRUE(waitUntil([&] { return !windowState(window->id).viewable; }, 15s)) << "closing hides it";

  pressKeys({QStringLiteral("super+comma")});
  std::optional<WindowState> reopened;
  ASSERT_TRUE(waitUntil([&] { return (reopened = settingsWindow()).has_value(); }, 30s));
  EXPECT_EQ(reopened->id, window->id) << "the same window";
  EXPECT_EQ(reopened->geometry, moved->geometry) << "where the user left it";
}

// Every view the program shows is made by its one QML engine: one JavaScript
// heap and one cache of compiled components, however many windows are open.
TEST_F(SettingsWindowTest, TheHudSettingsAndThePanelShareTheProgramsOneEngine) {
  state_->setShowFloatingHUD(true);
  state_->start();
  ASSERT_TRUE(waitUntil([&] { return state_->isRunning(); }, 15s)) << state_->errorMessageText().toStdString();
  state_->openSettingsWindow();
  QtPanelWindow panel(platform_->viewEngine(), ui::menuBarViewUrl(), *state_, QtPanelWindow::Presentation::window);

  // The windows whose content QML made, and the engines that made it.
  std::set<QQmlEngine*> engines;
  int windowsWithViews = 0;
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    auto* quickWindow = qobject_cast<QQuickWindow*>(window);
    if (quickWindow == nullptr) continue;
    bool hasView = false;
    for (QQuickItem* item : quickWindow->contentItem()->childItems()) {
      if (QQmlEngine* engine = qmlEngine(item)) {
        engines.insert(engine);
        hasView = true;
      }
    }
    windowsWithViews += hasView ? 1 : 0;
  }
  EXPECT_EQ(windowsWithViews, 4) << "the HUD and its tooltip's window, Settings and the panel";
  EXPECT_EQ(engines, std::set<QQmlEngine*>{&platform_->viewEngine()});
  state_->stop();
}

TEST_F(SettingsWindowTest, SuperCommaOpensItOnceAndThenBringsItForward) {
  // Another application's window; one that never showed on a busy server is
  // started again.
  std::optional<Helper> other;
  std::optional<WindowState> otherWindow;
  for (int attempt = 0; attempt < 3 && !otherWindow; ++attempt) {
    other.reset();
    other.emplace(QStringLiteral("xmessage"),
                  QStringList{QStringLiteral("-geometry"), QStringLiteral("+50+50"), QStringLiteral("other")});
    waitUntil([&] { return (otherWindow = findViewable(QStringLiteral("xmessage"), [](auto&) { return true; })).has_value(); }, 15s);
  }
  ASSERT_TRUE(otherWindow.has_value()) << "the other application's window never showed";
  const auto focusOther = [&] {
    runTool(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(otherWindow->id)});
  };
  focusOther();
  pressKeys({QStringLiteral("super+comma")});
  std::optional<WindowState> window;
  ASSERT_TRUE(waitUntil([&] { return (window = settingsWindow()).has_value() && activeWindow() == window->id; }, 30s));

  focusOther();
  ASSERT_TRUE(waitUntil([&] { return activeWindow() == otherWindow->id; }, 15s));
  pressKeys({QStringLiteral("super+comma")});
  EXPECT_TRUE(waitUntil([&] { return activeWindow() == window->id; }, 30s)) << "brought forward";
  EXPECT_EQ(windowsNamed(QStringLiteral("^Tarvelo Settings$")).size(), 1u) << "one window";
}

}  // namespace
}  // namespace tarvelo::testing
