#pragma once

#include <string>
#include <string_view>

#include "pellam/property_list_value.h"

namespace [[gnu::visibility("default")]] pellam {

// One entry of the update feed, kept whole from parsing to installation. Keys that nobody knows are carried
// along untouched.
//
// For example:
//
//     const FeedEntry entry = {{"current", "2.0"}, {"title", ""}};
//     assert(*readFeedKey(entry, "current") == "2.0");
//     assert(readFeedKey(entry, "title") == nullptr);  // empty counts as absent
//     assert(feedText(entry, "url").empty());
using FeedEntry = PropertyListDictionary;

// How every decision reads a key: its value when that is a non-empty string, else null. The entry keeps
// ownership.
[[nodiscard]] inline const PropertyListText* readFeedKey(const FeedEntry& feed, std::string_view key) {
  const PropertyListText* value = feed.findString(key);
  return value == nullptr || value->empty() ? nullptr : value;
}

// A key's text as people are shown it: empty where there is none.
[[nodiscard]] inline std::string feedText(const FeedEntry& feed, std::string_view key) {
  const PropertyListText* value = feed.findString(key);
  return value == nullptr ? std::string() : value->string();
}

}  // namespace pellam
