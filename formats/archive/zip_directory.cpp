#include "formats/archive/zip_directory.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <optional>
#include <span>
#include <string_view>

#include "formats/archive/entry_name.h"
#include "text/unicode_text.h"

namespace pellam::archive {

namespace {

constexpr std::uint32_t localHeaderSignature = 0x04034B50;
constexpr std::uint32_t centralHeaderSignature = 0x02014B50;
constexpr std::uint32_t endSignature = 0x06054B50;
constexpr std::uint32_t end64Signature = 0x06064B50;
constexpr std::uint32_t end64LocatorSignature = 0x07064B50;
constexpr std::uint32_t descriptorSignature = 0x08074B50;
constexpr std::size_t localHeaderSize = 30;
constexpr std::size_t centralHeaderSize = 46;
constexpr std::size_t endSize = 22;
constexpr std::size_t end64Size = 56;
constexpr std::size_t end64LocatorSize = 20;
constexpr std::size_t longestComment = 0xFFFF;
constexpr std::uint64_t largestDirectory = 256U << 20;
constexpr std::uint16_t see64Small = 0xFFFF;
constexpr std::uint32_t see64 = 0xFFFFFFFF;

constexpr unsigned flagEncrypted = 1U << 0 | 1U << 6 | 1U << 13;
constexpr unsigned flagDescriptor = 1U << 3;
constexpr unsigned flagPatch = 1U << 5;

// The kinds of item in the modes that Unix's programs write.
constexpr unsigned kindMask = 0170000;
constexpr unsigned kindFolder = 0040000;
constexpr unsigned kindFile = 0100000;
constexpr unsigned kindLink = 0120000;

// Little-endian numbers, front to back. Reading beyond the end is the caller's archive being truncated.
class Fields {
 public:
  explicit Fields(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::uint16_t take16() { return static_cast<std::uint16_t>(take(2)); }
  std::uint32_t take32() { return static_cast<std::uint32_t>(take(4)); }
  std::uint64_t take64() { return take(8); }
  std::span<const std::uint8_t> takeBytes(std::size_t count) {
    if (count > bytes_.size()) throw ArchiveError("the archive is truncated");
    const auto taken = bytes_.first(count);
    bytes_ = bytes_.subspan(count);
    return taken;
  }
  [[nodiscard]] std::size_t left() const { return bytes_.size(); }

 private:
  std::uint64_t take(std::size_t count) {
    std::uint64_t value = 0;
    const auto taken = takeBytes(count);
    for (std::size_t index = count; index-- > 0;) value = value << 8 | taken[index];
    return value;
  }

  std::span<const std::uint8_t> bytes_;
};

// Where the central directory lies, and how many entries it has.
struct DirectoryPlace {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
  std::uint64_t count = 0;
};

class Reader {
 public:
  explicit Reader(const ReadOnlyFile& archive) : archive_(archive), size_(archive.size()) {}

  std::vector<ZipEntry> read() {
    const DirectoryPlace place = findDirectory();
    if (place.size > largestDirectory) throw ArchiveError("the archive's directory is too large");
    const std::vector<std::uint8_t> directory = bytesAt(place.offset, static_cast<std::size_t>(place.size));
    // The count is a claim; a header has a least size.
    if (place.count > directory.size() / centralHeaderSize)
      throw ArchiveError("the archive's directory is damaged");
    std::vector<ZipEntry> entries;
    entries.reserve(static_cast<std::size_t>(place.count));
    Fields fields(directory);
    for (std::uint64_t index = 0; index < place.count; ++index)
      entries.push_back(readEntry(fields, place.offset));
    if (fields.left() != 0) throw ArchiveError("the archive's directory is damaged");
    checkOverlaps();
    return entries;
  }

 private:
  std::vector<std::uint8_t> bytesAt(std::uint64_t offset, std::size_t count) const {
    std::vector<std::uint8_t> bytes(count);
    if (offset > size_ || count > size_ - offset || archive_.readAt(offset, bytes) != count) {
      throw ArchiveError("the archive is truncated");
    }
    return bytes;
  }

