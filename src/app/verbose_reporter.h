#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <cstdint>
#include <ctime>

namespace tarvelo {

class AppState;

// --verbose: every 10 seconds, one line on standard output with the frames
// captured per second, the frames the light window drew and the process's CPU
// time per frame, the figures a bug report needs.
class VerboseReporter final : public QObject {
  Q_OBJECT

 public:
  explicit VerboseReporter(const AppState& appState, QObject* parent = nullptr);

 private:
  void watchLightWindows();
  void report();

  const AppState& appState_;
  QTimer windowWatch_;
  QTimer reportTimer_;
  QElapsedTimer period_;
  std::uint64_t framesShownAtStart_ = 0;
  std::uint64_t framesDrawn_ = 0;
  std::clock_t cpuAtStart_ = 0;
};

}  // namespace tarvelo
