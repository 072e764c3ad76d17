#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "formats/archive/zip_directory.h"
#include "platform/confined_folder.h"

struct libdeflate_decompressor;

namespace pellam::archive {

// A buffer that is reused from entry to entry and never filled with zeros first.
class ReusedBuffer {
 public:
  [[nodiscard]] std::span<std::uint8_t> sized(std::size_t size);

 private:
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t capacity_ = 0;
};

// Turns the compressed data of one entry into its content. One per thread.
class EntryInflater {
 public:
  explicit EntryInflater(const ReadOnlyFile& archive);

  // Fills `content`, which has the entry's size exactly. Throws ArchiveError when the data does not inflate
  // to just that size or the checksum is another one.
  void inflate(const ZipEntry& entry, std::span<std::uint8_t> content);

 private:
  struct Free {
    void operator()(libdeflate_decompressor* decompressor) const;
  };
  const ReadOnlyFile& archive_;
  std::unique_ptr<libdeflate_decompressor, Free> decompressor_;
  ReusedBuffer compressed_;
};

}  // namespace pellam::archive
