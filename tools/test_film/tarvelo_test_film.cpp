// tarvelo-test-film: plays one of our test scenes full-screen on a display, as
// the film the lights follow in tests and in the demo.
//
//   tarvelo-test-film [--output NAME] SCENE
//
// SCENE is solid:RRGGBB, bands, letterbox or moving. NAME is the screen's
// output name (DUMMY0, HDMI-1, …); by default the screen highest up.
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QScreen>
#include <QTimer>

#include <cstdio>

#include "test_film_scenes.h"

namespace {

class FilmWindow final : public QRasterWindow {
 public:
  explicit FilmWindow(tarvelo::film::Scene scene) : scene_(scene) {
    setFlags(Qt::FramelessWindowHint);
    if (scene_.kind == tarvelo::film::SceneKind::moving) {
      connect(&ticker_, &QTimer::timeout, this, [this] { update(); });
      ticker_.start(16);
    }
    clock_.start();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    tarvelo::film::drawScene(painter, scene_, size(), static_cast<double>(clock_.elapsed()) / 1000.0);
  }

 private:
  tarvelo::film::Scene scene_;
  QTimer ticker_;
  QElapsedTimer clock_;
};

QScreen* findScreen(const QString& name) {
  QScreen* chosen = nullptr;
  for (QScreen* screen : QGuiApplication::screens()) {
    if (!name.isEmpty() ? screen->name() == name : (!chosen || screen->geometry().top() < chosen->geometry().top())) {
      chosen = screen;
    }
  }
  return chosen;
}

}  // namespace

int main(int argc, char** argv) {
  QGuiApplication application(argc, argv);
  QStringList arguments = QGuiApplication::arguments().mid(1);
  QString outputName;
  if (arguments.size() >= 2 && arguments.first() == QLatin1String("--output")) {
    outputName = arguments.at(1);
    arguments = arguments.mid(2);
  }
  const std::optional<tarvelo::film::Scene> scene =
      arguments.size() == 1 ? tarvelo::film::parseScene(arguments.first()) : std::nullopt;
  if (!scene) {
    std::fprintf(stderr, "usage: tarvelo-test-film [--output NAME] solid:RRGGBB|bands|letterbox|moving\n");
    return 2;
  }
  QScreen* screen = findScreen(outputName);
  if (screen == nullptr) {
    std::fprintf(stderr, "tarvelo-test-film: no screen named %s\n", qPrintable(outputName));
    return 2;
  }
  FilmWindow window(*scene);
  window.setScreen(screen);
  window.setGeometry(screen->geometry());
  window.show();
  return QGuiApplication::exec();
}
