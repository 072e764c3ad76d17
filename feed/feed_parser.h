#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "pellam/feed_entry.h"
#include "pellam/feed_parser_error.h"

namespace pellam {

// Turns the bytes of a feed into its entries. Stateless; any thread.
class OrvoUpdateFeedParser {
 public:
  // The entries in document order; never empty. The bytes are a property list in any form whose root is an
  // array of dictionaries; what the keys mean is not looked at. Throws OrvoUpdateFeedParserError:
  // feedNotFound without data, or when the root is anything but a non-empty array of dictionaries only,
  // feedFailedToParse when the bytes are no property list.
  [[nodiscard]] std::vector<FeedEntry> parseFeed(std::optional<std::span<const std::uint8_t>> data) const;
};

}  // namespace pellam
