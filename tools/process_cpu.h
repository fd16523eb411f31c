#pragma once

#include <unistd.h>

#include <cstddef>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace tarvelo::measuring {

// User plus system CPU time of a process so far, in milliseconds, as /proc
// counts it (in clock ticks, 10 ms here); none when the process cannot be
// read (gone, or not ours to see).
inline std::optional<double> processCpuMilliseconds(long pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(stat, line)) return std::nullopt;
  // The command name may hold spaces and parentheses; the fields after its
  // last one are plain, from the state (field 3) on.
  const std::size_t afterName = line.rfind(") ");
  if (afterName == std::string::npos) return std::nullopt;
  std::istringstream fields(line.substr(afterName + 2));
  std::string field;
  for (int index = 3; index < 14; ++index) {
    if (!(fields >> field)) return std::nullopt;
  }
  long user = 0;
  long system = 0;
  if (!(fields >> user >> system)) return std::nullopt;
  return static_cast<double>(user + system) * 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace tarvelo::measuring
