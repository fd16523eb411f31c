#include "app/qt_main_queue.h"

#include <QMetaObject>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <utility>

namespace tarvelo {

namespace {

// Shared by a timer handle and the Qt timer it stands for. `live` may be
// cleared from any thread; `timer` is touched on the main thread only.
struct TimerState {
  std::atomic<bool> live{true};
  QPointer<QTimer> timer;
};

class QtOneShotTimer final : public OneShotTimer {
 public:
  QtOneShotTimer(std::shared_ptr<TimerState> state, const QObject* context)
      : state_(std::move(state)), context_(context) {}
  ~QtOneShotTimer() override { invalidate(); }

  void invalidate() override {
    state_->live = false;
    // Off the main thread the flag alone keeps the job from running.
    if (context_ == nullptr || QThread::currentThread() != context_->thread()) return;
    if (state_->timer) {
      state_->timer->stop();
      state_->timer->deleteLater();
      state_->timer = nullptr;
    }
  }

 private:
  std::shared_ptr<TimerState> state_;
  QPointer<const QObject> context_;
};

void startTimer(QObject* context, const std::shared_ptr<TimerState>& state, std::chrono::milliseconds delay,
                std::function<void()> fire) {
  if (!state->live) return;
  auto* timer = new QTimer(context);
  timer->setSingleShot(true);
  timer->setInterval(delay);
  state->timer = timer;
  QObject::connect(timer, &QTimer::timeout, context, [state, timer, fire = std::move(fire)] {
    timer->deleteLater();
    state->timer = nullptr;
    if (state->live.exchange(false)) fire();
  });
  timer->start();
}

}  // namespace

QtMainQueue::QtMainQueue() : context_(std::make_unique<QObject>()) {}

QtMainQueue::~QtMainQueue() = default;

bool QtMainQueue::onMainThread() const { return QThread::currentThread() == context_->thread(); }

void QtMainQueue::post(std::function<void()> job) {
  QMetaObject::invokeMethod(
      context_.get(), [job = std::move(job)] { job(); }, Qt::QueuedConnection);
}

// Qt timers belong to the thread that starts them, so a delay asked for on
// another thread begins once the request has reached the main thread.
void QtMainQueue::postAfter(std::chrono::milliseconds delay, std::function<void()> job) {
  if (onMainThread()) {
    QTimer::singleShot(delay, context_.get(), std::move(job));
    return;
  }
  QObject* context = context_.get();
  post([context, delay, job = std::move(job)]() mutable { QTimer::singleShot(delay, context, std::move(job)); });
}

std::unique_ptr<OneShotTimer> QtMainQueue::scheduleTimer(std::chrono::milliseconds delay, std::function<void()> fire) {
  auto state = std::make_shared<TimerState>();
  QObject* context = context_.get();
  if (onMainThread()) {
    startTimer(context, state, delay, std::move(fire));
  } else {
    post([context, state, delay, fire = std::move(fire)]() mutable {
      startTimer(context, state, delay, std::move(fire));
    });
  }
  return std::make_unique<QtOneShotTimer>(state, context);
}

}  // namespace tarvelo
