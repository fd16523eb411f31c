#include <gtest/gtest.h>

#include <QColor>
#include <QPainter>
#include <QQmlEngine>
#include <QQuickItem>
#include <QTest>
#include <stdexcept>
#include <string>
#include <vector>

#include "ui/ui_resources.h"
#include "ui/view_harness.h"

namespace tarvelo::testing {
namespace {

using Write = FakeSettingsStore::Write;

class MenuBarViewTest : public ::testing::Test, protected ViewHarness {
 protected:
  MenuBarViewTest() { useStackedDisplays(); }

  // The state as it is after creation, then the panel on it.
  void open(const QVariantMap& properties = {}) {
    create();
    ASSERT_TRUE(load(ui::menuBarViewUrl(), properties));
  }

  QString text(const char* objectName) { return item(objectName).property("text").toString(); }
  QString textIn(const char* scope, const char* objectName) {
    return itemIn(item(scope), objectName).property("text").toString();
  }
  bool shown(const char* objectName) { return item(objectName).isVisible(); }
  bool switchOn() { return item("runSwitch").property("checked").toBool(); }

  // The switch flipped by a click, and the job it leaves run.
  void flipSwitch() {
    click(item("runSwitch"));
    fakes.capture.joinCompletionThreads();
    fakes.mainQueue.runPending();
    settle();
  }

  // A point inside `objectName`, `dx`/`dy` from its top-left corner, in the window.
  QPoint pointIn(const char* objectName, double dx, double dy) {
    return item(objectName).mapToScene(QPointF(dx, dy)).toPoint();
  }

