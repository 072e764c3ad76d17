#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Text rules of the platform. All texts are UTF-8; an ill-formed sequence counts as U+FFFD. Pure functions,
// one body per system, callable from any thread.
namespace pellam::text {

// Character sets of the platform, by one Unicode scalar.
[[nodiscard]] bool isDecimalDigit(char32_t scalar);         // general category Nd
[[nodiscard]] bool isLetter(char32_t scalar);               // L* and M*
[[nodiscard]] bool isAlphanumeric(char32_t scalar);         // L*, M* and N*
[[nodiscard]] bool isPunctuation(char32_t scalar);          // P*
[[nodiscard]] bool isWhitespaceOrNewline(char32_t scalar);  // Z*, U+0009 to U+000D, U+0085, U+200B

// Decodes the scalar at `offset` and moves the offset behind it. The offset must lie inside the text.
[[nodiscard]] char32_t nextScalar(std::string_view text, std::size_t& offset);

// User-perceived characters (extended grapheme clusters), in order, as views into the text.
[[nodiscard]] std::vector<std::string_view> characters(std::string_view text);

// The text when it has at most `count` user-perceived characters, else its first `count` followed by "...".
[[nodiscard]] std::string truncatedToCharacters(std::string_view text, std::size_t count);

// Without white space and newlines at both ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

// The pieces between newline characters (U+000A to U+000D, U+0085, U+2028, U+2029), empty ones included.
[[nodiscard]] std::vector<std::string_view> lines(std::string_view text);

[[nodiscard]] std::string lowercased(std::string_view text);

// Equal ignoring case, by full case folding.
[[nodiscard]] bool equalsIgnoringCase(std::string_view left, std::string_view right);

// A text to compare and never to show: the same for two texts exactly when they differ in nothing but case,
// by full case folding, and in how accented characters are composed. Decomposed, folded, decomposed again.
[[nodiscard]] std::string comparisonKey(std::string_view text);

// The order of the platform's plain string comparison without options: negative, zero or positive. Case
// counts; texts that differ only in how an accented character is composed are equal.
[[nodiscard]] int compareLiterally(std::string_view left, std::string_view right);

// True when some scalar of the text is a letter.
[[nodiscard]] bool containsLetter(std::string_view text);

[[nodiscard]] bool isValidUTF8(std::string_view text);

// A number of bytes as the platform shows the size of a file in the user's language, zero-padded fraction
// digits: "12.0 MB".
[[nodiscard]] std::string fileByteCount(long long bytes);

}  // namespace pellam::text
