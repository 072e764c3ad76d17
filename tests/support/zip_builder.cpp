#include "tests/support/zip_builder.h"

#include <libdeflate.h>

#include <memory>

namespace pellam::archive {

namespace {

void append(std::string& bytes, std::uint64_t value, int size) {
  for (int index = 0; index < size; ++index) bytes += static_cast<char>(value >> (8 * index) & 0xFF);
}

std::string deflated(const std::string& content) {
  const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor(
      libdeflate_alloc_compressor(6), libdeflate_free_compressor);
  std::string result(libdeflate_deflate_compress_bound(compressor.get(), content.size()), '\0');
  result.resize(libdeflate_deflate_compress(compressor.get(), content.data(), content.size(), result.data(),
                                            result.size()));
  return result;
}

std::string extra64(std::uint64_t size, std::uint64_t compressedSize, std::optional<std::uint64_t> offset) {
  std::string extra;
  append(extra, 1, 2);
  append(extra, offset ? 24 : 16, 2);
  append(extra, size, 8);
  append(extra, compressedSize, 8);
  if (offset) append(extra, *offset, 8);
  return extra;
}

}  // namespace

std::string ZipBuilder::build() const {
  std::string bytes;
  std::string directory;
  constexpr std::uint64_t marker = 0xFFFFFFFF;
  for (const BuiltEntry& entry : entries) {
    const std::string data = entry.isDeflated ? deflated(entry.content) : entry.content;
    const std::uint32_t checksum =
        entry.checksum.value_or(libdeflate_crc32(0, entry.content.data(), entry.content.size()));
    const std::uint64_t size = entry.size.value_or(entry.content.size());
    const std::uint64_t offset = entry.offset.value_or(bytes.size());
    const auto flags = static_cast<std::uint16_t>(entry.flags | (entry.hasDescriptor ? 8 : 0));
    const std::uint16_t method = entry.method.value_or(entry.isDeflated ? 8 : 0);
    const std::string localName = entry.localName.value_or(entry.name);
    const std::string localExtra = entry.is64 ? extra64(size, data.size(), std::nullopt) : "";

    append(bytes, 0x04034B50, 4);
    append(bytes, 20, 2);
    append(bytes, flags, 2);
    append(bytes, method, 2);
    append(bytes, 0x58AA6000, 4);  // 2024-05-10 12:00
    append(bytes, entry.hasDescriptor ? 0 : checksum, 4);
    append(bytes, entry.hasDescriptor ? 0 : entry.is64 ? marker : data.size(), 4);
    append(bytes,
           entry.localSize.value_or(
               entry.hasDescriptor ? 0 : static_cast<std::uint32_t>(entry.is64 ? marker : size)),
           4);
    append(bytes, localName.size(), 2);
    append(bytes, localExtra.size(), 2);
    bytes.append(localName).append(localExtra).append(data);
    if (entry.hasDescriptor) {
      if (entry.hasDescriptorSignature) append(bytes, 0x08074B50, 4);
      append(bytes, checksum, 4);
      append(bytes, data.size(), entry.is64 ? 8 : 4);
      append(bytes, size, entry.is64 ? 8 : 4);
    }

    const std::string extra = entry.is64 ? extra64(size, data.size(), offset) : "";
    append(directory, 0x02014B50, 4);
    append(directory, static_cast<std::uint64_t>(entry.madeBy) << 8 | 20, 2);
    append(directory, 20, 2);
    append(directory, flags, 2);
    append(directory, method, 2);
    append(directory, 0x58AA6000, 4);
    append(directory, checksum, 4);
    append(directory, entry.is64 ? marker : data.size(), 4);
    append(directory, entry.is64 ? marker : size, 4);
    append(directory, entry.name.size(), 2);
    append(directory, extra.size(), 2);
    append(directory, 0, 2);
    append(directory, 0, 4);
    append(directory, static_cast<std::uint64_t>(entry.mode) << 16, 4);
    append(directory, entry.is64 ? marker : offset, 4);
    directory.append(entry.name).append(extra);
  }
  const std::uint64_t start = bytes.size();
  bytes += directory;
  const auto count = static_cast<std::uint64_t>(static_cast<std::int64_t>(entries.size()) + extraCount);
  if (is64) {
    const std::uint64_t end64 = bytes.size();
    append(bytes, 0x06064B50, 4);
    append(bytes, 44, 8);
    append(bytes, 45, 2);
    append(bytes, 45, 2);
    append(bytes, 0, 8);
    append(bytes, count, 8);
    append(bytes, count, 8);
    append(bytes, directory.size(), 8);
    append(bytes, start, 8);
    append(bytes, 0x07064B50, 4);
    append(bytes, 0, 4);
    append(bytes, end64, 8);
    append(bytes, 1, 4);
  }
  append(bytes, 0x06054B50, 4);
  append(bytes, disk, 2);
  append(bytes, disk, 2);
  append(bytes, is64 ? 0xFFFF : count, 2);
  append(bytes, is64 ? 0xFFFF : count, 2);
  append(bytes, is64 ? marker : directory.size(), 4);
  append(bytes, is64 ? marker : start, 4);
  append(bytes, comment.size(), 2);
  return bytes + comment;
}

}  // namespace pellam::archive
