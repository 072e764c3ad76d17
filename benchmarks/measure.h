#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

// What every benchmark program shares. A row of the output is: what was measured, ours, theirs, ratio,
// target; tab-separated, "-" where there is nothing.
namespace pellam::benchmark {

template <typename Work>
[[nodiscard]] double secondsOf(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

[[nodiscard]] inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

inline std::string number(std::optional<double> value) {
  if (!value) return "-";
  char text[64];
  (void)std::snprintf(text, sizeof text, *value >= 1000 ? "%.0f" : *value >= 10 ? "%.1f" : "%.2f", *value);
  return text;
}

// The ratio says how many times better ours is; the target is the least ratio wanted.
inline void printRow(const std::string& row, double ours, std::optional<double> theirs,
                     std::optional<double> ratio, std::optional<double> target) {
  std::printf("%s\t%s\t%s\t%s\t%s\n", row.c_str(), number(ours).c_str(), number(theirs).c_str(),
              number(ratio).c_str(), number(target).c_str());
  (void)std::fflush(stdout);
}

}  // namespace pellam::benchmark
