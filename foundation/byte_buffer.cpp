#include "foundation/byte_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace pellam {

ByteBuffer::~ByteBuffer() { std::free(data_); }

void ByteBuffer::reserve(std::size_t capacity) {
  if (capacity <= capacity_) return;
  void* grown = std::realloc(data_, capacity);
  if (grown == nullptr) throw std::bad_alloc();
  data_ = static_cast<std::uint8_t*>(grown);
  capacity_ = capacity;
}

void ByteBuffer::append(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return;
  if (bytes.size() > SIZE_MAX - size_) throw std::bad_alloc();
  const std::size_t needed = size_ + bytes.size();
  if (needed > capacity_) reserve(std::max({needed, capacity_ + capacity_ / 2, std::size_t{256}}));
  std::memcpy(data_ + size_, bytes.data(), bytes.size());
  size_ = needed;
}

void ByteBuffer::append(std::string_view text) {
  append({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

}  // namespace pellam
