#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "app/application_identity.h"
#include "app/persisted_settings.h"
#include "app/qsettings_store.h"

namespace tarvelo {
namespace {

// The settings folder is chosen before the application object exists, as in
// the program itself.
QTemporaryDir& configHome() {
  static QTemporaryDir directory;
  return directory;
}

TEST(ApplicationIdentityTest, SettingsWrittenWhereEarlierBuildsKeptThemAreRead) {
  ASSERT_TRUE(QDir(configHome().path()).mkpath(QStringLiteral("Tarvelo")));
  QFile file(configHome().filePath(QStringLiteral("Tarvelo/Tarvelo.conf")));
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write("[General]\ntarvelo.brightness=0.5\ntarvelo.captureRate=60\n");
  file.close();

  QSettingsStore store;
  EXPECT_EQ(store.readDouble(settings_keys::kBrightness), 0.5);
  EXPECT_EQ(store.readInt(settings_keys::kCaptureRate), 60);
}

TEST(ApplicationIdentityTest, TheReversedDomainAndTheNameGiveTheApplicationId) {
  QStringList parts = QCoreApplication::organizationDomain().split(u'.');
  std::reverse(parts.begin(), parts.end());
  parts << QCoreApplication::applicationName();
  EXPECT_EQ(parts.join(u'.').toStdString(), std::string(kApplicationId));
  EXPECT_EQ(QCoreApplication::applicationVersion().toStdString(), std::string(kApplicationVersion));
}

}  // namespace
}  // namespace tarvelo

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  setenv("XDG_CONFIG_HOME", tarvelo::configHome().path().toLocal8Bit().constData(), 1);
  tarvelo::applyApplicationIdentity();
  QCoreApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
