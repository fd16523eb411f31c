#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "app/settings_store.h"
#include "fakes/fake_call_log.h"

namespace tarvelo::testing {

// An in-memory defaults domain with typed values and a log of every write, so
// a test can assert exactly which keys were written, in which order, with
// which typed value. Values a test puts in with `put` are not logged; text
// values stand for anything stored with a type the program never writes.
class FakeSettingsStore final : public SettingsStore {
 public:
  using Value = std::variant<bool, std::int64_t, double, std::string>;

  struct Write {
    std::string key;
    Value value;

    friend bool operator==(const Write&, const Write&) = default;
  };

  // When set, reads and writes are also recorded there ("settings.contains <key>", …).
  CallLog* log = nullptr;

  // Stores a value as an earlier run of the program (or something else) left it.
  void put(const std::string& key, Value value) { values_[key] = std::move(value); }

  std::optional<Value> stored(const std::string& key) const {
    const auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
  }

  std::vector<std::string> storedKeys() const {
    std::vector<std::string> keys;
    for (const auto& [key, value] : values_) keys.push_back(key);
    return keys;
  }

  const std::vector<Write>& writes() const { return writes_; }

  std::vector<std::string> writtenKeys() const {
    std::vector<std::string> keys;
    for (const Write& write : writes_) keys.push_back(write.key);
    return keys;
  }

  void clearWrites() { writes_.clear(); }

  bool contains(const std::string& key) const override {
    recordCall(log, "settings.contains " + key);
    return values_.count(key) != 0;
  }

  bool readBool(const std::string& key) const override {
    recordCall(log, "settings.readBool " + key);
    const std::optional<double> number = numberOf(key);
    return number && *number != 0.0 && !std::isnan(*number);
  }

  std::int64_t readInt(const std::string& key) const override {
    recordCall(log, "settings.readInt " + key);
    const auto it = values_.find(key);
    if (it != values_.end()) {
      if (const auto* whole = std::get_if<std::int64_t>(&it->second)) return *whole;
    }
    const std::optional<double> number = numberOf(key);
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (!number || !(*number >= -kLimit && *number < kLimit)) return 0;
    return static_cast<std::int64_t>(*number);
  }

  double readDouble(const std::string& key) const override {
    recordCall(log, "settings.readDouble " + key);
    return numberOf(key).value_or(0.0);
  }

  void writeBool(const std::string& key, bool value) override { write(key, value); }
  void writeInt(const std::string& key, std::int64_t value) override { write(key, value); }
  void writeDouble(const std::string& key, double value) override { write(key, value); }

 private:
  void write(const std::string& key, Value value) {
    recordCall(log, "settings.write " + key);
    values_[key] = value;
    writes_.push_back(Write{key, std::move(value)});
  }

  // Every stored type as a number; text that does not read as one is absent.
  std::optional<double> numberOf(const std::string& key) const {
    const auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    const Value& value = it->second;
    if (const auto* flag = std::get_if<bool>(&value)) return *flag ? 1.0 : 0.0;
    if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<double>(*whole);
    if (const auto* real = std::get_if<double>(&value)) return *real;
    const std::string& text = std::get<std::string>(value);
    if (text == "true" || text == "YES") return 1.0;
    if (text == "false" || text == "NO") return 0.0;
    char* end = nullptr;
    const double parsed = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size()) return std::nullopt;
    return parsed;
  }

  std::map<std::string, Value> values_;
  std::vector<Write> writes_;
};

}  // namespace tarvelo::testing
