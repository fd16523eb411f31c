#include <gtest/gtest.h>

#include <QQuickItem>
#include <algorithm>
#include <functional>
#include <QTest>
#include <string>
#include <vector>

#include "ui/ui_resources.h"
#include "ui/view_harness.h"

namespace tarvelo::testing {
namespace {

using Write = FakeSettingsStore::Write;

class SettingsViewTest : public ::testing::Test, protected ViewHarness {
 protected:
  SettingsViewTest() { useStackedDisplays(); }

  void open() {
    create();
    ASSERT_TRUE(load(ui::settingsViewUrl()));
  }

  QString text(const char* objectName) { return item(objectName).property("text").toString(); }
  QString textIn(const char* scope, const char* objectName) {
    return itemIn(item(scope), objectName).property("text").toString();
  }

  // Scrolls the form so that `section` starts at the top (or as far as it goes).
  void scrollTo(const char* section) {
    auto* flickable = item("scroller").property("contentItem").value<QQuickItem*>();
    ASSERT_NE(flickable, nullptr);
    QQuickItem& target = item(section);
    const double top = target.mapToItem(flickable->property("contentItem").value<QQuickItem*>(), QPointF(0, 0)).y();
    const double most = flickable->property("contentHeight").toDouble() - flickable->height();
    flickable->setProperty("contentY", std::max(0.0, std::min(top - 8.0, most)));
    settle();
  }

