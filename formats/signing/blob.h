#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "formats/signing/digest.h"

namespace pellam::codesign {

// Signature blobs are big-endian throughout.

class BlobWriter {
 public:
  void put8(std::uint8_t value) { bytes_.push_back(value); }
  void put32(std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) put8(static_cast<std::uint8_t>(value >> shift));
  }
  void put64(std::uint64_t value) {
    put32(static_cast<std::uint32_t>(value >> 32));
    put32(static_cast<std::uint32_t>(value));
  }
  void put(std::span<const std::uint8_t> data) { bytes_.insert(bytes_.end(), data.begin(), data.end()); }
  void putString(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }
  // A counted string, filled up with zeros to a multiple of four.
  void putPadded(std::span<const std::uint8_t> data) {
    put32(static_cast<std::uint32_t>(data.size()));
    put(data);
    while (bytes_.size() % 4 != 0) put8(0);
  }
  void putPadded(std::string_view text) {
    putPadded(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  }
  // Writes the final length into the blob's second word.
  [[nodiscard]] Bytes finish() {
    const auto length = static_cast<std::uint32_t>(bytes_.size());
    for (std::size_t index = 0; index < 4; ++index) {
      bytes_[4 + index] = static_cast<std::uint8_t>(length >> (24 - 8 * index));
    }
    return std::move(bytes_);
  }

 private:
  Bytes bytes_;
};

// Reads at offsets that come from the blob itself: everything outside the bytes is nothing.
class BlobReader {
 public:
  explicit BlobReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] std::optional<std::uint8_t> get8(std::size_t offset) const {
    if (offset >= bytes_.size()) return std::nullopt;
    return bytes_[offset];
  }
  [[nodiscard]] std::optional<std::uint32_t> get32(std::size_t offset) const {
    if (offset > bytes_.size() || bytes_.size() - offset < 4) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < 4; ++index) value = value << 8 | bytes_[offset + index];
    return value;
  }
  [[nodiscard]] std::optional<std::uint64_t> get64(std::size_t offset) const {
    const auto high = get32(offset);
    const auto low = get32(offset + 4);
    if (!high || !low) return std::nullopt;
    return std::uint64_t{*high} << 32 | *low;
  }
  // The text from the offset to its terminating zero.
  [[nodiscard]] std::optional<std::string> string(std::size_t offset) const {
    for (std::size_t end = offset; end < bytes_.size(); ++end) {
      if (bytes_[end] == 0) {
        return std::string(reinterpret_cast<const char*>(bytes_.data()) + offset, end - offset);
      }
    }
    return std::nullopt;
  }
  [[nodiscard]] std::optional<Digest> digest(std::size_t offset) const {
    Digest value{};
    if (offset > bytes_.size() || bytes_.size() - offset < value.size()) return std::nullopt;
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), value.size(), value.begin());
    return value;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace pellam::codesign
