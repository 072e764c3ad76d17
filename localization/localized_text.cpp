#include "localization/localized_text.h"

namespace pellam {

std::string localized(const BundleLoading& bundles, const std::filesystem::path& bundle,
                      const LocalizedText& text) {
  const std::string key(text.key);
  return bundles.localizedString(bundle, key, std::string(text.table), key);
}

}  // namespace pellam
