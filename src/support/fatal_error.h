#pragma once

#include <string_view>

namespace tarvelo {

// Ends the process for a programming error that has no recovery path (an
// overflow in zone arithmetic, an impossible stored display id). The message
// goes to standard error so the cause is not lost with the process.
[[noreturn]] void fatalError(std::string_view message);

}  // namespace tarvelo
