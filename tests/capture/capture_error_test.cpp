#include "capture/capture_error.h"

#include <gtest/gtest.h>

#include <string>

namespace tarvelo {
namespace {

TEST(CaptureErrorTest, DisplayNotFoundHasItsText) {
  EXPECT_EQ(describe(CaptureError::displayNotFound), "Could not find the selected display for capture.");
}

TEST(CaptureErrorTest, CaptureNotAuthorizedHasItsText) {
  EXPECT_EQ(describe(CaptureError::captureNotAuthorized), "Screen recording permission was not granted.");
}

TEST(CaptureErrorTest, FailureCarriesTheCaseAndItsDescription) {
  const CaptureFailure failure(CaptureError::captureNotAuthorized);
  EXPECT_EQ(failure.error(), CaptureError::captureNotAuthorized);
  EXPECT_EQ(std::string(failure.what()), "Screen recording permission was not granted.");
}

}  // namespace
}  // namespace tarvelo
