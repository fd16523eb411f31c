#pragma once

#include <string>
#include <string_view>

#include "pipeline/frame_layout.h"

namespace tarvelo {

// A raw frame named on tarvelo-zones' command line:
// bgra:WIDTH:HEIGHT:STRIDE:PATH (the path may itself contain ':').
struct RawFrameArgument {
  FrameLayout layout;
  std::string path;
};

// True for arguments meant as raw frames rather than image files.
bool isRawFrameArgument(std::string_view argument);

// Throws InvalidFrame, with a one-line reason, unless the text has the form
// above with whole decimal numbers and a layout checkedFrameByteCount accepts.
RawFrameArgument parseRawFrameArgument(std::string_view text);

}  // namespace tarvelo
