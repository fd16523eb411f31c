#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "capture/pipewire/screen_cast_restore_token.h"

namespace tarvelo::testing {

// The screen-sharing grant in memory, with what was asked of it; safe to use
// from the capture's and the test's threads.
class FakeRestoreTokenStore final : public RestoreTokenStore {
 public:
  std::optional<std::string> restoreToken() override {
    const std::lock_guard guard(mutex_);
    ++reads_;
    return token_;
  }
  void storeRestoreToken(const std::string& value) override {
    const std::lock_guard guard(mutex_);
    token_ = value;
    stored_.push_back(value);
  }

  void forgetRestoreToken() override {
    const std::lock_guard guard(mutex_);
    token_.reset();
    ++forgets_;
  }

  void setToken(std::optional<std::string> value) {
    const std::lock_guard guard(mutex_);
    token_ = std::move(value);
  }
  // Every token stored, oldest first.
  std::vector<std::string> stored() {
    const std::lock_guard guard(mutex_);
    return stored_;
  }
  int reads() {
    const std::lock_guard guard(mutex_);
    return reads_;
  }
  int forgets() {
    const std::lock_guard guard(mutex_);
    return forgets_;
  }

 private:
  std::mutex mutex_;
  std::optional<std::string> token_;
  std::vector<std::string> stored_;
  int reads_ = 0;
  int forgets_ = 0;
};

}  // namespace tarvelo::testing
