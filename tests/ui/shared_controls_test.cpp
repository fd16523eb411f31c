#include <gtest/gtest.h>

#include <QColor>
#include <QQuickItem>
#include <QTest>

#include "ui/view_harness.h"

namespace tarvelo::testing {
namespace {

class SharedControls : public ::testing::Test, protected ViewHarness {
 protected:
  QColor colour(QQuickItem& target, const char* property) { return target.property(property).value<QColor>(); }
};

TEST_F(SharedControls, ASliderRowShowsTheTextItIsGivenNotItsValue) {
  ASSERT_TRUE(loadText(R"(
    import QtQuick
    Item {
        width: 292; height: 60
        SliderRow {
            objectName: "row"; width: 292
            icon: "sun.max.fill"; iconColor: "orange"; label: "Brightness"
            value: 2.0; from: 0.2; to: 3.0; valueText: "140%"
        }
    })"));
  EXPECT_EQ(item("valueText").property("text").toString(), QStringLiteral("140%"));
  EXPECT_EQ(item("label").property("text").toString(), QStringLiteral("Brightness"));
  QQuickItem& slider = item("slider");
  EXPECT_EQ(slider.property("value").toDouble(), 2.0);
  EXPECT_EQ(slider.property("from").toDouble(), 0.2);
  EXPECT_EQ(slider.property("to").toDouble(), 3.0);
  EXPECT_EQ(slider.property("stepSize").toDouble(), 0.0);
  EXPECT_EQ(item("row").property("spacing").toDouble(), 4.0);
}

class PresetButtonTest : public SharedControls {
 protected:
  void SetUp() override {
    ASSERT_TRUE(loadText(R"(
      import QtQuick
      Item {
          property int clicks: 0
          width: 120; height: 60
          PresetButton {
              objectName: "preset"; x: 10; y: 10; width: 100
              title: "Flood"; icon: "rays"; color: "#ffd60a"
              onClicked: parent.clicks += 1
          }
      })"));
  }
  int clicks() { return root().property("clicks").toInt(); }
};

TEST_F(PresetButtonTest, RestsWithAFaintNeutralFillAndNoBorder) {
  QQuickItem& tile = item("tile");
  EXPECT_FALSE(item("preset").property("isHovered").toBool());
  QObject* border = tile.property("border").value<QObject*>();
  ASSERT_NE(border, nullptr);
  EXPECT_EQ(border->property("color").value<QColor>().alpha(), 0);
  EXPECT_EQ(border->property("width").toDouble(), 1.0);
  EXPECT_EQ(tile.property("radius").toDouble(), 8.0);
  const QColor fill = colour(tile, "color");
  EXPECT_NEAR(fill.alphaF(), 0.04, 0.01);
  EXPECT_EQ(fill.red(), fill.blue());
}

TEST_F(PresetButtonTest, HoveringTintsFillAndBorderInItsOwnColourAndLeavingRestoresThem) {
  hover(item("preset"));
  ASSERT_TRUE(item("preset").property("isHovered").toBool());
  // The border: yellow at 0.3 over white; the fill: yellow at 0.12 over white.
  QQuickItem& tile = item("tile");
  QObject* border = tile.property("border").value<QObject*>();
  ASSERT_NE(border, nullptr);
  const QColor borderColour = border->property("color").value<QColor>();
  EXPECT_EQ(borderColour.rgb() & 0xffffff, QColor("#ffd60a").rgb() & 0xffffff);
  EXPECT_NEAR(borderColour.alphaF(), 0.3, 0.01);
  const QColor fill = colour(tile, "color");
  EXPECT_EQ(fill.rgb() & 0xffffff, QColor("#ffd60a").rgb() & 0xffffff);
  EXPECT_NEAR(fill.alphaF(), 0.12, 0.01);
  const QImage hovered = grab();
  save(hovered, "preset-button-hovered");

  QTest::mouseMove(&view(), QPoint(115, 55));
  settle();
  EXPECT_FALSE(item("preset").property("isHovered").toBool());
  EXPECT_EQ(border->property("color").value<QColor>().alpha(), 0);
  const QImage resting = grab();
  save(resting, "preset-button-resting");
  // The top edge's middle: the border line shows only while hovered.
  const QPoint edge(60, 10);
  EXPECT_GT(colourAt(hovered, edge).red() - colourAt(hovered, edge).blue(), 40);
  EXPECT_LT(std::abs(colourAt(resting, edge).red() - colourAt(resting, edge).blue()), 4);
  EXPECT_EQ(clicks(), 0);
}

TEST_F(PresetButtonTest, AClickRunsTheActionExactlyOnce) {
  click(item("preset"));
  EXPECT_EQ(clicks(), 1);
  click(item("preset"));
  EXPECT_EQ(clicks(), 2);
}

TEST_F(SharedControls, ALongShortcutTitlePushesTheBadgeToTheRightEdge) {
  ASSERT_TRUE(loadText(R"(
    import QtQuick
    Item {
        width: 300; height: 80
        ShortcutRow {
            objectName: "row"; width: 300
            title: "A very long description of what this shortcut does, long enough to need two lines"
            shortcut: "Super ⇧ L"
        }
    })"));
  QQuickItem& row = item("row");
  QQuickItem& badge = item("badge");
  EXPECT_DOUBLE_EQ(badge.mapToItem(&row, QPointF(badge.width(), 0)).x(), row.width());
  EXPECT_EQ(badge.property("leftPadding").toDouble(), 6.0);
  EXPECT_EQ(badge.property("rightPadding").toDouble(), 6.0);
  EXPECT_EQ(badge.property("topPadding").toDouble(), 2.0);
  EXPECT_EQ(badge.property("bottomPadding").toDouble(), 2.0);
  auto* background = badge.property("background").value<QQuickItem*>();
  ASSERT_NE(background, nullptr);
  EXPECT_EQ(background->property("radius").toDouble(), 4.0);
  EXPECT_EQ(badge.property("text").toString(), QStringLiteral("Super ⇧ L"));
  QQuickItem& title = item("title");
  EXPECT_LT(title.x() + title.width(), badge.x());
  save(grab(), "shortcut-row-long-title");
}

TEST_F(SharedControls, TheBackdropIsTranslucentOrOpaqueAsTheHostSays) {
  ASSERT_TRUE(loadText(R"(
    import QtQuick
    Item {
        width: 40; height: 40
        VisualEffectView { objectName: "translucent"; width: 20; height: 40 }
        VisualEffectView { objectName: "opaque"; x: 20; width: 20; height: 40; translucent: false }
    })"));
  const QColor translucent = item("translucent").property("color").value<QColor>();
  const QColor opaque = item("opaque").property("color").value<QColor>();
  EXPECT_LT(translucent.alpha(), 255);
  EXPECT_GT(translucent.alpha(), 128);
  EXPECT_EQ(opaque.alpha(), 255);
  EXPECT_EQ(translucent.rgb() & 0xffffff, opaque.rgb() & 0xffffff);
  EXPECT_EQ(item("opaque").property("material").toInt(), 6);
  EXPECT_EQ(item("opaque").property("blendingMode").toInt(), 0);
}

}  // namespace
}  // namespace tarvelo::testing
