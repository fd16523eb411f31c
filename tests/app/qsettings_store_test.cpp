#include <gtest/gtest.h>

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <cstdint>
#include <string>

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
