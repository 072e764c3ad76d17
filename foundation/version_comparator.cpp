#include "pellam/version_comparator.h"

#include <algorithm>

#include "foundation/version_parts.h"

namespace pellam {

namespace version_detail {

namespace {

constexpr ComparisonResult reversed(ComparisonResult result) {
  return static_cast<ComparisonResult>(-static_cast<int>(result));
}

// How a version compares that goes on with this part, and with what the reader still holds, where the other
// one has ended.
template <typename Reader>
ComparisonResult compareTail(Part part, Reader& rest) {
  const Part::Kind firstKind = part.kind;
  bool hasZero = false;
  bool isInsignificant = true;
  do {
    if (part.kind == Part::Kind::number && part.number == 0) {
      hasZero = true;
    } else if (part.kind != Part::Kind::separator) {
      isInsignificant = false;
      break;
    }
  } while (rest.next(part));
  if (hasZero && isInsignificant) return ComparisonResult::same;
  return firstKind == Part::Kind::text ? ComparisonResult::ascending : ComparisonResult::descending;
}

template <typename Reader>
ComparisonResult compare(std::string_view firstVersion, std::string_view secondVersion) {
  Reader firstReader(firstVersion);
  Reader secondReader(secondVersion);
  Part first;
  Part second;
  for (;;) {
    const bool hasFirst = firstReader.next(first);
    const bool hasSecond = secondReader.next(second);
    if (!hasFirst && !hasSecond) return ComparisonResult::same;
    if (!hasSecond) return compareTail(first, firstReader);
    if (!hasFirst) return reversed(compareTail(second, secondReader));
    if (first.kind != second.kind) {
      // A pre-release is older than anything else, a number newer than a separator.
      const bool isFirstOlder = first.kind == Part::Kind::text ||
                                (second.kind != Part::Kind::text && second.kind == Part::Kind::number);
      return isFirstOlder ? ComparisonResult::ascending : ComparisonResult::descending;
    }
    int order = 0;
    if (first.kind == Part::Kind::number) {
      order = first.number < second.number ? -1 : first.number > second.number ? 1 : 0;
    } else if (first.kind == Part::Kind::text) {
      order = Reader::compareText(first, second);
    }
    if (order != 0) return order < 0 ? ComparisonResult::ascending : ComparisonResult::descending;
  }
}

// The length of the whole parts, numbers and points only, that both versions begin with: versions of one
// product mostly differ at the end.
std::size_t sharedLeadingParts(std::string_view first, std::string_view second) {
  const std::size_t common = std::min(first.size(), second.size());
  std::size_t end = 0;
  for (std::size_t index = 0; index < common && first[index] == second[index]; ++index) {
    if (first[index] == '.') {
      end = index + 1;
    } else if (first[index] < '0' || first[index] > '9') {
      break;
    }
  }
  return end;
}

}  // namespace

ComparisonResult compareASCII(std::string_view first, std::string_view second) {
  const std::size_t shared = sharedLeadingParts(first, second);
  return compare<ASCIIPartReader>(first.substr(shared), second.substr(shared));
}

ComparisonResult compareUnicode(std::string_view first, std::string_view second) {
  return compare<UnicodePartReader>(first, second);
}

}  // namespace version_detail

ComparisonResult OrvoVersionComparator::compareVersion(std::optional<std::string_view> first,
                                                       std::optional<std::string_view> second) {
  const std::string_view a = first.value_or("");
  const std::string_view b = second.value_or("");
  if (a == b) return ComparisonResult::same;
  unsigned char seen = 0;
  for (const char unit : a) seen |= static_cast<unsigned char>(unit);
  for (const char unit : b) seen |= static_cast<unsigned char>(unit);
  return seen < 0x80 ? version_detail::compareASCII(a, b) : version_detail::compareUnicode(a, b);
}

}  // namespace pellam
