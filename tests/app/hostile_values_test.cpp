// Every lighting setting at every kind of value a settings file can hold:
// the program loads it, keeps it exactly, starts the lights, runs frames
// through the colour pipeline and draws them with the real light view.
#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QSize>
#include <QTemporaryDir>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "app/app_state.h"
#include "app/persisted_settings.h"
#include "app_test_support.h"
#include "output/ambient_gradient_view.h"
#include "output/offscreen_light_renderer.h"
#include "pipeline/color_processing_engine.h"

namespace tarvelo::testing {
namespace {

namespace keys = settings_keys;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const std::vector<double> kHostileValues = {0.0, -1.0, 1e-310, 1e12, 1e308, kInfinity, -kInfinity, kNaN};

struct LightingKey {
  const char* key;
  double (AppState::*read)() const;
};

const std::vector<LightingKey> kLightingKeys = {
    {keys::kBrightness, &AppState::brightness}, {keys::kSpread, &AppState::spread},
    {keys::kBlurRadius, &AppState::blurRadius}, {keys::kVibrancy, &AppState::vibrancy},
    {keys::kSmoothing, &AppState::smoothing},
};

// The same double, bit for bit (so NaN is NaN and -0 is not 0).
bool sameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }


// The light screen's size: large enough for every texel rule of the light
// to come into play, small enough to draw quickly in software.
constexpr QSize kLightSize(480, 270);

// The working planes may hold the view plus the rim a small blur needs on
// every side (one texel to interpolate with and the kernel's reach).
constexpr std::size_t kRimTexels = 16;
constexpr std::size_t kLargestWorkingTexels =
    (static_cast<std::size_t>(kLightSize.width()) + 2 * kRimTexels) *
    (static_cast<std::size_t>(kLightSize.height()) + 2 * kRimTexels);

using HostileCase = std::tuple<std::size_t, std::size_t>;  // lighting key, value

// The renderer outlives the state and its light window, which draw into its view.
class HostileValuesTest : public ::testing::TestWithParam<HostileCase> {
 protected:
  const LightingKey& lighting() const { return kLightingKeys[std::get<0>(GetParam())]; }
  double value() const { return kHostileValues[std::get<1>(GetParam())]; }

  void deliverAndShow(const TestPicture& picture) {
    harness.fakes.capture.deliver(picture.frame());
    harness.fakes.capture.flush();
    harness.fakes.mainQueue.waitAndRunPending();
  }

