#include "formats/archive/entry_inflater.h"

#include <libdeflate.h>

#include <algorithm>
#include <new>

#include "formats/archive/entry_name.h"

namespace pellam::archive {

std::span<std::uint8_t> ReusedBuffer::sized(std::size_t size) {
  if (size > capacity_) {
    bytes_.reset();
    capacity_ = std::max(size, capacity_ * 2);
    bytes_ = std::make_unique_for_overwrite<std::uint8_t[]>(capacity_);
  }
  return {bytes_.get(), size};
}

void EntryInflater::Free::operator()(libdeflate_decompressor* decompressor) const {
  libdeflate_free_decompressor(decompressor);
}

EntryInflater::EntryInflater(const ReadOnlyFile& archive)
    : archive_(archive), decompressor_(libdeflate_alloc_decompressor()) {
  if (decompressor_ == nullptr) throw std::bad_alloc();
}

void EntryInflater::inflate(const ZipEntry& entry, std::span<std::uint8_t> content) {
  const auto compressedSize = static_cast<std::size_t>(entry.compressedSize);
  const std::span<std::uint8_t> source = entry.isDeflated ? compressed_.sized(compressedSize) : content;
  if (archive_.readAt(entry.dataOffset, source) != source.size())
    throw ArchiveError("the archive is truncated");
  if (entry.isDeflated) {
    std::size_t used = 0;
    std::size_t made = 0;
    const libdeflate_result result = libdeflate_deflate_decompress_ex(
        decompressor_.get(), source.data(), source.size(), content.data(), content.size(), &used, &made);
    if (result != LIBDEFLATE_SUCCESS || used != source.size() || made != content.size()) {
      throw ArchiveError(
          (result == LIBDEFLATE_INSUFFICIENT_SPACE ? "larger than its declared size: " : "damaged data: ") +
          shownName(entry.name));
    }
  }
  if (libdeflate_crc32(0, content.data(), content.size()) != entry.checksum) {
    throw ArchiveError("wrong checksum: " + shownName(entry.name));
  }
}

}  // namespace pellam::archive
