#pragma once

#include <cstdint>
#include <string>

namespace tarvelo {

// The user's persistent defaults: typed values per key, and a presence test
// that tells a missing key from a stored zero or false. A stored value of
// another type is converted by the typed reads; one that does not convert
// reads as 0 or false.
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;

  virtual bool contains(const std::string& key) const = 0;
  virtual bool readBool(const std::string& key) const = 0;
  virtual std::int64_t readInt(const std::string& key) const = 0;
  virtual double readDouble(const std::string& key) const = 0;

  virtual void writeBool(const std::string& key, bool value) = 0;
  virtual void writeInt(const std::string& key, std::int64_t value) = 0;
  virtual void writeDouble(const std::string& key, double value) = 0;
};

}  // namespace tarvelo
