#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <utility>

namespace pellam::archive {

// An open file descriptor, closed at the end. Failures are std::system_error. Reading is thread-safe.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  // Opens a regular file for reading; a link to one is followed.
  [[nodiscard]] static Descriptor openFile(const std::filesystem::path& path);
  // Opens a folder; a link to one is followed.
  [[nodiscard]] static Descriptor openFolder(const std::filesystem::path& path);

  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] std::uint64_t size() const;

  // Fills the whole buffer from the offset; false when the file ends before.
  [[nodiscard]] bool readAt(std::uint64_t offset, std::span<std::uint8_t> buffer) const;
  void writeAll(std::span<const std::uint8_t> bytes) const;
  // Reports what writing left open.
  void close();

 private:
  int number_ = -1;
};

}  // namespace pellam::archive
