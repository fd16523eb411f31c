#pragma once

#include <QColor>
#include <QImage>
#include <QProcess>
#include <QRect>
#include <QString>

#include <chrono>
#include <functional>
#include <string>

#include "output/ambient_gradient_model.h"
#include "pipeline/zone_color.h"

namespace tarvelo::testing {

// What the rig's X server shows in `area` of the root window, read in-process.
QImage grabScreen(const QRect& area);

// The mean of a square of pixels around (x, y), as 0…255 per channel.
struct MeanColour {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
};
MeanColour meanAround(const QImage& image, int x, int y, int radius = 3);

// An exact area-weighted (box) reduction of `image` to width × height, the
// reference for what the capture's downscale approximates.
QImage boxDownscale(const QImage& image, int width, int height);

// The light the model describes at a point of the view, before blurring:
// its layers composited source-over on the view's black, with colours
// interpolated between stops in straight sRGB and padded beyond the ends.
LightColor evaluateLight(const AmbientGradientModel& model, double x, double y);

// Keeps the Qt event loop running until `done` is true or `timeout` passes.
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

// Runs the rig script with `arguments` and waits for it.
void runRigScript(const QStringList& arguments);

// The test film, full-screen on one output, for as long as the object lives.
class FilmPlayer {
 public:
  FilmPlayer(const QString& output, const QString& scene);
  ~FilmPlayer();

 private:
  QProcess process_;
};

}  // namespace tarvelo::testing
