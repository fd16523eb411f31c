#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <string>

#include "app/settings_store.h"

class QSettings;

namespace tarvelo {

// The user's defaults kept by QSettings. Values read back from the file come
// as text, so every typed read converts: numbers and "true"/"false" convert
// the obvious way, and anything that does not convert reads as 0 or false;
// a corrupt value never stops the program.
//
// A file that cannot be written (read-only, a directory in its place, a
// folder that takes no new files) loses every change, and nothing in the
// program asks: the values live on in memory. The first time a write does
// not reach the file, one line on standard output says so and why; never
// again for the life of the store, which is the life of the program.
class QSettingsStore final : public SettingsStore {
 public:
  // The application's standard user settings; the application's organisation
  // and name must be set first.
  QSettingsStore();
  // An INI file at `filePath`.
  explicit QSettingsStore(const QString& filePath);
  ~QSettingsStore() override;

  QSettingsStore(const QSettingsStore&) = delete;
  QSettingsStore& operator=(const QSettingsStore&) = delete;

  bool contains(const std::string& key) const override;
  bool readBool(const std::string& key) const override;
  std::int64_t readInt(const std::string& key) const override;
  double readDouble(const std::string& key) const override;

  void writeBool(const std::string& key, bool value) override;
  void writeInt(const std::string& key, std::int64_t value) override;
  void writeDouble(const std::string& key, double value) override;

  // Writes pending changes to storage now rather than at the next idle moment.
  void sync();

 private:
  // Writes are batched by QSettings until the event loop is next idle; the
  // check runs then, once per batch, so a write costs what it did.
  void checkAfterWrites();
  void syncAndReportFailure();

  std::unique_ptr<QSettings> settings_;
  bool checkPending_ = false;
  bool reportedSaveFailure_ = false;
};

}  // namespace tarvelo
