#include "platform/settings_store.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cstdlib>
#include <mutex>
#include <utility>

#include "platform/file_system.h"
#include "platform/linux/system/file_descriptor.h"
#include "platform/property_list.h"

namespace pellam {

namespace {

bool textIsTrue(const std::string& text) {
  // The platform's defaults accept these words and any text that begins with a number other than zero.
  for (const char* word : {"YES", "yes", "Yes", "true", "TRUE", "True", "Y", "y", "T", "t"}) {
    if (text == word) return true;
  }
  return std::strtoll(text.c_str(), nullptr, 10) != 0;
}

class SettingsFile final : public PellamKeyValueStoring {
 public:
  SettingsFile(std::filesystem::path file, std::shared_ptr<FileSystem> fileSystem)
      : file_(std::move(file)), fileSystem_(std::move(fileSystem)) {}

  bool boolForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    if (!value) return false;
    if (const std::string* text = value->string()) return textIsTrue(*text);
    return value->numberAsBoolean().value_or(false);
  }

  std::optional<std::string> stringForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    if (!value || (value->string() == nullptr && !value->isNumber())) return std::nullopt;
    if (const bool* boolean = value->boolean()) return *boolean ? "1" : "0";
    return value->description();
  }

  std::int64_t integerForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    if (!value) return 0;
    if (const std::string* text = value->string()) return std::strtoll(text->c_str(), nullptr, 10);
    return value->numberAsInteger().value_or(0);
  }

  double doubleForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    if (!value) return 0.0;
    if (const std::string* text = value->string()) return std::strtod(text->c_str(), nullptr);
    if (const double* real = value->real()) return *real;
    return static_cast<double>(value->numberAsInteger().value_or(0));
  }

  std::optional<PropertyListValue> objectForKey(std::string_view key) const override {
    const std::lock_guard lock(mutex_);
    const PropertyListDictionary settings = read();
    const PropertyListValue* value = settings.find(key);
    return value == nullptr ? std::nullopt : std::optional(*value);
  }

  void set(std::optional<PropertyListValue> value, std::string_view key) override {
    const std::lock_guard lock(mutex_);
    try {
      fileSystem_->createDirectory(file_.parent_path());
      // Another process that changes the settings waits here, so that neither change is lost.
      const std::string lockFile = file_.string() + ".lock";
      const FileDescriptor turn(::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
      if (turn.isOpen()) (void)::flock(turn.get(), LOCK_EX);
      PropertyListDictionary settings = read();
      if (value) {
        settings.set(std::string(key), *std::move(value));
      } else {
        settings.erase(key);
      }
      fileSystem_->writeFileAtomically(file_, writeBinaryPropertyList(settings));
    } catch (
        const std::exception&) {  // NOLINT(bugprone-empty-catch): settings are a convenience, see the header
    }
  }

  void removeObjectForKey(std::string_view key) override { set(std::nullopt, key); }

 private:
  [[nodiscard]] PropertyListDictionary read() const {
    try {
      const PropertyListValue list = readPropertyList(fileSystem_->readFile(file_).span());
      if (const PropertyListDictionary* dictionary = list.dictionary()) return *dictionary;
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): no file yet, or a damaged one
    }
    return {};
  }

  mutable std::mutex mutex_;
  std::filesystem::path file_;
  std::shared_ptr<FileSystem> fileSystem_;
};

}  // namespace

std::shared_ptr<PellamKeyValueStoring> makeSystemSettingsStore(std::filesystem::path file,
                                                               std::shared_ptr<FileSystem> fileSystem) {
  return std::make_shared<SettingsFile>(std::move(file), std::move(fileSystem));
}

std::filesystem::path systemSettingsFile(const std::string& homeDirectory,
                                         const std::string& bundleIdentifier) {
  return std::filesystem::path(homeDirectory) / "Library/Preferences" / (bundleIdentifier + ".plist");
}

}  // namespace pellam
