#include "platform/linux/text/current_time_zone.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string_view>
#include <vector>

#include "platform/linux/system/file_descriptor.h"

namespace pellam {

namespace {

constexpr off_t largestFile = 1 << 20;  // the largest zone has a few thousand bytes

std::chrono::nanoseconds roughTime() {
  struct timespec now {};
  (void)::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

// Nothing for what is no file: a pipe or device in its place must not block.
std::vector<std::uint8_t> contentsOf(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_size > largestFile) {
    return {};
  }
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size));
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t count = ::read(file.get(), bytes.data() + size, bytes.size() - size);
    if (count == 0) break;
    if (count < 0 && errno != EINTR) return {};
    if (count > 0) size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

bool CurrentTimeZone::Origin::isSame(const Origin& other) const {
  if (text != other.text || file != other.file || status.has_value() != other.status.has_value())
    return false;
  if (!status) return true;
  const struct stat& a = *status;
  const struct stat& b = *other.status;
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
         a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

CurrentTimeZone::Origin CurrentTimeZone::origin() const {
  Origin origin{name_, {}, std::nullopt};
  if (!name_) {
    if (const char* variable = std::getenv("TZ")) origin.text = variable;
  }
  if (!origin.text) {
    origin.file = places_.localTime;
  } else {
    std::string_view text = *origin.text;
    if (text.starts_with(':')) text.remove_prefix(1);
    if (text.empty()) return origin;  // UTC
    const char* variable = std::getenv("TZDIR");
    const std::string folder = variable != nullptr && *variable != '\0' ? variable : places_.folder;
    origin.file = text.starts_with('/') ? std::string(text) : folder + "/" + std::string(text);
  }
  struct stat status {};
  if (::stat(origin.file.c_str(), &status) == 0) origin.status = status;
  return origin;
}

TimeZoneTable CurrentTimeZone::load(const Origin& origin) {
  if (origin.status) {
    if (const std::optional<TimeZoneData> data = readTimeZoneFile(contentsOf(origin.file))) {
      return TimeZoneTable(*data);
    }
  }
  if (!origin.text) return {};
  std::string_view text = *origin.text;
  if (text.starts_with(':')) text.remove_prefix(1);
  const std::optional<TimeZoneRule> rule = TimeZoneRule::parse(text);
  return rule ? TimeZoneTable(TimeZoneData{0, {}, rule}) : TimeZoneTable();
}

const TimeZoneTable& CurrentTimeZone::table() {
  const std::chrono::nanoseconds now = roughTime();
  if (now < nextLook_) return table_;
  nextLook_ = now + std::chrono::milliseconds(100);
  return refreshed();
}

const TimeZoneTable& CurrentTimeZone::refreshed() {
  Origin now = origin();
  if (!loaded_ || !loaded_->isSame(now)) {
    table_ = load(now);
    loaded_ = std::move(now);
  }
  return table_;
}

const TimeZoneTable& timeZoneNamed(const std::string& name) {
  if (name.empty()) {
    thread_local CurrentTimeZone current{std::nullopt};
    return current.table();
  }
  thread_local std::map<std::string, CurrentTimeZone> zones;
  return zones.try_emplace(name, name).first->second.table();
}

}  // namespace pellam
