#include "text/unicode_text.h"

#include <gtest/gtest.h>

#include <thread>

namespace pellam::text {
namespace {

using Views = std::vector<std::string_view>;

TEST(UnicodeTextTest, SetsFollowTheGeneralCategories) {
  struct Row {
    char32_t scalar;
    bool digit, letter, alphanumeric, punctuation, space;
  };
  const Row rows[] = {
      {U'5', true, false, true, false, false},
      {U'٣', true, false, true, false, false},
      {U'²', false, false, true, false, false},
      {U'é', false, true, true, false, false},
      {U'\u0301', false, true, true, false, false},  // a combining mark counts as a letter
      {U'-', false, false, false, true, false},
      {U'…', false, false, false, true, false},
      {U'+', false, false, false, false, false},
      {U'~', false, false, false, false, false},
      {U'\u00A0', false, false, false, false, true},
      {U'\u200B', false, false, false, false, true},
      {U'\u0085', false, false, false, false, true},
      {U'\u000B', false, false, false, false, true},
      {U'\u2028', false, false, false, false, true},
      {U'\0', false, false, false, false, false},
      {U'\U0001F600', false, false, false, false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(static_cast<std::uint32_t>(row.scalar));
    EXPECT_EQ(isDecimalDigit(row.scalar), row.digit);
    EXPECT_EQ(isLetter(row.scalar), row.letter);
    EXPECT_EQ(isAlphanumeric(row.scalar), row.alphanumeric);
    EXPECT_EQ(isPunctuation(row.scalar), row.punctuation);
    EXPECT_EQ(isWhitespaceOrNewline(row.scalar), row.space);
  }
}

TEST(UnicodeTextTest, CharactersAreGraphemeClusters) {
  const struct {
    std::string_view text;
    Views characters;
  } rows[] = {
      {"", {}},
      {"a\r\nb\n\r", {"a", "\r\n", "b", "\n", "\r"}},
      {"1.0e\u0301x", {"1", ".", "0", "e\u0301", "x"}},
      {"\r\n\u0301", {"\r\n", "\u0301"}},  // nothing joins a line end
      {"👨‍👩‍👧🇩🇪🇫🇷", {"👨‍👩‍👧", "🇩🇪", "🇫🇷"}},
      {"a\xFF"
       "b",
       {"a", "\xFF", "b"}},
      {"é", {"é"}},
  };
  for (const auto& row : rows) EXPECT_EQ(characters(row.text), row.characters) << row.text;
  // A mark of the byte order is text like any other.
  const std::vector<std::string_view> marked = characters("\uFEFF1.2");
  ASSERT_GE(marked.size(), 3U);
  EXPECT_EQ(marked.back(), "2");
  std::string joined;
  for (const std::string_view piece : marked) joined += piece;
  EXPECT_EQ(joined, "\uFEFF1.2");
}

TEST(UnicodeTextTest, TruncationCountsCharactersNotBytes) {
  EXPECT_EQ(truncatedToCharacters("abc", 3), "abc");
  EXPECT_EQ(truncatedToCharacters("abcd", 3), "abc...");
  EXPECT_EQ(truncatedToCharacters("ééé", 3), "ééé");
  EXPECT_EQ(truncatedToCharacters("éé👨‍👩‍👧é", 3), "éé👨‍👩‍👧...");
  EXPECT_EQ(truncatedToCharacters("a\r\nbc", 2), "a\r\n...");
  EXPECT_EQ(truncatedToCharacters("x", 0), "...");
}

TEST(UnicodeTextTest, TrimmingAndLines) {
  EXPECT_EQ(trimmed(" \t\u00A0a b\u200B\r\n"), "a b");
  EXPECT_EQ(trimmed("\u2028 \n"), "");
  EXPECT_EQ(trimmed("a\xE2\x80"), "a\xE2\x80");
  EXPECT_EQ(lines("a\nb\r\nc\u2028"), (Views{"a", "b", "", "c", ""}));
  EXPECT_EQ(lines(""), Views{""});
}

TEST(UnicodeTextTest, CaseAndOrder) {
  EXPECT_EQ(lowercased("BETA 2"), "beta 2");
  EXPECT_EQ(lowercased("ÉΣ\xFF"), "éς\uFFFD");
  EXPECT_EQ(lowercased("İ"), "i\u0307");
  EXPECT_TRUE(equalsIgnoringCase("EN-us", "en-US"));
  EXPECT_FALSE(equalsIgnoringCase("en", "enx"));
  EXPECT_TRUE(equalsIgnoringCase("STRASSE", "straße"));
  EXPECT_TRUE(equalsIgnoringCase("É", "e\u0301"));
  EXPECT_LT(compareLiterally("RC", "rc"), 0);
  EXPECT_LT(compareLiterally("a", "ab"), 0);
  EXPECT_LT(compareLiterally("é", "z"), 0);  // by the decomposed form
  EXPECT_EQ(compareLiterally("é", "e\u0301"), 0);
  EXPECT_LT(compareLiterally("z\uFFFD", "z\U0001F600"), 0);
  EXPECT_TRUE(containsLetter("2.5ß3"));
  EXPECT_FALSE(containsLetter("2.5 (+3)"));
}

TEST(UnicodeTextTest, ComparisonKeysForgetCaseAndCompositionAlone) {
  const struct {
    std::string_view left, right;
    bool same;
  } rows[] = {
      {"README", "readme", true},
      {"a", "b", false},
      {"a", "a ", false},
      {"é", "e\u0301", true},
      {"É", "e\u0301", true},
      {"é", "e", false},
      {"straße", "STRASSE", true},
      {"ﬀ", "FF", true},
      {"ς", "Σ", true},
      {"İ", "i\u0307", true},
      {"ı", "i", false},
      {"\u1E9E", "ss", true},
      {"\u0390", "\u1FD3", true},    // the same letter twice in the tables
      {"가", "\u1100\u1161", true},  // composed of its parts
      {"\u212B", "å", true},         // a unit's sign is a letter
      {"①", "1", false},             // alike, and not the same
      {"Ａ", "A", false},            // nor is what is only wider
      {"😀", "😁", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(comparisonKey(row.left) == comparisonKey(row.right), row.same) << row.left << " " << row.right;
  }
  EXPECT_EQ(comparisonKey(""), "");
  EXPECT_EQ(comparisonKey("É"), "e\u0301");
}

TEST(UnicodeTextTest, RefusesIllFormedUTF8) {
  for (const std::string_view good : {"", "a\u00E9\u20AC\U0010FFFF", "\uFFFD"})
    EXPECT_TRUE(isValidUTF8(good));
  for (const std::string_view bad :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "a\xE2\x82", "\xFF"}) {
    EXPECT_FALSE(isValidUTF8(bad));
  }
}

TEST(UnicodeTextTest, ThreadsDoNotShareWorkingState) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (std::size_t index = 0; index < failures.size(); ++index) {
    threads.emplace_back([&, index] {
      const std::string text = "é" + std::string(index + 1, 'x');
      for (int round = 0; round < 300; ++round) {
        if (characters(text).size() != index + 2) ++failures[index];
        if (lowercased("É" + text) != "é" + text) ++failures[index];
        if (fileByteCount(static_cast<long long>(index + 2) * 1000).empty()) ++failures[index];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace pellam::text
