#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "app/xdg_login_items.h"
#include "app_test_support.h"

namespace tarvelo::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kProgram = "/opt/tarvelo/bin/tarvelo";

// A fresh directory under /tmp, removed with everything in it afterwards.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = (fs::temp_directory_path() / "tarvelo-autostart-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
    // Others may look inside: the unprivileged user of the permission tests.
    fs::permissions(path_, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                               fs::perms::others_read | fs::perms::others_exec);
  }
  ~TemporaryDirectory() {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path_, error)) {
      if (entry.is_directory(error)) fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, error);
    }
    fs::remove_all(path_, error);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// Permission bits mean nothing to root, so a test that needs a refusal runs
// its step as nobody when the tests run as root.
class AsUnprivilegedUser {
 public:
  AsUnprivilegedUser() : wasRoot_(geteuid() == 0) {
    if (wasRoot_ && seteuid(65534) != 0) throw std::runtime_error("seteuid(nobody) failed");
  }
  ~AsUnprivilegedUser() {
    if (wasRoot_ && seteuid(0) != 0) std::abort();
  }
  AsUnprivilegedUser(const AsUnprivilegedUser&) = delete;
  AsUnprivilegedUser& operator=(const AsUnprivilegedUser&) = delete;

 private:
  bool wasRoot_;
};

