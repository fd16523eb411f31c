// tarvelo-zones under hostile input: every refusal is one line on standard
// error, status 2 and nothing on standard output, and it comes without
// reading without bound or hanging.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tool_process.h"

namespace tarvelo {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// Only against a hang: how fast a refusal comes is not asserted here.
constexpr std::chrono::seconds kHangGuard{30};

// A 4 x 4 frame with rows of 16 bytes: 64 bytes in all.
constexpr std::size_t kFrameBytes = 64;
constexpr const char* kFrameLayout = "bgra:4:4:16:";

class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarvelo-zones-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

void writeFile(const std::filesystem::path& path, std::size_t bytes) {
  std::ofstream(path, std::ios::binary) << std::string(bytes, '\x80');
}

// Writes `bytes` into a FIFO once a reader has opened it, then closes it.
// Gives up quietly if no reader comes, so a tool that fails early cannot
// leave the writer blocked for ever.
class FifoWriter {
 public:
  FifoWriter(std::filesystem::path path, std::size_t bytes)
      : thread_([path = std::move(path), bytes] {
          const auto deadline = std::chrono::steady_clock::now() + kHangGuard;
          int fd = -1;
          while ((fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) < 0 &&
                 std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
          }
          if (fd < 0) return;
          ::fcntl(fd, F_SETFL, 0);
          const std::string data(bytes, '\x40');
          [[maybe_unused]] const ssize_t written = ::write(fd, data.data(), data.size());
          ::close(fd);
        }) {}
  ~FifoWriter() { thread_.join(); }

