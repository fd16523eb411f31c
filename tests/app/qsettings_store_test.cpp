#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>

#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "app/persisted_settings.h"
#include "app/qsettings_store.h"

namespace tarvelo {
namespace {

namespace keys = settings_keys;

class QSettingsStoreTest : public ::testing::Test {
 protected:
  QString path() const { return directory.filePath(QStringLiteral("tarvelo.conf")); }

  // Writes the settings file by hand, as something other than the program might.
  void writeFile(const QByteArray& contents) {
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(contents);
  }

  QTemporaryDir directory;
};

TEST_F(QSettingsStoreTest, AMissingKeyIsToldFromAStoredZero) {
  QSettingsStore store(path());
  EXPECT_FALSE(store.contains(keys::kBrightness));
  store.writeDouble(keys::kBrightness, 0.0);
  EXPECT_TRUE(store.contains(keys::kBrightness));
  EXPECT_EQ(store.readDouble(keys::kBrightness), 0.0);
}

TEST_F(QSettingsStoreTest, TypedValuesSurviveTheFileExactly) {
  {
    QSettingsStore store(path());
    store.writeDouble(keys::kBrightness, 0.1 + 0.2);
    store.writeDouble(keys::kBlurRadius, 60.0);
    store.writeInt(keys::kCaptureRate, 45);
    store.writeInt(keys::kSourceDisplayID, 4294967295);
    store.writeInt(keys::kTargetDisplayID, -1);
    store.writeBool(keys::kShowFloatingHUD, false);
    store.writeBool(keys::kAutoStartOnLaunch, true);
  }
  QSettingsStore reopened(path());
  EXPECT_EQ(reopened.readDouble(keys::kBrightness), 0.1 + 0.2);
  EXPECT_EQ(reopened.readDouble(keys::kBlurRadius), 60.0);
  EXPECT_EQ(reopened.readInt(keys::kCaptureRate), 45);
  EXPECT_EQ(reopened.readInt(keys::kSourceDisplayID), 4294967295);
  EXPECT_EQ(reopened.readInt(keys::kTargetDisplayID), -1);
  EXPECT_FALSE(reopened.readBool(keys::kShowFloatingHUD));
  EXPECT_TRUE(reopened.contains(keys::kShowFloatingHUD));
  EXPECT_TRUE(reopened.readBool(keys::kAutoStartOnLaunch));
}

TEST_F(QSettingsStoreTest, KeysAreKeptAsTheyAreDotsIncluded) {
  {
    QSettingsStore store(path());
    store.writeInt(keys::kCaptureRate, 15);
    store.sync();
  }
  QSettings raw(path(), QSettings::IniFormat);
  EXPECT_EQ(raw.allKeys(), QStringList{QString::fromLatin1(keys::kCaptureRate)});
}

TEST_F(QSettingsStoreTest, AValueOfAnotherTypeIsConverted) {
  QSettingsStore store(path());
  store.writeInt(keys::kBrightness, 2);
  store.writeDouble(keys::kCaptureRate, 45.9);
  store.writeBool(keys::kVibrancy, true);
  store.writeInt(keys::kShowFloatingHUD, 2);
  store.writeDouble(keys::kAutoStartOnLaunch, 0.0);
  EXPECT_EQ(store.readDouble(keys::kBrightness), 2.0);
  EXPECT_EQ(store.readInt(keys::kCaptureRate), 45);
  EXPECT_EQ(store.readDouble(keys::kVibrancy), 1.0);
  EXPECT_EQ(store.readInt(keys::kVibrancy), 1);
  EXPECT_TRUE(store.readBool(keys::kShowFloatingHUD));
  EXPECT_FALSE(store.readBool(keys::kAutoStartOnLaunch));
}

TEST_F(QSettingsStoreTest, TextInTheFileConvertsWhereItReadsAsANumberOrAFlag) {
  writeFile(
      "[General]\n"
      "tarvelo.captureRate=\" 60 \"\n"
      "tarvelo.spread=0.5\n"
      "tarvelo.showFloatingHUD=YES\n"
      "tarvelo.autoStartOnLaunch=1\n"
      "tarvelo.smoothing=true\n");
  QSettingsStore store(path());
  EXPECT_EQ(store.readInt(keys::kCaptureRate), 60);
  EXPECT_EQ(store.readDouble(keys::kSpread), 0.5);
  EXPECT_EQ(store.readInt(keys::kSpread), 0);
  EXPECT_TRUE(store.readBool(keys::kShowFloatingHUD));
  EXPECT_TRUE(store.readBool(keys::kAutoStartOnLaunch));
  EXPECT_EQ(store.readDouble(keys::kSmoothing), 1.0);
}

TEST_F(QSettingsStoreTest, ACorruptValueReadsAsZeroOrFalseAndNeverStopsTheProgram) {
  writeFile(
      "[General]\n"
      "tarvelo.brightness=bright\n"
      "tarvelo.captureRate=12fps\n"
      "tarvelo.showFloatingHUD=maybe\n"
      "tarvelo.sourceDisplayID=99999999999999999999999\n"
      "tarvelo.targetDisplayID=1e400\n"
      "tarvelo.vibrancy=1, 2\n"
      "tarvelo.spread=@ByteArray(\\x1)\n"
      "tarvelo.autoDetectArrangement=\n");
  QSettingsStore store(path());
  EXPECT_TRUE(store.contains(keys::kBrightness));
  EXPECT_EQ(store.readDouble(keys::kBrightness), 0.0);
  EXPECT_EQ(store.readInt(keys::kCaptureRate), 0);
  EXPECT_FALSE(store.readBool(keys::kShowFloatingHUD));
  EXPECT_EQ(store.readInt(keys::kSourceDisplayID), 0);
  EXPECT_EQ(store.readInt(keys::kTargetDisplayID), 0);
  EXPECT_EQ(store.readDouble(keys::kVibrancy), 0.0);
  EXPECT_EQ(store.readInt(keys::kVibrancy), 0);
  EXPECT_FALSE(store.readBool(keys::kVibrancy));
  EXPECT_EQ(store.readDouble(keys::kSpread), 0.0);
  EXPECT_TRUE(store.contains(keys::kAutoDetectArrangement));
  EXPECT_FALSE(store.readBool(keys::kAutoDetectArrangement));
}

TEST_F(QSettingsStoreTest, AMissingKeyReadsAsZeroOrFalse) {
  QSettingsStore store(path());
  EXPECT_EQ(store.readDouble(keys::kBrightness), 0.0);
  EXPECT_EQ(store.readInt(keys::kCaptureRate), 0);
  EXPECT_FALSE(store.readBool(keys::kShowFloatingHUD));
}

TEST_F(QSettingsStoreTest, ValuesOfEveryMagnitudeSurviveTheFileExactly) {
  const std::vector<double> values = {0.0, -1.0, 1e-310, 1e12, 1e308, -1e308,
                                      std::numeric_limits<double>::infinity(),
                                      -std::numeric_limits<double>::infinity()};
  for (const double value : values) {
    {
      QSettingsStore store(path());
      store.writeDouble(keys::kBlurRadius, value);
    }
    QSettingsStore reopened(path());
    EXPECT_EQ(reopened.readDouble(keys::kBlurRadius), value) << value;
  }
  {
    QSettingsStore store(path());
    store.writeDouble(keys::kBlurRadius, std::numeric_limits<double>::quiet_NaN());
  }
  QSettingsStore reopened(path());
  EXPECT_TRUE(std::isnan(reopened.readDouble(keys::kBlurRadius)));
}

// ---- A settings file that cannot be written ----

// Root writes wherever it likes; while one of these lives, the process sees
// the files as the ordinary user "nobody" does. Without root it does nothing.
class OrdinaryUser {
 public:
  static constexpr uid_t kNobody = 65534;

