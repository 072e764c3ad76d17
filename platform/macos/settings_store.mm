#include "platform/settings_store.h"

#include "platform/file_system.h"
#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

using macos::stringFrom;

// One to one: the platform's defaults convert between types and serialise their access themselves.
class DefaultsStore final : public PellamKeyValueStoring {
 public:
  explicit DefaultsStore(NSUserDefaults* defaults) : defaults_(defaults) {}

  bool boolForKey(std::string_view key) const override {
    return [defaults_ boolForKey:stringFrom(key)] == YES;
  }
  std::optional<std::string> stringForKey(std::string_view key) const override {
    NSString* value = [defaults_ stringForKey:stringFrom(key)];
    if (value == nil) return std::nullopt;
    return macos::textOf(value);
  }
  std::int64_t integerForKey(std::string_view key) const override {
    return [defaults_ integerForKey:stringFrom(key)];
  }
  double doubleForKey(std::string_view key) const override {
    return [defaults_ doubleForKey:stringFrom(key)];
  }
  std::optional<PropertyListValue> objectForKey(std::string_view key) const override {
    return macos::valueOf(static_cast<NSObject*>([defaults_ objectForKey:stringFrom(key)]));
  }
  void set(std::optional<PropertyListValue> value, std::string_view key) override {
    [defaults_ setObject:value ? macos::objectFrom(*value) : nil forKey:stringFrom(key)];
  }
  void removeObjectForKey(std::string_view key) override { [defaults_ removeObjectForKey:stringFrom(key)]; }

 private:
  NSUserDefaults* defaults_;
};

// An application's own settings are the standard ones; the defaults of another are a suite of its name. A
// file elsewhere is a suite, too, named by its path without the extension.
NSUserDefaults* defaultsFor(const std::filesystem::path& file) {
  const std::filesystem::path preferences =
      systemSettingsFile(macos::textOf(NSHomeDirectory()), "x").parent_path();
  NSString* name = stringFrom(file.stem().native());
  if (file.parent_path() != preferences) {
    name = macos::pathString(file.parent_path() / file.stem());
  } else if (file.stem().native() == macos::textOf(NSBundle.mainBundle.bundleIdentifier)) {
    return NSUserDefaults.standardUserDefaults;
  }
  NSUserDefaults* suite = [[NSUserDefaults alloc] initWithSuiteName:name];
  return suite != nil ? suite : NSUserDefaults.standardUserDefaults;
}

}  // namespace

std::shared_ptr<PellamKeyValueStoring> makeSystemSettingsStore(std::filesystem::path file,
                                                               std::shared_ptr<FileSystem>, DiagnosticLog) {
  return std::make_shared<DefaultsStore>(defaultsFor(file));
}

}  // namespace pellam
