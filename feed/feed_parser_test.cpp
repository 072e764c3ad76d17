#include "feed/feed_parser.h"

#include <gtest/gtest.h>

#include "platform/property_list.h"

namespace pellam {
namespace {

using Case = OrvoUpdateFeedParserError::Case;

std::string outcome(std::optional<std::string_view> text) {
  try {
    std::optional<std::span<const std::uint8_t>> data;
    if (text) data = {reinterpret_cast<const std::uint8_t*>(text->data()), text->size()};
    return std::to_string(OrvoUpdateFeedParser().parseFeed(data).size());
  } catch (const OrvoUpdateFeedParserError& error) {
    return std::string(error.caseName());
  }
}

TEST(FeedParserTest, UnreadableIsNotTheSameAsEmpty) {
  const struct {
    const char* name;
    std::optional<std::string_view> document;
    const char* outcome;
  } rows[] = {
      {"no data", std::nullopt, "feedNotFound"},
      {"empty data", "", "feedFailedToParse"},
      {"broken", "<plist><array><dict>", "feedFailedToParse"},
      {"a page of the web", "<html><body>404</body></html>", "feedFailedToParse"},
      {"dictionary at the root", "<plist><dict/></plist>", "feedNotFound"},
      {"array of strings", "<plist><array><string>a</string></array></plist>", "feedNotFound"},
      {"empty array", "<plist><array/></plist>", "feedNotFound"},
      {"one dictionary and one string", "<plist><array><dict/><string>a</string></array></plist>",
       "feedNotFound"},
      {"one dictionary", "<plist><array><dict/></array></plist>", "1"},
      {"old style", "({type = update;}, {type = update;})", "2"},
  };
  for (const auto& row : rows) EXPECT_EQ(outcome(row.document), row.outcome) << row.name;
}

TEST(FeedParserTest, EntriesStayWholeAndInOrder) {
  const PropertyListDictionary entry{{"type", "update"}, {"unknown", PropertyListArray{1, true}}};
  const PropertyListValue document = PropertyListArray{entry, entry, PropertyListDictionary{{"id", "last"}}};
  const std::vector<FeedEntry> expected{entry, entry, {{"id", "last"}}};
  EXPECT_EQ(OrvoUpdateFeedParser().parseFeed(writeBinaryPropertyList(document)), expected);
}

TEST(FeedParserTest, ErrorsAreValues) {
  const OrvoUpdateFeedParserError failed = Case::feedFailedToParse;
  const OrvoUpdateFeedParserError missing = Case::feedNotFound;
  EXPECT_EQ(failed.description(), "Feed failed to parse");
  EXPECT_EQ(missing.description(), "Feed not found");
  EXPECT_NE(failed, missing);
  EXPECT_NE(std::hash<OrvoUpdateFeedParserError>()(failed), std::hash<OrvoUpdateFeedParserError>()(missing));
  EXPECT_EQ(missing.bridged(),
            (BridgedError{"PellamUpdatesCore.OrvoUpdateFeedParserError", 1, "Feed not found"}));
}

}  // namespace
}  // namespace pellam
