#pragma once

#include <string_view>

#include "pellam/feed_entry.h"
#include "pellam/update_offer.h"

namespace pellam {

// Whether the entry is an update; all others are left alone. Pure; any thread.
[[nodiscard]] bool isUpdateEntry(const FeedEntry& entry);

// An address in place comes first, and a text of white space alone is none; whether it is an address shows
// when it is fetched. The one reading of it. Pure; any thread.
[[nodiscard]] OfferKind offerKind(const FeedEntry& entry);

// Whether the entry has a text under the key that is more than white space.
[[nodiscard]] bool hasNonEmptyText(const FeedEntry& entry, std::string_view key);

}  // namespace pellam