  // The combo box of a picker row.
  QQuickItem& combo(const char* picker) { return itemIn(item(picker), "combo"); }
};

TEST_F(SettingsViewTest, Is500By600) {
  open();
  EXPECT_EQ(root().size(), QSizeF(500, 600));
}

TEST_F(SettingsViewTest, EverySectionScreenshotted) {
  fakes.loginItems.currentStatus = 1;
  open();
  for (const char* section :
       {"generalSection", "displaySection", "lightingSection", "permissionSection", "shortcutSection"}) {
    scrollTo(section);
    const QImage image = grab();
    save(image, std::string("settings-") + section);
    QQuickItem& shown = item(section);
    const QPointF top = shown.mapToScene(QPointF(0, 0));
    EXPECT_GE(top.y(), 0.0) << section;
    EXPECT_LT(top.y(), 600.0) << section;
  }
  appState->setAutoDetectArrangement(false);
  scrollTo("displaySection");
  save(grab(), "settings-displaySection-manual");
}

TEST_F(SettingsViewTest, SectionsHaveTheirTitlesInOrder) {
  open();
  const std::vector<std::pair<const char*, const char*>> sections{
      {"generalSection", "General & Startup"},
      {"displaySection", "Display Arrangement"},
      {"lightingSection", "Lighting & Visual Defaults"},
      {"permissionSection", "Permissions"},
      {"shortcutSection", "Keyboard Shortcuts"}};
  double lastTop = -1.0;
  for (const auto& [name, title] : sections) {
    EXPECT_EQ(item(name).property("title").toString(), QString::fromUtf8(title));
    const double top = item(name).mapToScene(QPointF(0, 0)).y();
    EXPECT_GT(top, lastTop) << name;
    lastTop = top;
  }
  EXPECT_EQ(item("generalSection").property("symbol").toString(), QStringLiteral("gearshape.2.fill"));
  EXPECT_EQ(item("displaySection").property("symbol").toString(), QStringLiteral("display.2"));
  EXPECT_EQ(item("lightingSection").property("symbol").toString(), QStringLiteral("sparkles"));
  EXPECT_EQ(item("permissionSection").property("symbol").toString(), QStringLiteral("lock.shield"));
  EXPECT_EQ(item("shortcutSection").property("symbol").toString(), QStringLiteral("command"));
}

// ---- General & Startup ----

TEST_F(SettingsViewTest, TheLoginToggleRegistersAndTheStatusLineFollows) {
  open();
  EXPECT_EQ(text("loginStatus"), QStringLiteral("System Status: Disabled"));
  QQuickItem& toggle = itemIn(item("launchAtLoginOption"), "toggle");
  click(toggle);
  EXPECT_TRUE(appState->launchAtLogin());
  EXPECT_EQ(fakes.loginItems.registerCalls, 1);
  EXPECT_EQ(text("loginStatus"), QStringLiteral("System Status: Enabled"));
  click(toggle);
  EXPECT_FALSE(appState->launchAtLogin());
  EXPECT_EQ(fakes.loginItems.unregisterCalls, 1);
  EXPECT_EQ(text("loginStatus"), QStringLiteral("System Status: Disabled"));
}

TEST_F(SettingsViewTest, TheStatusLineNamesEveryLoginItemStatus) {
  open();
  const std::vector<std::pair<int, const char*>> statuses{
      {0, "Disabled"},
      {1, "Enabled"},
      {2, "Approval required by your desktop's autostart settings"},
      {3, "Available when Tarvelo is installed"},
      {4, "Status unknown"},
      {-1, "Status unknown"}};
  for (const auto& [status, wording] : statuses) {
    fakes.loginItems.currentStatus = status;
    emit appState->loginItemStatusChanged();
    settle();
    EXPECT_EQ(text("loginStatus"), QStringLiteral("System Status: ") + QString::fromUtf8(wording)) << status;
  }
}

TEST_F(SettingsViewTest, OptionTextsAreTheDesktopsOwn) {
  open();
  EXPECT_EQ(textIn("launchAtLoginOption", "toggle"), QStringLiteral("Launch at Login"));
  EXPECT_EQ(textIn("launchAtLoginOption", "help"),
            QStringLiteral("Starts Tarvelo automatically in the system tray when you log in."));
  EXPECT_EQ(textIn("autoStartOption", "toggle"), QStringLiteral("Start Lights Automatically on Launch"));
  EXPECT_EQ(textIn("autoStartOption", "help"),
            QStringLiteral("Immediately starts ambient illumination when Tarvelo launches."));
  EXPECT_EQ(textIn("showHudOption", "toggle"), QStringLiteral("Show On-Screen Floating HUD"));
  EXPECT_EQ(textIn("showHudOption", "help"),
            QStringLiteral("Displays a translucent frosted glass capsule on the ambient screen when the mouse moves."));
  EXPECT_EQ(textIn("autoDetectOption", "toggle"), QStringLiteral("Auto-Detect Screen Arrangement"));
  EXPECT_EQ(textIn("autoDetectOption", "help"),
            QStringLiteral("Reads the display layout of your desktop to determine top cinema monitor and bottom "
                           "ambient display."));
}

TEST_F(SettingsViewTest, TheStartupTogglesWriteThrough) {
  open();
  fakes.settings.clearWrites();
  click(itemIn(item("autoStartOption"), "toggle"));
  click(itemIn(item("showHudOption"), "toggle"));
  EXPECT_TRUE(appState->autoStartOnLaunch());
  EXPECT_FALSE(appState->showFloatingHUD());
  const std::vector<Write> expected{{"tarvelo.autoStartOnLaunch", true}, {"tarvelo.showFloatingHUD", false}};
  EXPECT_EQ(fakes.settings.writes(), expected);
}

// ---- Display Arrangement ----

TEST_F(SettingsViewTest, WithAutoDetectionOnThePickersAreHidden) {
  open();
  EXPECT_FALSE(item("sourcePicker").isVisible());
  EXPECT_FALSE(item("targetPicker").isVisible());
  EXPECT_TRUE(item("arrangementRow").isVisible());
}

TEST_F(SettingsViewTest, TurningAutoDetectionOffShowsBothPickersPreselected) {
  open();
  click(itemIn(item("autoDetectOption"), "toggle"));
  ASSERT_FALSE(appState->autoDetectArrangement());
  ASSERT_TRUE(item("sourcePicker").isVisible());
  ASSERT_TRUE(item("targetPicker").isVisible());
  EXPECT_EQ(combo("sourcePicker").property("count").toInt(), 2);
  EXPECT_EQ(combo("sourcePicker").property("currentIndex").toInt(), 0);
  EXPECT_EQ(combo("targetPicker").property("currentIndex").toInt(), 1);
  EXPECT_EQ(combo("sourcePicker").property("displayText").toString(), QStringLiteral("Top — 1920×1080"));
  EXPECT_EQ(combo("targetPicker").property("displayText").toString(), QStringLiteral("Bottom — 1920×1080"));
}

TEST_F(SettingsViewTest, PickingADisplayWritesTheId) {
  open();
  appState->setAutoDetectArrangement(false);
  settle();
  fakes.settings.clearWrites();
  QMetaObject::invokeMethod(&combo("targetPicker"), "activated", Q_ARG(int, 0));
  settle();
  EXPECT_EQ(appState->targetDisplayID(), kTopDisplay);
  EXPECT_EQ(fakes.settings.writes(),
            (std::vector<Write>{{"tarvelo.targetDisplayID", static_cast<std::int64_t>(kTopDisplay)}}));
  EXPECT_EQ(combo("targetPicker").property("currentIndex").toInt(), 0);
}

TEST_F(SettingsViewTest, WithoutDisplaysThePickersAreEmptyAndDetectStillWorks) {
  fakes.displays.displays.clear();
  open();
  appState->setAutoDetectArrangement(false);
  settle();
  EXPECT_EQ(combo("sourcePicker").property("count").toInt(), 0);
  EXPECT_EQ(combo("targetPicker").property("count").toInt(), 0);
  useStackedDisplays();
  click(item("detectButton"));
  EXPECT_EQ(appState->availableDisplays().size(), 2u);
  EXPECT_EQ(combo("sourcePicker").property("count").toInt(), 2);
}

TEST_F(SettingsViewTest, ABuiltinDisplayIsLabelledWithItsSize) {
  fakes.displays.displays = {onlineDisplay(7, DisplayRect{0, 0, 2560, 1440}, "Studio")};
  open();
  appState->setAutoDetectArrangement(false);
  settle();
  EXPECT_EQ(combo("sourcePicker").property("displayText").toString(), QStringLiteral("Studio — 2560×1440"));
}

TEST_F(SettingsViewTest, TheArrangementRowShowsTheDescription) {
  open();
  EXPECT_EQ(text("arrangementText"), QString::fromStdString(appState->arrangementDescription()));
}

// ---- Lighting & Visual Defaults ----

TEST_F(SettingsViewTest, ReadOutsTruncate) {
  open();
  const auto readOut = [&](const char* row) {
    settle();
    return textIn(row, "readOut");
  };
  appState->setSmoothing(0.05);
  EXPECT_EQ(readOut("smoothingRow"), QStringLiteral("5%"));
  appState->setSmoothing(0.8);
  EXPECT_EQ(readOut("smoothingRow"), QStringLiteral("80%"));
  appState->setBrightness(1.4);
  EXPECT_EQ(readOut("brightnessRow"), QStringLiteral("140%"));
  appState->setBlurRadius(10.9);
  EXPECT_EQ(readOut("blurRow"), QStringLiteral("10 px"));
  appState->setSpread(0.3);
  EXPECT_EQ(readOut("spreadRow"), QStringLiteral("30%"));
  appState->setVibrancy(2.5);
  EXPECT_EQ(readOut("vibrancyRow"), QStringLiteral("250%"));
  EXPECT_EQ(item("brightnessRow").findChild<QQuickItem*>(QStringLiteral("readOut"))->width(), 48.0);
}

TEST_F(SettingsViewTest, SmoothingIsEditableHereAndWritesThrough) {
  open();
  QQuickItem& slider = itemIn(item("smoothingRow"), "slider");
  EXPECT_EQ(slider.property("from").toDouble(), 0.05);
  EXPECT_EQ(slider.property("to").toDouble(), 0.8);
  fakes.settings.clearWrites();
  slider.setProperty("value", 0.5);
  QMetaObject::invokeMethod(&slider, "moved");
  settle();
  EXPECT_EQ(appState->smoothing(), 0.5);
  EXPECT_EQ(fakes.settings.writes(), (std::vector<Write>{{"tarvelo.smoothing", 0.5}}));
}

TEST_F(SettingsViewTest, TheFrameRatePickerSelectsAndFollowsTheRate) {
  open();
  EXPECT_TRUE(item("frameRate30").property("checked").toBool());
  EXPECT_EQ(text("frameRate15"), QStringLiteral("15 fps (battery saver)"));
  EXPECT_EQ(text("frameRate30"), QStringLiteral("30 fps (recommended)"));
  EXPECT_EQ(text("frameRate60"), QStringLiteral("60 fps (ultra fluid)"));
  scrollTo("lightingSection");
  fakes.settings.clearWrites();
  click(item("frameRate60"));
  EXPECT_EQ(appState->captureRate(), 60);
  EXPECT_EQ(fakes.settings.writes(), (std::vector<Write>{{"tarvelo.captureRate", std::int64_t{60}}}));
  EXPECT_TRUE(item("frameRate60").property("checked").toBool());
  EXPECT_FALSE(item("frameRate30").property("checked").toBool());
  appState->setCaptureRate(15);
  settle();
  EXPECT_TRUE(item("frameRate15").property("checked").toBool());
  EXPECT_FALSE(item("frameRate60").property("checked").toBool());
  appState->setCaptureRate(45);
  settle();
  for (const char* rate : {"frameRate15", "frameRate30", "frameRate60"}) {
    EXPECT_FALSE(item(rate).property("checked").toBool()) << rate;
  }
}

TEST_F(SettingsViewTest, ResetWritesItsListInOrderAndRedetects) {
  open();
  appState->setAutoDetectArrangement(false);
  appState->setBrightness(2.9);
  appState->setCaptureRate(60);
  appState->setLaunchAtLoginEnabled(true);
  appState->setAutoStartOnLaunch(true);
  settle();
  ASSERT_TRUE(item("sourcePicker").isVisible());
  fakes.settings.clearWrites();
  const std::size_t discoveriesBefore = fakes.displays.onlineDisplaysCalls;
  scrollTo("lightingSection");
  click(item("resetButton"));
  std::vector<std::string> keys;
  for (const Write& write : fakes.settings.writes()) {
    if (write.key != "tarvelo.sourceDisplayID" && write.key != "tarvelo.targetDisplayID") keys.push_back(write.key);
  }
  const std::vector<std::string> expected{"tarvelo.brightness",   "tarvelo.vibrancy",
                                          "tarvelo.spread",       "tarvelo.blurRadius",
                                          "tarvelo.smoothing",    "tarvelo.captureRate",
                                          "tarvelo.autoDetectArrangement", "tarvelo.showFloatingHUD"};
  EXPECT_EQ(keys, expected);
  EXPECT_EQ(fakes.settings.writes().front(), (Write{"tarvelo.brightness", 1.4}));
  EXPECT_EQ(appState->vibrancy(), 1.7);
  EXPECT_EQ(appState->spread(), 0.85);
  EXPECT_EQ(appState->blurRadius(), 60.0);
  EXPECT_EQ(appState->smoothing(), 0.3);
  EXPECT_EQ(appState->captureRate(), 30);
  EXPECT_TRUE(appState->autoDetectArrangement());
  EXPECT_TRUE(appState->showFloatingHUD());
  EXPECT_TRUE(appState->launchAtLogin());
  EXPECT_TRUE(appState->autoStartOnLaunch());
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls - discoveriesBefore, 2u);
  EXPECT_FALSE(item("sourcePicker").isVisible());
  EXPECT_TRUE(item("frameRate30").property("checked").toBool());
}

// ---- Permissions ----

TEST_F(SettingsViewTest, ThePermissionRowFollowsThePermission) {
  open();
  EXPECT_EQ(text("permissionText"), QStringLiteral("Screen Recording Access Granted"));
  fakes.permission.granted = false;
  scrollTo("permissionSection");
  click(item("privacyButton"));
  EXPECT_EQ(fakes.permission.requestCalls, 1);
  EXPECT_FALSE(appState->hasPermission());
  EXPECT_EQ(text("permissionText"), QStringLiteral("Screen Recording Permission Required"));
  EXPECT_EQ(text("privacyButton"), QStringLiteral("Open Privacy Settings…"));
  scrollTo("permissionSection");
  save(grab(), "settings-permissionSection-required");
}

TEST_F(SettingsViewTest, OnAWaylandSessionThePermissionRowSpeaksOfScreenSharing) {
  open();
  useWaylandWording();
  EXPECT_EQ(text("permissionText"), QStringLiteral("Screen Sharing Access Granted"));
  fakes.permission.granted = false;
  scrollTo("permissionSection");
  click(item("privacyButton"));
  EXPECT_EQ(text("permissionText"), QStringLiteral("Screen Sharing Permission Required"));
}

// ---- Keyboard Shortcuts ----

TEST_F(SettingsViewTest, TheShortcutListNamesTheSuperKey) {
  open();
  QQuickItem& section = item("shortcutSection");
  std::vector<std::pair<QString, QString>> rows;
  std::function<void(QQuickItem*)> collect = [&](QQuickItem* at) {
    for (QQuickItem* child : at->childItems()) {
      if (child->property("shortcut").isValid() && child->property("title").isValid()) {
        rows.emplace_back(child->property("title").toString(), child->property("shortcut").toString());
      } else {
        collect(child);
      }
    }
  };
  collect(&section);
  const std::vector<std::pair<QString, QString>> expected{
      {QStringLiteral("Toggle Tarvelo On/Off"), QStringLiteral("Super ⇧ L")},
      {QStringLiteral("Brightness Up / Down"), QStringLiteral("Super ⇧ ↑ / ↓")},
      {QStringLiteral("Room Flood Up / Down"), QStringLiteral("Super ⇧ → / ←")},
      {QStringLiteral("Atmosphere Presets"), QStringLiteral("Super ⇧ 1 / 2 / 3")},
      {QStringLiteral("Open Settings"), QStringLiteral("Super ,")}};
  EXPECT_EQ(rows, expected);
}

}  // namespace
}  // namespace tarvelo::testing
