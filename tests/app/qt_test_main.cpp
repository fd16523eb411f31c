#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QStandardPaths>

// QtMainQueue needs an event loop and QSettingsStore's default settings need
// the application's names; the user's real settings are never touched.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  QCoreApplication application(argc, argv);
  QCoreApplication::setOrganizationName(QStringLiteral("TarveloTests"));
  QCoreApplication::setApplicationName(QStringLiteral("app_qt_platform_test"));
  QStandardPaths::setTestModeEnabled(true);
  return RUN_ALL_TESTS();
}
