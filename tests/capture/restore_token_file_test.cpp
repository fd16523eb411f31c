// The screen-sharing grant kept between runs: only its owner may read it,
// and a damaged or unsavable file costs the user one more dialog, nothing else.
#include "capture/pipewire/restore_token_file.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>

namespace tarvelo::testing {
namespace {

namespace fs = std::filesystem;

constexpr char kToken[] = "5f1d7c0e-8a43-4b8e-9d59-3f0c2a7be611";
constexpr char kNextToken[] = "A0C3E1F2-7B64-4D85-8E96-0F1A2B3C4D5E";

class RestoreTokenFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "tarvelo-token-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
  }
  void TearDown() override { fs::remove_all(directory_); }

  fs::path tokenPath() const { return directory_ / "Tarvelo" / "screen-cast-restore-token"; }

  void writeFile(const fs::path& path, const std::string& contents) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
  }

  static unsigned modeOf(const fs::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return 0;
    return info.st_mode & 0777U;
  }

  fs::path directory_;
};

TEST_F(RestoreTokenFileTest, NoFileMeansNoTokenAndNothingIsSaid) {
  RestoreTokenFile file(tokenPath());
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(file.restoreToken(), std::nullopt);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(RestoreTokenFileTest, AStoredTokenIsReadByTheNextRunAndOnlyItsOwnerMayReadIt) {
  RestoreTokenFile(tokenPath()).storeRestoreToken(kToken);

  EXPECT_EQ(modeOf(tokenPath()), 0600U);
  EXPECT_FALSE(fs::exists(tokenPath().string() + ".partial"));
  EXPECT_EQ(RestoreTokenFile(tokenPath()).restoreToken(), std::optional<std::string>(kToken));
}

TEST_F(RestoreTokenFileTest, ANewTokenReplacesTheUsedOne) {
  RestoreTokenFile file(tokenPath());
  file.storeRestoreToken(kToken);
  file.storeRestoreToken(kNextToken);
  EXPECT_EQ(file.restoreToken(), std::optional<std::string>(kNextToken));
  EXPECT_EQ(RestoreTokenFile(tokenPath()).restoreToken(), std::optional<std::string>(kNextToken));
}

TEST_F(RestoreTokenFileTest, AFileOthersCouldReadIsMadeOwnerOnlyWhenTheTokenIsSaved) {
  writeFile(tokenPath(), std::string(kNextToken) + "\n");
  fs::permissions(tokenPath(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                                   fs::perms::others_read);
  writeFile(tokenPath().string() + ".partial", "left over from a crash");
  fs::permissions(tokenPath().string() + ".partial", fs::perms::all);

  RestoreTokenFile(tokenPath()).storeRestoreToken(kToken);

  EXPECT_EQ(modeOf(tokenPath()), 0600U);
  EXPECT_EQ(RestoreTokenFile(tokenPath()).restoreToken(), std::optional<std::string>(kToken));
}

struct DamagedFile {
  const char* name;
  std::string contents;
};

// Names the case in listings instead of dumping the record's bytes (which
// include a pointer, so the listed names changed from build to build).
void PrintTo(const DamagedFile& file, std::ostream* out) { *out << file.name; }

class DamagedRestoreTokenFileTest : public RestoreTokenFileTest, public ::testing::WithParamInterface<DamagedFile> {};

TEST_P(DamagedRestoreTokenFileTest, ReadsAsNoTokenWithOneLineSayingSo) {
  writeFile(tokenPath(), GetParam().contents);
  RestoreTokenFile file(tokenPath());

  ::testing::internal::CaptureStdout();
  EXPECT_EQ(file.restoreToken(), std::nullopt);
  const std::string said = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(said.rfind("[Tarvelo] Ignoring the saved screen-sharing grant in " + tokenPath().string() + ": ", 0), 0U)
      << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
  // The damaged text itself is never repeated.
  if (GetParam().contents.size() > 2) {
    EXPECT_EQ(said.find(GetParam().contents), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(
    EveryKindOfDamage, DamagedRestoreTokenFileTest,
    ::testing::Values(DamagedFile{"Empty", ""}, DamagedFile{"OnlyANewline", "\n"},
                      DamagedFile{"Binary", std::string("\x7f" "ELF\x02\x01\x00\x00", 8)},
                      DamagedFile{"TwoLines", "first\nsecond\n"}, DamagedFile{"Spaces", "a token with spaces"},
                      DamagedFile{"NotAUuid", "granted-by-hand"},
                      DamagedFile{"AUuidWithMore", std::string(kToken) + "-and-more"},
                      DamagedFile{"FarTooLong", std::string(100000, 'a')}),
    [](const ::testing::TestParamInfo<DamagedFile>& info) { return std::string(info.param.name); });

TEST_F(RestoreTokenFileTest, ATokenThatCannotBeSavedIsStillUsedThisRunAndSaysWhy) {
  // A file where the token's folder should be.
  writeFile(directory_ / "Tarvelo", "not a folder");
  RestoreTokenFile file(tokenPath());

  ::testing::internal::CaptureStdout();
  file.storeRestoreToken(kToken);
  const std::string said = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(said.rfind("[Tarvelo] Could not save the screen-sharing grant to " + tokenPath().string() + ": ", 0), 0U)
      << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
  EXPECT_EQ(said.find(kToken), std::string::npos);
  EXPECT_EQ(file.restoreToken(), std::optional<std::string>(kToken));
}

TEST_F(RestoreTokenFileTest, WhatIsNotATokenIsNeverWritten) {
  RestoreTokenFile file(tokenPath());
  file.storeRestoreToken(kToken);
  file.storeRestoreToken("");
  file.storeRestoreToken("two\nlines");
  file.storeRestoreToken("not-a-token-the-portal-takes");
  file.storeRestoreToken("5f1d7c0e-8a43-4b8e-9d59-3f0c2a7be61g");
  EXPECT_EQ(RestoreTokenFile(tokenPath()).restoreToken(), std::optional<std::string>(kToken));
}

TEST_F(RestoreTokenFileTest, AForgottenTokenIsGoneForThisRunAndTheNextWithoutAWord) {
  RestoreTokenFile file(tokenPath());
  file.storeRestoreToken(kToken);

  ::testing::internal::CaptureStdout();
  file.forgetRestoreToken();
  EXPECT_EQ(file.restoreToken(), std::nullopt);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_FALSE(fs::exists(tokenPath()));
  EXPECT_EQ(RestoreTokenFile(tokenPath()).restoreToken(), std::nullopt);

  // A grant given after the refusal is kept as any other.
  file.storeRestoreToken(kNextToken);
  EXPECT_EQ(RestoreTokenFile(tokenPath()).restoreToken(), std::optional<std::string>(kNextToken));
}

TEST_F(RestoreTokenFileTest, ForgettingWhenNoTokenIsKeptChangesNothing) {
  RestoreTokenFile file(tokenPath());
  ::testing::internal::CaptureStdout();
  file.forgetRestoreToken();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(file.restoreToken(), std::nullopt);
  EXPECT_FALSE(fs::exists(directory_ / "Tarvelo"));
}

TEST_F(RestoreTokenFileTest, ATokenThatCannotBeRemovedIsStillForgottenThisRunAndSaysWhy) {
  // A folder where the token's file should be: unlink refuses it, even for root.
  fs::create_directories(tokenPath());
  RestoreTokenFile file(tokenPath());

  ::testing::internal::CaptureStdout();
  file.forgetRestoreToken();
  EXPECT_EQ(file.restoreToken(), std::nullopt);
  const std::string said = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(said.rfind("[Tarvelo] Could not remove the screen-sharing grant " + tokenPath().string() + ": ", 0), 0U)
      << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
}

}  // namespace
}  // namespace tarvelo::testing
