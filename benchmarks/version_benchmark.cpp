// Comparing marketing versions of two to four numbers, some of them betas, against the comparison of RPM.

#include <rpm/rpmver.h>

#include <random>
#include <utility>

#include "benchmarks/measure.h"
#include "pellam/version_comparator.h"

namespace {

std::string makeVersion(std::mt19937& random) {
  std::string text = std::to_string(random() % 3);
  for (auto count = 1 + random() % 3; count > 0; --count) text += "." + std::to_string(random() % 12);
  if (random() % 5 == 0) text += "b" + std::to_string(random() % 9);
  return text;
}

}  // namespace

int main() {
  std::mt19937 random(1);
  std::vector<std::pair<std::string, std::string>> pairs;
  for (int index = 0; index < 4096; ++index) {
    std::string first = makeVersion(random);
    std::string second = random() % 3 == 0 ? first : makeVersion(random);
    pairs.emplace_back(std::move(first), std::move(second));
  }
  constexpr int rounds = 50;
  const auto perComparison = 1e9 / (rounds * static_cast<double>(pairs.size()));
  long sum = 0;
  std::vector<double> ours;
  std::vector<double> theirs;
  for (int run = 0; run < 9; ++run) {
    ours.push_back(perComparison * pellam::benchmark::secondsOf([&] {
                     for (int round = 0; round < rounds; ++round) {
                       for (const auto& [first, second] : pairs) {
                         sum +=
                             static_cast<int>(pellam::OrvoVersionComparator::compareVersion(first, second));
                       }
                     }
                   }));
    theirs.push_back(perComparison * pellam::benchmark::secondsOf([&] {
                       for (int round = 0; round < rounds; ++round) {
                         for (const auto& [first, second] : pairs)
                           sum += rpmvercmp(first.c_str(), second.c_str());
                       }
                     }));
  }
  const double own = pellam::benchmark::median(ours);
  const double rpm = pellam::benchmark::median(theirs);
  pellam::benchmark::printRow("version comparison, ns, rpmvercmp", own, rpm, rpm / own, 1 / 1.5);
  return sum == 42 ? 1 : 0;  // the sum keeps the work from being optimised away
}
