#include "pellam/version_comparator.h"

#include <gtest/gtest.h>

#include <random>

#include "foundation/version_parts.h"
#include "tests/support/megabyte.h"

namespace pellam {
namespace {

char sign(ComparisonResult result) { return "<=>"[static_cast<int>(result) + 1]; }

char compared(std::string_view first, std::string_view second) {
  return sign(OrvoVersionComparator::compareVersion(first, second));
}

TEST(VersionComparatorTest, OrdersVersions) {
  const struct {
    const char* first;
    char expected;
    const char* second;
  } rows[] = {
      // trailing zeros and separators
      {"1.0", '=', "1.0.0"},
      {"1.0.0", '=', "1.0."},
      {"1.0", '<', "1.0."},
      {"1.0", '<', "1.0 "},
      {"1", '=', "1.0.0.0"},
      {"1", '=', "1-0"},
      {"1", '=', "1..0"},
      {"1", '=', "1.0."},
      {"1", '<', "1.0.1"},
      {"1", '<', "1.0b1"},
      {"1.0", '=', "1.0-000"},
      {"", '=', "0"},
      {"", '=', ".0"},
      {"", '<', "."},
      {"", '<', "1"},
      {"", '>', "b"},
      {"", '=', ""},
      // numbers
      {"2", '<', "10"},
      {"1.01", '=', "1.1"},
      {"1.2.3", '=', "1-2-3"},
      {"1.2_3", '=', "1(2,3"},
      {"1.2147483647", '=', "1.99999999999999999999"},
      {"1.2147483646", '<', "1.2147483648"},
      {"1.0000000000000000002", '=', "1.2"},
      {"1.2", '>', "1.."},
      {"1..2", '<', "1.2"},
      // pre-releases
      {"1.0", '>', "1.0b1"},
      {"1.0b2", '<', "1.0b10"},
      {"1.0 beta 2", '=', "1.0b2"},
      {"1.0 B2", '=', "1.0b2"},
      {"1.0d2", '=', "1.0b2"},
      {"1.0\tBETA\n2", '=', "1.0b2"},
      {"1.0beta2", '=', "1.0b2"},
      {"1.0beta 2", '<', "1.0beta2"},
      {"1.0 beta", '>', "1.0b"},
      {"1.0 betas 2", '>', "1.0b2"},
      {"1.0a1", '<', "1.0b1"},
      {"1.0b1", '<', "1.0rc1"},
      {"1.0RC1", '<', "1.0rc1"},
      {"1.0rc beta 3", '=', "1.0rcb3"},
      {"1.0rc beta 3", '>', "1.0rc3"},
      {"1.0 b1 b2", '=', "1.0b1b2"},
      {"1.0b", '<', "1.0.1"},
      {"1.b", '<', "1.1"},
      {"1.b", '<', "1.."},
      {"1.0+5", '<', "1.0"},
      {"1.0~1", '<', "1.0"},
      // line ends are one character
      {"1\r\n2", '=', "1.2"},
      {"1\n\r2", '<', "1.2"},
      {"1\r\nb2", '=', "1b2"},
      // other scripts
      {"1\u00A0beta\u00A02", '=', "1b2"},
      {"2\u00A03", '=', "2.3"},
      {"1.٣", '=', "1.3"},
      {"1.१२", '=', "1.12"},
      {"1.𝟙𝟛", '=', "1.13"},
      {"1.é1", '=', "1.e\u03011"},
      {"1.Ä", '>', "1.A"},
      {"1…2", '=', "1.2"},
      {"1.2\u0301"
       "3",
       '=', "1.2"},  // the mark ends the number's digits
      {"1.²", '<', "1.0"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(compared(row.first, row.second), row.expected) << row.first << " | " << row.second;
    const char flipped = row.expected == '<' ? '>' : row.expected == '>' ? '<' : '=';
    EXPECT_EQ(compared(row.second, row.first), flipped) << row.second << " | " << row.first;
    EXPECT_EQ(compared(row.first, row.first), '=') << row.first;
  }
}

TEST(VersionComparatorTest, AbsentVersionsAreEmpty) {
  EXPECT_EQ(OrvoVersionComparator::compareVersion(std::nullopt, std::nullopt), ComparisonResult::same);
  EXPECT_EQ(OrvoVersionComparator::compareVersion(std::nullopt, ""), ComparisonResult::same);
  EXPECT_EQ(OrvoVersionComparator::compareVersion(std::nullopt, "1"), ComparisonResult::ascending);
  EXPECT_EQ(OrvoVersionComparator::compareVersion("1", std::nullopt), ComparisonResult::descending);
}

// Versions put together from everything that either way treats specially must compare alike by both.
TEST(VersionComparatorTest, BothReadersAgreeOnASCII) {
  const std::string_view pieces[] = {"0",    "1",  "2147483647", "99999999999", "00", "7",  ".", "-",
                                     " ",    "  ", "\t",         "\r",          "\n", "\v", "b", "d",
                                     "beta", "B",  "Beta",       "rc",          "a",  "be", "+", "~",
                                     "_",    "(",  "\x01",       "\x7F",        "$",  "^"};
  std::mt19937 random(20'26);
  const auto version = [&] {
    std::string text;
    for (auto count = random() % 7; count > 0; --count) text += pieces[random() % std::size(pieces)];
    return text;
  };
  int differing = 0;
  for (int round = 0; round < 20'000; ++round) {
    const std::string first = version();
    // Half of the pairs share a beginning, so that the comparison goes deep.
    const std::string second =
        random() % 2 == 0 ? version() : first.substr(0, random() % (first.size() + 1)) + version();
    const ComparisonResult expected = version_detail::compareUnicode(first, second);
    if (expected != ComparisonResult::same) ++differing;
    ASSERT_EQ(sign(version_detail::compareASCII(first, second)), sign(expected))
        << testing::PrintToString(first) << " | " << testing::PrintToString(second);
  }
  EXPECT_GT(differing, 5000);
}

// Versions come out of a feed that nobody has vouched for, and are compared on the main thread.
TEST(VersionComparatorTest, LongVersionsTakeNoLongerThanTheirLength) {
  using testing_support::megabyteOf;
  const struct {
    const char* name;
    std::string first;
    std::string second;
    char expected;
  } rows[] = {
      {"spaces", "3" + megabyteOf(" ") + "1", "3" + megabyteOf(" ") + "2", '<'},
      {"spaces behind text", "3a" + megabyteOf(" ") + "b", "3a" + megabyteOf(" ") + "c", '<'},
      {"beta words without numbers", "3" + megabyteOf(" b ") + "1+", "3" + megabyteOf(" b ") + "2+", '<'},
      {"spaces and another script", "3" + megabyteOf(" ") + "é1", "3" + megabyteOf(" ") + "é2", '<'},
      {"no-break spaces", "3" + megabyteOf("\u00A0") + "1", "3" + megabyteOf("\u00A0") + "2", '<'},
      {"words and another script", "3" + megabyteOf(" b  ") + "é1", "3" + megabyteOf(" b  ") + "é2", '<'},
      {"digits", "3é" + megabyteOf("0") + "1", "3é" + megabyteOf("0") + "2", '<'},
      {"marks", "3a" + megabyteOf("\u0301") + megabyteOf("\u0323"), "3a" + megabyteOf("\u0323"), '<'},
      {"marks of two parts", "3a" + megabyteOf("\u0F74") + megabyteOf("\u0F73"), "3b", '<'},
      {"joined characters", "3" + megabyteOf("\U0001F468\u200D"), "3" + megabyteOf("\U0001F1E9"), '>'},
      {"final letters", "3" + megabyteOf("Σ'"), "3" + megabyteOf("Σ'") + "1", '<'},
  };
  for (const auto& row : rows) {
    testing_support::expectQuick(
        row.name, [&] { EXPECT_EQ(compared(row.first, row.second), row.expected) << row.name; });
  }
}

}  // namespace
}  // namespace pellam
