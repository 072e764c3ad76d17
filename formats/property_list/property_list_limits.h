#pragma once

#include <cstddef>

namespace pellam::property_list {

// The root stands on level 1. Every reader and writer of this folder recurses once per level.
inline constexpr int maximumDepth = 128;

// What one document may cost: a few times its own length, so that references to shared objects cannot blow
// up a small document. The constant part lets small documents repeat their parts many times.
class Budget {
 public:
  explicit Budget(std::size_t documentSize)
      : left_(documentSize * 32 + (std::size_t{1} << 20)), repeatable_(left_ + (std::size_t{64} << 20)) {}

  // Takes the cost of one value with so many bytes of its own. False when the budget is used up.
  [[nodiscard]] bool take(std::size_t bytes) {
    constexpr std::size_t perValue = 16;
    if (bytes > left_ || left_ - bytes < perValue) return false;
    left_ -= bytes + perValue;
    return true;
  }

  // The same for a value that shares the memory of its bytes with one before it. They cost nothing more, but
  // whoever reads all values still reads them once for each: 64 MB are far beyond any list that people write
  // without sharing, and read in a second or two.
  [[nodiscard]] bool takeRepeated(std::size_t bytes) {
    if (bytes > repeatable_ || !take(0)) return false;
    repeatable_ -= bytes;
    return true;
  }

 private:
  std::size_t left_;
  std::size_t repeatable_;
};

}  // namespace pellam::property_list
