// The other end of the instance channel tests, as a separate process that can
// run as another user (setpriv):
//
//   instance_channel_peer serve DIR        claim and listen; print each command taken, end on "stop"
//   instance_channel_peer send DIR WORD    hand a command over; status 0 taken, 3 no instance, 1 refused
//   instance_channel_peer raw DIR TEXT     write TEXT and a line end straight to the socket, print the answer

#include <QCoreApplication>
#include <QTimer>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "app/local_socket_instance_channel.h"

namespace {

int serve(tarvelo::LocalSocketInstanceChannel& channel) {
  if (!channel.claimInstance()) {
    std::cout << "held" << std::endl;
    return 3;
  }
  channel.listen([](tarvelo::InstanceCommand command) {
    std::cout << tarvelo::instanceMessage(command) << std::endl;
    if (command == tarvelo::InstanceCommand::StopLights) QCoreApplication::quit();
  });
  std::cout << "listening" << std::endl;
  QTimer::singleShot(30000, [] { QCoreApplication::exit(4); });
  return QCoreApplication::exec();
}

int raw(const tarvelo::LocalSocketInstanceChannel& channel, const std::string& text) {
  const std::string path = channel.socketPath().string();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    std::cout << "refused: " << std::strerror(errno) << std::endl;
    close(socket);
    return 1;
  }
  const std::string line = text + "\n";
  (void)!write(socket, line.data(), line.size());
  char answer[16] = {};
  const ssize_t got = read(socket, answer, sizeof answer - 1);
  std::cout << "answer: " << (got > 0 ? std::string(answer, static_cast<std::size_t>(got)) : std::string("(none)\n"));
  close(socket);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  if (argc < 3) return 2;
  const std::string mode = argv[1];
  tarvelo::LocalSocketInstanceChannel channel{std::filesystem::path(argv[2])};
  try {
    if (mode == "serve") return serve(channel);
    if (mode == "raw" && argc == 4) return raw(channel, argv[3]);
    if (mode == "send" && argc == 4) {
      const std::optional<tarvelo::InstanceCommand> command = tarvelo::parseInstanceMessage(argv[3]);
      if (!command) return 2;
      return channel.sendToRunningInstance(*command) ? 0 : 3;
    }
  } catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
    return 1;
  }
  return 2;
}
