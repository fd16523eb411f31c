#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace tarvelo::testing {

// Stands between X clients and a real X server: clients connect over TCP on
// loopback to displayName(), and each connection is relayed to the server's
// local socket until cut() drops them all, as a server that dies would.
class X11ConnectionRelay {
 public:
  // `serverDisplay` is a local display such as ":97".
  explicit X11ConnectionRelay(const std::string& serverDisplay);
  ~X11ConnectionRelay();

  X11ConnectionRelay(const X11ConnectionRelay&) = delete;
  X11ConnectionRelay& operator=(const X11ConnectionRelay&) = delete;

  // "127.0.0.1:N": a display name that reaches the server through the relay.
  std::string displayName() const;

  // Closes every relayed connection and refuses new ones; returns once done.
  void cut();

 private:
  void relay();

  std::string serverSocketPath_;
  int listener_ = -1;
  int port_ = 0;
  int cutFd_ = -1;
  int cutDoneFd_ = -1;
  std::atomic<bool> isCut_{false};
  std::thread thread_;
};

}  // namespace tarvelo::testing
