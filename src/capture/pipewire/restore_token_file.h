#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

#include "capture/pipewire/screen_cast_restore_token.h"

namespace tarvelo {

// The screen-cast portal's restore token in a file of its own, readable and
// writable by the owner only: whoever holds it may share the screen without
// asking. Kept apart from the settings, as it is none of theirs.
//
// A missing, unreadable or corrupt file reads as no token (the desktop then
// asks again), with one line on standard output for a file that is there but
// unusable. A token that cannot be saved stays in memory for the rest of the
// run, with one line saying why it was not saved; so does a token forgotten
// whose file cannot be removed. Safe to use from any thread.
class RestoreTokenFile final : public RestoreTokenStore {
 public:
  explicit RestoreTokenFile(std::filesystem::path path);

  std::optional<std::string> restoreToken() override;
  // Replaces the file at once (written beside it, then renamed over it).
  void storeRestoreToken(const std::string& token) override;
  // Removes the file.
  void forgetRestoreToken() override;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  std::mutex mutex_;
  // What this run last stored or forgot stands, whether or not the file
  // could be written or removed.
  bool decidedThisRun_ = false;
  std::optional<std::string> latest_;
};

}  // namespace tarvelo
