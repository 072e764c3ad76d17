#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <unordered_map>

#include "formats/property_list/property_list_limits.h"
#include "formats/property_list/property_list_parsers.h"
#include "formats/property_list/text_arena.h"
#include "platform/property_list.h"

namespace pellam::property_list {

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;
constexpr double secondsFrom1970To2001 = 978'307'200;

// Objects lie between the header and the offset table; the table says where each one starts, and containers
// refer to their elements by number.
class Parser {
 public:
  explicit Parser(std::span<const std::uint8_t> bytes)
      : bytes_(bytes), budget_(bytes.size()), texts_(bytes.size()) {}

  PropertyListValue parse() {
    readTrailer();
    checkLayout();
    textUses_.resize(objectCount_);
    PropertyListValue root;
    readObject(topObject_, root, 1);
    return root;
  }

 private:
  [[noreturn]] static void fail(std::string_view what, std::uint64_t offset) {
    throw PropertyListReadError(std::string(what) + " at offset " + std::to_string(offset));
  }

  // Big-endian, 1 to 8 bytes. The caller has checked that they exist; behind everything but the trailer there
  // are at least eight more, so that one load serves every size.
  [[nodiscard]] std::uint64_t number(std::size_t offset, std::size_t size) const {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes_.data() + offset, sizeof value);
    if constexpr (std::endian::native == std::endian::little) value = __builtin_bswap64(value);
    return value >> (64 - 8 * size);
  }

  void readTrailer() {
    if (bytes_.size() < headerSize + 1 + trailerSize + 1)
      fail("truncated binary property list", bytes_.size());
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetSize_ = bytes_[trailer + 6];
    referenceSize_ = bytes_[trailer + 7];
    const std::uint64_t count = number(trailer + 8, 8);
    topObject_ = number(trailer + 16, 8);
    const std::uint64_t table = number(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) {
      fail("impossible sizes in the trailer", trailer + 6);
    }
    if (table <= headerSize || table >= trailer) fail("offset table out of range", trailer + 24);
    if (count == 0 || count > trailer - table || count * offsetSize_ != trailer - table) {
      fail("offset table of the wrong length", trailer + 8);
    }
    if (topObject_ >= count) fail("root object out of range", trailer + 16);
    tableStart_ = static_cast<std::size_t>(table);
    objectCount_ = static_cast<std::size_t>(count);
  }

  [[nodiscard]] std::size_t offsetOf(std::uint64_t object) const {
    return static_cast<std::size_t>(
        number(tableStart_ + static_cast<std::size_t>(object) * offsetSize_, offsetSize_));
  }

  // Every object inside the object area, none over another. Afterwards every offset and length is safe to
  // use.
  void checkLayout() {
    bool isAscending = true;
    std::size_t previousEnd = headerSize;
    std::vector<std::pair<std::size_t, std::size_t>> extents;
    for (std::size_t object = 0; object < objectCount_; ++object) {
      const std::size_t start = offsetOf(object);
      if (start < headerSize || start >= tableStart_) fail("object out of range", start);
      const std::size_t end = endOfObject(start);
      if (isAscending && start < previousEnd) {
        isAscending = false;
        extents.reserve(objectCount_);
        for (std::size_t earlier = 0; earlier < object; ++earlier) {
          extents.emplace_back(offsetOf(earlier), endOfObject(offsetOf(earlier)));
        }
      }
      if (!isAscending) extents.emplace_back(start, end);
      previousEnd = end;
    }
    std::sort(extents.begin(), extents.end());
    for (std::size_t index = 1; index < extents.size(); ++index) {
      if (extents[index].first < extents[index - 1].second) fail("overlapping objects", extents[index].first);
    }
  }

  struct Header {
    unsigned kind;        // the upper half of the marker
    std::uint64_t count;  // the lower half, or the count that follows it
    std::size_t start;    // of the content
  };

