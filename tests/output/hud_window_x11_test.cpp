#include <gtest/gtest.h>

#include <QColor>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "app/app_test_support.h"
#include "output/x11/qt_hud_window.h"
#include "output/x11/x11_output_platform.h"
#include "ui/view_engine.h"
#include "output/x11_output_rig.h"

namespace tarvelo {
namespace {

using testing::RigConnection;

// Where the light window's controller puts the HUD on the rig's bottom output.
constexpr DisplayRect kHudFrame{700.0, 2002.0, 520.0, 50.0};

const QColor kYellow("#ffd60a");
const QColor kGreen("#30d158");
const QColor kOrange("#ff9f0a");

class HudOnX11 : public ::testing::Test, protected testing::AppStateHarness {
 protected:
  HudOnX11() {
    useStackedDisplays();
    create();
    window_ = platform_.createHudWindow(kHudFrame, *appState, [this] { ++dismissals_; });
    hud_ = dynamic_cast<QtHudWindow*>(window_.get());
    EXPECT_NE(hud_, nullptr);
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&hud_->window()));
  }

  ~HudOnX11() override { window_.reset(); }

  QQuickItem& item(const char* objectName) {
    auto* found = hud_->hudView().findChild<QQuickItem*>(QString::fromLatin1(objectName));
    if (found == nullptr) throw std::runtime_error(std::string("the HUD has no item ") + objectName);
    return *found;
  }

  QString text(const char* objectName) { return item(objectName).property("text").toString(); }

  QPoint centreOf(const char* objectName) {
    QQuickItem& target = item(objectName);
    return target.mapToScene(QPointF(target.width() / 2.0, target.height() / 2.0)).toPoint();
  }

  void click(const char* objectName) {
    QTest::mouseClick(&hud_->window(), Qt::LeftButton, Qt::NoModifier, centreOf(objectName));
  }

  // Qt drops a move to where the pointer already is, which a click in an
  // earlier test may have left there: come from the window's corner.
  void hover(const char* objectName) {
    QTest::mouseMove(&hud_->window(), QPoint(1, 1));
    QTest::mouseMove(&hud_->window(), centreOf(objectName));
  }

  void clickTimes(const char* objectName, int times) {
    for (int i = 0; i < times; ++i) click(objectName);
  }

  std::vector<std::string> writtenKeys() { return fakes.settings.writtenKeys(); }

  ui::ViewEngine views_;
  X11OutputPlatform platform_{views_, testing::rigOutputIdForName};
  RigConnection rig_;
  std::unique_ptr<HudWindow> window_;
  QtHudWindow* hud_ = nullptr;
  int dismissals_ = 0;
};

// ---- The window ----

TEST_F(HudOnX11, SitsAtTheGivenFrame) { EXPECT_EQ(rig_.rootGeometry(hud_->window()), QRect(700, 2002, 520, 50)); }

TEST_F(HudOnX11, FloatsOnEveryDesktopOutOfTheTaskbar) {
  const std::vector<std::uint32_t> states = rig_.atomList(hud_->window(), "_NET_WM_STATE");
  const auto has = [&](const char* name) {
    return std::find(states.begin(), states.end(), rig_.atom(name)) != states.end();
  };
  EXPECT_TRUE(has("_NET_WM_STATE_ABOVE"));
  EXPECT_TRUE(has("_NET_WM_STATE_STICKY"));
  EXPECT_TRUE(has("_NET_WM_STATE_SKIP_TASKBAR"));
  EXPECT_EQ(rig_.cardinal(hud_->window(), "_NET_WM_DESKTOP"), 0xFFFFFFFFu);
}

TEST_F(HudOnX11, StartsFullyVisible) {
  EXPECT_EQ(window_->alpha(), 1.0);
  EXPECT_TRUE(rig_.isViewable(hud_->window()));
}

