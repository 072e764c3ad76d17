#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "pellam/property_list_text.h"

namespace pellam::property_list {

// Memory for the texts of one document. They are copied one behind the other into blocks, so that most of
// them cost no allocation; a text that is kept keeps no more than its block.
class TextArena {
 public:
  explicit TextArena(std::size_t documentSize) : blockSize_(std::min(documentSize, largestBlock)) {}

  [[nodiscard]] PropertyListText add(std::string_view text) {
    if (text.empty()) return {};
    if (text.size() > largestBlock / 8) return PropertyListText(text);
    if (text.size() > left_) {
      left_ = std::max(blockSize_, text.size());
      block_ = std::shared_ptr<char[]>(new char[left_]);
      next_ = block_.get();
    }
    std::memcpy(next_, text.data(), text.size());
    PropertyListText added(std::shared_ptr<const char>(block_, next_), text.size());
    next_ += text.size();
    left_ -= text.size();
    return added;
  }

 private:
  static constexpr std::size_t largestBlock = 65'536;

  std::size_t blockSize_;
  std::shared_ptr<char[]> block_;
  char* next_ = nullptr;
  std::size_t left_ = 0;
};

}  // namespace pellam::property_list
