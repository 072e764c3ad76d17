#include "platform/property_list.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

namespace pellam {
namespace {

PropertyListValue read(std::string_view text) {
  return readPropertyList({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

std::string utf16(std::u16string_view text, bool bigEndian) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit & 0xFF);
    bytes += bigEndian ? std::string{high, low} : std::string{low, high};
  }
  return bytes;
}

const Date someDay = Date(std::chrono::seconds(1'700'000'000));

// The bytes that other readers of the form expect.
TEST(PropertyListTest, BinaryFormIsExact) {
  const PropertyListValue value = PropertyListDictionary{{"a", "é"}, {"b", PropertyListArray{"a", 300, -1}}};
  const std::string expected(
      "bplist00"
      "\xD2\x01\x02\x03\x04"
      "\x51"
      "a"
      "\x51"
      "b"
      "\x61\x00\xE9"
      "\xA3\x01\x05\x06"
      "\x11\x01\x2C"
      "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
      "\x08\x0D\x0F\x11\x14\x18\x1B"
      "\0\0\0\0\0\0\x01\x01"
      "\0\0\0\0\0\0\0\x07"
      "\0\0\0\0\0\0\0\0"
      "\0\0\0\0\0\0\0\x24",
      8 + 5 + 2 + 2 + 3 + 4 + 3 + 9 + 7 + 32);
  const std::vector<std::uint8_t> bytes = writeBinaryPropertyList(value);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), expected);
}

TEST(PropertyListTest, XMLFormIsExact) {
  const PropertyListValue value =
      PropertyListDictionary{{"a", PropertyListArray{1, "<&>", true}}, {"d", PropertyListData{1}}};
  EXPECT_EQ(writeXMLPropertyList(value), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>a</key>
	<array>
		<integer>1</integer>
		<string>&lt;&amp;&gt;</string>
		<true/>
	</array>
	<key>d</key>
	<data>
	AQ==
	</data>
</dict>
</plist>
)");
}

TEST(PropertyListTest, ReadsXMLAsFoundInTheWild) {
  const struct {
    const char* name;
    std::string document;
    PropertyListValue value;
  } rows[] = {
      {"no declaration, no plist element", "<string>a</string>", "a"},
      {"byte-order mark", "\xEF\xBB\xBF<?xml version=\"1.0\"?><plist><string>é</string></plist>", "é"},
      {"UTF-16 little endian with mark", "\xFF\xFE" + utf16(u"<plist><string>é😀</string></plist>", false),
       "é😀"},
      {"UTF-16 big endian without mark", utf16(u"<plist><string>é</string></plist>", true), "é"},
      {"Latin 1", "<?xml version='1.0' encoding='ISO-8859-1'?><string>\xE9</string>", "é"},
      {"comments everywhere",
       "<!-- a --><plist><!-- <b> --><array><!----><string>x<!-- y -->z</string></array></plist><!-- end -->",
       PropertyListArray{"xz"}},
      {"references", "<string>&lt;&gt;&amp;&quot;&apos;&#65;&#x1F600;</string>", "<>&\"'A😀"},
      {"CDATA", "<string>a<![CDATA[<b>&amp;]]>]c</string>", "a<b>&amp;]c"},
      {"raw control characters",
       "<string>a\x01\x1F\x0C"
       "b</string>",
       "a\x01\x1F\x0C"
       "b"},
      {"line ends are kept", "<string>a\r\nb</string>", "a\r\nb"},
      {"attributes and spaces in tags", "<plist version='1.0' ><string a=\"x>y\" >a</string ></plist >", "a"},
      {"hexadecimal", "<array><integer>0xFf</integer><integer>-0x10</integer></array>",
       PropertyListArray{255, -16}},
      {"signs and spaces", "<array><integer> +5 </integer><integer>-0</integer></array>",
       PropertyListArray{5, 0}},
      {"64 bits",
       "<array><integer>-9223372036854775808</integer><integer>0xFFFFFFFFFFFFFFFF</integer></array>",
       PropertyListArray{std::numeric_limits<std::int64_t>::min(),
                         std::numeric_limits<std::uint64_t>::max()}},
      {"reals", "<array><real>1e3</real><real>-inf</real><real>+infinity</real></array>",
       PropertyListArray{1000.0, -HUGE_VAL, HUGE_VAL}},
      {"data with line ends", "<data>\n\tAQID\n\tBA==\n</data>", PropertyListData{1, 2, 3, 4}},
      {"date", "<date>2023-11-14T22:13:20Z</date>", someDay},
      {"empty elements", "<array><dict/><array/><string/><data/></array>",
       PropertyListArray{PropertyListDictionary{}, PropertyListArray{}, "", PropertyListData{}}},
      {"a repeated key counts once, the last", "<dict><key>a</key><true/><key>a</key><false/></dict>",
       PropertyListDictionary{{"a", false}}},
      {"document type with declarations",
       "<!DOCTYPE plist [<!ELEMENT plist ANY> <!-- ]> --> <!ATTLIST plist v CDATA "
       "\"]>\">]><plist><true/></plist>",
       true},
  };
  for (const auto& row : rows) EXPECT_EQ(read(row.document), row.value) << row.name;
}

// Whoever writes a date must not lose the whole list when it is read.
TEST(PropertyListTest, EveryDateThatIsWrittenIsRead) {
  for (const Date date : {Date::max(), Date::min(), distantPast}) {
    EXPECT_EQ(readPropertyList(writeBinaryPropertyList(date)), PropertyListValue(date))
        << date.time_since_epoch().count();
  }
  EXPECT_EQ(read(writeXMLPropertyList(distantPast)), PropertyListValue(distantPast));
  for (const Date date : {Date::max(), Date::min(), distantPast - std::chrono::microseconds(1)}) {
    try {
      (void)writeXMLPropertyList(date);
      ADD_FAILURE() << date.time_since_epoch().count();
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), "a date outside the years 1 to 9999");
    }
  }
}

