#include "formats/archive/entry_name.h"

#include "text/unicode_text.h"

namespace pellam::archive {

std::string shownName(std::string_view name) {
  std::string shown;
  for (std::size_t offset = 0; offset < name.size();) {
    const std::size_t start = offset;
    const char32_t scalar = text::nextScalar(name, offset);
    if (scalar == U'\n') {
      shown += "\\n";
    } else if (scalar == U'\r') {
      shown += "\\r";
    } else if (scalar < 0x20 || scalar == 0x7F || scalar == 0xFFFD) {
      shown += '?';
    } else {
      shown += name.substr(start, offset - start);
    }
  }
  return text::truncatedToCharacters(shown, 200);
}

}  // namespace pellam::archive
