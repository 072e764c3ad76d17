#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "formats/property_list/nesting_guard.h"
#include "tests/support/megabyte.h"

// What the bodies of a system need whose frameworks read lists recursively.
namespace pellam {
namespace {

using testing_support::megabyteOf;
using testing_support::repeated;

bool isDeep(const std::string& list) {
  return listNestsDeeperThan({reinterpret_cast<const std::uint8_t*>(list.data()), list.size()}, 128);
}

TEST(NestingGuardTest, SeesEveryNestingOfTheTextForms) {
  std::string wide;
  for (const char c : repeated("<array>", 129)) wide += std::string{'\0', c};
  const struct {
    const char* name;
    std::string text;
    bool isDeeper;
  } rows[] = {
      {"elements", repeated("<array>", 129), true},
      {"as many as allowed", repeated("<array>", 128) + repeated("</array>", 128), false},
      {"tags with spaces and attributes", repeated("<dict a='b' >", 129), true},
      {"one after the other", repeated("<array></array >", 5'000), false},
      {"empty elements", repeated("<array/>", 600) + repeated("<dict />", 600), false},
      {"empty elements do not hide those that follow", repeated("<array/>", 10) + repeated("<dict>", 129),
       true},
      {"two bytes for each character", wide, true},
      {"brackets", repeated("(", 129), true},
      {"braces", repeated("{a=", 129), true},
      {"a strings table", repeated("\"a (b)\" = \"c\";", 5'000), false},
      {"closing tags in comments", repeated("<array><!-- </array> -->", 129), true},
      {"closing tags in character data", repeated("<array><![CDATA[</array>]]>", 129), true},
      {"an empty element only by its looks", repeated("<array a='/>", 129), true},
      {"data before brackets", "(<00>," + repeated("(", 129), true},
      {"closing brackets in texts", repeated("(\")\\\")\",", 129), true},
      {"closing brackets in comments", repeated("(/* ) */// )\n", 129), true},
      {"slashes that begin no comment", repeated("(a//,", 129), true},
      {"quotes in comments", repeated("( // it's\n", 129), true},
      {"wide characters made of brackets", "\xff\xfe(" + std::string("\0", 1) + repeated("()))", 600), false},
      {"brackets in the texts of elements", "<string>" + repeated("(", 600) + "</string>", false},
      {"binary, and nothing behind it", "bplist00" + repeated("(", 600), false},
      {"nothing", "", false},
  };
  for (const auto& row : rows) EXPECT_EQ(isDeep(row.text), row.isDeeper) << row.name;
}

TEST(NestingGuardTest, LongListsTakeNoLongerThanTheirLength) {
  const struct {
    const char* name;
    std::string text;
    bool isDeeper;
  } rows[] = {
      {"tags without an end", "<x>" + megabyteOf("<"), false},
      {"tags with one end", "<x>" + megabyteOf("<") + "/>", false},
      {"tags with one end and a quote", "<x>" + megabyteOf("<x") + "'/>" + megabyteOf("<y") + "/>", false},
      {"empty containers with one end", "<x>" + megabyteOf("<dict ") + "/>", false},
      {"containers with a quote", "<x>'" + repeated("<dict ", 128) + "'/>", false},
      {"one more", "<x>'" + repeated("<dict ", 129) + "'/>", true},
      {"comments that do not begin", "<x>" + megabyteOf("<!-"), false},
      {"comments within comments", megabyteOf("/*"), false},
      {"slashes", megabyteOf(" / "), false},
  };
  for (const auto& row : rows) {
    testing_support::expectQuick(row.name, [&] { EXPECT_EQ(isDeep(row.text), row.isDeeper) << row.name; });
  }
}

// Big-endian, as binary lists write them.
std::string number(std::size_t value, int size) {
  std::string text;
  for (int place = size - 1; place >= 0; --place)
    text += static_cast<char>(value >> (8U * static_cast<unsigned>(place)));
  return text;
}

// A root that refers to each of many arrays. Their heads stand close behind each other, so that all of them
// claim the same long run of references.
std::string overlappingArrays(std::size_t arrays, std::size_t references) {
  std::string list = "bplist00";
  std::string table = number(list.size(), 4);
  list += "\xAF\x12" + number(arrays, 4);
  for (std::size_t index = 1; index <= arrays; ++index) list += number(index, 4);
  for (std::size_t index = 0; index < arrays; ++index) {
    table += number(list.size(), 4);
    list += "\xAF\x12" + number(references, 4);
  }
  for (std::size_t index = 0; index < references + 2 * arrays; ++index) list += number(arrays + 1, 4);
  table += number(list.size(), 4);
  list += '\x09';
  const std::size_t tableOffset = list.size();
  return list + table + std::string(6, '\0') + "\4\4" + number(arrays + 2, 8) + number(0, 8) +
         number(tableOffset, 8);
}

TEST(NestingGuardTest, ArraysThatLieOverEachOtherAreNotReadOneByOne) {
  testing_support::expectQuick("overlapping",
                               [] { EXPECT_TRUE(isDeep(overlappingArrays(50'000, 100'000))); });
  EXPECT_FALSE(isDeep(overlappingArrays(1, 100'000)));
}

// A binary list of containers, each given by its kind and the objects that it refers to; one byte for each
// number.
std::string binaryList(const std::vector<std::pair<char, std::string>>& objects, char root = 0) {
  std::string list = "bplist00";
  std::string table;
  for (const auto& [kind, references] : objects) {
    table += static_cast<char>(list.size() >> 8U);
    table += static_cast<char>(list.size());
    const std::size_t count = kind == '\xD0' ? references.size() / 2 : references.size();
    if (count < 15) {
      list += static_cast<char>(kind | static_cast<char>(count));
    } else {
      list += static_cast<char>(kind | 15);
      list += std::string{'\x10', static_cast<char>(count)};
    }
    list += references;
  }
  const std::size_t tableOffset = list.size();
  list += table + std::string(6, '\0') + "\2\1" + std::string(7, '\0') + static_cast<char>(objects.size()) +
          std::string(7, '\0') + root + std::string(6, '\0') + static_cast<char>(tableOffset >> 8U) +
          static_cast<char>(tableOffset);
  return list;
}

TEST(NestingGuardTest, KnowsHowDeepABinaryListIsBeforeItIsRead) {
  constexpr char array = '\xA0';
  constexpr char dictionary = '\xD0';
  // So many within each other, the innermost empty.
  const auto chain = [](char kind, int levels, const std::string& before, const std::string& after) {
    std::vector<std::pair<char, std::string>> objects;
    for (int level = 1; level < levels; ++level) {
      objects.emplace_back(kind, before + static_cast<char>(level) + after);
    }
    objects.emplace_back(kind, "");
    return objects;
  };
  EXPECT_FALSE(isDeep(binaryList(chain(array, 128, "", ""))));
  EXPECT_TRUE(isDeep(binaryList(chain(array, 129, "", ""))));
  EXPECT_TRUE(isDeep(binaryList(chain(dictionary, 129, "\xFF", ""))));
  EXPECT_TRUE(isDeep(binaryList(chain(array, 129, std::string(20, '\xFF'), "\xFF"))))
      << "among references to nowhere";
  EXPECT_FALSE(isDeep(binaryList(chain(array, 200, "", ""), static_cast<char>(100))))
      << "what is not part of it";
  // Every level refers to the next one twice: shared, and looked at once.
  std::vector<std::pair<char, std::string>> shared;
  for (char level = 1; level < 120; ++level) shared.emplace_back(array, std::string(2, level));
  shared.emplace_back(array, "");
  EXPECT_FALSE(isDeep(binaryList(shared)));
  // A part that was seen near the top counts from wherever it is met again.
  auto joined = chain(array, 100, "", "");
  joined[0].second += static_cast<char>(joined.size());
  for (int level = 0; level < 40; ++level) {
    joined.emplace_back(
        array, std::string(1, static_cast<char>(level == 39 ? 2 : static_cast<int>(joined.size()) + 1)));
  }
  EXPECT_TRUE(isDeep(binaryList(joined)));
  EXPECT_TRUE(isDeep(binaryList({{array, std::string("\1", 1)}, {array, std::string("\0", 1)}})))
      << "holds itself";
  // Whatever is cut off or turned over is judged without reading beyond the end.
  const std::string whole = binaryList(chain(dictionary, 120, "\xFF", ""));
  for (std::size_t length = 0; length < whole.size(); ++length) (void)isDeep(whole.substr(0, length));
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(~damaged[at]);
    (void)isDeep(damaged);
  }
}

}  // namespace
}  // namespace pellam