// Writers keep equal texts once; reading them back must not make a copy for every place.
TEST(PropertyListTest, TextsThatTheBinaryFormSharesAreSharedInMemory) {
  PropertyListArray entries;
  for (int index = 0; index < 3000; ++index) {
    entries.emplace_back(PropertyListDictionary{{"id", index}, {"notes", std::string(10'000, 'n')}});
  }
  const PropertyListValue list = readPropertyList(writeBinaryPropertyList(entries));
  EXPECT_EQ(list, PropertyListValue(entries));
  std::set<const char*> places;
  for (const PropertyListValue& entry : *list.array()) {
    places.insert(entry.dictionary()->findString("notes")->view().data());
  }
  EXPECT_LE(places.size(), 2U);
}

TEST(PropertyListTest, ReadsTheOldStyle) {
  const struct {
    const char* name;
    std::string document;
    PropertyListValue value;
  } rows[] = {
      {"dictionary", "{ a = b; \"c d\" = (1, (x), ); e = {}; }",
       PropertyListDictionary{{"a", "b"},
                              {"c d", PropertyListArray{"1", PropertyListArray{"x"}}},
                              {"e", PropertyListDictionary{}}}},
      {"data", "<0fbd 77>", PropertyListData{0x0F, 0xBD, 0x77}},
      {"empty data", " < > ", PropertyListData{}},
      {"one word", "hello", "hello"},
      {"strings table",
       "/* Prompt */\n\"Install\" = \"Installieren\";\n// next\n\"100 %\" = "
       "\"a\\\"b\\n\\U00e9\\341\\\\\";\nplain;\n",
       PropertyListDictionary{{"Install", "Installieren"}, {"100 %", "a\"b\né\u00C6\\"}, {"plain", "plain"}}},
      {"surrogates in escapes", "\"\\UD83D\\UDE00\"", "😀"},
      {"quotes of the other kind", "'a\"b'", "a\"b"},
      {"an address without quotes", "{u = http://a.b/c;}", PropertyListDictionary{{"u", "http://a.b/c"}}},
      {"only comments", " // nothing", PropertyListDictionary{}},
      {"UTF-16 strings table", "\xFE\xFF" + utf16(u"\"ä\" = \"ö\";", true),
       PropertyListDictionary{{"ä", "ö"}}},
  };
  for (const auto& row : rows) EXPECT_EQ(read(row.document), row.value) << row.name;
}

}  // namespace
}  // namespace pellam
