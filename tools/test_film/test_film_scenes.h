#pragma once

#include <QColor>
#include <QImage>
#include <QSize>
#include <QString>

#include <optional>
#include <vector>

class QPainter;

namespace tarvelo::film {

// The pictures the test film shows on the movie screen. Each is drawn the same
// way into a window or into an image, so a test can compute what the light
// should be from the very picture that was on screen.
enum class SceneKind { solid, bands, letterbox, moving };

struct Scene {
  SceneKind kind = SceneKind::bands;
  QColor colour;  // for solid
};

// "solid:RRGGBB", "bands", "letterbox", "moving"; absent for anything else.
std::optional<Scene> parseScene(const QString& text);

// The nine colours of the bottom band, left to right, and those of the top
// band and the two sides in the bands scene.
const std::vector<QColor>& bottomBandColours();
QColor topBandColour();
QColor leftSideColour();
QColor rightSideColour();

// Draws the scene at `seconds` into a rectangle of `size` at the origin.
void drawScene(QPainter& painter, const Scene& scene, QSize size, double seconds);

QImage renderScene(const Scene& scene, QSize size, double seconds = 0.0);

}  // namespace tarvelo::film
