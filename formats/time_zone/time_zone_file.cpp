#include "formats/time_zone/time_zone_file.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace pellam {

namespace {

constexpr std::size_t headerSize = 44;
constexpr std::size_t typeSize = 6;
constexpr std::int64_t largestOffset = 26 * 3600;  // beyond all that the format allows

std::int64_t numberAt(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t size) {
  std::uint64_t value = (bytes[offset] & 0x80U) != 0 ? ~std::uint64_t{0} : 0;
  for (std::size_t index = 0; index < size; ++index) value = value << 8U | bytes[offset + index];
  return static_cast<std::int64_t>(value);
}

// One of the two blocks of a file: a header with counts, then so many of each. Files repeat the first block,
// whose times are of four bytes, with times of eight.
struct Block {
  std::size_t timeSize;
  std::size_t times = 0;
  std::size_t types = 0;
  std::size_t size = 0;  // with the header

  Block(std::span<const std::uint8_t> bytes, std::size_t sizeOfTime) : timeSize(sizeOfTime) {
    const auto count = [&](std::size_t place) {
      return static_cast<std::size_t>(static_cast<std::uint32_t>(numberAt(bytes, 20 + 4 * place, 4)));
    };
    times = count(3);
    types = count(4);
    size = headerSize + times * (timeSize + 1) + types * typeSize + count(5) + count(2) * (timeSize + 4) +
           count(1) + count(0);
  }
};

bool hasHeader(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view magic = "TZif";
  return bytes.size() >= headerSize && std::equal(magic.begin(), magic.end(), bytes.begin());
}

std::optional<TimeZoneData> dataOf(std::span<const std::uint8_t> bytes, const Block& block) {
  if (block.size > bytes.size() || block.types == 0) return std::nullopt;
  const std::size_t kindsStart = headerSize + block.times * block.timeSize;
  const std::size_t typesStart = kindsStart + block.times;
  const auto offsetOf = [&](std::size_t type) { return numberAt(bytes, typesStart + type * typeSize, 4); };
  for (std::size_t type = 0; type < block.types; ++type) {
    if (std::abs(offsetOf(type)) > largestOffset) return std::nullopt;
  }
  TimeZoneData data;
  data.firstOffset = offsetOf(0);
  data.changes.reserve(block.times);
  for (std::size_t index = 0; index < block.times; ++index) {
    const std::int64_t utc = numberAt(bytes, headerSize + index * block.timeSize, block.timeSize);
    const std::size_t type = bytes[kindsStart + index];
    if (type >= block.types || (index > 0 && utc <= data.changes.back().utc)) return std::nullopt;
    data.changes.push_back({utc, offsetOf(type)});
  }
  return data;
}

}  // namespace

std::optional<TimeZoneData> readTimeZoneFile(std::span<const std::uint8_t> bytes) {
  if (!hasHeader(bytes)) return std::nullopt;
  const Block first(bytes, 4);
  constexpr std::size_t versionPlace = 4;
  if (bytes[versionPlace] < '2') return dataOf(bytes, first);
  if (first.size > bytes.size()) return std::nullopt;
  bytes = bytes.subspan(first.size);
  if (!hasHeader(bytes)) return std::nullopt;
  const Block second(bytes, 8);
  std::optional<TimeZoneData> data = dataOf(bytes, second);
  if (!data) return std::nullopt;
  // The rule stands between two line feeds; without one the last offset stays.
  std::string_view rule(reinterpret_cast<const char*>(bytes.data()) + second.size,
                        bytes.size() - second.size);
  if (!rule.starts_with('\n')) return std::nullopt;
  rule.remove_prefix(1);
  rule = rule.substr(0, rule.find('\n'));
  if (rule.empty()) return data;
  data->rule = TimeZoneRule::parse(rule);
  return data->rule ? data : std::nullopt;
}

}  // namespace pellam