TEST_F(HudOnX11, TakesThePointerOnlyInsideTheCapsule) {
  QQuickItem& capsule = item("capsule");
  const QRect bounds = capsule.mapRectToScene(QRectF(0, 0, capsule.width(), capsule.height())).toAlignedRect();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !rig_.inputShape(hud_->window()).empty(); }));
  QRect covered;
  for (const QRect& band : rig_.inputShape(hud_->window())) covered |= band;
  EXPECT_EQ(covered, bounds);
}

TEST_F(HudOnX11, FadesOutToAlphaZeroAndLeavesTheScreen) {
  window_->animateAlpha(0.0, 0.1);
  ASSERT_TRUE(QTest::qWaitFor([&] { return window_->alpha() == 0.0; }));
  EXPECT_TRUE(QTest::qWaitFor([&] { return !rig_.isViewable(hud_->window()); }));
}

TEST_F(HudOnX11, FadesBackInFromNothing) {
  window_->animateAlpha(0.0, 0.0);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !rig_.isViewable(hud_->window()); }));
  window_->animateAlpha(1.0, 0.1);
  EXPECT_TRUE(QTest::qWaitFor([&] { return window_->alpha() == 1.0 && rig_.isViewable(hud_->window()); }));
  EXPECT_EQ(rig_.rootGeometry(hud_->window()), QRect(700, 2002, 520, 50));
}

TEST_F(HudOnX11, FadesOverAQuarterSecondWhenNoDurationIsGiven) {
  window_->animateAlpha(0.5, std::nullopt);
  EXPECT_EQ(hud_->fadeDurationMilliseconds(), 250);
  EXPECT_TRUE(QTest::qWaitFor([&] { return window_->alpha() == 0.5; }));
}

TEST_F(HudOnX11, IsGoneFromTheScreenWhenOrderedOut) {
  window_->orderOut();
  EXPECT_TRUE(QTest::qWaitFor([&] { return !rig_.isViewable(hud_->window()); }));
}

// ---- Layout ----

TEST_F(HudOnX11, CapsuleWrapsItsRowWithPadding14By8) {
  QQuickItem& capsule = item("capsule");
  QQuickItem& row = *item("runToggle").parentItem();
  EXPECT_EQ(capsule.width(), row.implicitWidth() + 2 * 14.0);
  EXPECT_EQ(capsule.height(), 28.0 + 2 * 8.0);
  EXPECT_EQ(capsule.property("radius").toDouble(), capsule.height() / 2.0);
  EXPECT_EQ(item("runToggle").mapToItem(&capsule, QPointF(0, 0)).x(), 14.0);
  QQuickItem& hide = item("hideButton");
  EXPECT_EQ(capsule.width() - hide.mapToItem(&capsule, QPointF(hide.width(), 0)).x(), 14.0);
}

TEST_F(HudOnX11, CapsuleIsWhollyInsideTheWindowAndCentred) {
  QQuickItem& capsule = item("capsule");
  const QRectF shown = capsule.mapRectToScene(QRectF(0, 0, capsule.width(), capsule.height()));
  EXPECT_TRUE(QRectF(0, 0, 520, 50).contains(shown)) << shown.x() << " " << shown.width();
  EXPECT_NEAR(shown.center().x(), 260.0, 0.5);
  EXPECT_NEAR(shown.center().y(), 25.0, 0.5);
}

TEST_F(HudOnX11, ControlsHaveTheirSizes) {
  EXPECT_EQ(item("runToggle").size(), QSizeF(28, 28));
  EXPECT_EQ(item("hideButton").size(), QSizeF(20, 20));
  for (const char* step : {"brightnessMinus", "brightnessPlus", "spreadMinus", "spreadPlus"}) {
    EXPECT_EQ(item(step).size(), QSizeF(18, 18)) << step;
  }
  EXPECT_EQ(item("brightnessText").width(), 44.0);
  EXPECT_EQ(item("spreadText").width(), 38.0);
}

