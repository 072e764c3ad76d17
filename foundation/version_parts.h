#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pellam/version_comparator.h"

// The two ways to take a version apart. They yield the same parts for the same text; the tests hold them
// against each other. Only the comparator and its tests include this header.
namespace pellam::version_detail {

struct Part {
  enum class Kind { separator, number, text };
  Kind kind = Kind::separator;
  std::int32_t number = 0;  // the value of a number part, saturated
  std::string_view text;    // the content of a text part
  bool endsWithBeta =
      false;  // a "b" belongs behind `text`: the ASCII reader's rewriting of " beta 3" and the like
};

// Reads plain ASCII in place, rewriting beta words as it goes. Borrows the text; allocates nothing.
class ASCIIPartReader {
 public:
  explicit ASCIIPartReader(std::string_view text)
      : at_(text.data()), end_(text.data() + text.size()), plainSpaceEnd_(at_) {}
  // False when there are no more parts.
  [[nodiscard]] bool next(Part& part);
  [[nodiscard]] static int compareText(const Part& left, const Part& right);

 private:
  [[nodiscard]] const char* digitsBehindSpace();

  const char* at_;
  const char* end_;
  const char* plainSpaceEnd_;  // no beta word follows the white space before it
};

// Reads any UTF-8 by user-perceived characters, after the same rewriting.
class UnicodePartReader {
 public:
  explicit UnicodePartReader(std::string_view text);
  UnicodePartReader(const UnicodePartReader&) = delete;
  UnicodePartReader& operator=(const UnicodePartReader&) = delete;
  [[nodiscard]] bool next(Part& part);
  [[nodiscard]] static int compareText(const Part& left, const Part& right);

 private:
  std::string normalised_;
  std::vector<std::string_view> characters_;
  std::size_t at_ = 0;
};

// The comparison itself, by either reader. The ASCII one must be given ASCII.
[[nodiscard]] ComparisonResult compareASCII(std::string_view first, std::string_view second);
[[nodiscard]] ComparisonResult compareUnicode(std::string_view first, std::string_view second);

}  // namespace pellam::version_detail