  [[nodiscard]] Header headerAt(std::size_t offset) const {
    const unsigned marker = bytes_[offset];
    Header header{marker >> 4, marker & 0xF, offset + 1};
    const bool hasCount = header.kind >= 4 && header.kind != 8;
    if (!hasCount || header.count != 0xF) return header;
    if (header.start >= tableStart_) fail("truncated object", offset);
    const unsigned sizeMarker = bytes_[header.start];
    const std::size_t size = std::size_t{1} << (sizeMarker & 0xF);
    if (sizeMarker >> 4 != 1 || size > 8 || size >= tableStart_ - header.start) {
      fail("impossible count of an object", offset);
    }
    header.count = number(header.start + 1, size);
    header.start += 1 + size;
    return header;
  }

  [[nodiscard]] std::size_t endOfObject(std::size_t offset) const {
    const Header header = headerAt(offset);
    std::size_t unit = 0;
    std::uint64_t count = header.count;
    switch (header.kind) {
      case 0x0:
        if (header.count != 8 && header.count != 9) fail("unknown object", offset);
        count = 0;
        break;
      case 0x1:
        if (header.count > 4) fail("an integer of unknown size", offset);
        unit = 1;
        count = std::uint64_t{1} << header.count;
        break;
      case 0x2:
      case 0x3:
        if (header.count != 3 && (header.kind != 2 || header.count != 2)) {
          fail(header.kind == 2 ? "a real of unknown size" : "a date of unknown size", offset);
        }
        unit = 1;
        count = std::uint64_t{1} << header.count;
        break;
      case 0x4:
      case 0x5:
        unit = 1;
        break;
      case 0x6:
        unit = 2;
        break;
      case 0x8:
        if (header.count > 7) fail("an identifier of unknown size", offset);
        unit = 1;
        ++count;
        break;
      case 0xA:
        unit = referenceSize_;
        break;
      case 0xD:
        unit = 2 * referenceSize_;
        break;
      default:
        fail("unknown object", offset);
    }
    if (unit == 0) return header.start;
    if (count > (tableStart_ - header.start) / unit) fail("truncated object", offset);
    return header.start + static_cast<std::size_t>(count) * unit;
  }

  void take(std::size_t size, std::size_t offset) {
    if (!budget_.take(size)) fail("shared objects expand beyond the limit", offset);
  }

  void takeRepeated(std::size_t size, std::size_t offset) {
    if (!budget_.takeRepeated(size)) fail("shared objects expand beyond the limit", offset);
  }

  [[nodiscard]] std::uint64_t referenceAt(std::size_t offset) const {
    const std::uint64_t object = number(offset, referenceSize_);
    if (object >= objectCount_) fail("reference out of range", offset);
    return object;
  }

  void readObject(std::uint64_t object, PropertyListValue& value, int depth) {
    const std::size_t offset = offsetOf(object);
    const Header header = headerAt(offset);
    const auto count = static_cast<std::size_t>(header.count);
    PropertyListValue::Storage& storage = value.storage();
    switch (header.kind) {
      case 0x0:
        take(0, offset);
        storage.emplace<bool>(header.count == 9);
        return;
      case 0x1:
        take(0, offset);
        value = integerAt(header.start, std::size_t{1} << count, offset);
        return;
      case 0x2:
        take(0, offset);
        storage.emplace<double>(count == 2 ? static_cast<double>(std::bit_cast<float>(
                                                 static_cast<std::uint32_t>(number(header.start, 4))))
                                           : std::bit_cast<double>(number(header.start, 8)));
        return;
      case 0x3:
        take(0, offset);
        storage.emplace<Date>(dateAt(header.start));
        return;
      case 0x4: {
        take(count, offset);
        const std::span<const std::uint8_t> content = bytes_.subspan(header.start, count);
        storage.emplace<PropertyListData>(content.begin(), content.end());
        return;
      }
      case 0x5:
      case 0x6:
        storage.emplace<PropertyListText>(textOf(static_cast<std::size_t>(object), header, offset));
        return;
      case 0x8: {
        take(0, offset);
        const std::uint64_t number = this->number(header.start, count + 1);
        storage.emplace<PropertyListDictionary>().set(
            "CF$UID", number <= INT64_MAX ? PropertyListValue(static_cast<std::int64_t>(number))
                                          : PropertyListValue(number));
        return;
      }
      case 0xA: {
        checkContainer(depth, count * sizeof(PropertyListValue), offset);
        PropertyListArray& array = storage.emplace<PropertyListArray>(count);
        for (std::size_t index = 0; index < count; ++index) {
          readObject(referenceAt(header.start + index * referenceSize_), array[index], depth + 1);
        }
        return;
      }
      default:
        checkContainer(depth, count * sizeof(PropertyListValue), offset);
        storage.emplace<PropertyListDictionary>(readDictionary(header, depth));
        return;
    }
  }

