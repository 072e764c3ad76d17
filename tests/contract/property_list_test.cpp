#include "platform/property_list.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

namespace pellam {
namespace {

PropertyListValue read(std::string_view text) {
  return readPropertyList({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

const Date someDay = Date(std::chrono::seconds(1'700'000'000));

PropertyListDictionary everyType() {
  return {
      {"true", true},
      {"false", false},
      {"zero", 0},
      {"byte", 255},
      {"word", 65'535},
      {"long", std::int64_t{1} << 40},
      {"negative", -1},
      {"lowest", std::numeric_limits<std::int64_t>::min()},
      {"highest", std::numeric_limits<std::uint64_t>::max()},
      {"real", 0.1},
      {"infinity", -std::numeric_limits<double>::infinity()},
      {"text", "a & b < c > d \"e\"\n"},
      {"long text", std::string(300, 'x')},
      {"empty", ""},
      {"unicode ключ", "é€😀"},
      {"date", someDay},
      {"data", PropertyListData{0, 1, 2, 253, 254, 255, 7}},
      {"long data", PropertyListData(1000, 0xA5)},
      {"no data", PropertyListData{}},
      {"array", PropertyListArray{1, "two", PropertyListArray{}, PropertyListDictionary{{"k", "two"}}}},
      {"dictionary", PropertyListDictionary{}},
      {"long array", PropertyListArray(300, PropertyListValue(true))},
  };
}

TEST(PropertyListContractTest, EveryTypeSurvivesBothForms) {
  const PropertyListValue value = everyType();
  EXPECT_EQ(readPropertyList(writeBinaryPropertyList(value)), value);
  EXPECT_EQ(read(writeXMLPropertyList(value)), value);
  for (const PropertyListValue& root :
       {PropertyListValue("text"), PropertyListValue(true), PropertyListValue(5)}) {
    EXPECT_EQ(readPropertyList(writeBinaryPropertyList(root)), root);
    EXPECT_EQ(read(writeXMLPropertyList(root)), root);
  }
  EXPECT_TRUE(std::isnan(*read(writeXMLPropertyList(std::nan(""))).real()));
}

TEST(PropertyListContractTest, DictionariesOfOneListMayDifferInAnyWay) {
  const PropertyListArray list = {
      PropertyListDictionary{{"b", 1}, {"a", 2}},
      PropertyListDictionary{{"a", 3}, {"b", 4}},
      PropertyListDictionary{{"b", PropertyListDictionary{{"a", 5}, {"b", 6}}}, {"a", 7}},
      PropertyListDictionary{{"a", 8}},
      PropertyListDictionary{{"a", 9}, {"b", 10}, {"c", 11}},
      PropertyListDictionary{},
      PropertyListDictionary{{"c", 12}, {"d", 13}, {"e", 14}},
  };
  EXPECT_EQ(readPropertyList(writeBinaryPropertyList(list)), list);
  EXPECT_EQ(read(writeXMLPropertyList(list)), list);
  const auto entry = [](const std::string& key, int value) {
    return "<key>" + key + "</key><integer>" + std::to_string(value) + "</integer>";
  };
  EXPECT_EQ(read("<array><dict>" + entry("b", 1) + entry("a", 2) + "</dict><dict>" + entry("b", 3) +
                 entry("a", 4) + "</dict><dict>" + entry("b", 5) + entry("b", 6) + "</dict><dict>" +
                 entry("b", 7) + "</dict></array>"),
            (PropertyListArray{PropertyListDictionary{{"b", 1}, {"a", 2}},
                               PropertyListDictionary{{"b", 3}, {"a", 4}}, PropertyListDictionary{{"b", 6}},
                               PropertyListDictionary{{"b", 7}}}));
}

TEST(PropertyListContractTest, TextsOutliveTheirDocumentAndEachOther) {
  std::string xml = "<array>";
  for (int index = 0; index < 5'000; ++index)
    xml += "<string>text number " + std::to_string(index) + "</string>";
  xml += "<string>" + std::string(100'000, 'x') + "</string></array>";
  PropertyListValue value = read(xml);
  xml.clear();
  const PropertyListText kept = *(*value.array())[4'321].string();
  const PropertyListText large = *value.array()->back().string();
  value = true;
  EXPECT_EQ(kept, "text number 4321");
  EXPECT_EQ(large, std::string(100'000, 'x'));
}

// What a thread has where the system gives the least, and is used for feeds.
void onASmallStack(std::function<void()> work) {
  pthread_attr_t attributes;
  ASSERT_EQ(::pthread_attr_init(&attributes), 0);
  ASSERT_EQ(::pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024), 0);
  pthread_t thread{};
  const auto begin = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(::pthread_create(&thread, &attributes, begin, &work), 0);
  EXPECT_EQ(::pthread_join(thread, nullptr), 0);
  ::pthread_attr_destroy(&attributes);
}

TEST(PropertyListContractTest, TheDeepestListFitsTheSmallestStack) {
  const auto nested = [](int levels) {
    PropertyListValue value = PropertyListDictionary{};
    for (int level = 1; level < levels; ++level) value = PropertyListDictionary{{"k", std::move(value)}};
    return value;
  };
  onASmallStack([&] {
    const PropertyListValue deepest = nested(128);
    EXPECT_EQ(readPropertyList(writeBinaryPropertyList(deepest)), deepest);
    EXPECT_EQ(read(writeXMLPropertyList(deepest)), deepest);
    EXPECT_THROW((void)writeBinaryPropertyList(nested(129)), std::invalid_argument);
    std::string tooDeep;
    for (int level = 0; level < 129; ++level) tooDeep += "<dict><key>k</key>";
    for (int level = 0; level < 129; ++level) tooDeep += level == 0 ? "<true/></dict>" : "</dict>";
    EXPECT_THROW((void)read(tooDeep), PropertyListReadError);
  });
}

}  // namespace
}  // namespace pellam