  // A comment may contain the signature, so every place counts whose record is right in itself; two of them
  // would let two readers see two archives.
  DirectoryPlace findDirectory() const {
    const auto tailSize = static_cast<std::size_t>(std::min<std::uint64_t>(size_, endSize + longestComment));
    if (tailSize < endSize) throw ArchiveError("not a zip archive");
    const std::uint64_t tailStart = size_ - tailSize;
    const std::vector<std::uint8_t> tail = bytesAt(tailStart, tailSize);
    std::optional<DirectoryPlace> found;
    bool hasSignature = false;
    for (std::size_t start = 0; start + endSize <= tailSize; ++start) {
      if (tail[start] != 'P' || Fields(std::span(tail).subspan(start)).take32() != endSignature) continue;
      hasSignature = true;
      const std::optional<DirectoryPlace> place =
          directoryOf(std::span(tail).subspan(start), tailStart + start);
      if (!place) continue;
      if (found) throw ArchiveError("the archive has more than one end record");
      found = place;
    }
    if (!found)
      throw ArchiveError(hasSignature ? "the archive's end record is damaged" : "not a zip archive");
    return *found;
  }

  // The directory that the end record at this offset stands for, when everything about it fits.
  [[nodiscard]] std::optional<DirectoryPlace> directoryOf(std::span<const std::uint8_t> record,
                                                          std::uint64_t offset) const {
    Fields fields(record);
    (void)fields.take32();
    const bool isSplit = fields.take16() != 0 || fields.take16() != 0;
    const std::uint16_t countHere = fields.take16();
    DirectoryPlace place;
    place.count = fields.take16();
    place.size = fields.take32();
    place.offset = fields.take32();
    const std::uint16_t commentSize = fields.take16();
    if (isSplit || countHere != place.count || fields.left() != commentSize) return std::nullopt;
    std::uint64_t directoryEnd = offset;
    if (offset >= end64LocatorSize + end64Size) {
      const std::vector<std::uint8_t> locator = bytesAt(offset - end64LocatorSize, end64LocatorSize);
      if (Fields(locator).take32() == end64LocatorSignature) {
        const std::optional<std::uint64_t> end64 = use64(place, locator, offset - end64LocatorSize);
        if (!end64) return std::nullopt;
        directoryEnd = *end64;
      }
    }
    if (place.offset > directoryEnd || place.size != directoryEnd - place.offset) return std::nullopt;
    return place;
  }

  // Replaces the values by those of the 64-bit record; its offset when everything fits.
  [[nodiscard]] std::optional<std::uint64_t> use64(DirectoryPlace& place,
                                                   std::span<const std::uint8_t> locator,
                                                   std::uint64_t locatorOffset) const {
    Fields fields(locator);
    (void)fields.take32();
    const std::uint32_t disk = fields.take32();
    const std::uint64_t offset = fields.take64();
    const std::uint32_t disks = fields.take32();
    if (disk != 0 || disks > 1 || offset > locatorOffset || locatorOffset - offset < end64Size)
      return std::nullopt;
    const std::vector<std::uint8_t> record = bytesAt(offset, end64Size);
    Fields values(record);
    if (values.take32() != end64Signature) return std::nullopt;
    if (values.take64() != locatorOffset - offset - 12) return std::nullopt;
    (void)values.take32();  // versions
    if (values.take32() != 0 || values.take32() != 0) return std::nullopt;
    const std::uint64_t countHere = values.take64();
    const DirectoryPlace place64{.offset = 0, .size = 0, .count = values.take64()};
    const std::uint64_t size = values.take64();
    const std::uint64_t directoryOffset = values.take64();
    const auto fits = [](std::uint64_t small, std::uint64_t marker, std::uint64_t large) {
      return small == marker || small == large;
    };
    if (countHere != place64.count || !fits(place.count, see64Small, place64.count) ||
        !fits(place.size, see64, size) || !fits(place.offset, see64, directoryOffset)) {
      return std::nullopt;
    }
    place = {directoryOffset, size, place64.count};
    return offset;
  }

  struct Sizes {
    std::uint64_t size;
    std::uint64_t compressedSize;
    std::uint64_t offset;
  };

  // The extra field 1 holds those values, in this order, that did not fit.
  static void use64Extra(std::span<const std::uint8_t> extra, Sizes& sizes, const std::string& name) {
    Fields fields(extra);
    bool isMissing = sizes.size == see64 || sizes.compressedSize == see64 || sizes.offset == see64;
    while (fields.left() >= 4) {
      const std::uint16_t identifier = fields.take16();
      Fields content(fields.takeBytes(fields.take16()));
      if (identifier != 1) continue;
      for (std::uint64_t* value : {&sizes.size, &sizes.compressedSize, &sizes.offset}) {
        if (*value == see64) *value = content.take64();
      }
      isMissing = false;
      break;
    }
    if (isMissing) throw ArchiveError("a 64-bit size is missing: " + name);
  }

