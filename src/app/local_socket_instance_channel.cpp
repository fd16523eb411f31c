#include "app/local_socket_instance_channel.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QTimer>
#include <QVariant>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "app/application_identity.h"

namespace tarvelo {

namespace {

// A command is one short word and a line end; anything longer is not ours.
constexpr qint64 kLongestMessage = 64;
constexpr std::chrono::milliseconds kAnswerTimeout(5000);
constexpr char kTaken[] = "ok\n";

std::string errnoText(int error = errno) { return std::system_category().message(error); }

std::runtime_error unsafe(const std::filesystem::path& path, const std::string& reason) {
  return std::runtime_error("the instance channel " + path.string() + " " + reason);
}

// The user id at the other end of a connected Unix-domain socket.
std::optional<uid_t> peerUser(int socket) {
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return std::nullopt;
  return credentials.uid;
}

// Closes a file descriptor when it goes out of scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return descriptor_; }
  int release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

void writeAll(int socket, std::string_view text, const std::filesystem::path& path) {
  while (!text.empty()) {
    const ssize_t written = send(socket, text.data(), text.size(), MSG_NOSIGNAL);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw unsafe(path, "cannot be written to: " + errnoText());
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// The instance's answer: "ok\n" once it has taken the command, or the end of
// the connection when it dropped it.
std::string readAnswer(int socket) {
  std::string answer;
  const auto deadline = std::chrono::steady_clock::now() + kAnswerTimeout;
  while (answer.size() < sizeof kTaken - 1) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    pollfd waiting{socket, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) break;
    char buffer[8];
    const ssize_t got = recv(socket, buffer, sizeof buffer, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    answer.append(buffer, static_cast<std::size_t>(got));
  }
  return answer;
}

void log(const std::string& line) { std::cout << "[Tarvelo] " << line << std::endl; }

}  // namespace

LocalSocketInstanceChannel::LocalSocketInstanceChannel(std::filesystem::path directory)
    : directory_(std::move(directory)) {}

LocalSocketInstanceChannel::~LocalSocketInstanceChannel() {
  if (server_) {
    server_->close();
    unlink(socketPath().c_str());
  }
  if (lockFile_ >= 0) close(lockFile_);
}

std::filesystem::path LocalSocketInstanceChannel::directoryForCurrentUser() {
  const std::string name(kApplicationId);
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime == '/') {
    return std::filesystem::path(runtime) / name;
  }
  return std::filesystem::path("/tmp") / (name + "-" + std::to_string(geteuid()));
}

// The directory must be ours and closed to everyone else, and so must the
// directory it sits in unless that one is sticky (like /tmp), where others
// can add names but not move ours.
void LocalSocketInstanceChannel::ensurePrivateDirectory() const {
  const std::filesystem::path parent = directory_.parent_path();
  struct stat parentStatus {};
  if (stat(parent.c_str(), &parentStatus) != 0) {
    throw unsafe(directory_, "cannot be made: " + parent.string() + ": " + errnoText());
  }
  const bool othersCanRename = (parentStatus.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (parentStatus.st_mode & S_ISVTX) == 0;
  if ((parentStatus.st_uid != geteuid() && parentStatus.st_uid != 0) || othersCanRename) {
    throw unsafe(directory_, "is not safe: " + parent.string() + " is open to other users");
  }

  if (mkdir(directory_.c_str(), 0700) != 0 && errno != EEXIST) {
    throw unsafe(directory_, "cannot be made: " + errnoText());
  }
  FileDescriptor directory(open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (directory.get() < 0) throw unsafe(directory_, "cannot be opened: " + errnoText());
  struct stat status {};
  if (fstat(directory.get(), &status) != 0) throw unsafe(directory_, "cannot be read: " + errnoText());
  if (status.st_uid != geteuid()) throw unsafe(directory_, "belongs to another user");
  if ((status.st_mode & 07777) != 0700 && fchmod(directory.get(), 0700) != 0) {
    throw unsafe(directory_, "cannot be closed to other users: " + errnoText());
  }
}

bool LocalSocketInstanceChannel::sendToRunningInstance(InstanceCommand command) {
  ensurePrivateDirectory();
  const std::filesystem::path path = socketPath();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.native().size() >= sizeof address.sun_path) throw unsafe(path, "is too long for a socket");
  std::memcpy(address.sun_path, path.c_str(), path.native().size() + 1);

  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (socket.get() < 0) throw unsafe(path, "cannot be opened: " + errnoText());
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    // No socket, or one left by an instance that has ended.
    if (errno == ENOENT || errno == ECONNREFUSED) return false;
    throw unsafe(path, "cannot be reached: " + errnoText());
  }
  if (peerUser(socket.get()) != geteuid()) throw unsafe(path, "is held by another user");

  writeAll(socket.get(), std::string(instanceMessage(command)) + "\n", path);
  if (readAnswer(socket.get()) != kTaken) throw std::runtime_error("the running Tarvelo did not take the command");
  return true;
}

bool LocalSocketInstanceChannel::claimInstance() {
  if (lockFile_ >= 0) return true;
  ensurePrivateDirectory();
  FileDescriptor lock(open(lockPath().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (lock.get() < 0) throw unsafe(lockPath(), "cannot be opened: " + errnoText());
  struct stat status {};
  if (fstat(lock.get(), &status) != 0 || status.st_uid != geteuid()) {
    throw unsafe(lockPath(), "belongs to another user");
  }
  if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return false;
    throw unsafe(lockPath(), "cannot be locked: " + errnoText());
  }
  lockFile_ = lock.release();
  return true;
}

void LocalSocketInstanceChannel::listen(std::function<void(InstanceCommand)> onCommand) {
  if (lockFile_ < 0) throw std::logic_error("listen() before claimInstance()");
  const std::filesystem::path path = socketPath();
  // Holding the lock, any socket here is left over from an instance that
  // ended; it goes, unless someone else made it.
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) {
    if (status.st_uid != geteuid()) throw unsafe(path, "belongs to another user");
    if (unlink(path.c_str()) != 0) throw unsafe(path, "cannot be replaced: " + errnoText());
  }

  onCommand_ = std::move(onCommand);
  server_ = std::make_unique<QLocalServer>();
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  if (!server_->listen(QString::fromStdString(path.string()))) {
    const std::string reason = server_->errorString().toStdString();
    server_.reset();
    throw unsafe(path, "cannot be opened: " + reason);
  }
  if (chmod(path.c_str(), 0600) != 0) throw unsafe(path, "cannot be closed to other users: " + errnoText());
  connect(server_.get(), &QLocalServer::newConnection, this, &LocalSocketInstanceChannel::takeConnection);
}

void LocalSocketInstanceChannel::takeConnection() {
  while (QLocalSocket* connection = server_->nextPendingConnection()) {
    connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
    const std::optional<uid_t> user = peerUser(static_cast<int>(connection->socketDescriptor()));
    if (user != geteuid()) {
      log("Dropped a message from another user (uid " + (user ? std::to_string(*user) : std::string("unknown")) + ")");
      connection->abort();
      connection->deleteLater();
      continue;
    }
    connect(connection, &QLocalSocket::readyRead, this, [this, connection] { readCommand(connection); });
    // A sender that never finishes its line does not keep the connection.
    QTimer::singleShot(kAnswerTimeout, connection, [connection] {
      if (connection->property("answered").toBool()) return;
      connection->setProperty("answered", true);
      log("Dropped a malformed message: no complete line");
      connection->abort();
    });
    readCommand(connection);
  }
}

void LocalSocketInstanceChannel::readCommand(QLocalSocket* connection) {
  if (connection->property("answered").toBool()) return;
  if (!connection->canReadLine()) {
    if (connection->bytesAvailable() > kLongestMessage) {
      log("Dropped a malformed message: longer than a command");
      connection->setProperty("answered", true);
      connection->abort();
    }
    return;
  }
  connection->setProperty("answered", true);
  const QByteArray line = connection->readLine(kLongestMessage + 1);
  const std::optional<InstanceCommand> command =
      line.endsWith('\n') ? parseInstanceMessage(std::string_view(line.constData(), static_cast<std::size_t>(line.size() - 1)))
                          : std::nullopt;
  if (!command) {
    log("Dropped an unknown message from a second launch");
    connection->abort();
    return;
  }
  connection->write(kTaken);
  connection->flush();
  connection->disconnectFromServer();
  if (onCommand_) onCommand_(*command);
}

}  // namespace tarvelo
