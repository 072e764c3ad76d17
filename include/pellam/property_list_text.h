#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace [[gnu::visibility("default")]] pellam {

// A text inside a property-list value: UTF-8 that never changes. Texts that were read from one document share
// blocks of memory, so that reading a long list does not cost an allocation for each of its texts; a block
// goes when the last text in it goes. Converts to a string or a view wherever one is asked for. Not ended by
// a zero byte. A value; any thread.
//
// For example:
//
//     const PropertyListText text("2.0");
//     assert(text == "2.0");
//     assert("version " + text == "version 2.0");
class PropertyListText {
 public:
  PropertyListText() = default;
  explicit PropertyListText(std::string_view text) : size_(text.size()) {
    if (text.empty()) return;
    const std::shared_ptr<char[]> block = std::make_shared<char[]>(text.size());
    std::copy(text.begin(), text.end(), block.get());
    start_ = std::shared_ptr<const char>(block, block.get());
  }
  // So many bytes of a block that others may use, too.
  PropertyListText(std::shared_ptr<const char> start, std::size_t size)
      : start_(std::move(start)), size_(size) {}

  PropertyListText(const PropertyListText&) = default;
  PropertyListText& operator=(const PropertyListText&) = default;
  // What was moved from is empty.
  PropertyListText(PropertyListText&& other) noexcept
      : start_(std::move(other.start_)), size_(std::exchange(other.size_, 0)) {}
  PropertyListText& operator=(PropertyListText&& other) noexcept {
    start_ = std::move(other.start_);
    size_ = std::exchange(other.size_, 0);
    return *this;
  }
  ~PropertyListText() = default;

  [[nodiscard]] std::string_view view() const { return {start_.get(), size_}; }
  [[nodiscard]] std::string string() const { return std::string(view()); }
  operator std::string_view() const { return view(); }  // NOLINT(google-explicit-constructor)
  operator std::string() const { return string(); }     // NOLINT(google-explicit-constructor)

  [[nodiscard]] bool empty() const { return size_ == 0; }
  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] bool starts_with(std::string_view start) const { return view().starts_with(start); }

  friend bool operator==(const PropertyListText& left, const PropertyListText& right) {
    return left.view() == right.view();
  }
  friend bool operator==(const PropertyListText& left, std::string_view right) {
    return left.view() == right;
  }
  friend bool operator==(const PropertyListText& left, const std::string& right) {
    return left.view() == right;
  }
  friend bool operator==(const PropertyListText& left, const char* right) { return left.view() == right; }
  friend std::string operator+(const std::string& left, const PropertyListText& right) {
    return left + right.string();
  }
  friend std::string operator+(const char* left, const PropertyListText& right) {
    return left + right.string();
  }
  friend std::ostream& operator<<(std::ostream& stream, const PropertyListText& text) {
    return stream << text.view();
  }

 private:
  std::shared_ptr<const char> start_;
  std::size_t size_ = 0;
};

}  // namespace pellam
