#include "capture/pipewire/restore_token_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <system_error>
#include <utility>

namespace tarvelo {

namespace {

// The portal hands out UUIDs and rejects anything else outright, failing the
// whole share rather than asking again; a file holding anything else was not
// written by us, and reads as no token.
constexpr std::size_t kTokenLength = 36;  // 8-4-4-4-12 hexadecimal digits

bool isPlausibleToken(const std::string& text) {
  if (text.size() != kTokenLength) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDashPlace = i == 8 || i == 13 || i == 18 || i == 23;
    if (isDashPlace ? text[i] != '-' : std::isxdigit(static_cast<unsigned char>(text[i])) == 0) return false;
  }
  return true;
}

std::string reasonOf(int error) { return std::error_code(error, std::generic_category()).message(); }

// Writes `contents` to `path` with mode 0600, through a file beside it that is
// renamed over it, so a crash never leaves half a token. Empty on success,
// else the reason.
std::string writeOwnerOnly(const std::filesystem::path& path, const std::string& contents) {
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  if (error) return error.message();
  const std::filesystem::path partial = path.string() + ".partial";
  const int fd = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (fd < 0) return reasonOf(errno);
  // A file left from an earlier run keeps its mode through O_CREAT; set it anew.
  bool written = ::fchmod(fd, S_IRUSR | S_IWUSR) == 0;
  std::size_t done = 0;
  while (written && done < contents.size()) {
    const ssize_t count = ::write(fd, contents.data() + done, contents.size() - done);
    if (count < 0 && errno == EINTR) continue;
    written = count > 0;
    if (written) done += static_cast<std::size_t>(count);
  }
  const int writeError = written ? 0 : errno;
  ::close(fd);
  if (!written || ::rename(partial.c_str(), path.c_str()) != 0) {
    const int reason = written ? errno : writeError;
    ::unlink(partial.c_str());
    return reasonOf(reason);
  }
  return {};
}

}  // namespace

RestoreTokenFile::RestoreTokenFile(std::filesystem::path path) : path_(std::move(path)) {}

std::optional<std::string> RestoreTokenFile::restoreToken() {
  std::lock_guard lock(mutex_);
  if (decidedThisRun_) return latest_;
  std::ifstream file(path_, std::ios::binary);
  if (!file) return std::nullopt;
  // Enough to tell a token from a longer text, never a whole stray file.
  std::string text(kTokenLength + 3, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  if (!isPlausibleToken(text)) {
    std::cout << "[Tarvelo] Ignoring the saved screen-sharing grant in " << path_.string()
              << ": it is not a token the desktop gave; the desktop will ask again." << std::endl;
    return std::nullopt;
  }
  return text;
}

void RestoreTokenFile::storeRestoreToken(const std::string& token) {
  std::lock_guard lock(mutex_);
  if (!isPlausibleToken(token)) return;
  decidedThisRun_ = true;
  latest_ = token;
  const std::string failure = writeOwnerOnly(path_, token + "\n");
  if (!failure.empty()) {
    std::cout << "[Tarvelo] Could not save the screen-sharing grant to " << path_.string() << ": " << failure
              << "; the desktop will ask again at the next launch." << std::endl;
  }
}

void RestoreTokenFile::forgetRestoreToken() {
  std::lock_guard lock(mutex_);
  decidedThisRun_ = true;
  latest_.reset();
  if (::unlink(path_.c_str()) != 0 && errno != ENOENT) {
    std::cout << "[Tarvelo] Could not remove the screen-sharing grant " << path_.string() << ": " << reasonOf(errno)
              << "; it is ignored for the rest of this run." << std::endl;
  }
}

}  // namespace tarvelo
