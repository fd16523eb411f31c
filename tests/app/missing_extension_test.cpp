// The program on X servers that each lack one extension: it comes up, stays up
// and, when the lights start, says which extension the capture misses.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <string>

#include <gtest/gtest.h>

#include "displays/x11_rig.h"

namespace tarvelo::testing {
namespace {

constexpr int kPatienceMs = 30000;

QProcessEnvironment environmentOn(const std::string& display, const QString& configHome) {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("DISPLAY"), QString::fromStdString(display));
  environment.insert(QStringLiteral("XDG_CONFIG_HOME"), configHome);
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
  return environment;
}

// What the program reports when the capture cannot start on `display`.
std::string failureFor(const std::string& extension, const std::string& display) {
  return "Failed to start capture: The X server \"" + display + "\" lacks the " + extension +
         " extension, which screen capture needs";
}

class MissingExtensionTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override { ASSERT_TRUE(server.isRunning()) << "Xorg did not start without " << GetParam(); }

  PrivateXServer server{"stacked", {"-extension", GetParam()}};
  QTemporaryDir configHome;
};

TEST_P(MissingExtensionTest, StartingTheLightsReportsTheMissingExtensionAndTheProgramStaysUp) {
  QProcess probe;
  probe.setProcessEnvironment(environmentOn(server.display(), configHome.path()));
  probe.start(QStringLiteral(LIGHTS_START_PROBE), {});
  ASSERT_TRUE(probe.waitForFinished(kPatienceMs));
  const std::string output = probe.readAllStandardOutput().toStdString();
  EXPECT_EQ(probe.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(probe.exitCode(), 0) << output << probe.readAllStandardError().toStdString();

  const std::string failure = failureFor(GetParam(), server.display());
  EXPECT_NE(output.find("[Tarvelo] " + failure), std::string::npos) << output;
  EXPECT_NE(output.find("errorMessage=" + failure), std::string::npos) << output;
  EXPECT_NE(output.find("isRunning=0\n"), std::string::npos) << output;
  // No permission is missing: the reason is the capture's, not the user's.
  EXPECT_NE(output.find("hasPermission=1\n"), std::string::npos) << output;
}

TEST_P(MissingExtensionTest, TheProgramStartingTheLightsAtLaunchLogsWhyAndKeepsRunning) {
  {
    QSettings settings(configHome.path() + QStringLiteral("/Tarvelo/Tarvelo.conf"), QSettings::IniFormat);
    settings.setValue(QStringLiteral("tarvelo.autoStartOnLaunch"), true);
  }
  QProcess program;
  program.setProcessEnvironment(environmentOn(server.display(), configHome.path()));
  program.start(QStringLiteral(TARVELO_PROGRAM), {});
  ASSERT_TRUE(program.waitForStarted());

  const std::string line = "[Tarvelo] " + failureFor(GetParam(), server.display());
  std::string output;
  QElapsedTimer clock;
  clock.start();
  while (output.find(line) == std::string::npos && program.state() == QProcess::Running &&
         clock.elapsed() < kPatienceMs) {
    program.waitForReadyRead(200);
    output += program.readAllStandardOutput().toStdString();
  }
  EXPECT_NE(output.find(line), std::string::npos) << output << program.readAllStandardError().toStdString();
  // Still there a while after the failed start.
  EXPECT_FALSE(program.waitForFinished(2000)) << program.readAllStandardError().toStdString();
  EXPECT_EQ(program.state(), QProcess::Running);
  program.terminate();
  if (!program.waitForFinished(5000)) program.kill();
  program.waitForFinished();
}

INSTANTIATE_TEST_SUITE_P(CaptureExtensions, MissingExtensionTest,
                         ::testing::Values("RENDER", "MIT-SHM", "DAMAGE", "RANDR"),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           std::string name = info.param;
                           std::erase(name, '-');
                           return name;
                         });

// Without XFIXES, Qt cannot make the light window transparent for input; the
// program runs all the same and the lights start. (Composite goes too: the
// server's Composite needs XFIXES and aborts the server without it.)
TEST(MissingXFixesTest, TheLightsStart) {
  const PrivateXServer server("stacked", {"-extension", "XFIXES", "-extension", "Composite"});
  ASSERT_TRUE(server.isRunning());
  QTemporaryDir configHome;
  QProcess probe;
  probe.setProcessEnvironment(environmentOn(server.display(), configHome.path()));
  probe.start(QStringLiteral(LIGHTS_START_PROBE), {});
  ASSERT_TRUE(probe.waitForFinished(kPatienceMs));
  const std::string output = probe.readAllStandardOutput().toStdString();
  EXPECT_EQ(probe.exitCode(), 0) << output << probe.readAllStandardError().toStdString();
  EXPECT_NE(output.find("isRunning=1\nhasPermission=1\nerrorMessage=\n"), std::string::npos) << output;
}

}  // namespace
}  // namespace tarvelo::testing

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  QCoreApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
