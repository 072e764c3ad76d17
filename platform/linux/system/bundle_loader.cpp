#include <string>
#include <system_error>
#include <vector>

#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/property_list.h"
#include "platform/user_languages.h"

namespace pellam {

namespace {

class BundleLoader final : public BundleLoading {
 public:
  explicit BundleLoader(std::shared_ptr<FileSystem> fileSystem) : fileSystem_(std::move(fileSystem)) {}

  std::optional<Bundle> bundleAt(const std::filesystem::path& path) const override {
    bool isDirectory = false;
    if (!fileSystem_->itemExists(path, &isDirectory) || !isDirectory) return std::nullopt;
    Bundle bundle{path, {}};
    try {
      const PropertyListValue list =
          readPropertyList(fileSystem_->readFile(path / "Contents/Info.plist").span());
      if (const PropertyListDictionary* dictionary = list.dictionary())
        bundle.informationDictionary = *dictionary;
    } catch (const std::system_error&) {
      return bundle;
    } catch (const PropertyListReadError&) {
      return bundle;
    }
    return bundle;
  }

  std::filesystem::path mainBundlePath() const override {
    std::error_code ignored;
    const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", ignored);
    std::filesystem::path folder = executable.parent_path();
    if (folder.filename() == "MacOS" && folder.parent_path().filename() == "Contents") {
      return folder.parent_path().parent_path();
    }
    return folder;
  }

  std::string localizedString(const std::filesystem::path& bundle, const std::string& key,
                              const std::string& table, const std::string& fallback) const override {
    const std::string fileName = (table.empty() ? "Localizable" : table) + ".strings";
    for (const std::string& language : userLanguages()) {
      const auto file = bundle / "Contents/Resources" / (language + ".lproj") / fileName;
      if (!fileSystem_->itemExists(file)) continue;
      try {
        const PropertyListValue list = readPropertyList(fileSystem_->readFile(file).span());
        const PropertyListDictionary* strings = list.dictionary();
        const PropertyListText* text = strings == nullptr ? nullptr : strings->findString(key);
        return text == nullptr ? fallback : *text;
      } catch (const std::exception&) {
        return fallback;  // a damaged table shows the texts as they are written in the code
      }
    }
    return fallback;
  }

 private:
  std::shared_ptr<FileSystem> fileSystem_;
};

}  // namespace

std::shared_ptr<BundleLoading> makeSystemBundleLoader(std::shared_ptr<FileSystem> fileSystem) {
  return std::make_shared<BundleLoader>(std::move(fileSystem));
}

}  // namespace pellam