  // `size` is the memory that the container asks for before its elements are read.
  void checkContainer(int depth, std::size_t size, std::size_t offset) {
    if (depth > maximumDepth) fail("nested more than 128 levels deep", offset);
    take(size / 4, offset);
  }

  PropertyListDictionary readDictionary(const Header& header, int depth) {
    const auto count = static_cast<std::size_t>(header.count);
    const std::size_t keysSize = count * referenceSize_;
    learnShape(header.start, count);
    // A dictionary inside this one may teach another shape before this one is done.
    const std::shared_ptr<const Shape> shape = shape_;
    takeRepeated(shape->keysLength, header.start);
    std::vector<PropertyListValue> values(count);
    for (std::size_t index = 0; index < count; ++index) {
      const std::size_t place = header.start + keysSize + index * referenceSize_;
      readObject(referenceAt(place), values[shape->places[index]], depth + 1);
    }
    if (!shape->hasEqualKeys) return {shape->keys, std::move(values)};
    take(shape->keysLength, header.start);
    std::vector<PropertyListDictionary::Entry> entries;
    entries.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
      entries.emplace_back((*shape->keys)[index], std::move(values[index]));
    }
    return PropertyListDictionary(std::move(entries));
  }

  // The keys of one dictionary in their order, and where its first, second... key stands among them. Mostly
  // all dictionaries of a list refer to the same keys, which are then read, put in order and held once.
  struct Shape {
    std::span<const std::uint8_t> references;
    std::shared_ptr<const PropertyListDictionary::Keys> keys;
    std::vector<std::size_t> places;
    std::size_t keysLength = 0;
    bool hasEqualKeys = false;
  };

  void learnShape(std::size_t start, std::size_t count) {
    const std::span<const std::uint8_t> references = bytes_.subspan(start, count * referenceSize_);
    if (shape_ != nullptr && std::equal(references.begin(), references.end(), shape_->references.begin(),
                                        shape_->references.end())) {
      return;
    }
    std::vector<std::string> keys(count);
    for (std::size_t index = 0; index < count; ++index) {
      const std::size_t offset = offsetOf(referenceAt(start + index * referenceSize_));
      const Header key = headerAt(offset);
      if (key.kind != 5 && key.kind != 6) fail("a key that is not a string", offset);
      take(static_cast<std::size_t>(key.count), offset);
      keys[index] = stringAt(key, offset);
    }
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t left, std::size_t right) { return keys[left] < keys[right]; });
    auto shape = std::make_shared<Shape>();
    shape->references = references;
    PropertyListDictionary::Keys ordered;
    ordered.reserve(count);
    shape->places.resize(count);
    for (std::size_t place = 0; place < count; ++place) {
      shape->places[order[place]] = place;
      shape->keysLength += keys[order[place]].size();
      ordered.push_back(std::move(keys[order[place]]));
    }
    shape->hasEqualKeys = std::adjacent_find(ordered.begin(), ordered.end()) != ordered.end();
    shape->keys = std::make_shared<const PropertyListDictionary::Keys>(std::move(ordered));
    shape_ = std::move(shape);
  }

  // What a text object stands for. Writers keep equal texts once, so the third and every later reference
  // shares the memory of the second; most texts have one reference only and cost no more than a note of it.
  [[nodiscard]] PropertyListText textOf(std::size_t object, const Header& header, std::size_t offset) {
    const auto count = static_cast<std::size_t>(header.count);
    TextUse& use = textUses_[object];
    if (use == TextUse::shared) [[unlikely]] {
      takeRepeated(count, offset);
      return sharedTexts_.find(object)->second;
    }
    take(count, offset);
    PropertyListText text = textAt(header, offset);
    use = use == TextUse::none ? TextUse::once : TextUse::shared;
    if (use == TextUse::shared) sharedTexts_.emplace(object, text);
    return text;
  }

  [[nodiscard]] PropertyListText textAt(const Header& header, std::size_t offset) {
    if (header.kind != 5) return texts_.add(stringAt(header, offset));
    const std::uint8_t* units = bytes_.data() + header.start;
    const auto count = static_cast<std::size_t>(header.count);
    if (!isASCII(units, count)) fail("a byte outside ASCII in an ASCII string", offset);
    return texts_.add({reinterpret_cast<const char*>(units), count});
  }

  [[nodiscard]] std::string stringAt(const Header& header, std::size_t offset) const {
    const auto count = static_cast<std::size_t>(header.count);
    const std::uint8_t* units = bytes_.data() + header.start;
    if (header.kind == 5) {
      if (!isASCII(units, count)) fail("a byte outside ASCII in an ASCII string", offset);
      return {reinterpret_cast<const char*>(units), count};
    }
    std::string text;
    text.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
      char32_t scalar = static_cast<char32_t>(number(header.start + 2 * index, 2));
      if (scalar >= 0xD800 && scalar < 0xE000) {
        const char32_t low = scalar < 0xDC00 && index + 1 < count
                                 ? static_cast<char32_t>(number(header.start + 2 * index + 2, 2))
                                 : 0;
        if (low < 0xDC00 || low >= 0xE000) fail("unpaired surrogate in a string", offset);
        scalar = 0x10000 + ((scalar - 0xD800) << 10) + (low - 0xDC00);
        ++index;
      }
      appendUTF8(text, scalar);
    }
    return text;
  }

  static bool isASCII(const std::uint8_t* bytes, std::size_t count) {
    constexpr std::uint64_t upperBits = 0x8080'8080'8080'8080;
    std::uint64_t seen = 0;
    for (; count >= sizeof seen; count -= sizeof seen, bytes += sizeof seen) {
      std::uint64_t word = 0;
      std::memcpy(&word, bytes, sizeof word);
      seen |= word;
    }
    for (; count > 0; --count, ++bytes) seen |= *bytes;
    return (seen & upperBits) == 0;
  }

  [[nodiscard]] PropertyListValue integerAt(std::size_t start, std::size_t size, std::size_t offset) const {
    if (size < 8) return static_cast<std::int64_t>(number(start, size));
    const std::uint64_t low = number(start + size - 8, 8);
    const auto signedLow = static_cast<std::int64_t>(low);
    if (size == 8) return signedLow;
    const std::uint64_t high = number(start, 8);
    if (high == 0) return low <= INT64_MAX ? PropertyListValue(signedLow) : PropertyListValue(low);
    if (high == UINT64_MAX && signedLow < 0) return signedLow;
    fail("an integer beyond 64 bits", offset);
  }

  [[nodiscard]] Date dateAt(std::size_t start) const {
    const double seconds = std::bit_cast<double>(number(start, 8)) + secondsFrom1970To2001;
    if (std::isnan(seconds)) fail("a date that is no number", start - 1);
    // Beyond what a Date holds, the nearest one that it does: so every date that is written is read again.
    constexpr double limit = 9'223'372'036'854;
    if (seconds >= limit) return Date::max();
    if (seconds <= -limit) return Date::min();
    return Date(std::chrono::microseconds(std::llround(seconds * 1e6)));
  }

  std::span<const std::uint8_t> bytes_;
  Budget budget_;
  TextArena texts_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t tableStart_ = 0;
  std::size_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::shared_ptr<const Shape> shape_;
  enum class TextUse : std::uint8_t { none, once, shared };
  std::vector<TextUse> textUses_;  // one for each object
  std::unordered_map<std::size_t, PropertyListText> sharedTexts_;
};

}  // namespace

PropertyListValue parseBinary(std::span<const std::uint8_t> bytes) { return Parser(bytes).parse(); }

}  // namespace pellam::property_list
