#include "displays/x11_connection_relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <set>
#include <vector>

namespace tarvelo::testing {

namespace {

// X displays on TCP listen on port 6000 + display number.
constexpr int kX11BasePort = 6000;

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

int connectToServer(const std::string& path) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bool writeAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = send(fd, data, size, MSG_NOSIGNAL);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

void signal(int eventFd) {
  const std::uint64_t one = 1;
  if (write(eventFd, &one, sizeof one) < 0) {
    // An eventfd counter cannot overflow from these few writes.
  }
}

void awaitSignal(int eventFd) {
  std::uint64_t value = 0;
  while (read(eventFd, &value, sizeof value) < 0 && errno == EINTR) {
  }
}

}  // namespace

X11ConnectionRelay::X11ConnectionRelay(const std::string& serverDisplay)
    : serverSocketPath_("/tmp/.X11-unix/X" + serverDisplay.substr(serverDisplay.find(':') + 1)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener_ < 0) fail("relay socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;  // any free port; every one above 6000 is some display number
  socklen_t length = sizeof address;
  if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener_, 8) != 0 || getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    close(listener_);
    fail("relay listener");
  }
  port_ = ntohs(address.sin_port);
  cutFd_ = eventfd(0, EFD_CLOEXEC);
  cutDoneFd_ = eventfd(0, EFD_CLOEXEC);
  thread_ = std::thread([this] { relay(); });
}

X11ConnectionRelay::~X11ConnectionRelay() {
  cut();
  thread_.join();
  close(cutFd_);
  close(cutDoneFd_);
}

std::string X11ConnectionRelay::displayName() const {
  return "127.0.0.1:" + std::to_string(port_ - kX11BasePort);
}

void X11ConnectionRelay::cut() {
  if (isCut_.exchange(true)) return;
  signal(cutFd_);
  awaitSignal(cutDoneFd_);
}

void X11ConnectionRelay::relay() {
  // Pairs of sockets: even index the client's end, odd index the server's.
  std::vector<int> ends;
  auto closeAll = [&] {
    for (const int fd : ends) close(fd);
    ends.clear();
    close(listener_);
    listener_ = -1;
  };
  while (true) {
    std::vector<pollfd> watched{{cutFd_, POLLIN, 0}, {listener_, POLLIN, 0}};
    for (const int fd : ends) watched.push_back({fd, POLLIN, 0});
    if (poll(watched.data(), watched.size(), -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (watched[0].revents != 0) break;
    std::set<std::size_t> broken;  // first index of each pair, in order
    for (std::size_t i = 0; i + 2 < watched.size(); ++i) {
      if (watched[i + 2].revents == 0) continue;
      char buffer[65536];
      const ssize_t count = recv(ends[i], buffer, sizeof buffer, 0);
      const int peer = ends[i ^ 1];
      if (count <= 0 || !writeAll(peer, buffer, static_cast<std::size_t>(count))) broken.insert(i & ~std::size_t{1});
    }
    for (auto pair = broken.rbegin(); pair != broken.rend(); ++pair) {
      close(ends[*pair]);
      close(ends[*pair + 1]);
      const auto first = ends.begin() + static_cast<std::ptrdiff_t>(*pair);
      ends.erase(first, first + 2);
    }
    // New connections join only after the sockets polled this round are served.
    if (watched[1].revents != 0) {
      const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      const int server = client >= 0 ? connectToServer(serverSocketPath_) : -1;
      if (server >= 0) {
        ends.push_back(client);
        ends.push_back(server);
      } else if (client >= 0) {
        close(client);
      }
    }
  }
  closeAll();
  signal(cutDoneFd_);
}

}  // namespace tarvelo::testing