  OffscreenLightRenderer renderer{kLightSize};
  AppStateHarness harness;
};

TEST_P(HostileValuesTest, LoadsStaysExactStartsAndIsDrawnWithinTheScreensMemory) {
  FakeAppPlatform& fakes = harness.fakes;
  harness.useStackedDisplays();
  fakes.output.lightViewToDraw = &renderer.view();
  fakes.settings.put(lighting().key, value());

  AppState& state = harness.create();
  EXPECT_TRUE(sameBits((state.*lighting().read)(), value()));

  harness.startAndSettle();
  ASSERT_TRUE(state.isRunning());
  // Two pictures in turn, so that smoothing has something to blend.
  const TestPicture warm(230, 120, 40);
  const TestPicture cool(30, 90, 210);
  for (int frame = 0; frame < 4; ++frame) {
    deliverAndShow(frame % 2 == 0 ? warm : cool);
    const QImage image = renderer.renderSettled();
    ASSERT_EQ(image.size(), kLightSize);
    EXPECT_LE(renderer.view().pictureWorkingTexelCount(), kLargestWorkingTexels);
    // Whatever the pipeline and the model made of the value, what is drawn is a colour.
    for (const LightColor& color : renderer.view().shownColors()) {
      for (const double component : {color.red, color.green, color.blue, color.alpha}) {
        EXPECT_TRUE(component >= 0.0 && component <= 1.0) << component;
      }
    }
  }
  EXPECT_TRUE(renderer.view().model().didSetupLayers());
  EXPECT_GT(renderer.view().pictureRenderCount(), 0);

  // Nothing was clamped on the way: shown and stored exactly as loaded.
  EXPECT_TRUE(sameBits((state.*lighting().read)(), value()));
  const std::optional<FakeSettingsStore::Value> stored = fakes.settings.stored(lighting().key);
  ASSERT_TRUE(stored.has_value());
  ASSERT_TRUE(std::holds_alternative<double>(*stored));
  EXPECT_TRUE(sameBits(std::get<double>(*stored), value()));

  state.stop();
  EXPECT_FALSE(state.isRunning());
}

std::string caseName(const ::testing::TestParamInfo<HostileCase>& info) {
  static const std::vector<std::string> valueNames = {"Zero",     "MinusOne",    "Subnormal",
                                                      "OneE12",   "OneE308",     "Infinity",
                                                      "MinusInfinity", "NaN"};
  std::string key = kLightingKeys[std::get<0>(info.param)].key;
  key = key.substr(key.find('.') + 1);
  return key + "_" + valueNames[std::get<1>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(EveryLightingKeyAndValue, HostileValuesTest,
                         ::testing::Combine(::testing::Range<std::size_t>(0, kLightingKeys.size()),
                                            ::testing::Range<std::size_t>(0, kHostileValues.size())),
                         caseName);

}  // namespace
}  // namespace tarvelo::testing

namespace tarvelo::testing {
namespace {

// The frame rate is an integer with its own rule: any value is kept and
// passed to the capture at the next start, which takes every rate a signed
// 32-bit number holds (zero or less meaning no cap) and stops the process
// on any other, as a programming error.
class HostileCaptureRateTest : public ::testing::Test, protected AppStateHarness {};

TEST_F(HostileCaptureRateTest, EveryRateA32BitNumberHoldsIsKeptAndReachesTheCapture) {
  const std::vector<std::int64_t> rates = {0, -1, 45, std::numeric_limits<std::int32_t>::max(),
                                           std::numeric_limits<std::int32_t>::min()};
  for (const std::int64_t rate : rates) {
    SCOPED_TRACE(rate);
    AppStateHarness harness;
    harness.useStackedDisplays();
    harness.fakes.settings.put(settings_keys::kCaptureRate, rate);
    AppState& state = harness.create();
    EXPECT_EQ(state.captureRate(), rate);
    harness.startAndSettle();
    EXPECT_TRUE(state.isRunning());
    const std::optional<StreamConfiguration> configuration = harness.fakes.capture.lastConfiguration();
    ASSERT_TRUE(configuration.has_value());
    EXPECT_EQ(configuration->minimumFrameInterval.value, 1);
    EXPECT_EQ(configuration->minimumFrameInterval.timescale, rate);
    EXPECT_EQ(harness.fakes.settings.stored(settings_keys::kCaptureRate), FakeSettingsStore::Value(rate));
  }
}

TEST_F(HostileCaptureRateTest, AStoredRateOf1e12IsKeptAndStoredWithoutAStart) {
  useStackedDisplays();
  fakes.settings.put(settings_keys::kCaptureRate, 1e12);
  AppState& state = create();
  EXPECT_EQ(state.captureRate(), 1'000'000'000'000);
  EXPECT_EQ(fakes.settings.stored(settings_keys::kCaptureRate), FakeSettingsStore::Value(std::int64_t{1'000'000'000'000}));
}

TEST(HostileCaptureRateDeathTest, ARateBeyondA32BitNumberStopsTheProcessAtStart) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const std::int64_t rate : {std::int64_t{1'000'000'000'000}, std::int64_t{2'147'483'648},
                                  std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_DEATH(
        {
          AppStateHarness harness;
          harness.useStackedDisplays();
          harness.fakes.settings.put(settings_keys::kCaptureRate, rate);
          harness.create();
          harness.startAndSettle();
        },
        "capture frame rate does not fit a signed 32-bit integer");
  }
}

// Display ids have theirs: a stored value that reads as a number outside the
// unsigned 32-bit range ends the process while the state is made; one that
// does not read as a number at all (NaN, an infinity, 1e308) reads as 0,
// "none chosen", and the routing chooses afresh.
TEST(HostileDisplayIdDeathTest, AStoredIdBelowZeroOrAboveTheRangeEndsTheProcessDuringCreation) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const double stored : {-1.0, -1e12, 4294967296.0, 1e12}) {
    EXPECT_DEATH(
        {
          FakeAppPlatform fakes;
          fakes.settings.put(settings_keys::kSourceDisplayID, stored);
          AppState state(fakes.platform);
        },
        "stored display id under tarvelo.sourceDisplayID is out of range");
  }
}

TEST(HostileDisplayIdTest, AStoredIdThatIsNoNumberReadsAsNoneChosen) {
  for (const double stored : {kNaN, kInfinity, -kInfinity, 1e308, 1e-310}) {
    SCOPED_TRACE(stored);
    AppStateHarness harness;
    harness.fakes.settings.put(settings_keys::kAutoDetectArrangement, false);
    harness.fakes.settings.put(settings_keys::kTargetDisplayID, stored);
    AppState& state = harness.create();
    EXPECT_EQ(state.targetDisplayID(), 0U);
  }
}

}  // namespace
}  // namespace tarvelo::testing

namespace tarvelo::testing {
namespace {

// The whole light as a process of its own draws it (the zones tool renders
// with the light window's view), measured by its peak resident memory.
class LightProcessMemoryTest : public ::testing::Test {
 protected:
  // Peak resident kilobytes of one run drawing a full-HD light with this blur.
  long peakKilobytesDrawing(const std::string& blur) {
    const std::string frame = "bgra:160:100:640:" + directory.path().toStdString() + "/frame.bgra";
    const std::string light = directory.path().toStdString() + "/light.png";
    std::vector<std::string> arguments = {TARVELO_ZONES_BINARY, "--light", light, "--size", "1920x1080",
                                          "--blur", blur, frame};
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
      ADD_FAILURE() << "cannot run " << argv[0];
      return -1;
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child) {
      ADD_FAILURE() << "lost the child";
      return -1;
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "blur " << blur << ": status " << status;
    return usage.ru_maxrss;
  }

  void SetUp() override {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QFile file(directory.filePath(QStringLiteral("frame.bgra")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QByteArray pixels(160 * 100 * 4, '\0');
    for (qsizetype i = 0; i < pixels.size(); i += 4) {
      pixels[i] = static_cast<char>(200);
      pixels[i + 1] = static_cast<char>(100);
      pixels[i + 2] = static_cast<char>(30);
    }
    file.write(pixels);
  }

  QTemporaryDir directory;
};

// The sharp light (no blur) is drawn one texel per screen pixel: the most
// the light takes by design. No radius may take more than that; before the
// limit, 1e12 asked for a vector larger than memory and 1e308 crashed.
// (The tool itself refuses 1e-310 as out of range, and infinities and NaN as
// bad arguments, so those are left to the state tests above.)
TEST_F(LightProcessMemoryTest, NoBlurRadiusTakesMoreMemoryThanTheSharpLightDrawnPixelForPixel) {
  const long sharp = peakKilobytesDrawing("0");
  constexpr long kSlackKilobytes = 1024;
  for (const char* blur : {"60", "-1", "1e12", "1e308"}) {
    const long peak = peakKilobytesDrawing(blur);
    EXPECT_LE(peak, sharp + kSlackKilobytes) << "blur " << blur << ": " << peak << " kB against " << sharp;
  }
}

}  // namespace
}  // namespace tarvelo::testing
