#include "pellam/property_list_value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace pellam {
namespace {

TEST(PropertyListValueTest, DictionariesKeepOrderAndTheLastOfEqualKeys) {
  PropertyListDictionary dictionary{{"b", 1}, {"a", 2}, {"b", 3}, {"", 4}, {"ab", 5}, {"b", 6}};
  EXPECT_EQ(dictionary, (PropertyListDictionary{{"", 4}, {"a", 2}, {"ab", 5}, {"b", 6}}));
  std::string keys;
  for (const auto& entry : dictionary) keys += entry.first + "|";
  EXPECT_EQ(keys, "|a|ab|b|");
  dictionary.set("aa", 7);
  dictionary.set("a", "text");
  dictionary.erase("b");
  dictionary.erase("missing");
  EXPECT_EQ(dictionary, (PropertyListDictionary{{"", 4}, {"a", "text"}, {"aa", 7}, {"ab", 5}}));
  EXPECT_EQ(dictionary.find("b"), nullptr);
  EXPECT_EQ(*dictionary.findString("a"), "text");
  EXPECT_EQ(dictionary.findString("aa"), nullptr);
}

TEST(PropertyListValueTest, DictionariesThatShareKeysChangeApart) {
  PropertyListDictionary first{{"a", 1}, {"b", "two"}};
  PropertyListDictionary second = first;
  const PropertyListDictionary third = second;
  second.set("ab", 3);
  first.erase("a");
  EXPECT_EQ(first, (PropertyListDictionary{{"b", "two"}}));
  EXPECT_EQ(second, (PropertyListDictionary{{"a", 1}, {"ab", 3}, {"b", "two"}}));
  EXPECT_EQ(third, (PropertyListDictionary{{"a", 1}, {"b", "two"}}));
  first.erase("b");
  EXPECT_EQ(first, PropertyListDictionary());
  EXPECT_EQ(first.begin(), first.end());
  first = second;
  second = PropertyListDictionary();
  EXPECT_EQ(*first.findString("b"), "two");
}

TEST(PropertyListValueTest, AlternativesStayApart) {
  EXPECT_NE(PropertyListValue(true), PropertyListValue(1));
  EXPECT_NE(PropertyListValue(1), PropertyListValue(1.0));
  EXPECT_NE(PropertyListValue(std::uint32_t{1}), PropertyListValue(1));
}

TEST(PropertyListValueTest, NumbersAnswerAsIntegersAndBooleans) {
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  const struct {
    PropertyListValue value;
    std::optional<std::int64_t> integer;
    std::optional<bool> boolean;
    const char* description;
  } rows[] = {
      {true, 1, true, "true"},
      {0, 0, false, "0"},
      {std::uint32_t{7}, 7, true, "7"},
      {std::numeric_limits<std::uint64_t>::max(), -1, true, "18446744073709551615"},
      {-3.9, -3, true, "-3.9"},
      {0.1, 0, true, "0.1"},
      {1e300, highest, true, "1e+300"},
      {std::nan(""), 0, true, "nan"},
      {"12", std::nullopt, std::nullopt, "12"},
      {PropertyListArray{1, "a"}, std::nullopt, std::nullopt, "(1, a)"},
      {PropertyListDictionary{{"a", 1}, {"b", PropertyListData{1}}}, std::nullopt, std::nullopt,
       "{a = 1; b = {length = 1};}"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.value.numberAsInteger(), row.integer) << row.description;
    EXPECT_EQ(row.value.numberAsBoolean(), row.boolean) << row.description;
    EXPECT_EQ(row.value.description(), row.description);
  }
}

}  // namespace
}  // namespace pellam
