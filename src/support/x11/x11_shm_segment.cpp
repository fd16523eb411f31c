#include "support/x11/x11_shm_segment.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tarvelo {

X11ShmSegment::X11ShmSegment(xcb_connection_t* connection, std::size_t size, Writer writer,
                             const std::string& purpose)
    : connection_(connection), size_(size), writer_(writer) {
  systemId_ = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
  if (systemId_ < 0) {
    throw std::runtime_error("Cannot create shared memory for " + purpose + ": " + std::strerror(errno) + ".");
  }
  const bool serverWrites = writer == Writer::server;
  void* address = shmat(systemId_, nullptr, serverWrites ? SHM_RDONLY : 0);
  if (address == reinterpret_cast<void*>(-1)) {
    const int error = errno;
    shmctl(systemId_, IPC_RMID, nullptr);
    throw std::runtime_error("Cannot map shared memory for " + purpose + ": " + std::strerror(error) + ".");
  }
  bytes_ = static_cast<std::uint8_t*>(address);

  serverId_ = xcb_generate_id(connection_);
  // The server must have attached before the segment is marked for removal:
  // a removed segment can no longer be attached by id.
  const std::uint8_t serverReadOnly = serverWrites ? 0 : 1;
  xcb_generic_error_t* error = xcb_request_check(
      connection_, xcb_shm_attach_checked(connection_, serverId_, static_cast<std::uint32_t>(systemId_), serverReadOnly));
  shmctl(systemId_, IPC_RMID, nullptr);
  if (error != nullptr) {
    const int code = error->error_code;
    std::free(error);
    shmdt(bytes_);
    throw std::runtime_error("The X server could not attach shared memory for " + purpose + " (X error " +
                             std::to_string(code) + "); it may run on another machine.");
  }
  // A broken connection answers no error at all.
  if (xcb_connection_has_error(connection_) != 0) {
    shmdt(bytes_);
    throw std::runtime_error("The connection to the X server broke while attaching shared memory.");
  }
}

X11ShmSegment::~X11ShmSegment() {
  xcb_shm_detach(connection_, serverId_);
  xcb_flush(connection_);
  shmdt(bytes_);
}

}  // namespace tarvelo
