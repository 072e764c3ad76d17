#include "platform/linux/ui/gtk_object.h"

#include <algorithm>

namespace pellam {

std::string displayableText(const std::string& text) {
  char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string result = valid;
  g_free(valid);
  return result;
}

std::string displayableLine(const std::string& text) {
  std::string line = displayableText(text);
  for (const char* separator : {"\u2028", "\u2029", "\u0085"}) {
    const std::string_view wanted = separator;
    for (std::size_t at = line.find(wanted); at != std::string::npos; at = line.find(wanted, at)) {
      line.replace(at, wanted.size(), " ");
    }
  }
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c >= 0 && c < ' '; }, ' ');
  return line;
}

}  // namespace pellam