TEST_F(HudOnX11, GroupsAreSpaced12ApartWithDividersOf18) {
  QQuickItem& toggle = item("runToggle");
  QQuickItem* row = toggle.parentItem();
  const QList<QQuickItem*> items = row->childItems();
  ASSERT_EQ(items.size(), 9);
  for (int i = 1; i < items.size(); ++i) {
    EXPECT_EQ(items[i]->x() - (items[i - 1]->x() + items[i - 1]->width()), 12.0) << "after item " << i - 1;
  }
  for (int i : {1, 3, 5, 7}) EXPECT_EQ(items[i]->size(), QSizeF(1, 18)) << "divider " << i;
}

TEST_F(HudOnX11, TooltipsNameWhatTheButtonsDo) {
  EXPECT_EQ(item("runToggle").property("toolTip").toString(), QStringLiteral("Toggle Tarvelo"));
  EXPECT_EQ(item("hideButton").property("toolTip").toString(), QStringLiteral("Hide HUD (wakes on mouse move)"));
}

TEST_F(HudOnX11, RestingThePointerOnTheHideButtonShowsItsTooltipAboveTheCapsule) {
  hover("hideButton");
  auto* toolTip = hud_->hudView().findChild<QQuickWindow*>(QStringLiteral("toolTip"));
  ASSERT_NE(toolTip, nullptr);
  ASSERT_TRUE(QTest::qWaitFor([&] { return toolTip->isVisible(); }));
  EXPECT_EQ(toolTip->property("text").toString(), QStringLiteral("Hide HUD (wakes on mouse move)"));
  EXPECT_LT(toolTip->geometry().bottom(), 2002 + item("capsule").y());
}

// ---- Run toggle ----

TEST_F(HudOnX11, ToggleShowsPlayInGreenWhileStopped) {
  ASSERT_FALSE(appState->isRunning());
  EXPECT_EQ(item("runToggle").property("symbol").toString(), QStringLiteral("play.fill"));
  EXPECT_EQ(item("runToggle").property("tint").value<QColor>(), kGreen);
}

TEST_F(HudOnX11, ToggleStartsTheLightsAndThenShowsPauseInYellow) {
  click("runToggle");
  fakes.capture.joinCompletionThreads();
  fakes.mainQueue.runPending();
  ASSERT_TRUE(appState->isRunning());
  EXPECT_EQ(item("runToggle").property("symbol").toString(), QStringLiteral("pause.fill"));
  EXPECT_EQ(item("runToggle").property("tint").value<QColor>(), kYellow);
}

TEST_F(HudOnX11, ToggleStopsRunningLights) {
  startAndSettle();
  ASSERT_TRUE(appState->isRunning());
  click("runToggle");
  fakes.mainQueue.runPending();
  EXPECT_FALSE(appState->isRunning());
  EXPECT_EQ(item("runToggle").property("symbol").toString(), QStringLiteral("play.fill"));
}

TEST_F(HudOnX11, ToggleDecidesInAJobOfItsOwn) {
  click("runToggle");
  EXPECT_FALSE(appState->isRunning());
  EXPECT_GT(fakes.mainQueue.runPending(), 0U);
}

// ---- Brightness ----

TEST_F(HudOnX11, BrightnessMinusAtTheFloorStaysAtPointTwo) {
  appState->setBrightness(0.2);
  click("brightnessMinus");
  EXPECT_EQ(appState->brightness(), 0.2);
  EXPECT_EQ(text("brightnessText"), QStringLiteral("20%"));
}

TEST_F(HudOnX11, BrightnessPlusAtTheCeilingStaysAtThree) {
  appState->setBrightness(3.0);
  click("brightnessPlus");
  EXPECT_EQ(appState->brightness(), 3.0);
  EXPECT_EQ(text("brightnessText"), QStringLiteral("300%"));
}

TEST_F(HudOnX11, BrightnessPlusFromTwoPointNineStopsAtThree) {
  appState->setBrightness(2.9);
  click("brightnessPlus");
  EXPECT_EQ(appState->brightness(), 3.0);
}

