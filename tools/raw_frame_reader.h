#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

namespace tarvelo {

// A file that cannot give exactly the bytes asked for; what() is one line.
class UnreadableFrameFile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Bytes read from a file, owned.
class FileBytes {
 public:
  FileBytes() = default;
  FileBytes(std::unique_ptr<std::uint8_t[]> bytes, std::size_t size) : bytes_(std::move(bytes)), size_(size) {}
  std::span<const std::uint8_t> view() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0;
};

// Reads exactly `byteCount` bytes from `path`: a regular file, a FIFO or a
// character device alike. Never reads more than one byte past the count,
// the byte that tells the source holds more than stated; a source that ends
// early or holds more, a directory, or a read error throws UnreadableFrameFile.
FileBytes readExactly(const std::string& path, std::size_t byteCount);

}  // namespace tarvelo
