#include "app/verbose_reporter.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QVariant>
#include <QWindow>

#include <iostream>

#include "app/app_state.h"
#include "app/verbose_report.h"

namespace tarvelo {

namespace {

constexpr int kReportIntervalMs = 10000;
// A light window is made at every start; it is found within this time.
constexpr int kWindowWatchIntervalMs = 500;
constexpr char kCountedProperty[] = "tarveloFramesCounted";

}  // namespace

VerboseReporter::VerboseReporter(const AppState& appState, QObject* parent) : QObject(parent), appState_(appState) {
  connect(&windowWatch_, &QTimer::timeout, this, &VerboseReporter::watchLightWindows);
  connect(&reportTimer_, &QTimer::timeout, this, &VerboseReporter::report);
  framesShownAtStart_ = appState_.framesShown();
  cpuAtStart_ = std::clock();
  period_.start();
  windowWatch_.start(kWindowWatchIntervalMs);
  reportTimer_.start(kReportIntervalMs);
}

void VerboseReporter::watchLightWindows() {
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    auto* quickWindow = qobject_cast<QQuickWindow*>(window);
    if (quickWindow == nullptr || quickWindow->objectName() != QLatin1String("tarvelo-light") ||
        quickWindow->property(kCountedProperty).toBool()) {
      continue;
    }
    quickWindow->setProperty(kCountedProperty, true);
    connect(quickWindow, &QQuickWindow::frameSwapped, this, [this] { ++framesDrawn_; });
  }
}

void VerboseReporter::report() {
  const std::clock_t cpuNow = std::clock();
  const std::uint64_t framesShownNow = appState_.framesShown();
  VerboseSample sample;
  sample.seconds = static_cast<double>(period_.restart()) / 1000.0;
  sample.framesCaptured = framesShownNow - framesShownAtStart_;
  sample.framesDrawn = framesDrawn_;
  sample.cpuSeconds = static_cast<double>(cpuNow - cpuAtStart_) / CLOCKS_PER_SEC;
  std::cout << verboseReportLine(sample) << std::endl;
  framesShownAtStart_ = framesShownNow;
  framesDrawn_ = 0;
  cpuAtStart_ = cpuNow;
}

}  // namespace tarvelo
