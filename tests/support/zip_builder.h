#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pellam::archive {

// One entry of a test archive. What is set by hand is written as it is, right or wrong.
struct BuiltEntry {
  std::string name = {};
  std::string content = {};
  unsigned mode = 0100644;
  bool isDeflated = false;
  bool hasDescriptor = false;
  bool hasDescriptorSignature = true;
  bool is64 = false;
  std::uint16_t flags = 0;
  std::optional<std::uint16_t> method = {};
  std::optional<std::uint32_t> checksum = {};
  std::optional<std::uint64_t> size = {};
  std::optional<std::string> localName = {};
  std::optional<std::uint32_t> localSize = {};
  std::optional<std::uint64_t> offset = {};
  std::uint8_t madeBy = 3;
};

// Writes the entries, the central directory and the end record.
struct ZipBuilder {
  std::vector<BuiltEntry> entries = {};
  std::string comment = {};
  bool is64 = false;
  std::uint16_t disk = 0;
  std::int32_t extraCount = 0;  // added to the number of entries that the end record claims

  [[nodiscard]] std::string build() const;
};

}  // namespace pellam::archive
