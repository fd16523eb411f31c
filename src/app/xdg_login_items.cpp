#include "app/xdg_login_items.h"

#include "app/application_identity.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace tarvelo {

namespace {

constexpr std::string_view kPreviousEntryFileName = "tarvelo.desktop";
constexpr std::string_view kEntryGroup = "[Desktop Entry]";
constexpr std::string_view kReservedInExec = " \t\n\"'\\><~|&;$*?#()`";

std::string errnoText() { return std::system_category().message(errno); }

std::runtime_error writeFailure(const std::filesystem::path& path, const std::string& reason) {
  return std::runtime_error("cannot write " + path.string() + ": " + reason);
}

std::string entryFileName() { return std::string(kApplicationId) + ".desktop"; }

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const std::size_t last = text.find_last_not_of(" \t\r");
  return std::string(text.substr(first, last - first + 1));
}

// The keys of the [Desktop Entry] group that decide whether an entry is on.
struct EntryKeys {
  std::optional<std::string> exec;
  std::optional<std::string> hidden;
  std::optional<std::string> gnomeAutostartEnabled;

  bool switchedOn() const { return hidden != "true" && gnomeAutostartEnabled != "false"; }
};

EntryKeys readEntryKeys(std::istream& input) {
  EntryKeys keys;
  bool inEntryGroup = false;
  std::string line;
  while (std::getline(input, line)) {
    const std::string text = trimmed(line);
    if (text.empty() || text.front() == '#') continue;
    if (text.front() == '[') {
      inEntryGroup = text == kEntryGroup;
      continue;
    }
    const std::size_t equals = text.find('=');
    if (!inEntryGroup || equals == std::string::npos) continue;
    const std::string key = trimmed(std::string_view(text).substr(0, equals));
    std::string value = trimmed(std::string_view(text).substr(equals + 1));
    if (key == "Exec") keys.exec = std::move(value);
    if (key == "Hidden") keys.hidden = std::move(value);
    if (key == "X-GNOME-Autostart-enabled") keys.gnomeAutostartEnabled = std::move(value);
  }
  return keys;
}

// Creates what is missing of `directory`, each new level private to the user
// as the XDG base directory rules ask.
void createDirectories(const std::filesystem::path& directory) {
  std::filesystem::path partial;
  for (const std::filesystem::path& component : directory) {
    partial /= component;
    if (mkdir(partial.c_str(), 0700) == 0 || errno == EEXIST) continue;
    throw std::runtime_error("cannot create " + partial.string() + ": " + errnoText());
  }
  std::error_code error;
  if (!std::filesystem::is_directory(directory, error)) {
    throw std::runtime_error("cannot create " + directory.string() + ": " +
                             std::make_error_code(std::errc::not_a_directory).message());
  }
}

// A reader sees either the old entry or the whole new one, never a part.
void writeAtomically(const std::filesystem::path& target, const std::string& text) {
  std::string temporary = (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) throw writeFailure(target, errnoText());

  std::string reason;
  if (fchmod(file, 0644) != 0) reason = errnoText();
  for (std::size_t done = 0; reason.empty() && done < text.size();) {
    const ssize_t written = write(file, text.data() + done, text.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) reason = errnoText();
    // A regular file that takes nothing has run out of room.
    if (written == 0) reason = std::make_error_code(std::errc::no_space_on_device).message();
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  if (reason.empty() && fsync(file) != 0) reason = errnoText();
  if (close(file) != 0 && reason.empty()) reason = errnoText();
  if (reason.empty() && rename(temporary.c_str(), target.c_str()) != 0) reason = errnoText();
  if (!reason.empty()) {
    unlink(temporary.c_str());
    throw writeFailure(target, reason);
  }
}

std::optional<std::filesystem::path> homeDirectory() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return std::filesystem::path(home);
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr && *found->pw_dir != '\0') {
    return std::filesystem::path(found->pw_dir);
  }
  return std::nullopt;
}

}  // namespace

std::string desktopEntryExec(const std::filesystem::path& program) {
  const std::string& path = program.native();
  const bool needsQuotes = path.find_first_of(kReservedInExec) != std::string::npos;

  std::string argument;
  if (needsQuotes) argument += '"';
  for (const char character : path) {
    if (needsQuotes && (character == '"' || character == '`' || character == '$' || character == '\\')) {
      argument += '\\';
    }
    if (character == '%') argument += '%';
    argument += character;
  }
  if (needsQuotes) argument += '"';

  std::string value;
  for (const char character : argument) {
    switch (character) {
      case '\\':
        value += "\\\\";
        break;
      case '\n':
        value += "\\n";
        break;
      case '\t':
        value += "\\t";
        break;
      case '\r':
        value += "\\r";
        break;
      default:
        value += character;
    }
  }
  return value;
}

