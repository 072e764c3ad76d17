#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace pellam::testing_support {

inline std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  result.reserve(text.size() * count);
  for (; count > 0; --count) result += text;
  return result;
}

// About a megabyte of the text, over and over.
inline std::string megabyteOf(std::string_view text) { return repeated(text, 1'000'000 / text.size()); }

// Work over a megabyte that grows with its length takes less than a tenth of this, under a sanitizer about
// half; work that grows with the square of the length takes minutes.
inline void expectQuick(const char* name, const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << name;
}

}  // namespace pellam::testing_support
