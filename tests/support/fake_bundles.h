#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/bundle_loading.h"

namespace pellam::testing_support {

// Bundles and texts that a test makes up. Without further ado there are no bundles and every text is English.
struct FakeBundles final : BundleLoading {
  struct LookUp {
    std::string bundle;
    std::string table;
    std::string key;
    friend bool operator==(const LookUp&, const LookUp&) = default;
  };

  std::map<std::filesystem::path, PropertyListDictionary> bundles;
  std::optional<PropertyListDictionary>
      information;  // of every path that is not listed; absent: no bundle there
  std::filesystem::path main = "/Applications/Editor.app";
  std::vector<std::pair<std::string, std::string>> translations;
  mutable std::vector<LookUp> lookedUp;

  std::optional<Bundle> bundleAt(const std::filesystem::path& path) const override {
    const auto found = bundles.find(path);
    if (found != bundles.end()) return Bundle{path, found->second};
    return information ? std::optional(Bundle{path, *information}) : std::nullopt;
  }
  std::filesystem::path mainBundlePath() const override { return main; }
  std::string localizedString(const std::filesystem::path& bundle, const std::string& key,
                              const std::string& table, const std::string& fallback) const override {
    lookedUp.push_back({bundle.string(), table, key});
    for (const auto& [english, translated] : translations) {
      if (english == key) return translated;
    }
    return fallback;
  }
};

}  // namespace pellam::testing_support
