#include <array>
#include <cmath>

#include <unicode/ucasemap.h>
#include <unicode/uloc.h>
#include <unicode/unum.h>
#include <unicode/unumberformatter.h>

#include "platform/linux/text/icu_strings.h"
#include "text/unicode_text.h"

namespace pellam::text {

namespace {

struct Unit {
  double bytes;
  int fractionDigits;
  std::u16string_view skeleton;
};

constexpr std::array<Unit, 6> units{{
    {1, 0, u"measure-unit/digital-byte unit-width-full-name precision-integer"},
    {1e3, 0, u"measure-unit/digital-kilobyte unit-width-short precision-integer"},
    {1e6, 1, u"measure-unit/digital-megabyte unit-width-short .0"},
    {1e9, 2, u"measure-unit/digital-gigabyte unit-width-short .00"},
    {1e12, 2, u"measure-unit/digital-terabyte unit-width-short .00"},
    {1e15, 2, u"measure-unit/digital-petabyte unit-width-short .00"},
}};

// The formatters of the user's locale, made once per thread and locale: a download asks for every chunk.
class ByteCountFormatter {
 public:
  explicit ByteCountFormatter(std::string locale) : locale_(std::move(locale)) {}
  [[nodiscard]] const std::string& locale() const { return locale_; }

  [[nodiscard]] std::string text(double number, std::size_t unit) {
    UErrorCode status = U_ZERO_ERROR;
    auto& formatter = formatters_[unit];
    if (formatter == nullptr) {
      const std::u16string_view skeleton = units[unit].skeleton;
      // The POSIX variant of English has no grouping and its own number symbols.
      const char* name = locale_ == "en_US_POSIX" ? "en_US" : locale_.c_str();
      formatter.reset(
          unumf_openForSkeletonAndLocale(skeleton.data(), icu::length(skeleton.size()), name, &status));
    }
    const icu::Owned<UFormattedNumber, unumf_closeResult> result(unumf_openResult(&status));
    unumf_formatDouble(formatter.get(), number, result.get(), &status);
    std::string text = icu::toUTF8(icu::filled([&](char16_t* buffer, std::int32_t size, UErrorCode* error) {
      return unumf_resultToString(result.get(), buffer, size, error);
    }));
    // The platform writes the kilobyte of its own tables with a capital letter.
    if (const std::size_t place = text.find("kB"); place != std::string::npos) text[place] = 'K';
    return text;
  }

  // Nothing at all is spelled out: "Zero KB".
  [[nodiscard]] std::string zeroText() {
    std::string text = this->text(0, 1);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Owned<UNumberFormat, unum_close> speller(
        unum_open(UNUM_SPELLOUT, nullptr, 0, locale_.c_str(), nullptr, &status));
    const std::string word =
        icu::toUTF8(icu::filled([&](char16_t* buffer, std::int32_t size, UErrorCode* error) {
          return unum_format(speller.get(), 0, buffer, size, nullptr, error);
        }));
    const icu::Owned<UCaseMap, ucasemap_close> map(ucasemap_open(locale_.c_str(), 0, &status));
    std::array<char, 64> title{};
    const std::int32_t size =
        ucasemap_utf8ToTitle(map.get(), title.data(), 64, word.data(), icu::length(word.size()), &status);
    const std::size_t digit = text.find('0');
    if (U_FAILURE(status) || size <= 0 || digit == std::string::npos) return text;
    return text.replace(digit, 1, std::string_view(title.data(), static_cast<std::size_t>(size)));
  }

 private:
  std::string locale_;
  std::array<icu::Owned<UNumberFormatter, unumf_close>, units.size()> formatters_;
};

ByteCountFormatter& currentFormatter() {
  thread_local ByteCountFormatter formatter{uloc_getDefault()};
  if (formatter.locale() != uloc_getDefault()) formatter = ByteCountFormatter(uloc_getDefault());
  return formatter;
}

}  // namespace

std::string fileByteCount(long long bytes) {
  ByteCountFormatter& formatter = currentFormatter();
  if (bytes == 0) return formatter.zeroText();
  const auto size = static_cast<double>(bytes);
  // The smallest unit in which the rounded number stays below 1,000.
  for (std::size_t unit = 0;; ++unit) {
    const double number = size / units[unit].bytes;
    const double scale = std::pow(10.0, units[unit].fractionDigits);
    if (unit + 1 == units.size() || std::round(std::abs(number) * scale) < 1000 * scale) {
      return formatter.text(number, unit);
    }
  }
}

}  // namespace pellam::text
