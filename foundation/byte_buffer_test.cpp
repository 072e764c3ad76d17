#include "foundation/byte_buffer.h"

#include <gtest/gtest.h>

#include <new>

namespace pellam {
namespace {

TEST(ByteBufferTest, GrowsAndMoves) {
  ByteBuffer buffer;
  std::string expected;
  for (int index = 0; index < 2000; ++index) {
    const std::string piece(static_cast<std::size_t>(index % 7), static_cast<char>('a' + index % 26));
    buffer.append(piece);
    expected += piece;
  }
  EXPECT_EQ(buffer.text(), expected);
  ByteBuffer moved(std::move(buffer));
  EXPECT_EQ(moved.text(), expected);
  buffer = ByteBuffer(std::string_view("x"));
  EXPECT_EQ(buffer.text(), "x");
  buffer = std::move(moved);
  EXPECT_EQ(buffer, ByteBuffer(expected));
}

TEST(ByteBufferTest, RefusedGrowthKeepsTheContent) {
  ByteBuffer buffer{std::string_view("kept")};
  EXPECT_THROW(buffer.reserve(SIZE_MAX / 2), std::bad_alloc);
  EXPECT_EQ(buffer.text(), "kept");
  buffer.append(std::string_view());
  EXPECT_EQ(buffer.size(), 4U);
}

}  // namespace
}  // namespace pellam
