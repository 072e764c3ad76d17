#include "formats/signing/code_directory.h"

#include <algorithm>

#include "formats/signing/blob.h"

namespace pellam::codesign {

namespace {

constexpr std::uint32_t magic = 0xFADE0C02;
constexpr std::uint8_t sha256HashType = 2;
constexpr std::uint32_t specialSlots = 3;
constexpr std::size_t digestSize = std::tuple_size_v<Digest>;

// Offsets of the header's fields.
enum Offset : std::size_t {
  magicOffset = 0,
  lengthOffset = 4,
  versionOffset = 8,
  flagsOffset = 12,
  hashOffsetOffset = 16,
  identifierOffsetOffset = 20,
  specialSlotsOffset = 24,
  codeSlotsOffset = 28,
  codeLimitOffset = 32,
  hashSizeOffset = 36,
  hashTypeOffset = 37,
  pageSizeOffset = 39,
  scatterOffsetOffset = 44,
  teamOffsetOffset = 48,
  codeLimit64Offset = 56,
  headerSize = 88,
};

}  // namespace

bool isUsableName(const std::string& name) {
  return !name.empty() && name.size() <= 255 &&
         std::all_of(name.begin(), name.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

Bytes CodeDirectory::encoded() const {
  const auto identifierOffset = static_cast<std::uint32_t>(headerSize);
  const auto teamOffset = static_cast<std::uint32_t>(identifierOffset + identifier.size() + 1);
  const auto namesEnd = static_cast<std::uint32_t>(team ? teamOffset + team->size() + 1 : teamOffset);
  const auto hashOffset = static_cast<std::uint32_t>(namesEnd + specialSlots * digestSize);
  const bool isLarge = codeLimit > UINT32_MAX;

  BlobWriter writer;
  writer.put32(magic);
  writer.put32(0);
  writer.put32(version);
  writer.put32(0);
  writer.put32(hashOffset);
  writer.put32(identifierOffset);
  writer.put32(specialSlots);
  writer.put32(static_cast<std::uint32_t>(pages.size()));
  writer.put32(isLarge ? UINT32_MAX : static_cast<std::uint32_t>(codeLimit));
  writer.put8(static_cast<std::uint8_t>(digestSize));
  writer.put8(sha256HashType);
  writer.put8(0);
  writer.put8(pageSizeExponent);
  writer.put32(0);
  writer.put32(0);  // no scatter vector
  writer.put32(team ? teamOffset : 0);
  writer.put32(0);
  writer.put64(isLarge ? codeLimit : 0);
  writer.put64(0);  // executable segment: base, limit, flags
  writer.put64(0);
  writer.put64(0);
  writer.putString(identifier);
  writer.put8(0);
  if (team) {
    writer.putString(*team);
    writer.put8(0);
  }
  // Special slots are numbered downwards from the first page's.
  writer.put(resources);
  writer.put(requirements);
  writer.put(infoPlist);
  for (const Digest& page : pages) writer.put(page);
  return writer.finish();
}

std::optional<CodeDirectory> CodeDirectory::decode(std::span<const std::uint8_t> bytes) {
  const BlobReader reader(bytes);
  if (bytes.size() < headerSize || reader.get32(magicOffset) != magic ||
      reader.get32(lengthOffset) != bytes.size() || reader.get32(versionOffset) != version ||
      reader.get32(flagsOffset) != 0 || reader.get32(specialSlotsOffset) != specialSlots ||
      reader.get8(hashSizeOffset) != digestSize || reader.get8(hashTypeOffset) != sha256HashType ||
      reader.get8(pageSizeOffset) != pageSizeExponent || reader.get32(scatterOffsetOffset) != 0) {
    return std::nullopt;
  }
  CodeDirectory directory;
  const auto identifier = reader.string(reader.get32(identifierOffsetOffset).value_or(0));
  if (!identifier || !isUsableName(*identifier)) return std::nullopt;
  directory.identifier = *identifier;
  if (const std::uint32_t teamOffset = reader.get32(teamOffsetOffset).value_or(0); teamOffset != 0) {
    directory.team = reader.string(teamOffset);
    if (!directory.team || !isUsableName(*directory.team)) return std::nullopt;
  }
  const std::uint64_t largeLimit = reader.get64(codeLimit64Offset).value_or(0);
  directory.codeLimit = largeLimit != 0 ? largeLimit : reader.get32(codeLimitOffset).value_or(0);

  const std::size_t hashOffset = reader.get32(hashOffsetOffset).value_or(0);
  const std::size_t count = reader.get32(codeSlotsOffset).value_or(0);
  if (hashOffset < headerSize + specialSlots * digestSize || hashOffset > bytes.size() ||
      count != (bytes.size() - hashOffset) / digestSize || (bytes.size() - hashOffset) % digestSize != 0 ||
      directory.codeLimit > count * pageSize || directory.codeLimit + pageSize <= count * pageSize) {
    return std::nullopt;
  }
  const auto slot = [&](std::size_t number) { return *reader.digest(hashOffset - number * digestSize); };
  directory.infoPlist = slot(1);
  directory.requirements = slot(2);
  directory.resources = slot(3);
  directory.pages.reserve(count);
  for (std::size_t page = 0; page < count; ++page) {
    directory.pages.push_back(*reader.digest(hashOffset + page * digestSize));
  }
  return directory;
}

CodeHash codeHash(std::span<const std::uint8_t> codeDirectory) {
  const Digest digest = Sha256().of(codeDirectory);
  CodeHash hash{};
  std::copy_n(digest.begin(), hash.size(), hash.begin());
  return hash;
}

}  // namespace pellam::codesign
