#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QQuickWindow>
#include <QScreen>
#include <QTest>
#include <algorithm>
#include <memory>
#include <stdexcept>

#include "displays/x11_rig.h"
#include "light_probes.h"
#include "output/ambient_gradient_view.h"
#include "output/click_recorder_window.h"
#include "output/picture_light_view.h"
#include "output/x11/qt_light_window.h"
#include "output/x11/x11_light_surface.h"
#include "output/x11/x11_light_window.h"
#include "output/x11/x11_output_platform.h"
#include "output/x11_output_rig.h"
#include "pipeline/zone_color.h"
#include "ui/view_engine.h"

namespace tarvelo {
namespace {

using testing::bottomScreen;
using testing::RigConnection;

// Agreement with the exact light, as for the Qt Quick view: the same picture
// and the same stretch (see the view's tests for the budget).
constexpr int kExactTolerance = 3;

bool contains(const std::vector<std::uint32_t>& atoms, std::uint32_t atom) {
  return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

// Colours that tell the light's parts apart: warm on the left, cool on the
// right, a bright top.
ZoneColorList distinctColours() {
  ZoneColorList colours;
  for (int zone = 0; zone < 16; ++zone) {
    const float along = static_cast<float>(zone) / 15.0F;
    colours.push_back(ZoneColor{0.9F - 0.7F * along, 0.3F + 0.4F * (zone % 3 == 0 ? 1.0F : 0.0F), 0.1F + 0.8F * along,
                                1.0F});
  }
  return colours;
}

// The two light windows: drawn by Qt Quick (with a GPU) and drawn through
// shared memory (without one).
enum class LightKind { qtQuick, sharedMemory };

class LightWindowOnX11 : public ::testing::TestWithParam<LightKind> {
 protected:
  // The window of that kind on the bottom output, shown and exposed.
  QWindow& openLightWindow(LightKind kind) {
    const Screen screen = bottomScreen();
    QScreen* qtScreen = platform_.qtScreenFor(screen);
    if (kind == LightKind::sharedMemory) {
      auto light = std::make_unique<X11LightWindow>(screen.frame, qtScreen, std::nullopt);
      light->pictureView().setMaximumFrameRate(30);
      shown_ = &light->window();
      window_ = std::move(light);
    } else {
      auto light = std::make_unique<QtLightWindow>(screen.frame, qtScreen);
      light->gradientView().setMaximumFrameRate(30);
      shown_ = &light->window();
      window_ = std::move(light);
    }
    EXPECT_TRUE(QTest::qWaitForWindowExposed(shown_));
    return *shown_;
  }
  QWindow& openLightWindow() { return openLightWindow(GetParam()); }

  ui::ViewEngine views_;
  X11OutputPlatform platform_{views_, testing::rigOutputIdForName};
  RigConnection rig_;
  std::unique_ptr<LightWindow> window_;
  QWindow* shown_ = nullptr;
};

TEST_P(LightWindowOnX11, CoversTheBottomOutputExactly) {
  QWindow& window = openLightWindow();
  EXPECT_EQ(rig_.rootGeometry(window), QRect(0, 1080, 1920, 1080));
  ASSERT_NE(window.screen(), nullptr);
  EXPECT_EQ(window.screen()->name(), QStringLiteral("DUMMY1"));
}

TEST_P(LightWindowOnX11, StaysAboveOnEveryDesktopOutOfTaskbarsAndPagers) {
  QWindow& window = openLightWindow();
  const std::vector<std::uint32_t> states = rig_.atomList(window, "_NET_WM_STATE");
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_ABOVE")));
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_STICKY")));
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_SKIP_TASKBAR")));
  EXPECT_TRUE(contains(states, rig_.atom("_NET_WM_STATE_SKIP_PAGER")));
  EXPECT_EQ(rig_.cardinal(window, "_NET_WM_DESKTOP"), 0xFFFFFFFFu);
}

TEST_P(LightWindowOnX11, TakesNoPointerInputAndNoFocus) {
  QWindow& window = openLightWindow();
  EXPECT_TRUE(rig_.inputShape(window).empty());
  EXPECT_EQ(rig_.acceptsInputHint(window), false);
}

TEST_P(LightWindowOnX11, AsksCompositorsForNoShadow) {
  QWindow& window = openLightWindow();
  EXPECT_EQ(rig_.cardinal(window, "_COMPTON_SHADOW"), 0u);
}

TEST_P(LightWindowOnX11, IsOpaqueBlackUntilColoursArrive) {
  openLightWindow();
  ASSERT_TRUE(QTest::qWaitFor([&] { return rig_.pixelAt(960, 1620) == qRgb(0, 0, 0); }));
  EXPECT_EQ(rig_.pixelAt(0, 1080), qRgb(0, 0, 0));
  EXPECT_EQ(rig_.pixelAt(1919, 2159), qRgb(0, 0, 0));
}

TEST_P(LightWindowOnX11, LightsUpWhenColoursArrive) {
  openLightWindow();
  // A white picture lights up the wash in the middle of the screen.
  window_->view()->updateColors(ZoneColorList(16, ZoneColor{1.0F, 1.0F, 1.0F, 1.0F}), 1.0, 60.0, 1.0);
  EXPECT_TRUE(QTest::qWaitFor([&] { return qRed(rig_.pixelAt(960, 1300)) > 32; }));
}

TEST_P(LightWindowOnX11, LetsClicksThroughToTheWindowBelow) {
  testing::ClickRecorderWindow below(Qt::white);
  below.setFlags(Qt::Window | Qt::FramelessWindowHint);
  below.setGeometry(200, 1300, 400, 300);
  below.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&below));

