#pragma once

#include <cstdlib>
#include <memory>

namespace tarvelo {

// xcb hands over replies, errors and events as malloc'd memory that the
// receiver must free; holding them in an XcbReply does that on every path.
struct FreeXcbMemory {
  void operator()(void* memory) const { std::free(memory); }
};

template <typename T>
using XcbReply = std::unique_ptr<T, FreeXcbMemory>;

}  // namespace tarvelo
