#pragma once

#include <QObject>

#include <filesystem>
#include <functional>
#include <memory>

#include "app/instance_channel.h"

class QLocalServer;
class QLocalSocket;

namespace tarvelo {

// The instance channel on Linux: a Unix-domain socket in a directory only the
// user can enter, and a lock file beside it whose lock marks the instance.
//
// Nothing here trusts a name that someone else could have made first: the
// directory must belong to the user and be closed to everyone else (it is
// made so, or refused), the lock file and any old socket must belong to the
// user, the socket itself is owner-only, and both ends check the other's user
// id through the socket (SO_PEERCRED) before a byte of command passes.
class LocalSocketInstanceChannel final : public QObject, public InstanceChannel {
  Q_OBJECT

 public:
  // The channel in `directory`, made private to the user when it is missing.
  explicit LocalSocketInstanceChannel(std::filesystem::path directory);
  ~LocalSocketInstanceChannel() override;

  // $XDG_RUNTIME_DIR/com.tarvelo.Tarvelo, or, where XDG_RUNTIME_DIR is unset
  // or not an absolute path, /tmp/com.tarvelo.Tarvelo-UID.
  static std::filesystem::path directoryForCurrentUser();

  bool sendToRunningInstance(InstanceCommand command) override;
  bool claimInstance() override;
  void listen(std::function<void(InstanceCommand)> onCommand) override;

  std::filesystem::path socketPath() const { return directory_ / "instance.socket"; }
  std::filesystem::path lockPath() const { return directory_ / "instance.lock"; }

 private:
  void ensurePrivateDirectory() const;
  void takeConnection();
  void readCommand(QLocalSocket* connection);

  std::filesystem::path directory_;
  int lockFile_ = -1;
  std::unique_ptr<QLocalServer> server_;
  std::function<void(InstanceCommand)> onCommand_;
};

}  // namespace tarvelo