  OrdinaryUser() {
    if (geteuid() != 0) return;
    // The group first: once the user is dropped it cannot be changed.
    if (setegid(kNobody) != 0) return;
    if (seteuid(kNobody) != 0) {
      setegid(0);
      return;
    }
    dropped_ = true;
  }
  ~OrdinaryUser() {
    if (!dropped_) return;
    if (seteuid(0) != 0 || setegid(0) != 0) std::abort();
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

  bool canBeDenied() const { return dropped_ || geteuid() != 0; }

 private:
  bool dropped_ = false;
};

// What the code under test writes on standard output meanwhile.
class CapturedStandardOutput {
 public:
  CapturedStandardOutput() : previous_(std::cout.rdbuf(text_.rdbuf())) {}
  ~CapturedStandardOutput() { std::cout.rdbuf(previous_); }
  CapturedStandardOutput(const CapturedStandardOutput&) = delete;
  CapturedStandardOutput& operator=(const CapturedStandardOutput&) = delete;

  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::streambuf* previous_;
};

class QSettingsStoreSaveFailureTest : public QSettingsStoreTest {
 protected:
  static constexpr int kRounds = 40;

  // The folder must let "nobody" in, so that only what a test sets up stands in the way.
  void SetUp() override {
    ASSERT_TRUE(QFile::setPermissions(directory.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                            QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                                            QFileDevice::WriteOther | QFileDevice::ExeOther));
  }

