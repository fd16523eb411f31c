#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarvelo {

// The capture service's own failures. Platform failures are thrown as the
// platform's errors (any std::exception) and pass through unchanged.
enum class CaptureError {
  displayNotFound,
  captureNotAuthorized,  // declared with its text; nothing raises it today
};

std::string_view describe(CaptureError error);

// How a CaptureError travels: thrown, and caught as any std::exception whose
// what() is the error's description.
class CaptureFailure : public std::runtime_error {
 public:
  explicit CaptureFailure(CaptureError error) : std::runtime_error(std::string(describe(error))), error_(error) {}
  CaptureError error() const { return error_; }

 private:
  CaptureError error_;
};

}  // namespace tarvelo
