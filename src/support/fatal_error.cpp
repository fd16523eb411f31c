#include "support/fatal_error.h"

#include <cstdio>
#include <cstdlib>

namespace tarvelo {

void fatalError(std::string_view message) {
  std::fprintf(stderr, "Tarvelo: fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
  std::fflush(stderr);
  std::abort();
}

}  // namespace tarvelo
