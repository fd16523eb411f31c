#include <gtest/gtest.h>

#include <QProcess>
#include <QStringList>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "app/local_socket_instance_channel.h"

namespace tarvelo::testing {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

fs::perms permissionsOf(const fs::path& path) { return fs::symlink_status(path).permissions(); }

uid_t ownerOf(const fs::path& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) throw std::runtime_error("lstat failed: " + path.string());
  return status.st_uid;
}

std::string thrownMessage(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "(nothing thrown)";
}

// A fresh directory that other users may pass through (so that only the
// channel's own directory keeps them out), removed afterwards.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = (fs::temp_directory_path() / "tarvelo-channel-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
    fs::permissions(path_, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
  }
  ~TemporaryDirectory() {
    std::error_code error;
    fs::remove_all(path_, error);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// The peer program, optionally as the unprivileged user.
class Peer {
 public:
  Peer(const QStringList& arguments, bool asNobody = false) {
    QStringList command;
    QString program = QStringLiteral(TARVELO_CHANNEL_PEER);
    if (asNobody) {
      command = {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups"),
                 program};
      program = QStringLiteral("setpriv");
    }
    process_.start(program, command + arguments);
  }
  ~Peer() {
    if (process_.state() != QProcess::NotRunning) {
      process_.kill();
      process_.waitForFinished(5000);
    }
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // Waits for one line of the peer's standard output.
  std::string nextLine(int timeoutMs = 10000) {
    while (!process_.canReadLine()) {
      if (!process_.waitForReadyRead(timeoutMs)) return "(no line)";
    }
    return process_.readLine().trimmed().toStdString();
  }
  // Everything the peer printed until it ended.
  std::string finish() {
    process_.waitForFinished(10000);
    return process_.readAllStandardOutput().toStdString();
  }
  int exitCode() {
    process_.waitForFinished(10000);
    return process_.exitCode();
  }
  std::string standardError() { return process_.readAllStandardError().toStdString(); }

 private:
  QProcess process_;
};

// Writes `text` straight to the socket, past the sender's own checks, and
// returns what came back.
std::string sendRaw(const fs::path& socketPath, const std::string& text) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(socket);
    return "(cannot connect)";
  }
  // The instance may hang up before the text is written (it drops another
  // user's connection at once): that is an answer, not a reason to die of SIGPIPE.
  (void)!send(socket, text.data(), text.size(), MSG_NOSIGNAL);
  shutdown(socket, SHUT_WR);
  std::string answer;
  char buffer[64];
  for (ssize_t got; (got = read(socket, buffer, sizeof buffer)) > 0;) answer.append(buffer, static_cast<std::size_t>(got));
  close(socket);
  return answer;
}

class InstanceChannelTest : public ::testing::Test {
 protected:
  fs::path directory() const { return base.path() / "channel"; }

  TemporaryDirectory base;
  LocalSocketInstanceChannel channel{directory()};
};

TEST_F(InstanceChannelTest, WithNoInstanceThereIsNothingToSendToAndTheDirectoryIsMadePrivate) {
  EXPECT_FALSE(channel.sendToRunningInstance(InstanceCommand::ToggleLights));
  EXPECT_EQ(permissionsOf(directory()), fs::perms::owner_all);
}

TEST_F(InstanceChannelTest, OnlyOneProcessHoldsThePlace) {
  auto first = std::make_unique<LocalSocketInstanceChannel>(directory());
  EXPECT_TRUE(first->claimInstance());
  EXPECT_FALSE(channel.claimInstance());
  Peer peer({QStringLiteral("serve"), QString::fromStdString(directory().string())});
  EXPECT_EQ(peer.nextLine(), "held");
  first.reset();
  EXPECT_TRUE(channel.claimInstance());
}

