#pragma once

#include <functional>
#include <string_view>

#include "pellam/version_comparator.h"

namespace pellam {

// What every evaluation takes: the three-way order of two versions.
using VersionComparing = std::function<ComparisonResult(std::string_view first, std::string_view second)>;

// The comparison that the host passes.
struct OrvoUpdateVersionComparison {
  OrvoUpdateVersionComparison() = delete;
  [[nodiscard]] static ComparisonResult compare(std::string_view first, std::string_view second) {
    return OrvoVersionComparator::compareVersion(first, second);
  }
};

}  // namespace pellam