TEST_F(HudOnX11, BrightnessStepsByPointTwo) {
  appState->setBrightness(1.0);
  click("brightnessMinus");
  EXPECT_DOUBLE_EQ(appState->brightness(), 0.8);
  click("brightnessPlus");
  click("brightnessPlus");
  EXPECT_DOUBLE_EQ(appState->brightness(), 1.2);
}

TEST_F(HudOnX11, BrightnessStepsGoThroughTheSetterSoTheyAreSaved) {
  fakes.settings.clearWrites();
  click("brightnessPlus");
  EXPECT_EQ(writtenKeys(), std::vector<std::string>{"tarvelo.brightness"});
}

TEST_F(HudOnX11, BrightnessTextIsThePercentageWithItsSign) {
  appState->setBrightness(1.0);
  EXPECT_EQ(text("brightnessText"), QStringLiteral("100%"));
}

TEST_F(HudOnX11, BrightnessJustUnderOnePointSixReads159NotRounded) {
  appState->setBrightness(1.5999999);
  EXPECT_EQ(text("brightnessText"), QStringLiteral("159%"));
}

TEST_F(HudOnX11, TextsFollowChangesMadeElsewhere) {
  appState->setBrightness(2.25);
  appState->setSpread(0.65);
  EXPECT_EQ(text("brightnessText"), QStringLiteral("225%"));
  EXPECT_EQ(text("spreadText"), QStringLiteral("65%"));
}

// From the default 1.4, two steps land a hair under 1.8.
TEST_F(HudOnX11, RepeatedBrightnessStepsAccumulateErrorThatTheTextTruncates) {
  appState->setBrightness(1.4);
  clickTimes("brightnessPlus", 2);
  ASSERT_LT(appState->brightness(), 1.8);
  EXPECT_EQ(text("brightnessText"), QStringLiteral("179%"));
}

// ---- Spread ----

TEST_F(HudOnX11, SpreadMinusAtTheFloorDoesNothing) {
  appState->setSpread(0.3);
  click("spreadMinus");
  EXPECT_EQ(appState->spread(), 0.3);
  EXPECT_EQ(text("spreadText"), QStringLiteral("30%"));
}

TEST_F(HudOnX11, SpreadPlusAtTheCeilingDoesNothing) {
  appState->setSpread(1.0);
  click("spreadPlus");
  EXPECT_EQ(appState->spread(), 1.0);
  EXPECT_EQ(text("spreadText"), QStringLiteral("100%"));
}

TEST_F(HudOnX11, SpreadMinusFromPointFourStopsAtPointThree) {
  appState->setSpread(0.4);
  click("spreadMinus");
  EXPECT_EQ(appState->spread(), 0.3);
}

TEST_F(HudOnX11, SpreadStepsByPointOneFive) {
  appState->setSpread(0.6);
  click("spreadPlus");
  EXPECT_DOUBLE_EQ(appState->spread(), 0.75);
  click("spreadMinus");
  click("spreadMinus");
  EXPECT_DOUBLE_EQ(appState->spread(), 0.45);
}

// From the default 0.85, two steps land a hair under 0.55.
TEST_F(HudOnX11, RepeatedSpreadStepsAccumulateErrorThatTheTextTruncates) {
  appState->setSpread(0.85);
  clickTimes("spreadMinus", 2);
  ASSERT_LT(appState->spread(), 0.55);
  EXPECT_EQ(text("spreadText"), QStringLiteral("54%"));
}

TEST_F(HudOnX11, SpreadTextIsTheTruncatedPercentage) {
  appState->setSpread(0.85);
  EXPECT_EQ(text("spreadText"), QStringLiteral("85%"));
  appState->setSpread(0.4999999);
  EXPECT_EQ(text("spreadText"), QStringLiteral("49%"));
}

// ---- Presets ----