XdgLoginItems::XdgLoginItems(std::filesystem::path autostartDirectory,
                             std::optional<std::filesystem::path> installedExecutable)
    : autostartDirectory_(std::move(autostartDirectory)),
      entryPath_(autostartDirectory_ / entryFileName()),
      previousEntryPath_(autostartDirectory_ / kPreviousEntryFileName) {
  if (installedExecutable) exec_ = desktopEntryExec(*installedExecutable);
}

XdgLoginItems XdgLoginItems::forRunningProgram() {
  const std::optional<std::filesystem::path> executable = runningExecutable();
  return XdgLoginItems(defaultAutostartDirectory(), executable ? installedProgram(*executable) : std::nullopt);
}

std::optional<std::filesystem::path> XdgLoginItems::installedProgram(const std::filesystem::path& executable) {
  const std::filesystem::path programDirectory = executable.parent_path();
  const std::filesystem::path prefix = programDirectory.parent_path();
  if (!executable.is_absolute() || programDirectory.filename() != kInstallBinDir) return std::nullopt;
  std::error_code error;
  const std::filesystem::path desktopEntry = prefix / kInstallDataDir / "applications" / entryFileName();
  if (!std::filesystem::is_regular_file(desktopEntry, error)) return std::nullopt;
  return executable;
}

std::filesystem::path XdgLoginItems::defaultAutostartDirectory() {
  // The base directory rules ignore a relative XDG_CONFIG_HOME.
  if (const char* config = std::getenv("XDG_CONFIG_HOME"); config != nullptr && *config == '/') {
    return std::filesystem::path(config) / "autostart";
  }
  const std::optional<std::filesystem::path> home = homeDirectory();
  if (!home) throw std::runtime_error("cannot find the home directory for the autostart entry");
  return *home / ".config" / "autostart";
}

std::optional<std::filesystem::path> XdgLoginItems::runningExecutable() {
  std::error_code error;
  std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error || executable.empty()) return std::nullopt;
  return executable;
}

std::string XdgLoginItems::entryText() const {
  if (!exec_) return {};
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Tarvelo\n"
         "Comment=Ambient light from the picture on the display above\n"
         "Exec=" +
         *exec_ +
         "\n"
         "X-GNOME-Autostart-enabled=true\n";
}

int XdgLoginItems::status() {
  if (!exec_) return kNotFound;
  carryOverPreviousEntry();
  std::ifstream entry(entryPath_);
  if (!entry) return 0;
  const EntryKeys keys = readEntryKeys(entry);
  return keys.exec == exec_ && keys.switchedOn() ? kEnabled : 0;
}

// The user asked an earlier version to start at login: keep that wish under
// the new name, for this program. An entry that is switched off is left for
// the next register or unregister to clear.
void XdgLoginItems::carryOverPreviousEntry() {
  std::error_code error;
  if (std::filesystem::exists(entryPath_, error) || error) return;
  std::ifstream previous(previousEntryPath_);
  if (!previous || !readEntryKeys(previous).switchedOn()) return;
  try {
    registerApp();
  } catch (const std::exception&) {
    // Nothing moved; the status reads as not registered and the toggle can
    // register afresh.
  }
}

void XdgLoginItems::removePreviousEntry() {
  if (unlink(previousEntryPath_.c_str()) != 0 && errno != ENOENT) {
    throw std::runtime_error("cannot remove " + previousEntryPath_.string() + ": " + errnoText());
  }
}

void XdgLoginItems::registerApp() {
  if (!exec_) {
    throw std::runtime_error("only an installed Tarvelo can start at login, and this copy is not installed");
  }
  createDirectories(autostartDirectory_);
  writeAtomically(entryPath_, entryText());
  removePreviousEntry();
}

void XdgLoginItems::unregisterApp() {
  if (unlink(entryPath_.c_str()) != 0 && errno != ENOENT) {
    throw std::runtime_error("cannot remove " + entryPath_.string() + ": " + errnoText());
  }
  removePreviousEntry();
}

}  // namespace tarvelo
