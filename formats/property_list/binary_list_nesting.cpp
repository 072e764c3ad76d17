#include "formats/property_list/binary_list_nesting.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace pellam {

namespace {

constexpr std::size_t trailerLength = 32;

// Where the list's objects lie, and which of them a container refers to.
class BinaryListLayout {
 public:
  explicit BinaryListLayout(std::span<const std::uint8_t> bytes) : bytes_(bytes) {
    if (bytes.size() < trailerLength) return;
    const std::size_t trailer = bytes.size() - trailerLength;
    offsetSize_ = bytes[trailer + 6];
    referenceSize_ = bytes[trailer + 7];
    const std::uint64_t count = number(trailer + 8, 8);
    root_ = number(trailer + 16, 8);
    table_ = number(trailer + 24, 8);
    const bool isSound = offsetSize_ >= 1 && offsetSize_ <= 8 && referenceSize_ >= 1 && referenceSize_ <= 8 &&
                         root_ < count && table_ <= trailer && count <= (trailer - table_) / offsetSize_;
    if (isSound) count_ = static_cast<std::size_t>(count);
  }

  // How many references there is room for: more than that, and the objects lie over each other.
  [[nodiscard]] std::size_t room() const { return static_cast<std::size_t>(table_) / referenceSize_; }
  // Zero for what is no list.
  [[nodiscard]] std::size_t count() const { return count_; }
  [[nodiscard]] std::size_t root() const { return static_cast<std::size_t>(root_); }

  // The references of one container: where they begin, and how many they are; none for any other object.
  struct References {
    bool isContainer = false;
    std::size_t begin = 0;
    std::size_t count = 0;
  };
  [[nodiscard]] References references(std::size_t object) const {
    const std::uint64_t offset = number(static_cast<std::size_t>(table_) + object * offsetSize_, offsetSize_);
    if (offset >= table_) return {};
    auto at = static_cast<std::size_t>(offset);
    const unsigned kind = bytes_[at] >> 4U;
    std::uint64_t count = bytes_[at] & 15U;
    const bool isDictionary = kind == 0xD;
    if (kind < 0xA || (kind > 0xC && !isDictionary)) return {};
    ++at;
    if (count == 15) {
      // A whole number of its own follows.
      if (at >= bytes_.size() || bytes_[at] >> 4U != 1 || (bytes_[at] & 15U) > 3) return {};
      const std::size_t length = std::size_t{1} << (bytes_[at] & 15U);
      if (bytes_.size() - at <= length) return {};
      count = number(at + 1, length);
      at += 1 + length;
    }
    const std::uint64_t room = (bytes_.size() - at) / referenceSize_;
    if (count > room || (isDictionary && count > room / 2)) return {};
    return {true, at, static_cast<std::size_t>(isDictionary ? 2 * count : count)};
  }
  [[nodiscard]] std::size_t target(const References& references, std::size_t index) const {
    return static_cast<std::size_t>(number(references.begin + index * referenceSize_, referenceSize_));
  }

 private:
  [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t length) const {
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < length; ++index) value = value << 8U | bytes_[at + index];
    return value;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t table_ = 0;
  std::size_t count_ = 0;
};

}  // namespace

bool binaryListNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels) {
  struct Open {
    std::size_t object;
    BinaryListLayout::References references;
    std::size_t next = 0;
  };
  constexpr int unseen = -2;
  constexpr int open = -1;
  const BinaryListLayout layout(bytes);
  if (layout.count() == 0) return false;
  // How many containers lie within each other in each object, itself included, once that is known.
  std::vector<int> heights(layout.count(), unseen);
  std::vector<Open> path;
  std::size_t room = layout.room();
  std::size_t visited = layout.root();
  for (;;) {
    if (heights[visited] == open) return true;
    if (heights[visited] == unseen) {
      const auto references = layout.references(visited);
      heights[visited] = references.isContainer ? open : 0;
      if (references.isContainer) path.push_back({visited, references});
      if (references.count > room) return true;
      room -= references.count;
    }
    if (static_cast<int>(path.size()) + std::max(heights[visited], 0) > levels) return true;
    // The next reference of the innermost open container; those that have no more are closed. A reference
    // that leads nowhere is for the reader to refuse.
    bool isFound = false;
    while (!path.empty() && !isFound) {
      Open& innermost = path.back();
      if (innermost.next < innermost.references.count) {
        visited = layout.target(innermost.references, innermost.next++);
        isFound = visited < heights.size();
        continue;
      }
      int height = 1;
      for (std::size_t index = 0; index < innermost.references.count; ++index) {
        const std::size_t target = layout.target(innermost.references, index);
        if (target < heights.size()) height = std::max(height, heights[target] + 1);
      }
      heights[innermost.object] = height;
      path.pop_back();
    }
    if (!isFound) return false;
  }
}

}  // namespace pellam
