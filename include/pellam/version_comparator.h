#pragma once

#include <optional>
#include <string_view>

namespace [[gnu::visibility("default")]] pellam {

enum class ComparisonResult : int { ascending = -1, same = 0, descending = 1 };

// Compares free-form marketing versions: 2.4, 2.4.1, 2.5b3, "2.5 beta 3". Numbers compare numerically, a
// trailing letter part marks a pre-release that is older than the plain release, trailing zero parts do not
// matter.
//
// For example:
//
//     assert(OrvoVersionComparator::compareVersion("2.5b3", "2.5") == ComparisonResult::ascending);
//     assert(OrvoVersionComparator::compareVersion("2.10", "2.9") == ComparisonResult::descending);
//     assert(OrvoVersionComparator::compareVersion("2.4", "2.4.0") == ComparisonResult::same);
class OrvoVersionComparator {
 public:
  // Ascending when the first version is older, descending when it is newer. An absent version behaves like
  // the empty one. Texts are UTF-8. Plain ASCII input is compared without allocating. Never fails.
  [[nodiscard]] static ComparisonResult compareVersion(std::optional<std::string_view> first,
                                                       std::optional<std::string_view> second);
};

}  // namespace pellam
