#pragma once

#include <cmath>
#include <cstdint>

#include "support/fatal_error.h"

namespace tarvelo {

// Integer arithmetic that traps instead of wrapping: an overflow here is a
// programming error that must stop the process, never a silently wrong zone.
inline std::int64_t checkedAdd(std::int64_t a, std::int64_t b) {
  std::int64_t result;
  if (__builtin_add_overflow(a, b, &result)) fatalError("integer overflow in addition");
  return result;
}

inline std::int64_t checkedSub(std::int64_t a, std::int64_t b) {
  std::int64_t result;
  if (__builtin_sub_overflow(a, b, &result)) fatalError("integer overflow in subtraction");
  return result;
}

inline std::int64_t checkedMul(std::int64_t a, std::int64_t b) {
  std::int64_t result;
  if (__builtin_mul_overflow(a, b, &result)) fatalError("integer overflow in multiplication");
  return result;
}

// Truncates towards zero; a value that is not finite or does not fit a signed
// 64-bit integer traps, as a float-to-integer conversion out of range must.
inline std::int64_t truncateToInt64(double value) {
  // 2^63 is exactly representable; every double below it in magnitude fits.
  constexpr double kLimit = 9223372036854775808.0;
  if (!(value >= -kLimit && value < kLimit)) fatalError("float to integer conversion out of range");
  return static_cast<std::int64_t>(value);
}

// Comparison-based min and max. When the two cannot be ordered (one is NaN)
// both return their first argument; the colour and arrangement rules rely on
// which operand that is, so argument order is part of every call.
template <typename T>
constexpr T orderedMin(T a, T b) { return b < a ? b : a; }
template <typename T>
constexpr T orderedMax(T a, T b) { return b >= a ? b : a; }

}  // namespace tarvelo
