#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarvelo {

// A System V shared-memory segment shared with the X server, so that pixels
// cross without being copied through the socket. Only this user can open it
// (mode 0600), and it is marked for removal as soon as the server has
// attached it, so it vanishes with the last of the two even if this process dies.
class X11ShmSegment {
 public:
  // Who writes the pixels: the server (a read-back, mapped read-only here) or
  // this process (a picture to show, attached read-only by the server).
  enum class Writer { server, client };

  // `purpose` names the use in error texts ("screen capture"). Throws
  // std::runtime_error when the segment cannot be made or attached.
  X11ShmSegment(xcb_connection_t* connection, std::size_t size, Writer writer, const std::string& purpose);
  ~X11ShmSegment();

  X11ShmSegment(const X11ShmSegment&) = delete;
  X11ShmSegment& operator=(const X11ShmSegment&) = delete;

  xcb_shm_seg_t serverId() const { return serverId_; }
  int systemId() const { return systemId_; }
  const std::uint8_t* bytes() const { return bytes_; }
  // Only for a segment this process writes.
  std::uint8_t* writableBytes() const { return writer_ == Writer::client ? bytes_ : nullptr; }
  std::size_t size() const { return size_; }

 private:
  xcb_connection_t* connection_;
  std::size_t size_;
  Writer writer_;
  int systemId_ = -1;
  std::uint8_t* bytes_ = nullptr;
  xcb_shm_seg_t serverId_ = 0;
};

}  // namespace tarvelo
