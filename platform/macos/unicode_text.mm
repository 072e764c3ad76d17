#include "text/unicode_text.h"

#include <vector>

#include "platform/macos/text_bridge.h"

namespace pellam::text {

namespace {

using macos::stringFrom;
using macos::textOf;

bool isMember(NSCharacterSet* set, char32_t scalar) { return [set longCharacterIsMember:scalar] == YES; }

// Calls `each` with the length in bytes of every user-perceived character until it returns false.
template <typename Each>
void eachCharacter(std::string_view text, Each each) {
  if (!isValidUTF8(text)) {  // lengths could not be mapped back: every scalar counts for itself
    for (std::size_t offset = 0; offset < text.size();) {
      const std::size_t start = offset;
      (void)nextScalar(text, offset);
      if (!each(offset - start)) return;
    }
    return;
  }
  std::vector<std::size_t> ends;
  auto* collected = &ends;
  @autoreleasepool {  // there is a string for every character
    NSString* string = stringFrom(text);
    __block std::size_t end = 0;
    [string enumerateSubstringsInRange:NSMakeRange(0, string.length)
                               options:NSStringEnumerationByComposedCharacterSequences
                            usingBlock:^(NSString*, NSRange range, NSRange, BOOL*) {
                              for (NSUInteger unit = 0; unit < range.length; ++unit) {
                                if (nextScalar(text, end) > 0xffff) ++unit;
                              }
                              collected->push_back(end);
                            }];
  }
  // Composed sequences know nothing of line ends: CR and LF are one character together, and nothing else
  // joins either of them.
  std::size_t offset = 0;
  for (auto end = ends.begin(); offset < text.size() && end != ends.end();) {
    std::size_t next = *end;
    if (text[offset] == '\n') next = offset + 1;
    if (text[offset] == '\r') next = offset + (text.substr(offset, 2) == "\r\n" ? 2 : 1);
    if (!each(next - offset)) return;
    offset = next;
    while (end != ends.end() && *end <= offset) ++end;
  }
}

}  // namespace

bool isDecimalDigit(char32_t scalar) { return isMember(NSCharacterSet.decimalDigitCharacterSet, scalar); }
bool isLetter(char32_t scalar) { return isMember(NSCharacterSet.letterCharacterSet, scalar); }
bool isAlphanumeric(char32_t scalar) { return isMember(NSCharacterSet.alphanumericCharacterSet, scalar); }
bool isPunctuation(char32_t scalar) { return isMember(NSCharacterSet.punctuationCharacterSet, scalar); }
bool isWhitespaceOrNewline(char32_t scalar) {
  return isMember(NSCharacterSet.whitespaceAndNewlineCharacterSet, scalar);
}

std::vector<std::string_view> characters(std::string_view text) {
  std::vector<std::string_view> result;
  auto* pieces = &result;
  __block std::size_t start = 0;
  eachCharacter(text, ^(std::size_t length) {
    pieces->push_back(text.substr(start, length));
    start += length;
    return true;
  });
  return result;
}

std::string truncatedToCharacters(std::string_view text, std::size_t count) {
  __block std::size_t seen = 0;
  __block std::size_t cut = 0;
  __block bool isLonger = false;
  eachCharacter(text, ^(std::size_t length) {
    isLonger = seen == count;
    if (isLonger) return false;
    ++seen;
    cut += length;
    return true;
  });
  return isLonger ? std::string(text.substr(0, cut)) + "..." : std::string(text);
}

std::string lowercased(std::string_view text) { return textOf(stringFrom(text).lowercaseString); }

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return [stringFrom(left) compare:stringFrom(right) options:NSCaseInsensitiveSearch] == NSOrderedSame;
}

std::string comparisonKey(std::string_view text) {
  NSString* folded = [stringFrom(text).decomposedStringWithCanonicalMapping
      stringByFoldingWithOptions:NSCaseInsensitiveSearch
                          locale:nil];
  return textOf(folded.decomposedStringWithCanonicalMapping);
}

int compareLiterally(std::string_view left, std::string_view right) {
  return static_cast<int>([stringFrom(left) compare:stringFrom(right)]);
}

std::string fileByteCount(long long bytes) {
  NSByteCountFormatter* formatter = [[NSByteCountFormatter alloc] init];
  formatter.countStyle = NSByteCountFormatterCountStyleFile;
  formatter.zeroPadsFractionDigits = YES;
  return textOf([formatter stringFromByteCount:bytes]);
}

}  // namespace pellam::text
