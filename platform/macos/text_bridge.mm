#include "platform/macos/text_bridge.h"

#include "text/unicode_text.h"

namespace pellam::macos {

NSString* stringFrom(std::string_view text) {
  NSString* string = nil;
  // A mark of the byte order at the text's start would be taken away; with an order that is named it is a
  // character.
  if (!text.starts_with("\xef\xbb\xbf")) {
    string = [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
  }
  if (string != nil) return string;
  std::u32string scalars;
  for (std::size_t offset = 0; offset < text.size();) scalars.push_back(text::nextScalar(text, offset));
  string = [[NSString alloc] initWithBytes:scalars.data()
                                    length:scalars.size() * sizeof(char32_t)
                                  encoding:NSUTF32LittleEndianStringEncoding];
  return string != nil ? string : @"";
}

std::string textOf(NSString* string) {
  NSData* bytes = [string dataUsingEncoding:NSUTF8StringEncoding allowLossyConversion:YES];
  return bytes == nil ? std::string() : std::string(static_cast<const char*>(bytes.bytes), bytes.length);
}

}  // namespace pellam::macos
