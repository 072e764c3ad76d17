#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/confined_folder.h"

namespace pellam::archive {

// Why an archive was not unpacked: one line that says what is wrong and with which entry.
class ArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class EntryType { file, folder, link };

// One entry as the central directory and its local header agree on it.
struct ZipEntry {
  std::string name;  // valid UTF-8 without NUL, as written
  EntryType type = EntryType::file;
  bool isDeflated = false;  // else stored
  std::uint32_t checksum = 0;
  std::uint64_t compressedSize = 0;
  std::uint64_t size = 0;
  std::uint64_t dataOffset = 0;
  unsigned permissions = 0;           // the lowest nine bits only
  std::int64_t modificationTime = 0;  // seconds since 1970
};

// Reads the central directory of a zip archive, with the 64-bit extensions, and holds every local header
// against it. Throws ArchiveError for anything that two readers could understand differently or that this
// program does not unpack: more than one possible end record, entries that overlap or disagree with their
// local header, encryption, other methods than storing and deflating, split archives, special files, names
// that are not UTF-8. std::system_error when reading fails.
[[nodiscard]] std::vector<ZipEntry> readZipDirectory(const ReadOnlyFile& archive);

}  // namespace pellam::archive