  // Seconds since 1970: the exact time of the extra field "UT" when present, else the local time of the
  // header.
  static std::int64_t modificationTime(std::uint16_t time, std::uint16_t date,
                                       std::span<const std::uint8_t> extra) {
    constexpr std::uint16_t exactTime = 0x5455;
    Fields fields(extra);
    while (fields.left() >= 4) {
      const std::uint16_t identifier = fields.take16();
      const std::uint16_t size = fields.take16();
      if (size > fields.left()) break;
      const auto content = fields.takeBytes(size);
      if (identifier != exactTime || size < 5 || (content[0] & 1) == 0) continue;
      return static_cast<std::int32_t>(Fields(content.subspan(1)).take32());
    }
    std::tm local{};
    local.tm_sec = (time & 0x1F) * 2;
    local.tm_min = time >> 5 & 0x3F;
    local.tm_hour = time >> 11;
    local.tm_mday = date & 0x1F;
    local.tm_mon = (date >> 5 & 0xF) - 1;
    local.tm_year = (date >> 9) + 80;
    local.tm_isdst = -1;
    return std::mktime(&local);
  }

  ZipEntry readEntry(Fields& fields, std::uint64_t directoryOffset) {
    if (fields.take32() != centralHeaderSignature) throw ArchiveError("the archive's directory is damaged");
    const unsigned madeBy = fields.take16() >> 8U;
    (void)fields.take16();  // version needed: what it stands for is checked by itself
    const std::uint16_t flags = fields.take16();
    const std::uint16_t method = fields.take16();
    const std::uint16_t time = fields.take16();
    const std::uint16_t date = fields.take16();
    ZipEntry entry;
    entry.checksum = fields.take32();
    Sizes sizes{};
    sizes.compressedSize = fields.take32();
    sizes.size = fields.take32();
    const std::uint16_t nameSize = fields.take16();
    const std::uint16_t extraSize = fields.take16();
    const std::uint16_t commentSize = fields.take16();
    const std::uint16_t disk = fields.take16();
    (void)fields.take16();  // internal attributes
    const std::uint32_t attributes = fields.take32();
    sizes.offset = fields.take32();
    const auto nameBytes = fields.takeBytes(nameSize);
    entry.name.assign(nameBytes.begin(), nameBytes.end());
    const auto extra = fields.takeBytes(extraSize);
    (void)fields.takeBytes(commentSize);

    if (entry.name.empty() || entry.name.find('\0') != std::string::npos || !text::isValidUTF8(entry.name)) {
      throw ArchiveError("a name that is not UTF-8 text: " + shownName(entry.name));
    }
    const std::string shown = shownName(entry.name);
    if ((flags & flagEncrypted) != 0) throw ArchiveError("encrypted entry: " + shown);
    if ((flags & flagPatch) != 0 || (method != 0 && method != 8)) {
      throw ArchiveError("unknown compression method: " + shown);
    }
    if (disk != 0) throw ArchiveError("the archive is split");
    use64Extra(extra, sizes, shown);
    entry.size = sizes.size;
    entry.compressedSize = sizes.compressedSize;
    entry.isDeflated = method == 8;
    if (!entry.isDeflated && entry.size != entry.compressedSize) {
      throw ArchiveError("the sizes of a stored entry differ: " + shown);
    }
    entry.modificationTime = modificationTime(time, date, extra);
    classify(entry, madeBy, attributes, shown);
    readLocalHeader(entry, sizes, flags, method, directoryOffset, shown);
    return entry;
  }

  static void classify(ZipEntry& entry, unsigned madeBy, std::uint32_t attributes, const std::string& shown) {
    constexpr unsigned madeOnUnix = 3;
    constexpr unsigned madeOnDarwin = 19;
    const unsigned mode = madeBy == madeOnUnix || madeBy == madeOnDarwin ? attributes >> 16U : 0;
    const bool hasSlash = entry.name.ends_with('/');
    switch (mode & kindMask) {
      case 0:
        entry.type = hasSlash ? EntryType::folder : EntryType::file;
        break;
      case kindFile:
        entry.type = EntryType::file;
        break;
      case kindFolder:
        entry.type = EntryType::folder;
        break;
      case kindLink:
        entry.type = EntryType::link;
        break;
      default:
        throw ArchiveError("special file: " + shown);
    }
    if (hasSlash && entry.type != EntryType::folder)
      throw ArchiveError("a folder's name on another type: " + shown);
    if (entry.type == EntryType::folder && entry.size != 0)
      throw ArchiveError("a folder with content: " + shown);
    // Set-user, set-group and sticky bits are dropped.
    entry.permissions = mode & 0777U;
    if (mode == 0) entry.permissions = entry.type == EntryType::folder ? 0755U : 0644U;
  }