  openLightWindow();
  // The light hides the window below it…
  ASSERT_TRUE(QTest::qWaitFor([&] { return rig_.pixelAt(400, 1450) == qRgb(0, 0, 0); }));
  // …yet a click there reaches it.
  ASSERT_TRUE(testing::xdotool("mousemove 400 1450 click 1"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return below.presses() > 0; }));
}

TEST_P(LightWindowOnX11, IsGoneFromTheScreenWhenOrderedOut) {
  QWindow& window = openLightWindow();
  ASSERT_TRUE(rig_.isViewable(window));
  window_->orderOut();
  EXPECT_TRUE(QTest::qWaitFor([&] { return !rig_.isViewable(window); }));
}

INSTANTIATE_TEST_SUITE_P(BothKinds, LightWindowOnX11,
                         ::testing::Values(LightKind::qtQuick, LightKind::sharedMemory),
                         [](const ::testing::TestParamInfo<LightKind>& info) {
                           return info.param == LightKind::qtQuick ? "QtQuick" : "SharedMemory";
                         });

class LightWindowChoiceOnX11 : public LightWindowOnX11 {
 protected:
  ~LightWindowChoiceOnX11() override { QQuickWindow::setSceneGraphBackend(backendBefore_); }

  std::unique_ptr<LightWindow> createWithBackend(const QString& backend) {
    QQuickWindow::setSceneGraphBackend(backend);
    return platform_.createLightWindow(bottomScreen(), 30);
  }

  const QString backendBefore_ = QQuickWindow::sceneGraphBackend();
};

TEST_F(LightWindowChoiceOnX11, WithoutAGpuTheLightIsDrawnThroughSharedMemory) {
  const std::unique_ptr<LightWindow> light = createWithBackend(QStringLiteral("software"));
  EXPECT_NE(dynamic_cast<X11LightWindow*>(light.get()), nullptr);
}

TEST_F(LightWindowChoiceOnX11, WithAGpuQtQuickDrawsTheLight) {
  const std::unique_ptr<LightWindow> light = createWithBackend(QString());
  auto* quick = dynamic_cast<QtLightWindow*>(light.get());
  ASSERT_NE(quick, nullptr);
  EXPECT_EQ(quick->gradientView().window(), &quick->window());
  EXPECT_EQ(quick->gradientView().size(), QSizeF(1920.0, 1080.0));
}

class SharedMemoryLightOnX11 : public LightWindowOnX11 {
 protected:
  X11LightWindow& open() {
    openLightWindow(LightKind::sharedMemory);
    return static_cast<X11LightWindow&>(*window_);
  }

  // What the bottom output shows once the glide has settled and the server
  // has the last picture.
  QImage settledLight(X11LightWindow& light) {
    EXPECT_TRUE(QTest::qWaitFor([&] { return !light.pictureView().isGliding(); }));
    QTest::qWait(100);
    return rig_.image(QRect(0, 1080, 1920, 1080));
  }
};

TEST_F(SharedMemoryLightOnX11, ShowsTheExactLight) {
  X11LightWindow& light = open();
  light.view()->updateColors(distinctColours(), 1.0, 60.0, 1.0);
  const QImage shown = settledLight(light);
  ASSERT_EQ(shown.size(), QSize(1920, 1080));
  testing::expectMatchesExactLight(shown, light.pictureView().model(), kExactTolerance);
}

