#include <gtest/gtest.h>

#include <charconv>
#include <cmath>

#include "foundation/date_text.h"
#include "foundation/decimal.h"
#include "foundation/diagnostic_log.h"
#include "foundation/real_number.h"
#include "foundation/safe_text.h"
#include "pellam/logger.h"
#include "pellam/url.h"

namespace pellam {
namespace {

TEST(ValueTextsTest, DatesRoundTrip) {
  for (const char* text :
       {"0001-01-01T00:00:00Z", "1969-12-31T23:59:59Z", "2024-02-29T12:00:01Z", "9999-12-31T23:59:59Z"}) {
    const std::optional<Date> date = parseISO8601(text);
    ASSERT_TRUE(date) << text;
    EXPECT_EQ(iso8601Text(*date), text);
  }
  EXPECT_EQ(parseISO8601("0001-01-01T00:00:00Z"), distantPast);
  EXPECT_EQ(iso8601Text(Date(std::chrono::microseconds(-1))), "1969-12-31T23:59:59Z");
  EXPECT_EQ(iso8601Text(Date::max()), "294247-01-10T04:00:54Z");
  EXPECT_EQ(iso8601Text(Date::min()), "-290308-12-21T19:59:05Z");
  EXPECT_EQ(parseISO8601("1970-01-01T00:00:00.25Z"), Date(std::chrono::milliseconds(250)));
  for (const char* text :
       {"", "2024-02-30T00:00:00Z", "2024-13-01T00:00:00Z", "2024-01-01T24:00:00Z", "2024-01-01T00:60:00Z",
        "2024-01-01T00:00:60Z", "2024-01-01T00:00:00", "2024-01-01T00:00:00z", "2024-01-01 00:00:00Z",
        "24-01-01T00:00:00Z", "0000-01-01T00:00:00Z", "2024-01-01T00:00:00.Z", "2024-01-01T00:00:00ZZ",
        "2024-01-01T00:00:00.1234567Z"}) {
    EXPECT_EQ(parseISO8601(text), std::nullopt) << text;
  }
}

TEST(ValueTextsTest, DecimalsAreWholeTexts) {
  const struct {
    const char* text;
    std::optional<std::int64_t> value;
  } rows[] = {{"+42", 42},
              {"-3", -3},
              {"007", 7},
              {"-0", 0},
              {"9223372036854775807", INT64_MAX},
              {"-9223372036854775808", INT64_MIN},
              {"9223372036854775808", std::nullopt},
              {"42a", std::nullopt},
              {"", std::nullopt},
              {"+", std::nullopt},
              {"-", std::nullopt},
              {"+-1", std::nullopt},
              {"--1", std::nullopt},
              {" 1", std::nullopt},
              {"1 ", std::nullopt},
              {"0x10", std::nullopt},
              {"1.0", std::nullopt}};
  for (const auto& row : rows) EXPECT_EQ(parseDecimal<std::int64_t>(row.text), row.value) << row.text;
  EXPECT_EQ(parseDecimal<std::uint32_t>("4294967296"), std::nullopt);
  EXPECT_EQ(parseDecimal<std::uint32_t>("-1"), std::nullopt);
  EXPECT_EQ(parseDecimal<std::uint32_t>("-0"), 0U);
}

TEST(ValueTextsTest, AddressesAreTakenApart) {
  const struct {
    const char* text;
    const char* scheme;
    const char* host;
    const char* lastPathComponent;
    const char* publicText;
  } rows[] = {
      {"HTTPS://User@Example.com:8443/a/b%20c.zip?x=1#y", "https", "Example.com", "b c.zip",
       "HTTPS://Example.com:8443/a/b%20c.zip"},
      {"https://a:b@[2001:db8::1]:80/x@/?//@", "https", "[2001:db8::1]", "x@",
       "https://[2001:db8::1]:80/x@/"},
      {"https://example.com", "https", "example.com", "", "https://example.com"},
      {"https://a@example.com#b", "https", "example.com", "", "https://example.com"},
      {"https://example.com/", "https", "example.com", "/", "https://example.com/"},
      {"file.zip", "", "", "file.zip", "file.zip"},
      {"mailto:a@b.c", "mailto", "", "a@b.c", "mailto:a@b.c"},
  };
  for (const auto& row : rows) {
    const std::optional<URL> url = URL::parse(row.text);
    ASSERT_TRUE(url) << row.text;
    EXPECT_EQ(url->text(), row.text);
    EXPECT_EQ(url->scheme(), row.scheme);
    EXPECT_EQ(url->host(), row.host) << row.text;
    EXPECT_EQ(url->lastPathComponent(), row.lastPathComponent) << row.text;
    EXPECT_EQ(url->publicText(), row.publicText);
  }
  for (const char* text : {"", "https://exa mple.com", "https://e.com/%zz", "https://e.com:8x/",
                           "https://[::1/", "1s://a", "https://e.com/<a>", "https://e.com/é", "://a"}) {
    EXPECT_FALSE(URL::parse(text)) << text;
  }
  const std::pair<const char*, const char*> lenient[] = {
      {"https://[::1]:80/a[1]?b|c[]=%zz%2f^#d#{e}%",
       "https://[::1]:80/a%5B1%5D?b%7Cc%5B%5D=%25zz%2f%5E#d%23%7Be%7D%25"},
      {"https://e.com/a?b=c#d", "https://e.com/a?b=c#d"},
      {"foo:x?u=://[y]", "foo:x?u=://%5By%5D"},
      {"/\xc3\xa9 <\"", "/%C3%A9%20%3C%22"},
  };
  for (const auto& [text, encoded] : lenient) {
    ASSERT_TRUE(URL::parseLeniently(text)) << text;
    EXPECT_EQ(URL::parseLeniently(text)->text(), encoded);
  }
  for (const char* text : {"", "https://[::1/", "https://e.com:8x/"})
    EXPECT_FALSE(URL::parseLeniently(text)) << text;
}

TEST(ValueTextsTest, TextsFromOutsideStayOnTheirLine) {
  const struct {
    std::string_view text;
    std::string_view diagnostic;
    std::string_view visible;
  } rows[] = {
      {"a\r\nb", "a\\r\\nb", "a\\r\\nb"},
      {"\x1b[31m\x07\t\x7f", "\x1b[31m\x07\t\x7f", "\\u{1b}[31m\\u{7}\\u{9}\\u{7f}"},
      {"\u0080\u0085\u009B2J\u00A0", "\u0080\u0085\u009B2J\u00A0", "\\u{80}\\u{85}\\u{9b}2J\u00A0"},
      {"\u202Egpj.exe\u2066\u200F\u061C", "\u202Egpj.exe\u2066\u200F\u061C",
       "\\u{202e}gpj.exe\\u{2066}\\u{200f}\\u{61c}"},
      {"a\u2028b\u2029", "a\u2028b\u2029", "a\\u{2028}b\\u{2029}"},
      {"\x9b\xe2\x80", "\x9b\xe2\x80", "\uFFFD\uFFFD"},
      {std::string_view("\0", 1), std::string_view("\0", 1), "\\u{0}"},
      {"Größe 😀 \\ %", "Größe 😀 \\ %", "Größe 😀 \\ %"},
      {"", "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(escapedLineBreaks(row.text), row.diagnostic);
    EXPECT_EQ(visibleText(row.text), row.visible);
    EXPECT_EQ(visibleText(visibleText(row.text)), row.visible);
  }
  std::string written;
  const DiagnosticLog log = [&](const std::string& line) { written += line + "\n"; };
  log("path=a\nb");
  DiagnosticLog([&](const std::string& line) { log("again " + line); })("c\rd");
  EXPECT_EQ(written, "path=a\\nb\nagain c\\rd\n");
  DiagnosticLog()("to nobody");
}

TEST(ValueTextsTest, LoggersDeferTheirMessages) {
  class Recorder final : public PellamLogger {
   public:
    void log(const Message& message, PellamLogLevel level, std::string_view category) override {
      if (level >= PellamLogLevel::warn)
        lines += std::to_string(static_cast<int>(level)) + std::string(category) + message();
    }
    std::string lines;
  };
  int evaluations = 0;
  const PellamLogger::Message message = [&] { return std::to_string(++evaluations); };
  Recorder recorder;
  PellamNoopLogger silent;
  for (PellamLogger* logger : {static_cast<PellamLogger*>(&recorder), static_cast<PellamLogger*>(&silent)}) {
    logger->debug(message, "d");
    logger->info(message, "i");
    logger->warn(message, "w");
    logger->error(message, "e");
  }
  EXPECT_EQ(recorder.lines, "2w13e2");
  EXPECT_EQ(evaluations, 2);
  EXPECT_EQ(logLevelFromRawValue(3), PellamLogLevel::error);
  EXPECT_EQ(logLevelFromRawValue(4), std::nullopt);
  EXPECT_EQ(logLevelFromRawValue(-1), std::nullopt);
}

// The reference reads bytes as the standard says, and is there on one of the two systems alone.
TEST(ValueTextsTest, RealsAreReadAsTheStandardReadsThem) {
  for (const std::string_view text : {"0",
                                      "-0",
                                      "1",
                                      "-1.5",
                                      ".5",
                                      "5.",
                                      "1e3",
                                      "1E-3",
                                      "1e+3",
                                      "-inf",
                                      "INFINITY",
                                      "4.9e-324",
                                      "1.7976931348623157e308",
                                      "0.1",
                                      "123456789012345678901234567890",
                                      "0e99999",
                                      "",
                                      "-",
                                      ".",
                                      "+1",
                                      "--1",
                                      "1e",
                                      "1e+",
                                      "e3",
                                      "1.2.3",
                                      " 1",
                                      "1 ",
                                      "0x10",
                                      "1,5",
                                      "1e400",
                                      "-1e400",
                                      "1e-400",
                                      "infin",
                                      "1f",
                                      "\u0661"}) {
    double expected = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), expected);
    const bool isReal = error == std::errc() && end == text.data() + text.size() && !text.empty();
    const std::optional<double> value = parseReal(text);
    EXPECT_EQ(value.has_value(), isReal) << text;
    if (value && isReal) {
      EXPECT_EQ(*value, expected) << text;
      EXPECT_EQ(std::signbit(*value), std::signbit(expected)) << text;
    }
  }
  EXPECT_TRUE(std::isnan(parseReal("nan").value()));
}

}  // namespace
}  // namespace pellam