TEST_F(InstanceChannelTest, TheListeningSocketAndItsDirectoryAreOwnerOnly) {
  ASSERT_TRUE(channel.claimInstance());
  channel.listen([](InstanceCommand) {});
  EXPECT_EQ(permissionsOf(directory()), fs::perms::owner_all);
  EXPECT_EQ(permissionsOf(channel.socketPath()), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(permissionsOf(channel.lockPath()), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(InstanceChannelTest, ADirectoryLeftOpenByTheUserIsClosedAgain) {
  fs::create_directory(directory());
  fs::permissions(directory(), fs::perms::all);
  EXPECT_FALSE(channel.sendToRunningInstance(InstanceCommand::ToggleLights));
  EXPECT_EQ(permissionsOf(directory()), fs::perms::owner_all);
}

TEST_F(InstanceChannelTest, ACommandFromALaterLaunchReachesTheInstance) {
  Peer instance({QStringLiteral("serve"), QString::fromStdString(directory().string())});
  ASSERT_EQ(instance.nextLine(), "listening");
  EXPECT_TRUE(channel.sendToRunningInstance(InstanceCommand::ToggleLights));
  EXPECT_EQ(instance.nextLine(), "toggle");
  EXPECT_TRUE(channel.sendToRunningInstance(InstanceCommand::ShowControls));
  EXPECT_EQ(instance.nextLine(), "show-controls");
  EXPECT_TRUE(channel.sendToRunningInstance(InstanceCommand::StopLights));
  EXPECT_EQ(instance.finish(), "stop\n");
}

TEST_F(InstanceChannelTest, AnUnknownMessageIsDroppedWithOneLogLine) {
  Peer instance({QStringLiteral("serve"), QString::fromStdString(directory().string())});
  ASSERT_EQ(instance.nextLine(), "listening");
  EXPECT_EQ(sendRaw(channel.socketPath(), "quit\n"), "");
  EXPECT_EQ(instance.nextLine(), "[Tarvelo] Dropped an unknown message from a second launch");
  // The instance goes on taking commands.
  EXPECT_EQ(sendRaw(channel.socketPath(), "toggle\n"), "ok\n");
  EXPECT_EQ(instance.nextLine(), "toggle");
  EXPECT_TRUE(channel.sendToRunningInstance(InstanceCommand::StopLights));
  EXPECT_EQ(instance.finish(), "stop\n");
}

TEST_F(InstanceChannelTest, AMalformedMessageIsDroppedWithOneLogLine) {
  Peer instance({QStringLiteral("serve"), QString::fromStdString(directory().string())});
  ASSERT_EQ(instance.nextLine(), "listening");
  EXPECT_EQ(sendRaw(channel.socketPath(), std::string(200, 't')), "");
  EXPECT_EQ(instance.nextLine(), "[Tarvelo] Dropped a malformed message: longer than a command");
  EXPECT_EQ(sendRaw(channel.socketPath(), std::string("tog\0gle\n", 8)), "");
  EXPECT_EQ(instance.nextLine(), "[Tarvelo] Dropped an unknown message from a second launch");
  EXPECT_TRUE(channel.sendToRunningInstance(InstanceCommand::StopLights));
  EXPECT_EQ(instance.finish(), "stop\n");
}

TEST_F(InstanceChannelTest, ASocketLeftByAnInstanceThatEndedIsReplaced) {
  {
    Peer instance({QStringLiteral("serve"), QString::fromStdString(directory().string())});
    ASSERT_EQ(instance.nextLine(), "listening");
  }  // killed: its socket stays behind
  ASSERT_TRUE(fs::exists(channel.socketPath()));
  EXPECT_FALSE(channel.sendToRunningInstance(InstanceCommand::ToggleLights));
  ASSERT_TRUE(channel.claimInstance());
  channel.listen([](InstanceCommand) {});
  EXPECT_EQ(ownerOf(channel.socketPath()), geteuid());
}

TEST(InstanceChannelDirectoryTest, TheDirectoryIsInTheUsersRuntimeDirectory) {
  const char* old = std::getenv("XDG_RUNTIME_DIR");
  const std::optional<std::string> saved = old ? std::optional<std::string>(old) : std::nullopt;
  setenv("XDG_RUNTIME_DIR", "/run/user/1000", 1);
  EXPECT_EQ(LocalSocketInstanceChannel::directoryForCurrentUser(), "/run/user/1000/com.tarvelo.Tarvelo");
  setenv("XDG_RUNTIME_DIR", "relative", 1);
  const fs::path fallback = "/tmp/com.tarvelo.Tarvelo-" + std::to_string(geteuid());
  EXPECT_EQ(LocalSocketInstanceChannel::directoryForCurrentUser(), fallback);
  unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(LocalSocketInstanceChannel::directoryForCurrentUser(), fallback);
  if (saved) setenv("XDG_RUNTIME_DIR", saved->c_str(), 1);
}

// ---- Another user ----

class InstanceChannelOtherUserTest : public InstanceChannelTest {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to act as another user (setpriv)";
  }
};

TEST_F(InstanceChannelOtherUserTest, AnotherUserCannotReachTheSocket) {
  Peer instance({QStringLiteral("serve"), QString::fromStdString(directory().string())});
  ASSERT_EQ(instance.nextLine(), "listening");
  Peer intruder({QStringLiteral("raw"), QString::fromStdString(directory().string()), QStringLiteral("toggle")},
                true);
  EXPECT_EQ(intruder.nextLine(), "refused: Permission denied");
  Peer sender({QStringLiteral("send"), QString::fromStdString(directory().string()), QStringLiteral("toggle")},
              true);
  EXPECT_EQ(sender.exitCode(), 1);
  EXPECT_TRUE(channel.sendToRunningInstance(InstanceCommand::StopLights));
  EXPECT_EQ(instance.finish(), "stop\n");
}

TEST_F(InstanceChannelOtherUserTest, ADirectoryAnotherUserMadeFirstIsRefused) {
  fs::create_directory(directory());
  ASSERT_EQ(chown(directory().c_str(), kNobody, kNobody), 0);
  const std::string reason = "the instance channel " + directory().string() + " belongs to another user";
  EXPECT_EQ(thrownMessage([&] { channel.sendToRunningInstance(InstanceCommand::ToggleLights); }), reason);
  EXPECT_EQ(thrownMessage([&] { channel.claimInstance(); }), reason);
  EXPECT_EQ(ownerOf(directory()), kNobody);
}

TEST_F(InstanceChannelOtherUserTest, ASocketPathAnotherUserMadeIsRefusedAndLeftAlone) {
  ASSERT_FALSE(channel.sendToRunningInstance(InstanceCommand::ToggleLights));
  std::ofstream(channel.socketPath()) << "";
  ASSERT_EQ(chown(channel.socketPath().c_str(), kNobody, kNobody), 0);
  ASSERT_TRUE(channel.claimInstance());
  EXPECT_EQ(thrownMessage([&] { channel.listen([](InstanceCommand) {}); }),
            "the instance channel " + channel.socketPath().string() + " belongs to another user");
  EXPECT_EQ(ownerOf(channel.socketPath()), kNobody);
}

TEST_F(InstanceChannelOtherUserTest, TheInstanceDropsAMessageFromAnotherUserWithOneLogLine) {
  // The instance runs as nobody; root passes the directory's permissions,
  // so only the instance's check of the sender stands in the way.
  fs::create_directory(directory());
  fs::permissions(directory(), fs::perms::owner_all);
  ASSERT_EQ(chown(directory().c_str(), kNobody, kNobody), 0);
  Peer instance({QStringLiteral("serve"), QString::fromStdString(directory().string())}, true);
  ASSERT_EQ(instance.nextLine(), "listening");
  EXPECT_EQ(sendRaw(channel.socketPath(), "toggle\n"), "");
  EXPECT_EQ(instance.nextLine(), "[Tarvelo] Dropped a message from another user (uid 0)");
  // Our own sender refuses a channel that is not ours before sending.
  EXPECT_EQ(thrownMessage([&] { channel.sendToRunningInstance(InstanceCommand::StopLights); }),
            "the instance channel " + directory().string() + " belongs to another user");
}

}  // namespace
}  // namespace tarvelo::testing
