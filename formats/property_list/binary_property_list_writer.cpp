#include "formats/property_list/property_list_writers.h"

#include <bit>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "formats/property_list/property_list_limits.h"
#include "text/unicode_text.h"

namespace pellam::property_list {

namespace {

constexpr double secondsFrom1970To2001 = 978'307'200;

// Numbers the objects parents first, equal strings once, then writes them in that order.
class Writer {
 public:
  std::vector<std::uint8_t> write(const PropertyListValue& root) {
    number(root, 1);
    referenceSize_ = bytesFor(objects_.size());
    append("bplist00");
    std::vector<std::size_t> offsets;
    offsets.reserve(objects_.size());
    for (const Object& object : objects_) {
      offsets.push_back(bytes_.size());
      if (object.value == nullptr) {
        writeString(object.key);
      } else {
        std::visit([&](const auto& content) { writeContent(content, object); }, object.value->storage());
      }
    }
    const std::size_t table = bytes_.size();
    const std::size_t offsetSize = bytesFor(table);
    for (const std::size_t offset : offsets) appendNumber(offset, offsetSize);
    append(std::string_view("\0\0\0\0\0\0", 6));
    appendNumber(offsetSize, 1);
    appendNumber(referenceSize_, 1);
    appendNumber(objects_.size(), 8);
    appendNumber(0, 8);
    appendNumber(table, 8);
    return std::move(bytes_);
  }

 private:
  struct Object {
    const PropertyListValue* value;  // null for a key
    std::string_view key;
    std::vector<std::size_t> references;
  };

  std::size_t number(const PropertyListValue& value, int depth) {
    if (const PropertyListText* text = value.string()) return numberString(*text);
    const std::size_t object = objects_.size();
    objects_.push_back({&value, {}, {}});
    std::vector<std::size_t> references;
    if (const PropertyListArray* array = value.array()) {
      checkDepth(depth);
      for (const PropertyListValue& element : *array) references.push_back(number(element, depth + 1));
    } else if (const PropertyListDictionary* dictionary = value.dictionary()) {
      checkDepth(depth);
      for (const auto& entry : *dictionary) references.push_back(numberString(entry.first));
      for (const auto& entry : *dictionary) references.push_back(number(entry.second, depth + 1));
    }
    objects_[object].references = std::move(references);
    return object;
  }

  std::size_t numberString(std::string_view text) {
    const auto [place, isNew] = strings_.try_emplace(text, objects_.size());
    if (isNew) objects_.push_back({nullptr, text, {}});
    return place->second;
  }

  static void checkDepth(int depth) {
    if (depth > property_list::maximumDepth) throw std::invalid_argument("nested more than 128 levels deep");
  }

  static std::size_t bytesFor(std::size_t number) {
    for (const unsigned size : {1U, 2U, 4U}) {
      if (number < std::size_t{1} << (8 * size)) return size;
    }
    return 8;
  }

  void append(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

  void appendNumber(std::uint64_t value, std::size_t size) {
    for (std::size_t index = size; index-- > 0;)
      bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * index)));
  }

  void appendHeader(unsigned kind, std::size_t count) {
    bytes_.push_back(static_cast<std::uint8_t>(kind << 4 | std::min<std::size_t>(count, 0xF)));
    if (count >= 0xF) appendInteger(count);
  }

  void appendInteger(std::uint64_t value) {
    const std::size_t size = bytesFor(value);
    bytes_.push_back(static_cast<std::uint8_t>(0x10 | std::countr_zero(size)));
    appendNumber(value, size);
  }

  void writeContent(bool value, const Object&) { bytes_.push_back(value ? 0x09 : 0x08); }
  void writeContent(std::int64_t value, const Object&) { appendInteger(static_cast<std::uint64_t>(value)); }
  void writeContent(std::uint32_t value, const Object&) { appendInteger(value); }
  void writeContent(std::uint64_t value, const Object&) {
    if (value <= INT64_MAX) return appendInteger(value);
    bytes_.push_back(0x14);  // eight bytes would read as a negative number
    appendNumber(0, 8);
    appendNumber(value, 8);
  }
  void writeContent(double value, const Object&) {
    bytes_.push_back(0x23);
    appendNumber(std::bit_cast<std::uint64_t>(value), 8);
  }
  void writeContent(Date value, const Object&) {
    bytes_.push_back(0x33);
    const double seconds =
        static_cast<double>(value.time_since_epoch().count()) / 1e6 - secondsFrom1970To2001;
    appendNumber(std::bit_cast<std::uint64_t>(seconds), 8);
  }
  void writeContent(const PropertyListText& value, const Object&) { writeString(value); }
  void writeContent(const PropertyListData& value, const Object&) {
    appendHeader(0x4, value.size());
    bytes_.insert(bytes_.end(), value.begin(), value.end());
  }
  void writeContent(const PropertyListArray& value, const Object& object) {
    appendHeader(0xA, value.size());
    for (const std::size_t reference : object.references) appendNumber(reference, referenceSize_);
  }
  void writeContent(const PropertyListDictionary& value, const Object& object) {
    appendHeader(0xD, value.size());
    for (const std::size_t reference : object.references) appendNumber(reference, referenceSize_);
  }

  void writeString(std::string_view text) {
    std::vector<std::uint16_t> units;
    bool isASCII = true;
    for (std::size_t offset = 0; offset < text.size();) {
      const char32_t scalar = text::nextScalar(text, offset);
      isASCII = isASCII && scalar < 0x80;
      if (scalar >= 0x10000) units.push_back(static_cast<std::uint16_t>(0xD7C0 + (scalar >> 10)));
      units.push_back(static_cast<std::uint16_t>(scalar < 0x10000 ? scalar : 0xDC00 + (scalar & 0x3FF)));
    }
    appendHeader(isASCII ? 0x5 : 0x6, units.size());
    if (isASCII) return append(text);
    for (const std::uint16_t unit : units) appendNumber(unit, 2);
  }

  std::vector<Object> objects_;
  std::unordered_map<std::string_view, std::size_t> strings_;
  std::size_t referenceSize_ = 1;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace

std::vector<std::uint8_t> writeBinary(const PropertyListValue& value) { return Writer().write(value); }

}  // namespace pellam::property_list