  // Many writes, with the event loop running between them as in the
  // program; then the store goes away, as at the end of a run.
  std::string writeManyTimes(const QString& file) {
    CapturedStandardOutput output;
    {
      QSettingsStore store(file);
      for (int round = 0; round < kRounds; ++round) {
        store.writeDouble(keys::kBrightness, 0.5 + round);
        store.writeInt(keys::kCaptureRate, round);
        store.writeBool(keys::kShowFloatingHUD, round % 2 == 0);
        QCoreApplication::processEvents();
      }
      store.sync();
      // The values live on in memory whatever became of the file.
      EXPECT_EQ(store.readDouble(keys::kBrightness), 0.5 + (kRounds - 1));
      EXPECT_EQ(store.readInt(keys::kCaptureRate), kRounds - 1);
      EXPECT_EQ(store.readBool(keys::kShowFloatingHUD), (kRounds - 1) % 2 == 0);
      store.writeDouble(keys::kSpread, 0.25);
      QCoreApplication::processEvents();
      EXPECT_EQ(store.readDouble(keys::kSpread), 0.25);
    }
    return output.text();
  }

  // Read past QSettings, which shares what it holds in memory between its instances.
  QByteArray fileContents() const {
    QFile file(path());
    if (!file.open(QIODevice::ReadOnly)) return {};
    return file.readAll();
  }

  static std::string lineFor(const QString& file, const std::string& reason) {
    return "[Tarvelo] Settings cannot be saved: " + file.toStdString() + ": " + reason + "\n";
  }
};

TEST_F(QSettingsStoreSaveFailureTest, AWritableFileSavesEverythingAndSaysNothing) {
  OrdinaryUser user;
  EXPECT_EQ(writeManyTimes(path()), "");
  EXPECT_TRUE(fileContents().contains("tarvelo.spread=0.25\n")) << fileContents().toStdString();
}

TEST_F(QSettingsStoreSaveFailureTest, ADirectoryInPlaceOfTheFileIsToldOnceForManyWrites) {
  ASSERT_TRUE(QDir(directory.path()).mkdir(QStringLiteral("tarvelo.conf")));
  OrdinaryUser user;
  EXPECT_EQ(writeManyTimes(path()), lineFor(path(), "Is a directory"));
}

TEST_F(QSettingsStoreSaveFailureTest, AReadOnlyFileIsToldOnceForManyWritesAndKeepsItsContents) {
  writeFile("[General]\ntarvelo.brightness=0.75\n");
  ASSERT_TRUE(QFile::setPermissions(path(), QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther));
  OrdinaryUser user;
  if (!user.canBeDenied()) GTEST_SKIP() << "cannot act as an ordinary user here";
  EXPECT_EQ(writeManyTimes(path()), lineFor(path(), "Permission denied"));
  EXPECT_EQ(fileContents(), QByteArray("[General]\ntarvelo.brightness=0.75\n"));
}

TEST_F(QSettingsStoreSaveFailureTest, AConfigFolderThatTakesNoNewFilesIsToldOnceForManyWrites) {
  const QString folder = directory.filePath(QStringLiteral("config"));
  ASSERT_TRUE(QDir().mkdir(folder));
  ASSERT_TRUE(QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner |
                                                QFileDevice::ReadOther | QFileDevice::ExeOther));
  const QString file = folder + QStringLiteral("/tarvelo.conf");
  const QString nested = folder + QStringLiteral("/tarvelo/tarvelo.conf");
  {
    OrdinaryUser user;
    if (!user.canBeDenied()) GTEST_SKIP() << "cannot act as an ordinary user here";
    EXPECT_EQ(writeManyTimes(file), lineFor(file, "Permission denied"));
    // The file's own folder does not exist yet and cannot be made.
    EXPECT_EQ(writeManyTimes(nested), lineFor(nested, "Permission denied"));
  }
  EXPECT_FALSE(QFileInfo::exists(file));
  QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

TEST(QSettingsStoreDefaultLocationTest, TheStandardStoreKeepsValuesForTheNextInstance) {
  {
    QSettingsStore store;
    store.writeDouble(keys::kSpread, 0.65);
  }
  {
    QSettingsStore store;
    EXPECT_TRUE(store.contains(keys::kSpread));
    EXPECT_EQ(store.readDouble(keys::kSpread), 0.65);
  }
  QSettings().clear();
}

}  // namespace
}  // namespace tarvelo
