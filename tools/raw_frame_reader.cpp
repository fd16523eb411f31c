#include "raw_frame_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tarvelo {
namespace {

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

[[noreturn]] void failWithErrno(const std::string& path) {
  throw UnreadableFrameFile("cannot read " + path + ": " + std::strerror(errno));
}

// Up to `count` bytes, fewer only at the end of the source.
std::size_t readUpTo(int fd, std::uint8_t* into, std::size_t count, const std::string& path) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got = ::read(fd, into + done, count - done);
    if (got < 0) {
      if (errno == EINTR) continue;
      failWithErrno(path);
    }
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

}  // namespace

FileBytes readExactly(const std::string& path, std::size_t byteCount) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) failWithErrno(path);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) failWithErrno(path);
  if (S_ISDIR(status.st_mode)) throw UnreadableFrameFile("cannot read " + path + ": it is a directory");

  const std::string stated = std::to_string(byteCount) + " bytes";
  // A regular file tells its size up front: no need to read a wrong one.
  if (S_ISREG(status.st_mode) && static_cast<std::uintmax_t>(status.st_size) != byteCount) {
    throw UnreadableFrameFile(path + " holds " + std::to_string(status.st_size) + " bytes, not the " + stated +
                              " its frame needs");
  }
  // Not zero-filled: pages the source never fills are never touched.
  auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(byteCount);
  const std::size_t got = readUpTo(file.get(), bytes.get(), byteCount, path);
  if (got < byteCount) {
    throw UnreadableFrameFile(path + " ended after " + std::to_string(got) + " bytes, before the " + stated +
                              " its frame needs");
  }
  std::uint8_t extra = 0;
  if (readUpTo(file.get(), &extra, 1, path) != 0) {
    throw UnreadableFrameFile(path + " holds more than the " + stated + " its frame needs");
  }
  return FileBytes(std::move(bytes), byteCount);
}

}  // namespace tarvelo