TEST_F(HudOnX11, CinemaWritesItsFiveValuesInOrder) {
  fakes.settings.clearWrites();
  click("cinemaPill");
  EXPECT_EQ(writtenKeys(), (std::vector<std::string>{"tarvelo.brightness", "tarvelo.vibrancy", "tarvelo.spread",
                                                     "tarvelo.blurRadius", "tarvelo.smoothing"}));
  EXPECT_EQ(appState->brightness(), 1.4);
  EXPECT_EQ(appState->vibrancy(), 1.7);
  EXPECT_EQ(appState->spread(), 0.8);
  EXPECT_EQ(appState->blurRadius(), 55.0);
  EXPECT_EQ(appState->smoothing(), 0.3);
}

TEST_F(HudOnX11, FloodWritesItsFiveValuesInOrder) {
  fakes.settings.clearWrites();
  click("floodPill");
  EXPECT_EQ(writtenKeys(), (std::vector<std::string>{"tarvelo.brightness", "tarvelo.vibrancy", "tarvelo.spread",
                                                     "tarvelo.blurRadius", "tarvelo.smoothing"}));
  EXPECT_EQ(appState->brightness(), 2.5);
  EXPECT_EQ(appState->vibrancy(), 2.1);
  EXPECT_EQ(appState->spread(), 1.0);
  EXPECT_EQ(appState->blurRadius(), 80.0);
  EXPECT_EQ(appState->smoothing(), 0.25);
}

TEST_F(HudOnX11, SubtleWritesItsFiveValuesInOrder) {
  fakes.settings.clearWrites();
  click("subtlePill");
  EXPECT_EQ(writtenKeys(), (std::vector<std::string>{"tarvelo.brightness", "tarvelo.vibrancy", "tarvelo.spread",
                                                     "tarvelo.blurRadius", "tarvelo.smoothing"}));
  EXPECT_EQ(appState->brightness(), 0.7);
  EXPECT_EQ(appState->vibrancy(), 1.2);
  EXPECT_EQ(appState->spread(), 0.5);
  EXPECT_EQ(appState->blurRadius(), 40.0);
  EXPECT_EQ(appState->smoothing(), 0.4);
}

TEST_F(HudOnX11, FloodThenBrightnessPlusGivesTwoPointSeven) {
  click("floodPill");
  click("brightnessPlus");
  EXPECT_DOUBLE_EQ(appState->brightness(), 2.7);
  EXPECT_EQ(text("brightnessText"), QStringLiteral("270%"));
}

TEST_F(HudOnX11, SubtleThenSpreadMinusGivesPointThreeFive) {
  click("subtlePill");
  click("spreadMinus");
  EXPECT_DOUBLE_EQ(appState->spread(), 0.35);
}

TEST_F(HudOnX11, PillsShowTheirTitlesInOrder) {
  QQuickItem* row = item("cinemaPill").parentItem();
  QStringList titles;
  for (QQuickItem* pill : row->childItems()) titles << pill->property("title").toString();
  EXPECT_EQ(titles, (QStringList{"Cinema", "Flood", "Subtle"}));
}

TEST_F(HudOnX11, PillBackgroundTakesItsColourWhileHovered) {
  QQuickItem& pill = item("cinemaPill");
  auto* background = pill.findChild<QQuickItem*>(QStringLiteral("background"));
  ASSERT_NE(background, nullptr);
  const auto colour = [&] { return background->property("color").value<QColor>(); };
  EXPECT_FALSE(pill.property("isHovered").toBool());
  EXPECT_NEAR(colour().alphaF(), 0.08, 0.005);

  hover("cinemaPill");
  ASSERT_TRUE(QTest::qWaitFor([&] { return pill.property("isHovered").toBool(); }));
  EXPECT_EQ(colour().rgb(), kOrange.rgb());
  EXPECT_NEAR(colour().alphaF(), 0.2, 0.005);

  hover("hideButton");
  ASSERT_TRUE(QTest::qWaitFor([&] { return !pill.property("isHovered").toBool(); }));
  EXPECT_EQ(colour().rgb(), QColor(Qt::white).rgb());
}

// ---- Hide ----

TEST_F(HudOnX11, HideButtonCallsOnDismiss) {
  click("hideButton");
  EXPECT_EQ(dismissals_, 1);
}

}  // namespace
}  // namespace tarvelo
