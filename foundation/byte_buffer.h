#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace pellam {

// A growable run of bytes that owns its memory. It exists because an archive of hundreds of megabytes is held
// in memory once: growth goes through realloc, which moves pages instead of copying them, so the peak stays
// at the size of the content. Move-only. Not thread-safe.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  explicit ByteBuffer(std::span<const std::uint8_t> bytes) { append(bytes); }
  explicit ByteBuffer(std::string_view text) { append(text); }
  ByteBuffer(ByteBuffer&& other) noexcept { swap(other); }
  ByteBuffer& operator=(ByteBuffer&& other) noexcept {
    ByteBuffer taken(std::move(other));
    swap(taken);
    return *this;
  }
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;
  ~ByteBuffer();

  // Appends a copy of the bytes. Throws std::bad_alloc and leaves the content as it was.
  void append(std::span<const std::uint8_t> bytes);
  void append(std::string_view text);

  // Makes room for so many bytes in all; memory that is never written stays unused by the system.
  void reserve(std::size_t capacity);

  [[nodiscard]] const std::uint8_t* data() const { return data_; }
  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] bool empty() const { return size_ == 0; }
  [[nodiscard]] std::span<const std::uint8_t> span() const { return {data_, size_}; }
  [[nodiscard]] std::string_view text() const { return {reinterpret_cast<const char*>(data_), size_}; }

  friend bool operator==(const ByteBuffer& left, const ByteBuffer& right) {
    return left.text() == right.text();
  }

 private:
  void swap(ByteBuffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace pellam
