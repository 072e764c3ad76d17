#include "platform/bundle_loading.h"

#include <system_error>
#include <utility>
#include <vector>

#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

class SystemBundleLoader final : public BundleLoading {
 public:
  std::optional<Bundle> bundleAt(const std::filesystem::path& path) const override {
    std::error_code ignored;
    if (path.native().find('\0') != std::string::npos) return std::nullopt;
    NSURL* url = macos::fileURL(path);
    if (!std::filesystem::is_directory(path, ignored)) return std::nullopt;
    // Bundle objects are kept for as long as the process runs, with what they once read; an application that
    // is being replaced needs what lies there now.
    NSDictionary<NSString*, id>* information =
        CFBridgingRelease(CFBundleCopyInfoDictionaryInDirectory((__bridge CFURLRef)url));
    Bundle bundle{path, {}};
    std::vector<PropertyListDictionary::Entry> entries;
    for (NSString* key in information) {
      // The system may add entries of its own that are no property-list values.
      if (auto value = macos::valueOf(information[key])) {
        entries.emplace_back(macos::textOf(key), *std::move(value));
      }
    }
    bundle.informationDictionary = PropertyListDictionary(std::move(entries));
    return bundle;
  }

  std::filesystem::path mainBundlePath() const override {
    return NSBundle.mainBundle.bundleURL.fileSystemRepresentation;
  }

  std::string localizedString(const std::filesystem::path& bundle, const std::string& key,
                              const std::string& table, const std::string& fallback) const override {
    NSBundle* opened = [NSBundle bundleWithURL:macos::fileURL(bundle)];
    if (opened == nil) return fallback;
    return macos::textOf([opened localizedStringForKey:macos::stringFrom(key)
                                                 value:macos::stringFrom(fallback)
                                                 table:table.empty() ? nil : macos::stringFrom(table)]);
  }
};

}  // namespace

std::shared_ptr<BundleLoading> makeSystemBundleLoader(std::shared_ptr<FileSystem>) {
  return std::make_shared<SystemBundleLoader>();
}

}  // namespace pellam
