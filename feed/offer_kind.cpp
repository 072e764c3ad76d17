#include "feed/offer_kind.h"

#include "pellam/feed_keys.h"
#include "text/unicode_text.h"

namespace pellam {

bool hasNonEmptyText(const FeedEntry& entry, std::string_view key) {
  const PropertyListText* value = entry.findString(key);
  return value != nullptr && !text::trimmed(*value).empty();
}

bool isUpdateEntry(const FeedEntry& entry) {
  const PropertyListText* type = entry.findString(OrvoUpdateFeedKeys::type);
  return type != nullptr && *type == OrvoUpdateFeedKeys::updateType;
}

OfferKind offerKind(const FeedEntry& entry) {
  if (hasNonEmptyText(entry, OrvoUpdateFeedKeys::appBundleInstallerURL)) return OfferKind::inPlace;
  return hasNonEmptyText(entry, OrvoUpdateFeedKeys::installerURL) ? OfferKind::separateInstaller
                                                                  : OfferKind::none;
}

}  // namespace pellam
