#include "platform/settings_store.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/file_system.h"
#include "platform/linux/settings/private_file.h"
#include "platform/linux/system/file_descriptor.h"
#include "platform/linux/system/posix_error.h"
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

// The number that a text begins with, written with a decimal point whatever the user's locale; else 0.
double leadingNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  double number = 0;
  (void)std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

class SettingsFile final : public PellamKeyValueStoring {
 public:
  SettingsFile(std::filesystem::path file, std::shared_ptr<FileSystem> fileSystem, DiagnosticLog log)
      : file_(std::move(file)), fileSystem_(std::move(fileSystem)), log_(std::move(log)) {}
  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;
  ~SettingsFile() override {
    const auto isDue = [](const auto& entry) { return entry.second.isStorable; };
    if (std::none_of(unsaved_.begin(), unsaved_.end(), isDue)) return;
    try {
      save();
    } catch (const std::exception&) {
      // The log has a line about it since the change was made.
    }
  }

  bool boolForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    if (!value) return false;
    if (const PropertyListText* text = value->string()) return textIsTrue(*text);
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
    if (const PropertyListText* text = value->string())
      return std::strtoll(text->string().c_str(), nullptr, 10);
    return value->numberAsInteger().value_or(0);
  }

  double doubleForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    if (!value) return 0.0;
    if (const PropertyListText* text = value->string()) return leadingNumber(text->view());
    if (const double* real = value->real()) return *real;
    return static_cast<double>(value->numberAsInteger().value_or(0));
  }

  std::optional<PropertyListValue> objectForKey(std::string_view key) const override {
    const std::lock_guard lock(mutex_);
    if (const auto unsaved = unsaved_.find(key); unsaved != unsaved_.end()) return unsaved->second.value;
    const PropertyListDictionary settings = readable();
    const PropertyListValue* value = settings.find(key);
    return value == nullptr ? std::nullopt : std::optional(*value);
  }

  void set(std::optional<PropertyListValue> value, std::string_view key) override {
    const std::lock_guard lock(mutex_);
    const std::string name(key);
    const auto complain = [&](const std::string& reason) {
      log_("The setting \"" + name + "\" cannot be saved: " + reason);
    };
    const std::optional<std::string> obstacle = value ? obstacleToStoring(name, *value) : std::nullopt;
    unsaved_.insert_or_assign(name, Change{std::move(value), !obstacle});
    if (obstacle) return complain(*obstacle);
    try {
      save();
    } catch (const std::exception& error) {
      complain(error.what());
    }
  }

  void removeObjectForKey(std::string_view key) override { set(std::nullopt, key); }

 private:
  struct Change {
    std::optional<PropertyListValue> value;  // absent: the key was removed
    bool isStorable;                         // what is not holds for this process alone
  };

  // Why no file can hold the value, if none can. One such value must not keep the others from the file.
  static std::optional<std::string> obstacleToStoring(const std::string& key,
                                                      const PropertyListValue& value) {
    try {
      (void)readPropertyList(writeBinaryPropertyList(PropertyListDictionary{{key, value}}));
      return std::nullopt;
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  // Brings the file up to date, or throws.
  void save() {
    fileSystem_->createDirectory(file_.parent_path());
    const FileDescriptor turn = waitForTurn();
    PropertyListDictionary settings;
    try {
      settings = read();
    } catch (const PropertyListReadError&) {
      // What it held is lost to this program, but not to a person who can mend it.
      const std::filesystem::path damaged = file_.string() + ".damaged";
      replacePrivateFile(*fileSystem_, damaged, fileSystem_->readFile(file_).span());
      log_("The settings in " + file_.string() + " cannot be read; they are kept in " + damaged.string());
    }
    for (const auto& [key, change] : unsaved_) {
      if (!change.isStorable) continue;
      if (change.value) {
        settings.set(key, *change.value);
      } else {
        settings.erase(key);
      }
    }
    replacePrivateFile(*fileSystem_, file_, writeBinaryPropertyList(settings));
    std::erase_if(unsaved_, [](const auto& entry) { return entry.second.isStorable; });
  }

  // Another process that changes the settings waits for this one, so that neither change is lost. One that
  // keeps its turn (stopped, or gone from the network) must not stop this program: after a second in vain the
  // change stays unsaved, and nobody waits again until the turn was free once.
  FileDescriptor waitForTurn() {
    const std::string lockFile = file_.string() + ".lock";
    FileDescriptor turn(::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!turn.isOpen()) return turn;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + (hasWaitedInVain_ ? Clock::duration() : longestWait);
    while (::flock(turn.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK && errno != EINTR) return turn;  // a volume without turns
      hasWaitedInVain_ = Clock::now() >= end;
      if (hasWaitedInVain_) posix::throwError(EWOULDBLOCK, lockFile);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    hasWaitedInVain_ = false;
    return turn;
  }

  // Throws PropertyListReadError for a damaged file, std::system_error for one that cannot be opened; a file
  // that is not there yet, or empty, is an empty dictionary.
  [[nodiscard]] PropertyListDictionary read() const {
    if (!fileSystem_->itemExists(file_)) return {};
    const ByteBuffer bytes = fileSystem_->readFile(file_);
    if (bytes.empty()) return {};
    const PropertyListValue list = readPropertyList(bytes.span());
    const PropertyListDictionary* dictionary = list.dictionary();
    if (dictionary == nullptr) throw PropertyListReadError("the settings are no dictionary");
    return *dictionary;
  }

  [[nodiscard]] PropertyListDictionary readable() const {
    try {
      return read();
    } catch (const std::exception&) {
      return {};  // counts as empty, see the header
    }
  }

  mutable std::mutex mutex_;
  static constexpr std::chrono::seconds longestWait{1};
  bool hasWaitedInVain_ = false;
  std::map<std::string, Change, std::less<>> unsaved_;  // changes that are not in the file
  std::filesystem::path file_;
  std::shared_ptr<FileSystem> fileSystem_;
  DiagnosticLog log_;
};

}  // namespace

std::shared_ptr<PellamKeyValueStoring> makeSystemSettingsStore(std::filesystem::path file,
                                                               std::shared_ptr<FileSystem> fileSystem,
                                                               DiagnosticLog systemLog) {
  return std::make_shared<SettingsFile>(std::move(file), std::move(fileSystem), std::move(systemLog));
}

}  // namespace pellam
