#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "platform/property_list.h"

namespace pellam {
namespace {

std::string problem(std::string_view text) {
  try {
    (void)readPropertyList({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return "accepted";
  } catch (const PropertyListReadError& error) {
    return error.what();
  }
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t index = 0; index < count; ++index) result += text;
  return result;
}

// A binary list of objects given by their bytes, with one-byte offsets unless told otherwise.
std::string binary(const std::vector<std::string>& objects, std::size_t referenceSize = 1) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += static_cast<char>(bytes.size() >> 8);
    table += static_cast<char>(bytes.size() & 0xFF);
    bytes += object;
  }
  const std::size_t tableStart = bytes.size();
  const auto number = [](std::size_t value) {
    std::string text;
    for (int shift = 56; shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 0xFF);
    return text;
  };
  return bytes + table + std::string(6, '\0') + '\2' + static_cast<char>(referenceSize) +
         number(objects.size()) + number(0) + number(tableStart);
}

using std::string_literals::operator""s;

TEST(PropertyListHostileTest, RefusesMalformedXMLSayingWhatAndWhere) {
  const struct {
    std::string document;
    const char* problem;
  } rows[] = {
      {"", "the property list is empty"},
      {"<plist></plist>", "the property list holds no value on line 1"},
      {"<plist/>", "the property list holds no value on line 1"},
      {"<plist><true/>\n<true/></plist>", "the property list holds more than one value on line 2"},
      {"<plist><true/></plist>\n<plist><true/></plist>",
       "content after the end of the property list on line 2"},
      {"<plist><true/></plist>x", "content after the end of the property list on line 1"},
      {"<dict><key>a</key></dict>", "a key without a value in a dictionary on line 1"},
      {"<dict><key>a</key><key>b</key><true/></dict>", "a key outside a dictionary on line 1"},
      {"<dict><true/></dict>", "a value without a key in a dictionary on line 1"},
      {"<array><string>a</array>", "\"</string>\" is missing on line 1"},
      {"<array><true/>", "unexpected end on line 1"},
      {"<string>a", "\"</string>\" is missing on line 1"},
      {"<string>a<b/></string>", "an element inside a text on line 1"},
      {"<array>x</array>", "text where an element should begin on line 1"},
      {"<bogus/>", "unknown element \"bogus\" on line 1"},
      {"<integer/>", "an empty integer on line 1"},
      {"<integer> </integer>", "an empty integer on line 1"},
      {"<integer>12a</integer>", "an integer that is no number of 64 bits on line 1"},
      {"<integer>18446744073709551616</integer>", "an integer that is no number of 64 bits on line 1"},
      {"<integer>-0x8000000000000001</integer>", "an integer that is no number of 64 bits on line 1"},
      {"<integer>0x</integer>", "an integer that is no number of 64 bits on line 1"},
      {"<real/>", "a real that is no number on line 1"},
      {"<real>1,5</real>", "a real that is no number on line 1"},
      {"<date>2023-02-30T00:00:00Z</date>", "a date that is not of the form YYYY-MM-DDThh:mm:ssZ on line 1"},
      {"<data>AQ=</data>", "data that is not base 64 on line 1"},
      {"<data>A*==</data>", "data that is not base 64 on line 1"},
      {"<true>x</true>", "a boolean that is not empty on line 1"},
      {"<string>&nbsp;</string>", "an entity that is not predefined on line 1"},
      {"<string>&#xD800;</string>", "a reference to no character on line 1"},
      {"<string>&#1114112;</string>", "a reference to no character on line 1"},
      {"<string>a & b</string>", "unterminated reference on line 1"},
      {"<!DOCTYPE plist [\n<!ENTITY a \"b\">]><plist><string>&a;</string></plist>",
       "entity declarations are not allowed on line 2"},
      {"<!-- <plist>", "unterminated comment on line 1"},
      {"<?xml version='1.0' encoding='EBCDIC'?><true/>", "unsupported encoding \"ebcdic\""},
      {"<string>\xFF</string>", "the text is not valid UTF-8"},
      {"\xFE\xFF\0<\xD8\0\0>"s, "unpaired surrogate in UTF-16 text at offset 2"},
      {"\xFE\xFF\0<\0"s, "UTF-16 text with an odd number of bytes"},
  };
  for (const auto& row : rows) EXPECT_EQ(problem(row.document), row.problem) << row.document;
}

TEST(PropertyListHostileTest, RefusesMalformedOldStyle) {
  const struct {
    std::string document;
    const char* problem;
  } rows[] = {
      {"not a list at all", "\";\" is missing after a dictionary's value on line 1"},
      {"{ a = b }", "\";\" is missing after a dictionary's value on line 1"},
      {"{ a = b; ", "\"}\" is missing on line 1"},
      {"(a b)", "\",\" or \")\" is missing in an array on line 1"},
      {"(a,", "unexpected end on line 1"},
      {"\"a", "unterminated string on line 1"},
      {"<0>", "data that is not pairs of hexadecimal digits on line 1"},
      {"\"\\Uzz\"", "an escape without digits on line 1"},
      {"\"\\UD800\"", "unpaired surrogate in an escape on line 1"},
      {"{} {}", "content after the end of the property list on line 1"},
      {"a = b;\n}", "\"}\" without \"{\" on line 2"},
      {"/* ", "unterminated comment on line 1"},
      {"a = ;", "a value should begin here on line 1"},
  };
  for (const auto& row : rows) EXPECT_EQ(problem(row.document), row.problem) << row.document;
}

TEST(PropertyListHostileTest, RefusesMalformedBinary) {
  const struct {
    const char* name;
    std::string document;
    const char* problem;
  } rows[] = {
      {"sound",
       binary({"\xD1\x01\x02",
               "\x51"
               "a",
               "\x10\x05"}),
       "accepted"},
      {"short", "bplist00", "truncated binary property list at offset 8"},
      {"key of another type", binary({"\xD1\x01\x02", "\x10\x05", "\x10\x05"}),
       "a key that is not a string at offset 11"},
      {"reference out of range", binary({"\xA1\x07"}), "reference out of range at offset 9"},
      {"array beyond the objects", binary({"\xAE\x01"}), "truncated object at offset 8"},
      {"count without number",
       binary({"\x5F\x51"
               "a"}),
       "impossible count of an object at offset 8"},
      {"huge count", binary({"\xAF\x13\x40\0\0\0\0\0\0\1"s}), "truncated object at offset 8"},
      {"null", binary({"\0"s}), "unknown object at offset 8"},
      {"set", binary({"\xC0"}), "unknown object at offset 8"},
      {"integer of 32 bytes", binary({"\x15" + std::string(32, '\0')}),
       "an integer of unknown size at offset 8"},
      {"integer beyond 64 bits", binary({"\x14" + std::string(16, '\1')}),
       "an integer beyond 64 bits at offset 8"},
      {"date that is no number", binary({"\x33\x7F\xF8\0\0\0\0\0\0"s}),
       "a date that is no number at offset 8"},
      {"date of four bytes", binary({"\x32\0\0\0\0"s}), "a date of unknown size at offset 8"},
      {"byte outside ASCII", binary({"\x51\xE9"}), "a byte outside ASCII in an ASCII string at offset 8"},
      {"unpaired surrogate", binary({"\x61\xD8\0"s}), "unpaired surrogate in a string at offset 8"},
      {"cycle", binary({"\xA1\0"s}), "nested more than 128 levels deep at offset 8"},
  };
  for (const auto& row : rows) EXPECT_EQ(problem(row.document), row.problem) << row.name;

  // Damage to the trailer and to the offset table of a sound list of one array with one string.
  const std::string sound = binary({"\xA1\x01",
                                    "\x52"
                                    "ab"});
  const std::size_t table = sound.size() - 32 - 4;
  const struct {
    std::size_t place;
    char byte;
    const char* problem;
  } damages[] = {
      {sound.size() - 26, '\0', "impossible sizes in the trailer at offset 23"},
      {sound.size() - 25, '\x9', "impossible sizes in the trailer at offset 23"},
      {sound.size() - 17, '\3', "offset table of the wrong length at offset 25"},
      {sound.size() - 9, '\2', "root object out of range at offset 33"},
      {sound.size() - 1, '\xF0', "offset table out of range at offset 41"},
      {sound.size() - 1, '\4', "offset table out of range at offset 41"},
      {table + 1, '\x7F', "object out of range at offset 127"},
      {table + 3, '\x8', "overlapping objects at offset 8"},
  };
  for (const auto& damage : damages) {
    std::string damaged = sound;
    damaged[damage.place] = damage.byte;
    EXPECT_EQ(problem(damaged), damage.problem) << damage.place;
  }
}

TEST(PropertyListHostileTest, NestingEndsAtItsLimit) {
  const auto xml = [](std::size_t depth) { return repeated("<array>", depth) + repeated("</array>", depth); };
  const auto oldStyle = [](std::size_t depth) { return repeated("(", depth) + repeated(")", depth); };
  EXPECT_EQ(problem(xml(128)), "accepted");
  EXPECT_EQ(problem(xml(129)), "nested more than 128 levels deep on line 1");
  EXPECT_EQ(problem(xml(100'000)), "nested more than 128 levels deep on line 1");
  EXPECT_EQ(problem(repeated("<dict><key>a</key>", 100'000)), "nested more than 128 levels deep on line 1");
  EXPECT_EQ(problem(oldStyle(128)), "accepted");
  EXPECT_EQ(problem(oldStyle(100'000)), "nested more than 128 levels deep on line 1");
  EXPECT_EQ(problem(repeated("{a=", 100'000)), "nested more than 128 levels deep on line 1");

  PropertyListValue deep = PropertyListArray{};
  for (int level = 1; level < 128; ++level) deep = PropertyListArray{std::move(deep)};
  EXPECT_EQ(readPropertyList(writeBinaryPropertyList(deep)), deep);
  deep = PropertyListDictionary{{"a", std::move(deep)}};
  EXPECT_THROW((void)writeBinaryPropertyList(deep), std::invalid_argument);
  EXPECT_THROW((void)writeXMLPropertyList(deep), std::invalid_argument);
}

// Forty arrays, each holding the next one 15 times: a kilobyte that stands for 15 to the power of 40 values.
TEST(PropertyListHostileTest, SharedObjectsCannotExpandWithoutBound) {
  std::vector<std::string> objects;
  for (int level = 1; level <= 40; ++level)
    objects.push_back("\xAE" + std::string(14, static_cast<char>(level)));
  objects.push_back(
      "\x51"
      "a");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_NE(problem(binary(objects)).find("shared objects expand beyond the limit at offset "),
            std::string::npos);
  // The same with 20,000 bytes, where the bytes explode rather than the values. Texts share their memory and
  // may be repeated more often; only reading them again and again has its limit.
  const auto nested = [](int levels, const std::string& innermost) {
    std::vector<std::string> lists;
    for (int level = 1; level <= levels; ++level)
      lists.push_back("\xAE" + std::string(14, static_cast<char>(level)));
    lists.push_back(innermost);
    return problem(binary(lists));
  };
  const std::string bytes = "\x11\x4E\x20" + std::string(20'000, 'x');
  EXPECT_EQ(nested(3, "\x4F" + bytes), "shared objects expand beyond the limit at offset 53");
  EXPECT_EQ(nested(3, "\x5F" + bytes), "accepted");
  EXPECT_EQ(nested(4, "\x5F" + bytes), "shared objects expand beyond the limit at offset 68");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

// No damage may crash, hang or read beyond the buffer; the sanitizer builds make this test sharp.
TEST(PropertyListHostileTest, DamagedListsAreReadOrRefused) {
  const PropertyListValue value = PropertyListArray{
      PropertyListDictionary{
          {"a", 1}, {"é", PropertyListData{1, 2, 3}}, {"c", PropertyListArray{true, 1.5, Date()}}},
      "text"};
  const std::vector<std::uint8_t> bytes = writeBinaryPropertyList(value);
  const std::string documents[] = {std::string(bytes.begin(), bytes.end()), writeXMLPropertyList(value),
                                   "{ a = (1, <0102>); \"b\\n\" = c; /* x */ }"};
  std::mt19937 random(7);
  int refusals = 0;
  for (const std::string& document : documents) {
    for (int round = 0; round < 4000; ++round) {
      std::string damaged = document;
      for (auto change = random() % 3 + 1; change > 0; --change) {
        damaged[random() % damaged.size()] = static_cast<char>(random());
      }
      if (random() % 4 == 0) damaged.resize(random() % damaged.size());
      if (problem(damaged) != "accepted") ++refusals;
    }
  }
  EXPECT_GT(refusals, 6000);
}

}  // namespace
}  // namespace pellam
