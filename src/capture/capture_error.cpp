#include "capture/capture_error.h"

namespace tarvelo {

std::string_view describe(CaptureError error) {
  switch (error) {
    case CaptureError::displayNotFound:
      return "Could not find the selected display for capture.";
    case CaptureError::captureNotAuthorized:
      return "Screen recording permission was not granted.";
  }
  return "Unknown capture error.";
}

}  // namespace tarvelo