 private:
  std::thread thread_;
};

struct HostileCase {
  const char* name;
  std::vector<std::string> arguments;  // "{dir}" stands for a scratch directory
  std::optional<std::size_t> fifoBytes;  // a FIFO at {dir}/fifo with a writer of this many bytes
  const char* expectedInError;
};

// Names the case in test output instead of dumping its bytes.
void PrintTo(const HostileCase& hostile, std::ostream* out) { *out << hostile.name; }

std::string expand(const std::string& argument, const std::filesystem::path& directory) {
  std::string result = argument;
  const std::string placeholder = "{dir}";
  for (std::size_t at; (at = result.find(placeholder)) != std::string::npos;) {
    result.replace(at, placeholder.size(), directory.string());
  }
  return result;
}

class TarveloZonesHostileInput : public ::testing::TestWithParam<HostileCase> {
 protected:
  static void SetUpTestSuite() { ::signal(SIGPIPE, SIG_IGN); }  // a FIFO writer outlived by its reader
};

const std::string kFrame = std::string(kFrameLayout) + "{dir}/frame.raw";

const HostileCase kHostileCases[] = {
    {"DirectoryAsRawFrame", {std::string(kFrameLayout) + "{dir}"}, {}, "is a directory"},
    {"DirectoryAsImage", {"{dir}"}, {}, "it is a directory"},
    {"FifoWriterWritesLess", {std::string(kFrameLayout) + "{dir}/fifo"}, kFrameBytes / 2, "ended after 32 bytes"},
    {"FifoWriterWritesMore", {std::string(kFrameLayout) + "{dir}/fifo"}, kFrameBytes * 2, "holds more than the 64 bytes"},
    {"DevZeroWithHugeStatedSize", {"bgra:100000:100000:400000:/dev/zero"}, {}, "larger than 16384 x 16384"},
    {"DevZeroWithinTheBound", {"bgra:16:16:64:/dev/zero"}, {}, "holds more than the 1024 bytes"},
    {"DevZeroAsImage", {"/dev/zero"}, {}, "cannot read image /dev/zero"},
    {"WidthOverTheBound", {"bgra:16385:1:65540:{dir}/frame.raw"}, {}, "larger than 16384 x 16384"},
    {"HeightOverTheBound", {"bgra:1:16385:4:{dir}/frame.raw"}, {}, "larger than 16384 x 16384"},
    {"StrideMakesTooManyBytes", {"bgra:4:16384:1000000:{dir}/frame.raw"}, {}, "more than 1073741824 bytes"},
    {"SizeOverflowsAnInteger", {"bgra:99999999999999999999999:4:16:{dir}/frame.raw"}, {}, "width must be a whole number"},
    {"ZeroWidth", {"bgra:0:4:16:{dir}/frame.raw"}, {}, "has no pixels"},
    {"ZeroHeight", {"bgra:4:0:16:{dir}/frame.raw"}, {}, "has no pixels"},
    {"NegativeWidth", {"bgra:-4:4:16:{dir}/frame.raw"}, {}, "has no pixels"},
    {"NegativeStride", {"bgra:4:4:-16:{dir}/frame.raw"}, {}, "stride less than 4 x width"},
    {"StrideBelowFourTimesWidth", {"bgra:4:4:15:{dir}/frame.raw"}, {}, "stride less than 4 x width"},
    {"SignedNumberInFrame", {"bgra:+4:4:16:{dir}/frame.raw"}, {}, "width must be a whole number"},
    {"FrameWithoutPath", {"bgra:4:4:16"}, {}, "raw frame must be bgra:WIDTH:HEIGHT:STRIDE:PATH"},
    {"RegularFileTooShort", {std::string(kFrameLayout) + "{dir}/short.raw"}, {}, "holds 10 bytes, not the 64 bytes"},
    {"RegularFileTooLong", {std::string(kFrameLayout) + "{dir}/long.raw"}, {}, "holds 100 bytes, not the 64 bytes"},
    {"MissingFile", {std::string(kFrameLayout) + "{dir}/absent.raw"}, {}, "No such file or directory"},
    {"NewlineInPath", {std::string(kFrameLayout) + "{dir}/absent\nsecond line"}, {}, "absent\\nsecond line"},
    {"VibrancyNaN", {"--vibrancy", "nan", kFrame}, {}, "--vibrancy needs a finite number"},
    {"SmoothingInfinite", {"--smoothing", "inf", kFrame}, {}, "--smoothing needs a finite number"},
    {"VibrancyInfiniteAsFloat", {"--vibrancy", "1e39", kFrame}, {}, "--vibrancy needs a finite number"},
    {"XStartNegativeInfinity", {"--x-start", "-inf", kFrame}, {}, "--x-start needs a finite number"},
    {"XEndNaN", {"--x-end", "NAN", kFrame}, {}, "--x-end needs a finite number"},
    {"BrightnessNaN", {"--light", "{dir}/light.png", "--size", "64x32", "--brightness", "nan", kFrame}, {},
     "--brightness needs a finite number"},
    {"SpreadInfinite", {"--light", "{dir}/light.png", "--size", "64x32", "--spread", "infinity", kFrame}, {},
     "--spread needs a finite number"},
    {"BlurNaN", {"--light", "{dir}/light.png", "--size", "64x32", "--blur", "-nan", kFrame}, {},
     "--blur needs a finite number"},
    {"UnknownOption", {"--frobnicate", kFrame}, {}, "unknown option --frobnicate"},
    {"MissingValue", {kFrame, "--vibrancy"}, {}, "--vibrancy needs a value"},
    {"NoFrames", {"--vibrancy", "1.5"}, {}, "no frames given"},
    {"RepeatZero", {"--repeat", "0", kFrame}, {}, "--repeat needs a whole number of at least 1"},
    {"LightSettingWithoutLight", {"--size", "64x32", kFrame}, {}, "--size only applies with --light"},
};

TEST_P(TarveloZonesHostileInput, RefusesWithOneLineAndStatusTwo) {
  const HostileCase& hostile = GetParam();
  const ScratchDirectory scratch;
  writeFile(scratch.path() / "frame.raw", kFrameBytes);
  writeFile(scratch.path() / "short.raw", 10);
  writeFile(scratch.path() / "long.raw", 100);
  std::vector<std::string> arguments;
  for (const std::string& argument : hostile.arguments) arguments.push_back(expand(argument, scratch.path()));

  std::optional<FifoWriter> writer;
  if (hostile.fifoBytes) {
    ASSERT_EQ(::mkfifo((scratch.path() / "fifo").c_str(), 0600), 0);
    writer.emplace(scratch.path() / "fifo", *hostile.fifoBytes);
  }
  const ToolRun run = runTool(TARVELO_ZONES_PATH, arguments, kHangGuard);

  ASSERT_TRUE(run.finished) << "still running after " << kHangGuard.count() << " s";
  EXPECT_TRUE(run.exitedNormally) << "ended by a signal; stderr: " << run.standardError;
  EXPECT_EQ(run.exitStatus, 2);
  EXPECT_EQ(run.standardOutput, "");
  EXPECT_THAT(run.standardError, StartsWith("tarvelo-zones: "));
  EXPECT_EQ(std::count(run.standardError.begin(), run.standardError.end(), '\n'), 1) << run.standardError;
  EXPECT_TRUE(run.standardError.ends_with('\n')) << run.standardError;
  EXPECT_THAT(run.standardError, HasSubstr(hostile.expectedInError));
}

INSTANTIATE_TEST_SUITE_P(Table, TarveloZonesHostileInput, ::testing::ValuesIn(kHostileCases),
                         [](const auto& info) { return std::string(info.param.name); });

// The same table's sources, given the right number of bytes, are read: the
// refusals above are not a tool that refuses everything.
void expectOneLineOfColours(const ToolRun& run) {
  ASSERT_TRUE(run.finished);
  EXPECT_EQ(run.exitStatus, 0) << run.standardError;
  EXPECT_EQ(run.standardError, "");
  EXPECT_EQ(std::count(run.standardOutput.begin(), run.standardOutput.end(), '\n'), 1);
  EXPECT_EQ(std::count(run.standardOutput.begin(), run.standardOutput.end(), ' '), 47) << run.standardOutput;
}

TEST(TarveloZones, ReadsARegularFileOfExactlyTheStatedSize) {
  const ScratchDirectory scratch;
  writeFile(scratch.path() / "frame.raw", kFrameBytes);
  expectOneLineOfColours(runTool(TARVELO_ZONES_PATH, {std::string(kFrameLayout) + scratch.path().string() + "/frame.raw"},
                                 kHangGuard));
}

TEST(TarveloZones, ReadsAFifoThatDeliversExactlyTheStatedSize) {
  ::signal(SIGPIPE, SIG_IGN);
  const ScratchDirectory scratch;
  ASSERT_EQ(::mkfifo((scratch.path() / "fifo").c_str(), 0600), 0);
  const FifoWriter writer(scratch.path() / "fifo", kFrameBytes);
  expectOneLineOfColours(
      runTool(TARVELO_ZONES_PATH, {std::string(kFrameLayout) + scratch.path().string() + "/fifo"}, kHangGuard));
}

TEST(TarveloZones, ReadsACharacterDeviceLikeAnyOtherSource) {
  // /dev/zero never ends, so exactly the stated size cannot be had from it;
  // /dev/null ends at once. A character device is read like any other source:
  // here the refusal names the missing bytes, not the kind of file.
  const ToolRun run = runTool(TARVELO_ZONES_PATH, {"bgra:16384:1:65536:/dev/null"}, kHangGuard);
  ASSERT_TRUE(run.finished);
  EXPECT_EQ(run.exitStatus, 2);
  EXPECT_THAT(run.standardError, HasSubstr("/dev/null ended after 0 bytes, before the 65536 bytes"));
}

}  // namespace
}  // namespace tarvelo