  void readLocalHeader(ZipEntry& entry, const Sizes& sizes, std::uint16_t flags, std::uint16_t method,
                       std::uint64_t directoryOffset, const std::string& shown) {
    const std::uint64_t offset = sizes.offset;
    const std::size_t nameSize = entry.name.size();
    if (offset > directoryOffset || directoryOffset - offset < localHeaderSize + nameSize) {
      throw ArchiveError("an entry outside the archive: " + shown);
    }
    const std::vector<std::uint8_t> header = bytesAt(offset, localHeaderSize + nameSize);
    Fields fields(header);
    if (fields.take32() != localHeaderSignature) throw ArchiveError("a local header is missing: " + shown);
    (void)fields.take16();
    const std::uint16_t localFlags = fields.take16();
    const std::uint16_t localMethod = fields.take16();
    (void)fields.take32();  // time and date
    const std::uint32_t checksum = fields.take32();
    Sizes local{};
    local.compressedSize = fields.take32();
    local.size = fields.take32();
    const std::uint16_t localNameSize = fields.take16();
    const std::uint16_t extraSize = fields.take16();
    const auto disagree = [&] {
      return ArchiveError("the directory and the local header disagree: " + shown);
    };
    constexpr unsigned significantFlags = flagEncrypted | flagDescriptor | flagPatch;
    if (localNameSize != nameSize || localMethod != method ||
        ((localFlags ^ flags) & significantFlags) != 0 ||
        std::memcmp(fields.takeBytes(nameSize).data(), entry.name.data(), nameSize) != 0) {
      throw disagree();
    }
    const bool hasDescriptor = (flags & flagDescriptor) != 0;
    if (!hasDescriptor) {
      if (local.size == see64 || local.compressedSize == see64) {
        use64Extra(bytesAt(offset + localHeaderSize + nameSize, extraSize), local, shown);
      }
      if (checksum != entry.checksum || local.size != entry.size ||
          local.compressedSize != entry.compressedSize) {
        throw disagree();
      }
    }
    entry.dataOffset = offset + localHeaderSize + nameSize + extraSize;
    if (entry.dataOffset > directoryOffset || entry.compressedSize > directoryOffset - entry.dataOffset) {
      throw ArchiveError("an entry outside the archive: " + shown);
    }
    std::uint64_t end = entry.dataOffset + entry.compressedSize;
    if (hasDescriptor) end += descriptorSize(entry, end, directoryOffset - end, shown);
    extents_.push_back({offset, end});
  }

  // Behind the data: an optional signature, the checksum, and both sizes in 4 or in 8 bytes each.
  std::uint64_t descriptorSize(const ZipEntry& entry, std::uint64_t offset, std::uint64_t room,
                               const std::string& shown) const {
    const std::vector<std::uint8_t> bytes =
        bytesAt(offset, static_cast<std::size_t>(std::min<std::uint64_t>(room, 24)));
    for (const bool hasSignature : {true, false}) {
      for (const bool isLarge : {false, true}) {
        const std::size_t size = (hasSignature ? 4U : 0U) + (isLarge ? 20U : 12U);
        if (bytes.size() < size) continue;
        Fields fields(bytes);
        if (hasSignature && fields.take32() != descriptorSignature) continue;
        if (fields.take32() != entry.checksum) continue;
        const std::uint64_t compressedSize = isLarge ? fields.take64() : fields.take32();
        const std::uint64_t plainSize = isLarge ? fields.take64() : fields.take32();
        if (compressedSize == entry.compressedSize && plainSize == entry.size) return size;
      }
    }
    if (entry.compressedSize == 0) return 0;  // some writers announce one for folders and leave it out
    throw ArchiveError("the directory and the data descriptor disagree: " + shown);
  }

  struct Extent {
    std::uint64_t start;
    std::uint64_t end;
  };

  void checkOverlaps() {
    std::sort(extents_.begin(), extents_.end(),
              [](const Extent& left, const Extent& right) { return left.start < right.start; });
    for (std::size_t index = 1; index < extents_.size(); ++index) {
      if (extents_[index].start < extents_[index - 1].end) throw ArchiveError("entries overlap");
    }
  }

  const ReadOnlyFile& archive_;
  std::uint64_t size_;
  std::vector<Extent> extents_;
};

}  // namespace

std::vector<ZipEntry> readZipDirectory(const ReadOnlyFile& archive) { return Reader(archive).read(); }

}  // namespace pellam::archive
