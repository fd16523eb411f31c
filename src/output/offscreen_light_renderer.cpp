#include "output/offscreen_light_renderer.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickGraphicsDevice>
#include <QQuickRenderControl>
#include <QQuickRenderTarget>
#include <QQuickWindow>

#include <cmath>
#include <stdexcept>
#include <string>

#include "output/ambient_gradient_view.h"

namespace tarvelo {

namespace {

// Qt takes the choice once per process and warns if asked again.
void chooseSoftwareSceneGraph() {
  static bool chosen = false;
  if (chosen) return;
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  chosen = true;
}

}  // namespace

struct OffscreenLightRenderer::State {
  QSize size;
  // The glide's clock moves only when told to, so that what a rendered frame
  // shows depends on the frames rendered, never on how fast they were.
  LightGlide::Clock::time_point glideClock;
  std::unique_ptr<QOpenGLContext> context;
  std::unique_ptr<QOffscreenSurface> surface;
  std::unique_ptr<QQuickRenderControl> renderControl;
  std::unique_ptr<QQuickWindow> window;
  AmbientGradientView* view = nullptr;  // owned by the window's content item
  GLuint texture = 0;
  GLuint framebuffer = 0;

  bool createOpenGLContext() {
    auto candidate = std::make_unique<QOpenGLContext>();
    if (!candidate->create()) return false;
    auto offscreen = std::make_unique<QOffscreenSurface>();
    offscreen->setFormat(candidate->format());
    offscreen->create();
    if (!offscreen->isValid() || !candidate->makeCurrent(offscreen.get())) return false;
    context = std::move(candidate);
    surface = std::move(offscreen);
    return true;
  }

  void setUpOpenGLTarget() {
    QOpenGLFunctions* gl = context->functions();
    gl->glGenTextures(1, &texture);
    gl->glBindTexture(GL_TEXTURE_2D, texture);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, size.width(), size.height(), 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    gl->glBindTexture(GL_TEXTURE_2D, 0);
    gl->glGenFramebuffers(1, &framebuffer);
    gl->glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    gl->glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    gl->glBindFramebuffer(GL_FRAMEBUFFER, context->defaultFramebufferObject());
    window->setRenderTarget(QQuickRenderTarget::fromOpenGLTexture(texture, size));
  }

  QImage readOpenGLTarget() {
    context->makeCurrent(surface.get());
    QOpenGLFunctions* gl = context->functions();
    QImage image(size, QImage::Format_RGBA8888);
    gl->glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    gl->glPixelStorei(GL_PACK_ALIGNMENT, 4);
    gl->glReadPixels(0, 0, size.width(), size.height(), GL_RGBA, GL_UNSIGNED_BYTE, image.bits());
    gl->glBindFramebuffer(GL_FRAMEBUFFER, context->defaultFramebufferObject());
    // OpenGL's rows run bottom to top.
    return image.mirrored().convertToFormat(QImage::Format_RGB32);
  }

  // A fresh window of `size` holding only the light view.
  void createScene(LightResolution resolution) {
    renderControl.reset();
    window.reset();
    renderControl = std::make_unique<QQuickRenderControl>();
    window = std::make_unique<QQuickWindow>(renderControl.get());
    window->setColor(Qt::black);
    window->setGeometry(0, 0, size.width(), size.height());
    window->contentItem()->setSize(size);
    view = new AmbientGradientView(window->contentItem());
    view->setResolution(resolution);
    view->setSize(size);
    view->driveGlideByHand([this] { return glideClock; });
  }

  QImage render() {
    if (context == nullptr) {
      // The software renderer polishes, synchronises and draws in one go.
      return window->grabWindow().convertToFormat(QImage::Format_RGB32);
    }
    renderControl->polishItems();
    renderControl->beginFrame();
    renderControl->sync();
    renderControl->render();
    renderControl->endFrame();
    return readOpenGLTarget();
  }

  ~State() {
    if (context != nullptr) context->makeCurrent(surface.get());
    // The render control frees the scene graph, which the window still refers to.
    renderControl.reset();
    window.reset();
    if (context != nullptr) {
      QOpenGLFunctions* gl = context->functions();
      gl->glDeleteFramebuffers(1, &framebuffer);
      gl->glDeleteTextures(1, &texture);
      context->doneCurrent();
    }
  }
};

OffscreenLightRenderer::OffscreenLightRenderer(QSize size, LightResolution resolution)
    : state_(std::make_unique<State>()) {
  if (size.width() <= 0 || size.height() <= 0) {
    throw std::runtime_error("light image size must be positive, got " + std::to_string(size.width()) + "x" +
                             std::to_string(size.height()));
  }
  state_->size = size;
  // Without OpenGL (no display), Qt Quick's software renderer draws the same
  // scene; it must be chosen before the first window exists. The offscreen
  // platform runs Qt Quick in software even where it could make an OpenGL context.
  const bool offscreenPlatform = QGuiApplication::platformName() == QStringLiteral("offscreen");
  bool openGL = !offscreenPlatform && state_->createOpenGLContext();
  if (!openGL) chooseSoftwareSceneGraph();
  state_->createScene(resolution);
  if (openGL) {
    state_->window->setGraphicsDevice(QQuickGraphicsDevice::fromOpenGLContext(state_->context.get()));
    if (state_->renderControl->initialize()) {
      state_->setUpOpenGLTarget();
    } else if (state_->window->rendererInterface()->graphicsApi() == QSGRendererInterface::Software) {
      // A platform that offers OpenGL contexts but runs Qt Quick in software
      // (the offscreen platform with a display at hand): draw in software.
      openGL = false;
      state_->context->doneCurrent();
      state_->context.reset();
      state_->surface.reset();
      state_->createScene(resolution);
    } else {
      throw std::runtime_error("cannot initialise Qt Quick over OpenGL");
    }
  }
}

OffscreenLightRenderer::~OffscreenLightRenderer() = default;

AmbientGradientView& OffscreenLightRenderer::view() { return *state_->view; }

bool OffscreenLightRenderer::usesOpenGL() const { return state_->context != nullptr; }

QImage OffscreenLightRenderer::renderFrame(std::chrono::milliseconds step) {
  state_->glideClock += step;
  state_->view->drawDueGlideFrame();
  return state_->render();
}

QImage OffscreenLightRenderer::renderSettled() {
  const auto animation = std::chrono::milliseconds(
      static_cast<long long>(std::ceil(AmbientGradientModel::kColorAnimationSeconds * 1000.0)));
  return renderFrame(state_->view->isAnimatingColors() ? animation : std::chrono::milliseconds(0));
}

QImage OffscreenLightRenderer::render(QSize size, const ZoneColorList& colors, double brightness, double spread,
                                      double blurRadius, LightResolution resolution) {
  OffscreenLightRenderer renderer(size, resolution);
  renderer.view().updateColors(colors, brightness, blurRadius, spread);
  return renderer.renderSettled();
}

}  // namespace tarvelo