  std::vector<std::string> keysWrittenSince(std::size_t first) {
    std::vector<std::string> keys = fakes.settings.writtenKeys();
    return std::vector<std::string>(keys.begin() + static_cast<std::ptrdiff_t>(first), keys.end());
  }
};

// ---- Size and order ----

TEST_F(MenuBarViewTest, IsExactly320WideAndAsTallAsItsContent) {
  open();
  EXPECT_EQ(root().width(), 320.0);
  const double stoppedHeight = root().height();
  QQuickItem& footer = item("footer");
  EXPECT_NEAR(footer.mapToScene(QPointF(0, footer.height())).y() + 14.0, stoppedHeight, 0.5);

  fakes.permission.granted = false;
  appState->requestPermission();
  settle();
  EXPECT_EQ(root().width(), 320.0);
  EXPECT_NEAR(root().height(), stoppedHeight + item("permissionCard").height() + 12.0, 0.5);
}

TEST_F(MenuBarViewTest, WithoutPermissionAndWithAnErrorShowsEverySectionInOrder) {
  fakes.permission.granted = false;
  open();
  appState->start();  // fails for the permission: the error text is set
  settle();
  ASSERT_FALSE(appState->hasPermission());
  ASSERT_FALSE(appState->errorMessage()->empty());
  const char* order[] = {"headerCard", "permissionCard", "errorCard", "routingCard",
                         "presetsRow", "controlsCard", "footer"};
  double lastBottom = 0.0;
  for (const char* name : order) {
    QQuickItem& section = item(name);
    ASSERT_TRUE(section.isVisible()) << name;
    const double top = section.mapToScene(QPointF(0, 0)).y();
    EXPECT_NEAR(top - lastBottom, lastBottom == 0.0 ? 14.0 : 12.0, 2.5) << name;
    lastBottom = top + section.height();
  }
  save(grab(), "panel-permission-and-error");
}

TEST_F(MenuBarViewTest, PermissionAndErrorCardsAreAbsentWhileAllIsWell) {
  open();
  EXPECT_FALSE(shown("permissionCard"));
  EXPECT_FALSE(shown("errorCard"));
}

// ---- Screenshots of the states, probed ----

TEST_F(MenuBarViewTest, StoppedShowsANeutralBadgeStandbyAndTheSwitchOff) {
  open();
  const QImage image = grab();
  save(image, "panel-stopped");
  EXPECT_EQ(text("statusText"), QStringLiteral("Standby"));
  EXPECT_FALSE(switchOn());
  // The badge's rim: a neutral grey, no yellow.
  const QColor badge = colourAt(image, pointIn("badge", 18, 3));
  EXPECT_LT(std::abs(badge.red() - badge.blue()), 6) << badge.name().toStdString();
  const QColor dot = colourAt(image, pointIn("statusDot", 3, 3));
  EXPECT_LT(std::abs(dot.green() - dot.red()), 10) << dot.name().toStdString();
}

TEST_F(MenuBarViewTest, RunningShowsAYellowBadgeAGreenDotActiveGlowAndTheSwitchOn) {
  open();
  flipSwitch();
  ASSERT_TRUE(appState->isRunning());
  const QImage image = grab();
  save(image, "panel-running");
  EXPECT_EQ(text("statusText"), QStringLiteral("Active Glow"));
  EXPECT_TRUE(switchOn());
  const QColor badge = colourAt(image, pointIn("badge", 18, 3));
  EXPECT_GT(badge.red() - badge.blue(), 25) << badge.name().toStdString();
  const QColor dot = colourAt(image, pointIn("statusDot", 3, 3));
  EXPECT_GT(dot.green() - dot.red(), 80) << dot.name().toStdString();
  EXPECT_GT(dot.green() - dot.blue(), 60) << dot.name().toStdString();
}

TEST_F(MenuBarViewTest, WithoutPermissionShowsTheOrangeCard) {
  fakes.permission.granted = false;
  open();
  ASSERT_TRUE(shown("permissionCard"));
  const QImage image = grab();
  save(image, "panel-permission");
  const QColor fill = colourAt(image, pointIn("permissionCard", 3, 3));
  EXPECT_GT(fill.red() - fill.blue(), 15) << fill.name().toStdString();
}

TEST_F(MenuBarViewTest, AFailedStartLeavesTheSwitchOffAndShowsTheRedErrorCard) {
  fakes.capture.startCaptureError = std::make_exception_ptr(std::runtime_error("The capture could not start."));
  open();
  flipSwitch();
  EXPECT_FALSE(appState->isRunning());
  EXPECT_FALSE(switchOn());
  ASSERT_TRUE(shown("errorCard"));
  EXPECT_EQ(text("errorText"), QString::fromStdString(*appState->errorMessage()));
  const QImage image = grab();
  save(image, "panel-error");
  const QColor fill = colourAt(image, pointIn("errorCard", 3, 3));
  EXPECT_GT(fill.red() - fill.green(), 12) << fill.name().toStdString();
  EXPECT_GT(fill.red() - fill.blue(), 12) << fill.name().toStdString();
}

TEST_F(MenuBarViewTest, TheBackdropIsTranslucentOrOpaqueAsTheWindowSays) {
  open();
  const QImage translucent = grabWithAlpha();
  EXPECT_LT(translucent.pixelColor(pointIn("backdrop", 6, 200)).alpha(), 255);
  // Over a pattern, as a compositor would show it.
  QImage over(translucent.size(), QImage::Format_ARGB32);
  {
    QPainter painter(&over);
    for (int y = 0; y < over.height(); y += 20) {
      for (int x = 0; x < over.width(); x += 20) {
        painter.fillRect(x, y, 20, 20, ((x + y) / 20) % 2 ? QColor("#3050c0") : QColor("#e0a030"));
      }
    }
    painter.drawImage(0, 0, translucent);
  }
  save(over, "panel-translucent-over-a-pattern");

  root().setProperty("translucentBackdrop", false);
  const QImage opaque = grabWithAlpha();
  save(opaque, "panel-opaque");
  EXPECT_EQ(opaque.pixelColor(pointIn("backdrop", 6, 200)).alpha(), 255);
}

// ---- The header switch ----

TEST_F(MenuBarViewTest, TheSwitchStartsAndStopsTheLightsInAJobOfItsOwn) {
  open();
  click(item("runSwitch"));
  EXPECT_FALSE(appState->isRunning());
  EXPECT_FALSE(switchOn());  // shows the old state until the job runs
  fakes.mainQueue.runPending();
  settle();
  EXPECT_TRUE(appState->isRunning());
  EXPECT_TRUE(switchOn());
  EXPECT_EQ(text("statusText"), QStringLiteral("Active Glow"));

  flipSwitch();
  EXPECT_FALSE(appState->isRunning());
  EXPECT_FALSE(switchOn());
  EXPECT_EQ(text("statusText"), QStringLiteral("Standby"));
}

TEST_F(MenuBarViewTest, TheSwitchFollowsLightsStartedElsewhere) {
  open();
  startAndSettle();
  settle();
  EXPECT_TRUE(switchOn());
  appState->stop();
  settle();
  EXPECT_FALSE(switchOn());
}

// ---- Routing ----

TEST_F(MenuBarViewTest, NamesTheSourceAndTargetDisplays) {
  open();
  EXPECT_EQ(textIn("sourceRow", "displayName"), QStringLiteral("Top"));
  EXPECT_EQ(textIn("targetRow", "displayName"), QStringLiteral("Bottom"));
  EXPECT_EQ(text("arrangementText"), QString::fromStdString(appState->arrangementDescription()));
}

TEST_F(MenuBarViewTest, WithoutDisplaysShowsTheFallbackNames) {
  fakes.displays.displays.clear();
  open();
  ASSERT_TRUE(appState->availableDisplays().empty());
  EXPECT_EQ(textIn("sourceRow", "displayName"), QStringLiteral("External Display"));
  EXPECT_EQ(textIn("targetRow", "displayName"), QStringLiteral("Built-in Display"));
}

TEST_F(MenuBarViewTest, OfTwoDisplaysWithTheSourceIdTheFirstIsNamed) {
  fakes.displays.displays = {onlineDisplay(kTopDisplay, kTopBounds, "First"),
                             onlineDisplay(kTopDisplay, kTopBounds, "Second"),
                             onlineDisplay(kBottomDisplay, kBottomBounds, "Bottom")};
  open();
  appState->setAutoDetectArrangement(false);
  appState->setSourceDisplayID(kTopDisplay);
  settle();
  EXPECT_EQ(textIn("sourceRow", "displayName"), QStringLiteral("First"));
}

// ---- Presets ----

struct PresetCase {
  const char* button;
  double brightness, vibrancy, spread, blurRadius, smoothing;
};

TEST_F(MenuBarViewTest, EachPresetWritesItsFiveValuesInOrderAndTheyAreStored) {
  open();
  for (const PresetCase& preset : {PresetCase{"cinemaButton", 1.4, 1.7, 0.8, 55.0, 0.3},
                                   PresetCase{"floodButton", 2.5, 2.1, 1.0, 80.0, 0.25},
                                   PresetCase{"subtleButton", 0.7, 1.2, 0.5, 40.0, 0.4}}) {
    fakes.settings.clearWrites();
    click(item(preset.button));
    const std::vector<Write> expected{{"tarvelo.brightness", preset.brightness},
                                      {"tarvelo.vibrancy", preset.vibrancy},
                                      {"tarvelo.spread", preset.spread},
                                      {"tarvelo.blurRadius", preset.blurRadius},
                                      {"tarvelo.smoothing", preset.smoothing}};
    EXPECT_EQ(fakes.settings.writes(), expected) << preset.button;
    EXPECT_EQ(appState->brightness(), preset.brightness) << preset.button;
    EXPECT_EQ(appState->smoothing(), preset.smoothing) << preset.button;
  }
  EXPECT_FALSE(appState->isRunning());
}

TEST_F(MenuBarViewTest, FloodReadsTwoHundredFiftyPercent) {
  open();
  click(item("floodButton"));
  EXPECT_EQ(itemIn(item("brightnessRow"), "valueText").property("text").toString(), QStringLiteral("250%"));
}

TEST_F(MenuBarViewTest, ThePresetsShareTheRowEqually) {
  open();
  const double width = item("cinemaButton").width();
  EXPECT_NEAR(item("floodButton").width(), width, 1.0);
  EXPECT_NEAR(item("subtleButton").width(), width, 1.0);
  EXPECT_NEAR(3 * width + 2 * 8, 292.0, 1.5);
}

// ---- Sliders ----

TEST_F(MenuBarViewTest, DraggingASliderWritesThePropertyAndTheStore) {
  open();
  QQuickItem& slider = itemIn(item("blurRow"), "slider");
  fakes.settings.clearWrites();
  const QPoint from = slider.mapToScene(QPointF(slider.property("leftPadding").toDouble() +
                                                    slider.property("visualPosition").toDouble() *
                                                        slider.property("availableWidth").toDouble(),
                                                slider.height() / 2))
                          .toPoint();
  const QPoint to = slider.mapToScene(QPointF(slider.width() - 1, slider.height() / 2)).toPoint();
  QTest::mousePress(&view(), Qt::LeftButton, Qt::NoModifier, from);
  for (int step = 1; step <= 10; ++step) {
    QTest::mouseMove(&view(), from + (to - from) * step / 10);
  }
  QTest::mouseRelease(&view(), Qt::LeftButton, Qt::NoModifier, to);
  settle();
  EXPECT_NEAR(appState->blurRadius(), 150.0, 0.01);
  ASSERT_FALSE(fakes.settings.writes().empty());
  EXPECT_GT(fakes.settings.writes().size(), 1u);  // continuously, while dragging
  for (const Write& write : fakes.settings.writes()) EXPECT_EQ(write.key, "tarvelo.blurRadius");
  EXPECT_EQ(fakes.settings.writes().back(), (Write{"tarvelo.blurRadius", appState->blurRadius()}));
  EXPECT_EQ(itemIn(item("blurRow"), "valueText").property("text").toString(), QStringLiteral("150 px"));
}

TEST_F(MenuBarViewTest, SlidersFollowTheStateAfterTheyWereDragged) {
  open();
  QQuickItem& slider = itemIn(item("brightnessRow"), "slider");
  QMetaObject::invokeMethod(&slider, "increase");  // a keyboard step breaks nothing either
  appState->setBrightness(2.0);
  settle();
  EXPECT_EQ(slider.property("value").toDouble(), 2.0);
}

TEST_F(MenuBarViewTest, SlidersHaveTheirRanges) {
  open();
  struct Range {
    const char* row;
    double from, to;
  };
  for (const Range& range : {Range{"brightnessRow", 0.2, 3.0}, Range{"vibrancyRow", 1.0, 2.5},
                             Range{"spreadRow", 0.3, 1.0}, Range{"blurRow", 10.0, 150.0}}) {
    QQuickItem& slider = itemIn(item(range.row), "slider");
    EXPECT_EQ(slider.property("from").toDouble(), range.from) << range.row;
    EXPECT_EQ(slider.property("to").toDouble(), range.to) << range.row;
  }
}

TEST_F(MenuBarViewTest, ReadOutsTruncateTowardZero) {
  open();
  const auto readOut = [&](const char* row) {
    settle();
    return itemIn(item(row), "valueText").property("text").toString();
  };
  appState->setBrightness(1.4);
  EXPECT_EQ(readOut("brightnessRow"), QStringLiteral("140%"));
  appState->setBlurRadius(10.9);
  EXPECT_EQ(readOut("blurRow"), QStringLiteral("10 px"));
  appState->setBlurRadius(55);
  EXPECT_EQ(readOut("blurRow"), QStringLiteral("55 px"));
  appState->setVibrancy(1.999);
  EXPECT_EQ(readOut("vibrancyRow"), QStringLiteral("199%"));
  appState->setSpread(0.85);
  EXPECT_EQ(readOut("spreadRow"), QStringLiteral("85%"));
}

// ---- Footer ----

TEST_F(MenuBarViewTest, TheKeyCapNamesTheSuperKey) {
  open();
  EXPECT_EQ(text("keyCap"), QStringLiteral("Super⇧L"));
}

TEST_F(MenuBarViewTest, OnAWaylandSessionTheKeyCapNamesTheCommandToBindAndHoverSaysWhere) {
  open();
  useWaylandWording();
  EXPECT_EQ(text("keyCap"), QStringLiteral("--toggle"));
  QQuickItem& footer = item("footer");
  EXPECT_LE(footer.mapToItem(&root(), QPointF(footer.width(), 0)).x(), root().width() - root().property("padding").toDouble())
      << "the footer no longer fits the panel";
  EXPECT_FALSE(evaluate(item("keyCap"), QStringLiteral("ToolTip.visible")).toBool());
  hover(item("keyCap"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return evaluate(item("keyCap"), QStringLiteral("ToolTip.visible")).toBool(); }, 3000));
  EXPECT_EQ(evaluate(item("keyCap"), QStringLiteral("ToolTip.text")).toString(),
            QStringLiteral("Bind “tarvelo --toggle” to a key in your desktop's keyboard settings."));
  settle();
  save(grab(), "panel-wayland-key-cap");
}

TEST_F(MenuBarViewTest, WhereTheDesktopBoundTheShortcutsTheKeyCapNamesItsKeysWithoutHelp) {
  fakes.keys.desktopBinds({true, "Meta+Shift+L"});
  open();
  useWaylandWording();
  EXPECT_EQ(text("keyCap"), QStringLiteral("Meta+Shift+L"));
  EXPECT_EQ(evaluate(item("keyCap"), QStringLiteral("ToolTip.text")).toString(), QString());
  QQuickItem& footer = item("footer");
  EXPECT_LE(footer.mapToItem(&root(), QPointF(footer.width(), 0)).x(), root().width() - root().property("padding").toDouble())
      << "the footer no longer fits the panel";
  settle();
  save(grab(), "panel-wayland-desktop-key-cap");

  // A desktop that binds without naming the keys gave the ones asked for.
  fakes.keys.desktopBinds({true, ""});
  EXPECT_EQ(text("keyCap"), QStringLiteral("Super⇧L"));
  // Unbound again (the session went): the command to bind, with its help.
  fakes.keys.desktopBinds({});
  EXPECT_EQ(text("keyCap"), QStringLiteral("--toggle"));
  EXPECT_NE(evaluate(item("keyCap"), QStringLiteral("ToolTip.text")).toString(), QString());
}

TEST_F(MenuBarViewTest, SettingsOpensTheSettingsWindow) {
  open();
  click(item("settingsButton"));
  ASSERT_EQ(fakes.settingsWindows.windows.size(), 1u);
  EXPECT_EQ(fakes.settingsWindows.windows[0]->broughtToFront, 1);
}

TEST_F(MenuBarViewTest, GrantPermissionAsksForIt) {
  fakes.permission.granted = false;
  open();
  const int before = fakes.permission.requestCalls;
  click(item("grantPermissionButton"));
  EXPECT_EQ(fakes.permission.requestCalls, before + 1);
  EXPECT_EQ(fakes.urls.opened.size(), 1u);
}

TEST_F(MenuBarViewTest, OnAWaylandSessionThePermissionCardAsksForTheDesktopsScreenSharing) {
  useStackedDisplays();
  fakes.permission.granted = false;
  open();
  EXPECT_EQ(text("permissionHint"), QStringLiteral("Enable Screen Recording in System Settings to capture top screen colors."));
  useWaylandWording();
  EXPECT_EQ(text("permissionHint"), QStringLiteral("Allow screen sharing when your desktop asks, to capture top screen colors."));

  appState->start();
  settle();
  EXPECT_EQ(text("errorText"),
            QStringLiteral("Screen sharing permission required. Allow it when your desktop asks, and the lights start."));
  save(grab(), "panel-permission-wayland");

  fakes.permission.granted = true;
  fakes.permission.answered();
  fakes.capture.joinCompletionThreads();
  fakes.mainQueue.runPending();
  settle();
  EXPECT_TRUE(appState->isRunning());
  EXPECT_FALSE(item("errorCard").isVisible());
  appState->stop();
}

TEST_F(MenuBarViewTest, QuitStopsTheLightsBeforeAskingToEnd) {
  open();
  startAndSettle();
  ASSERT_TRUE(appState->isRunning());
  std::vector<bool> runningWhenQuitAsked;
  QObject::connect(view().engine(), &QQmlEngine::quit, [&] { runningWhenQuitAsked.push_back(appState->isRunning()); });
  click(item("quitButton"));
  EXPECT_EQ(runningWhenQuitAsked, std::vector<bool>{false});
  EXPECT_FALSE(appState->isRunning());
}

}  // namespace
}  // namespace tarvelo::testing
