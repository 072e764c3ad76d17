#include "feed/feed_parser.h"

#include <utility>
#include <variant>

#include "platform/property_list.h"

namespace pellam {

namespace {

// Empty when the list as a whole is not an array of dictionaries.
std::vector<FeedEntry> entriesOf(PropertyListValue root) {
  auto* array = std::get_if<PropertyListArray>(&root.storage());
  if (array == nullptr) return {};
  std::vector<FeedEntry> entries;
  entries.reserve(array->size());
  for (PropertyListValue& element : *array) {
    auto* entry = std::get_if<PropertyListDictionary>(&element.storage());
    if (entry == nullptr) return {};
    entries.push_back(std::move(*entry));
  }
  return entries;
}

PropertyListValue read(std::span<const std::uint8_t> data) {
  try {
    return readPropertyList(data);
  } catch (const PropertyListReadError&) {
    throw OrvoUpdateFeedParserError(OrvoUpdateFeedParserError::Case::feedFailedToParse);
  }
}

}  // namespace

std::string_view OrvoUpdateFeedParserError::caseName() const {
  return case_ == Case::feedFailedToParse ? "feedFailedToParse" : "feedNotFound";
}

std::string_view OrvoUpdateFeedParserError::description() const { return what(); }

BridgedError OrvoUpdateFeedParserError::bridged() const {
  return {"PellamUpdatesCore.OrvoUpdateFeedParserError", static_cast<std::int64_t>(case_), what()};
}

const char* OrvoUpdateFeedParserError::what() const noexcept {
  return case_ == Case::feedFailedToParse ? "Feed failed to parse" : "Feed not found";
}

std::vector<FeedEntry> OrvoUpdateFeedParser::parseFeed(
    std::optional<std::span<const std::uint8_t>> data) const {
  if (!data) throw OrvoUpdateFeedParserError(OrvoUpdateFeedParserError::Case::feedNotFound);
  std::vector<FeedEntry> entries = entriesOf(read(*data));
  if (entries.empty()) throw OrvoUpdateFeedParserError(OrvoUpdateFeedParserError::Case::feedNotFound);
  return entries;
}

}  // namespace pellam
