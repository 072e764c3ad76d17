#include "platform/macos/nesting_guard.h"

#include <array>
#include <string_view>

namespace pellam::macos {

namespace {

using namespace std::string_view_literals;

// The last bytes that were not zero, so that UTF-16 reads like ASCII.
class RecentBytes {
 public:
  void push(char byte) {
    for (std::size_t index = 1; index < bytes_.size(); ++index) bytes_[index - 1] = bytes_[index];
    bytes_.back() = byte;
  }
  [[nodiscard]] bool endWith(std::string_view text) const {
    return std::string_view(bytes_.data(), bytes_.size()).ends_with(text);
  }

 private:
  std::array<char, 8> bytes_{};
};

}  // namespace

bool textNestsDeeperThan(std::span<const std::uint8_t> bytes, int levels) {
  if (std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).starts_with("bplist"sv)) {
    return false;
  }
  RecentBytes recent;
  int elements = 0;
  int brackets = 0;
  bool isXML = false;
  bool isInOpeningTag = false;
  for (const std::uint8_t byte : bytes) {
    if (byte == 0) continue;
    recent.push(static_cast<char>(byte));
    isXML = isXML || byte == '<';
    if (byte == '{' || byte == '(') ++brackets;
    if (byte == '}' || byte == ')') --brackets;
    // An opening tag may carry spaces before its end, a closing one as well.
    if (recent.endWith("</dict"sv) || recent.endWith("</array"sv)) --elements;
    if (recent.endWith("<dict"sv) || recent.endWith("<array"sv)) {
      ++elements;
      isInOpeningTag = true;
    }
    if (byte == '>') {
      if (isInOpeningTag && recent.endWith("/>"sv)) --elements;
      isInOpeningTag = false;
    }
    if (elements > levels || (!isXML && brackets > levels)) return true;
  }
  return false;
}

}  // namespace pellam::macos
