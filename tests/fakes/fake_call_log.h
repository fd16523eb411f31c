#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tarvelo::testing {

// One ordered record of calls shared by several fakes, so a test can assert
// the order in which the code under test reached different platform services.
// Safe to record from any thread.
class CallLog {
 public:
  void record(std::string entry) {
    std::lock_guard lock(mutex_);
    entries_.push_back(std::move(entry));
  }

  std::vector<std::string> entries() const {
    std::lock_guard lock(mutex_);
    return entries_;
  }

  void clear() {
    std::lock_guard lock(mutex_);
    entries_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> entries_;
};

// Records `entry` when a log is attached.
inline void recordCall(CallLog* log, std::string entry) {
  if (log != nullptr) log->record(std::move(entry));
}

}  // namespace tarvelo::testing
