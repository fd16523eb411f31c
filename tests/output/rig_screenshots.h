#pragma once

#include <QImage>
#include <QRect>

#include <functional>
#include <string>

namespace tarvelo::testing {

// Screenshots of the Wayland rig's outputs, taken with grim into a directory
// of their own that goes with this object.
class RigScreenshots {
 public:
  // Throws std::runtime_error when no directory can be made.
  RigScreenshots();
  ~RigScreenshots();
  RigScreenshots(const RigScreenshots&) = delete;
  RigScreenshots& operator=(const RigScreenshots&) = delete;

  // `output` (e.g. "HEADLESS-2") now, in 32-bit RGB; null when grim fails.
  QImage take(const std::string& output);
  // Runs the thread's event loop, so that whatever the code under test waits
  // for arrives, until `output` shows what `settled` wants, for 10 s at most.
  // The last shot taken.
  QImage waitFor(const std::string& output, const std::function<bool(const QImage&)>& settled);

 private:
  std::string directory_;
};

// How many pixels of `area` in `shot` are near white (every channel above 200).
int whitePixelsIn(const QImage& shot, const QRect& area);

}  // namespace tarvelo::testing
