#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "app/app_platform.h"

namespace tarvelo::testing {

inline ::testing::AssertionResult isKeyEvent(const std::optional<KeyEvent>& event, std::uint64_t modifierFlags,
                                             std::uint16_t keyCode) {
  if (!event) return ::testing::AssertionFailure() << "no key event";
  if (event->modifierFlags != modifierFlags || event->keyCode != keyCode) {
    return ::testing::AssertionFailure() << "key event {0x" << std::hex << event->modifierFlags << ", " << std::dec
                                         << event->keyCode << "}";
  }
  return ::testing::AssertionSuccess();
}

}  // namespace tarvelo::testing
