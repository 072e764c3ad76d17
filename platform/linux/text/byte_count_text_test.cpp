#include <gtest/gtest.h>
#include <unicode/uloc.h>

#include <string>

#include "text/unicode_text.h"

namespace pellam::text {
namespace {

TEST(ByteCountTextTest, FileSizesReadAsThePlatformShowsThem) {
  const std::string before = uloc_getDefault();
  struct Row {
    const char* locale;
    long long bytes;
    const char* text;
  };
  const Row rows[] = {
      {"en_US", 0, "Zero KB"},
      {"en_US", 1, "1 byte"},
      {"en_US", 999, "999 bytes"},
      {"en_US", 1000, "1 KB"},
      {"en_US", 1200, "1 KB"},
      {"en_US", 12'345, "12 KB"},
      {"en_US", 999'499, "999 KB"},
      {"en_US", 999'500, "1.0 MB"},
      {"en_US", 12'000'000, "12.0 MB"},
      {"en_US", 315'260'000, "315.3 MB"},
      {"en_US", 1'200'000'000, "1.20 GB"},
      {"en_US", 1'234'000'000'000, "1.23 TB"},
      {"en_US_POSIX", 1'200'000'000, "1.20 GB"},
      {"de_DE", 0, "Null KB"},
      {"de_DE", 12'300'000, "12,3 MB"},
      {"de_DE", 2, "2 Byte"},
  };
  for (const Row& row : rows) {
    UErrorCode status = U_ZERO_ERROR;
    uloc_setDefault(row.locale, &status);
    std::string text = fileByteCount(row.bytes);
    // German sets the unit apart with a no-break space.
    if (const auto place = text.find("\u00A0"); place != std::string::npos) text.replace(place, 2, " ");
    EXPECT_EQ(text, row.text) << row.locale;
  }
  UErrorCode status = U_ZERO_ERROR;
  uloc_setDefault(before.c_str(), &status);
}

}  // namespace
}  // namespace pellam::text
