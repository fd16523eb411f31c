#include "app/panel_placement.h"

#include <gtest/gtest.h>

namespace tarvelo {
namespace {

const QRect kScreen(0, 0, 1920, 1080);
const QSize kPanel(320, 400);

TEST(PanelPlacement, DropsBelowATopTrayPanelCentredOnTheIcon) {
  const QRect icon(1000, 4, 24, 24);
  EXPECT_EQ(panelPlacement(icon, kPanel, QRect(0, 32, 1920, 1048)), QPoint(1011 - 160, 32));
}

TEST(PanelPlacement, RisesAboveABottomTrayPanel) {
  const QRect icon(1000, 1052, 24, 24);
  EXPECT_EQ(panelPlacement(icon, kPanel, QRect(0, 0, 1920, 1048)), QPoint(851, 1048 - 400));
}

TEST(PanelPlacement, SlidesLeftToStayOnTheScreenAtItsRightEdge) {
  const QRect icon(1890, 4, 24, 24);
  EXPECT_EQ(panelPlacement(icon, kPanel, kScreen), QPoint(1920 - 320, 28));
}

TEST(PanelPlacement, SlidesRightAtTheLeftEdge) {
  const QRect icon(2, 4, 24, 24);
  EXPECT_EQ(panelPlacement(icon, kPanel, kScreen), QPoint(0, 28));
}

TEST(PanelPlacement, GoesBesideAnIconInASidePanel) {
  const QRect icon(4, 500, 24, 24);
  const QSize tall(320, 700);
  EXPECT_EQ(panelPlacement(icon, tall, kScreen), QPoint(28, 511 - 350));
  const QRect rightIcon(1892, 500, 24, 24);
  EXPECT_EQ(panelPlacement(rightIcon, tall, kScreen), QPoint(1892 - 320, 511 - 350));
}

TEST(PanelPlacement, AtThePointerOnASecondScreen) {
  const QRect pointer(500, 1090, 1, 1);
  EXPECT_EQ(panelPlacement(pointer, kPanel, QRect(0, 1080, 1920, 1080)), QPoint(340, 1091));
}

TEST(PanelPlacement, APanelTallerThanTheScreenKeepsItsTopOnIt) {
  const QRect icon(1000, 4, 24, 24);
  const QPoint place = panelPlacement(icon, QSize(320, 2000), kScreen);
  EXPECT_EQ(place, QPoint(1024, 0)) << "beside the icon, its top on the screen";
}

}  // namespace
}  // namespace tarvelo