TEST_F(SharedMemoryLightOnX11, ShowsTheExactLightOfAnotherBlurAndSpread) {
  X11LightWindow& light = open();
  light.view()->updateColors(distinctColours(), 0.8, 15.0, 1.6);
  const QImage shown = settledLight(light);
  ASSERT_EQ(shown.size(), QSize(1920, 1080));
  testing::expectMatchesExactLight(shown, light.pictureView().model(), kExactTolerance);
}

TEST_F(SharedMemoryLightOnX11, DrawsAgainWhatAWindowAboveItUncovers) {
  X11LightWindow& light = open();
  light.view()->updateColors(ZoneColorList(16, ZoneColor{1.0F, 1.0F, 1.0F, 1.0F}), 1.0, 60.0, 1.0);
  const QRgb lit = settledLight(light).pixel(400, 370);
  ASSERT_GT(qRed(lit), 32);

  // A window the window manager leaves alone lies above the light.
  testing::ClickRecorderWindow above(Qt::blue);
  above.setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
  above.setGeometry(200, 1300, 400, 300);
  above.show();
  ASSERT_TRUE(QTest::qWaitFor([&] { return rig_.pixelAt(400, 1450) == qRgb(0, 0, 255); }));
  const int putsBefore = light.surface().putCount();

  above.hide();
  // The server paints the window's black background first; the light comes back.
  EXPECT_TRUE(QTest::qWaitFor([&] { return rig_.pixelAt(400, 1450) == lit; }));
  EXPECT_GT(light.surface().putCount(), putsBefore);
}

TEST_F(SharedMemoryLightOnX11, EachFrameOfTheGlideIsOnePicture) {
  X11LightWindow& light = open();
  const int putsBefore = light.surface().putCount();
  const int picturesBefore = light.pictureView().pictureShowCount();
  light.view()->updateColors(distinctColours(), 1.0, 60.0, 1.0);
  settledLight(light);
  const int pictures = light.pictureView().pictureShowCount() - picturesBefore;
  // A glide at 30 frames a second over 0.04 s: two frames at least, a few at most.
  EXPECT_GE(pictures, 2);
  EXPECT_LE(pictures, 4);
  EXPECT_EQ(light.surface().putCount() - putsBefore, pictures);
}

// Where Qt puts two pixels in a unit, the light is laid out in units and
// stretched over every pixel of the window.
TEST_F(SharedMemoryLightOnX11, FillsEveryPixelOfAWindowQtScales) {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  ASSERT_EQ(xcb_connection_has_error(connection), 0);
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  const xcb_window_t window = xcb_generate_id(connection);
  const std::uint32_t overrideRedirect = 1;
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 1080, 1920, 1080, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
  xcb_map_window(connection, window);
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));

  {
    X11LightSurface surface(std::nullopt, window, 960, 540);
    PictureLightView view(surface);
    view.updateColors(distinctColours(), 1.0, 30.0, 1.0);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view.isGliding(); }));
    QTest::qWait(100);
    const QImage shown = rig_.image(QRect(0, 1080, 1920, 1080));
    ASSERT_EQ(shown.size(), QSize(1920, 1080));
    // Each unit is the mean of its 2 × 2 pixels, which the light in units is held to.
    const QImage inUnits = shown.scaled(960, 540, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    testing::expectMatchesExactLight(inUnits, view.model(), kExactTolerance);
  }
  xcb_destroy_window(connection, window);
  xcb_disconnect(connection);
}

// On a server without MIT-SHM the surface cannot be made, and says why in
// one line; the platform then has Qt Quick draw the light.
TEST(X11LightSurfaceTest, OnAServerWithoutSharedMemorySaysSoInOneLine) {
  const testing::PrivateXServer server("stacked", {"-extension", "MIT-SHM"});
  ASSERT_TRUE(server.isRunning());
  xcb_connection_t* connection = xcb_connect(server.display().c_str(), nullptr);
  ASSERT_EQ(xcb_connection_has_error(connection), 0);
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  const xcb_window_t window = xcb_generate_id(connection);
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 64, 64, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));

  try {
    X11LightSurface surface(server.display(), window, 64, 64);
    ADD_FAILURE() << "made a surface without MIT-SHM";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "The X server lacks MIT-SHM.");
  }
  xcb_disconnect(connection);
}

}  // namespace
}  // namespace tarvelo