// Sets (or, with no value, unsets) an environment variable for one scope.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    apply(value);
  }
  ~ScopedEnvironment() { apply(old_); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  void apply(const std::optional<std::string>& value) {
    if (value) {
      setenv(name_, value->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  const char* name_;
  std::optional<std::string> old_;
};

std::string readFile(const fs::path& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void writeFile(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

// A rewrite (a new file renamed over the old one) changes the inode.
ino_t inodeOf(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw std::runtime_error("stat failed: " + path.string());
  return status.st_ino;
}

std::vector<std::string> fileNames(const fs::path& directory) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename());
  return names;
}

std::string thrownMessage(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "(nothing thrown)";
}

const std::string kExpectedEntry =
    "[Desktop Entry]\n"
    "Type=Application\n"
    "Name=Tarvelo\n"
    "Comment=Ambient light from the picture on the display above\n"
    "Exec=/opt/tarvelo/bin/tarvelo\n"
    "X-GNOME-Autostart-enabled=true\n";

class XdgLoginItemsTest : public ::testing::Test {
 protected:
  fs::path autostart() const { return home.path() / "autostart"; }
  fs::path entry() const { return autostart() / "com.tarvelo.Tarvelo.desktop"; }
  fs::path previousEntry() const { return autostart() / "tarvelo.desktop"; }

  TemporaryDirectory home;
  XdgLoginItems items{autostart(), kProgram};
};

// ---- Status ----

TEST_F(XdgLoginItemsTest, NoEntryIsNotRegistered) { EXPECT_EQ(items.status(), 0); }

TEST_F(XdgLoginItemsTest, RegisterWritesTheEntryAndReadsAsEnabled) {
  items.registerApp();
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
  EXPECT_EQ(items.entryPath(), entry());
  EXPECT_EQ(readFile(entry()), kExpectedEntry);
  EXPECT_EQ(items.entryText(), kExpectedEntry);
}

TEST_F(XdgLoginItemsTest, RegisterCreatesTheMissingDirectoriesPrivateToTheUser) {
  const fs::path nested = home.path() / "config" / "autostart";
  XdgLoginItems nestedItems(nested, kProgram);
  nestedItems.registerApp();
  EXPECT_EQ(nestedItems.status(), LoginItemService::kEnabled);
  EXPECT_EQ(fs::status(home.path() / "config").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(nested).permissions(), fs::perms::owner_all);
}

TEST_F(XdgLoginItemsTest, UnregisterRemovesTheEntry) {
  items.registerApp();
  items.unregisterApp();
  EXPECT_EQ(items.status(), 0);
  EXPECT_FALSE(fs::exists(entry()));
}

TEST_F(XdgLoginItemsTest, UnregisterWithNothingRegisteredSucceeds) {
  EXPECT_NO_THROW(items.unregisterApp());
  EXPECT_EQ(items.status(), 0);
}

TEST_F(XdgLoginItemsTest, HiddenEntryCountsAsOff) {
  writeFile(entry(), kExpectedEntry + "Hidden=true\n");
  EXPECT_EQ(items.status(), 0);
}

TEST_F(XdgLoginItemsTest, RegisteringOverAHiddenEntryTurnsItOn) {
  writeFile(entry(), kExpectedEntry + "Hidden=true\n");
  items.registerApp();
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
  EXPECT_EQ(readFile(entry()), kExpectedEntry);
}

TEST_F(XdgLoginItemsTest, HiddenFalseIsStillOn) {
  writeFile(entry(), kExpectedEntry + "Hidden=false\n");
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
}

TEST_F(XdgLoginItemsTest, EntrySwitchedOffByGnomeCountsAsOff) {
  writeFile(entry(), "[Desktop Entry]\nType=Application\nName=Tarvelo\nExec=/opt/tarvelo/bin/tarvelo\n"
                     "X-GNOME-Autostart-enabled=false\n");
  EXPECT_EQ(items.status(), 0);
}

TEST_F(XdgLoginItemsTest, EntryThatStartsAnotherProgramIsNotOurs) {
  writeFile(entry(), "[Desktop Entry]\nType=Application\nName=Tarvelo\nExec=/usr/local/bin/tarvelo\n");
  EXPECT_EQ(items.status(), 0);
}

TEST_F(XdgLoginItemsTest, OnlyTheDesktopEntryGroupCountsAndSpacesAroundEqualsAreAllowed) {
  writeFile(entry(),
            "# written by hand\n"
            "[Desktop Entry]\n"
            "Name = Tarvelo\n"
            "Exec = /opt/tarvelo/bin/tarvelo\n"
            "\n"
            "[Desktop Action other]\n"
            "Hidden=true\n"
            "Exec=/usr/bin/false\n");
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
}

TEST_F(XdgLoginItemsTest, RegisteringWhenAlreadyRegisteredLeavesOneEntry) {
  items.registerApp();
  items.registerApp();
  EXPECT_EQ(fileNames(autostart()), std::vector<std::string>{"com.tarvelo.Tarvelo.desktop"});
  EXPECT_EQ(readFile(entry()), kExpectedEntry);
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
}

TEST_F(XdgLoginItemsTest, TheEntryIsReadableByTheDesktop) {
  items.registerApp();
  EXPECT_EQ(fs::status(entry()).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read | fs::perms::others_read);
}

// ---- Failures ----

TEST_F(XdgLoginItemsTest, UnwritableDirectoryGivesAReadableErrorAndLeavesNothing) {
  fs::create_directories(autostart());
  fs::permissions(autostart(), fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                   fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec);
  std::string message;
  {
    AsUnprivilegedUser nobody;
    message = thrownMessage([&] { items.registerApp(); });
  }
  EXPECT_EQ(message, "cannot write " + entry().string() + ": Permission denied");
  EXPECT_TRUE(fileNames(autostart()).empty());
  EXPECT_EQ(items.status(), 0);
}

TEST_F(XdgLoginItemsTest, AutostartPathBlockedByAFileGivesAReadableError) {
  writeFile(home.path() / "config", "not a directory");
  XdgLoginItems blocked(home.path() / "config" / "autostart", kProgram);
  EXPECT_EQ(thrownMessage([&] { blocked.registerApp(); }),
            "cannot create " + (home.path() / "config" / "autostart").string() + ": Not a directory");
}

TEST_F(XdgLoginItemsTest, AutostartPathThatIsAFileGivesAReadableError) {
  writeFile(autostart(), "not a directory");
  EXPECT_EQ(thrownMessage([&] { items.registerApp(); }),
            "cannot create " + autostart().string() + ": Not a directory");
}

TEST_F(XdgLoginItemsTest, UnregisterThatCannotRemoveGivesAReadableError) {
  items.registerApp();
  fs::permissions(autostart(), fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  fs::perm_options::remove);
  std::string message;
  {
    AsUnprivilegedUser nobody;
    message = thrownMessage([&] { items.unregisterApp(); });
  }
  EXPECT_EQ(message, "cannot remove " + entry().string() + ": Permission denied");
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
}

// ---- Exec quoting ----

TEST(DesktopEntryExecTest, APlainPathIsWrittenAsIs) {
  EXPECT_EQ(desktopEntryExec("/usr/bin/tarvelo"), "/usr/bin/tarvelo");
}

TEST(DesktopEntryExecTest, APathWithReservedCharactersIsQuoted) {
  EXPECT_EQ(desktopEntryExec("/home/ann/My Apps/tarvelo"), "\"/home/ann/My Apps/tarvelo\"");
  EXPECT_EQ(desktopEntryExec("/opt/a&b/tarvelo"), "\"/opt/a&b/tarvelo\"");
  EXPECT_EQ(desktopEntryExec("/opt/it's/tarvelo"), "\"/opt/it's/tarvelo\"");
}

TEST(DesktopEntryExecTest, QuotesBackticksAndDollarsAreEscapedInsideTheQuotes) {
  EXPECT_EQ(desktopEntryExec("/opt/\"x\"/$HOME/`y`"), "\"/opt/\\\\\"x\\\\\"/\\\\$HOME/\\\\`y\\\\`\"");
}

TEST(DesktopEntryExecTest, ABackslashBecomesFourBackslashes) {
  EXPECT_EQ(desktopEntryExec("/opt/a\\b"), "\"/opt/a\\\\\\\\b\"");
}

TEST(DesktopEntryExecTest, APercentSignIsDoubled) {
  EXPECT_EQ(desktopEntryExec("/opt/100%/tarvelo"), "/opt/100%%/tarvelo");
}

TEST(DesktopEntryExecTest, ANewlineIsQuotedAndEscaped) {
  EXPECT_EQ(desktopEntryExec("/opt/a\nb"), "\"/opt/a\\nb\"");
}

TEST_F(XdgLoginItemsTest, AQuotedProgramPathStillReadsAsOurs) {
  XdgLoginItems spaced(autostart(), "/home/ann/My Apps/tarvelo");
  spaced.registerApp();
  EXPECT_EQ(spaced.status(), LoginItemService::kEnabled);
  EXPECT_NE(readFile(entry()).find("Exec=\"/home/ann/My Apps/tarvelo\"\n"), std::string::npos);
  EXPECT_EQ(items.status(), 0);
}

// ---- Defaults ----

TEST(XdgLoginItemsDefaultsTest, AutostartDirectoryFollowsXdgConfigHome) {
  ScopedEnvironment config("XDG_CONFIG_HOME", "/srv/config");
  EXPECT_EQ(XdgLoginItems::defaultAutostartDirectory(), fs::path("/srv/config/autostart"));
}

TEST(XdgLoginItemsDefaultsTest, AutostartDirectoryFallsBackToDotConfigInHome) {
  ScopedEnvironment config("XDG_CONFIG_HOME", std::nullopt);
  ScopedEnvironment home("HOME", "/home/ann");
  EXPECT_EQ(XdgLoginItems::defaultAutostartDirectory(), fs::path("/home/ann/.config/autostart"));
}

TEST(XdgLoginItemsDefaultsTest, EmptyOrRelativeXdgConfigHomeIsIgnored) {
  ScopedEnvironment home("HOME", "/home/ann");
  {
    ScopedEnvironment config("XDG_CONFIG_HOME", "");
    EXPECT_EQ(XdgLoginItems::defaultAutostartDirectory(), fs::path("/home/ann/.config/autostart"));
  }
  ScopedEnvironment config("XDG_CONFIG_HOME", "relative/config");
  EXPECT_EQ(XdgLoginItems::defaultAutostartDirectory(), fs::path("/home/ann/.config/autostart"));
}

TEST(XdgLoginItemsDefaultsTest, WithoutHomeTheUserDatabaseGivesTheHome) {
  ScopedEnvironment config("XDG_CONFIG_HOME", std::nullopt);
  ScopedEnvironment home("HOME", std::nullopt);
  const fs::path directory = XdgLoginItems::defaultAutostartDirectory();
  EXPECT_TRUE(directory.is_absolute());
  EXPECT_EQ(directory.filename(), "autostart");
  EXPECT_EQ(directory.parent_path().filename(), ".config");
}

TEST(XdgLoginItemsDefaultsTest, TheExecutableIsTheRunningTestProgram) {
  const std::optional<fs::path> executable = XdgLoginItems::runningExecutable();
  ASSERT_TRUE(executable.has_value());
  EXPECT_TRUE(executable->is_absolute());
  EXPECT_EQ(executable->filename(), "app_linux_platform_test");
  EXPECT_TRUE(fs::is_regular_file(*executable));
}

// ---- Installed or not ----

TEST(XdgLoginItemsInstallTest, AProgramBesideItsInstalledDesktopEntryIsInstalled) {
  TemporaryDirectory prefix;
  writeFile(prefix.path() / "bin" / "tarvelo", "");
  writeFile(prefix.path() / "share" / "applications" / "com.tarvelo.Tarvelo.desktop", "");
  EXPECT_EQ(XdgLoginItems::installedProgram(prefix.path() / "bin" / "tarvelo"), prefix.path() / "bin" / "tarvelo");
}

TEST(XdgLoginItemsInstallTest, AProgramWithoutTheDesktopEntryBesideItIsNotInstalled) {
  TemporaryDirectory prefix;
  writeFile(prefix.path() / "bin" / "tarvelo", "");
  writeFile(prefix.path() / "share" / "applications" / "tarvelo.desktop", "");
  EXPECT_EQ(XdgLoginItems::installedProgram(prefix.path() / "bin" / "tarvelo"), std::nullopt);
}

TEST(XdgLoginItemsInstallTest, AProgramInABuildFolderIsNotInstalledEvenWithAnEntryAbove) {
  TemporaryDirectory build;
  writeFile(build.path() / "src" / "app" / "tarvelo", "");
  writeFile(build.path() / "src" / "share" / "applications" / "com.tarvelo.Tarvelo.desktop", "");
  EXPECT_EQ(XdgLoginItems::installedProgram(build.path() / "src" / "app" / "tarvelo"), std::nullopt);
}

TEST(XdgLoginItemsInstallTest, TheTestProgramRunsFromTheBuildTreeSoTheLoginItemIsNotFound) {
  EXPECT_EQ(XdgLoginItems::forRunningProgram().status(), XdgLoginItems::kNotFound);
}

TEST(XdgLoginItemsInstallTest, WithoutAnInstalledProgramTheStatusIsNotFoundAndRegisteringWritesNothing) {
  TemporaryDirectory home;
  XdgLoginItems items(home.path() / "autostart", std::nullopt);
  EXPECT_EQ(items.status(), XdgLoginItems::kNotFound);
  EXPECT_EQ(thrownMessage([&] { items.registerApp(); }),
            "only an installed Tarvelo can start at login, and this copy is not installed");
  EXPECT_FALSE(fs::exists(home.path() / "autostart"));
}

// ---- The entry an earlier version wrote ----

const std::string kPreviousEntry =
    "[Desktop Entry]\n"
    "Type=Application\n"
    "Name=Tarvelo\n"
    "Comment=Ambient light from the picture on the display above\n"
    "Exec=/home/ann/tarvelo/build/release/src/app/tarvelo\n"
    "X-GNOME-Autostart-enabled=true\n";

TEST_F(XdgLoginItemsTest, AnEnabledEntryUnderThePreviousNameIsCarriedOverToThisProgram) {
  writeFile(previousEntry(), kPreviousEntry);
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
  EXPECT_EQ(readFile(entry()), kExpectedEntry);
  EXPECT_FALSE(fs::exists(previousEntry()));
  EXPECT_EQ(fileNames(autostart()), std::vector<std::string>{"com.tarvelo.Tarvelo.desktop"});
}

TEST_F(XdgLoginItemsTest, ASwitchedOffEntryUnderThePreviousNameStaysOffAndRegisteringClearsIt) {
  writeFile(previousEntry(), kPreviousEntry + "Hidden=true\n");
  EXPECT_EQ(items.status(), 0);
  EXPECT_TRUE(fs::exists(previousEntry()));
  items.registerApp();
  EXPECT_FALSE(fs::exists(previousEntry()));
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
}

TEST_F(XdgLoginItemsTest, UnregisterAlsoRemovesTheEntryUnderThePreviousName) {
  writeFile(previousEntry(), kPreviousEntry + "X-GNOME-Autostart-enabled=false\n");
  items.unregisterApp();
  EXPECT_FALSE(fs::exists(previousEntry()));
}

TEST_F(XdgLoginItemsTest, ANewEntryWinsOverOneUnderThePreviousName) {
  items.registerApp();
  writeFile(previousEntry(), kPreviousEntry);
  EXPECT_EQ(items.status(), LoginItemService::kEnabled);
  EXPECT_TRUE(fs::exists(previousEntry()));
}

TEST_F(XdgLoginItemsTest, AnUninstalledCopyLeavesAnEntryUnderThePreviousNameAlone) {
  writeFile(previousEntry(), kPreviousEntry);
  XdgLoginItems fromBuildTree(autostart(), std::nullopt);
  EXPECT_EQ(fromBuildTree.status(), XdgLoginItems::kNotFound);
  EXPECT_EQ(readFile(previousEntry()), kPreviousEntry);
  EXPECT_FALSE(fs::exists(entry()));
}

// ---- Through the application state ----

class LoginItemWithAppStateTest : public ::testing::Test, protected AppStateHarness {
 protected:
  // The state goes before the login items and the platform it refers to.
  ~LoginItemWithAppStateTest() override { appState.reset(); }

  AppState& createWith(const fs::path& autostartDirectory,
                       std::optional<fs::path> installedProgram = kProgram) {
    items = std::make_unique<XdgLoginItems>(autostartDirectory, installedProgram);
    platform = std::make_unique<AppPlatform>(AppPlatform{fakes.mainQueue, fakes.settings, fakes.displays,
                                                         fakes.screens, fakes.capture, fakes.output, fakes.keys,
                                                         *items, fakes.permission, fakes.urls, fakes.settingsWindows});
    appState = std::make_unique<AppState>(*platform);
    return *appState;
  }

  TemporaryDirectory home;
  std::unique_ptr<XdgLoginItems> items;
  std::unique_ptr<AppPlatform> platform;
};

TEST_F(LoginItemWithAppStateTest, TheLoginToggleWritesAndRemovesTheEntry) {
  AppState& state = createWith(home.path() / "autostart");
  EXPECT_FALSE(state.launchAtLogin());
  state.setLaunchAtLoginEnabled(true);
  EXPECT_EQ(readFile(items->entryPath()), kExpectedEntry);
  state.setLaunchAtLoginEnabled(false);
  EXPECT_FALSE(fs::exists(items->entryPath()));
}

TEST_F(LoginItemWithAppStateTest, AnEntryWrittenOutsideTheProgramShowsAsOnAtCreationWithoutBeingRewritten) {
  const fs::path entry = home.path() / "autostart" / "com.tarvelo.Tarvelo.desktop";
  writeFile(entry, kExpectedEntry);
  const ino_t before = inodeOf(entry);
  EXPECT_TRUE(createWith(home.path() / "autostart").launchAtLogin());
  EXPECT_EQ(inodeOf(entry), before);
}

TEST_F(LoginItemWithAppStateTest, SwitchingTheToggleOnWhenAlreadyEnabledLeavesTheEntryAlone) {
  const fs::path entry = home.path() / "autostart" / "com.tarvelo.Tarvelo.desktop";
  AppState& state = createWith(home.path() / "autostart");
  // Registered by hand after the state read its status at creation.
  writeFile(entry, kExpectedEntry);
  const ino_t before = inodeOf(entry);
  state.setLaunchAtLoginEnabled(true);
  EXPECT_TRUE(state.launchAtLogin());
  EXPECT_EQ(inodeOf(entry), before);
}

TEST_F(LoginItemWithAppStateTest, AFailingRegisterKeepsTheToggleOnAndLogsTheReason) {
  writeFile(home.path() / "config", "not a directory");
  AppState& state = createWith(home.path() / "config" / "autostart");
  ::testing::internal::CaptureStdout();
  state.setLaunchAtLoginEnabled(true);
  const std::string output = ::testing::internal::GetCapturedStdout();
  EXPECT_TRUE(state.launchAtLogin());
  EXPECT_EQ(output, "[Tarvelo] Failed to change launch at login: cannot create " +
                        (home.path() / "config" / "autostart").string() + ": Not a directory\n");
}

TEST_F(LoginItemWithAppStateTest, FromTheBuildTreeTheToggleReadsOffAndSwitchingItOnSaysWhy) {
  AppState& state = createWith(home.path() / "autostart", std::nullopt);
  EXPECT_FALSE(state.launchAtLogin());
  ::testing::internal::CaptureStdout();
  state.setLaunchAtLoginEnabled(true);
  const std::string output = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(output,
            "[Tarvelo] Failed to change launch at login: only an installed Tarvelo can start at login, and this copy "
            "is not installed\n");
  EXPECT_FALSE(fs::exists(home.path() / "autostart"));
}

}  // namespace
}  // namespace tarvelo::testing
