#include "formats/archive/content_writer.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#include "formats/archive/entry_inflater.h"
#include "formats/archive/entry_name.h"

namespace pellam::archive {

namespace {

// Above this a file is inflated straight into its pages, below it goes through a warm buffer, which is
// faster.
constexpr std::uint64_t largeFile = std::uint64_t{32} << 20;
constexpr std::uint64_t longestTarget = 1023;

[[noreturn]] void fail(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), shownName(path));
}

// Creates the file beneath the root. The kernel refuses every link on the way; where it cannot, the tree is
// still ours alone and holds no links yet.
Descriptor created(const Descriptor& root, const std::string& path, unsigned permissions) {
  constexpr unsigned flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  open_how how{};
  how.flags = flags;
  how.mode = permissions;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  auto number = static_cast<int>(::syscall(SYS_openat2, root.number(), path.c_str(), &how, sizeof how));
  if (number < 0 && (errno == ENOSYS || errno == EPERM)) {
    number = ::openat(root.number(), path.c_str(), static_cast<int>(flags), permissions);
  }
  if (number < 0) fail(errno, path);
  return Descriptor(number);
}

void setTime(const Descriptor& root, const std::string& path, std::int64_t seconds) {
  const timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = seconds, .tv_nsec = 0}};
  (void)::utimensat(root.number(), path.c_str(), times, AT_SYMLINK_NOFOLLOW);  // a time is no reason to fail
}

}  // namespace

void ContentWriter::write() {
  const std::unordered_map<std::string, std::string> targets = readLinkTargets();
  for (const auto& link : targets) checkLinkTarget(link.first, targets);
  makeFolders();
  writeFiles();
  makeLinks(targets);
  finishFolders();
}

void ContentWriter::throwIfStopped() const {
  if (options_.stop != nullptr && *options_.stop) throw ArchiveError("interrupted");
}

std::unordered_map<std::string, std::string> ContentWriter::readLinkTargets() const {
  std::unordered_map<std::string, std::string> targets;
  EntryInflater inflater(archive_);
  for (const PlannedFile& link : plan_.links) {
    if (link.entry->size > longestTarget) throw ArchiveError("link target too long: " + shownName(link.path));
    std::string target(static_cast<std::size_t>(link.entry->size), '\0');
    inflater.inflate(*link.entry, {reinterpret_cast<std::uint8_t*>(target.data()), target.size()});
    if (target.find('\0') != std::string::npos)
      throw ArchiveError("link without a target: " + shownName(link.path));
    targets.emplace(link.path, std::move(target));
  }
  return targets;
}

void ContentWriter::makeFolders() const {
  for (const PlannedFolder& folder : plan_.folders) {
    if (::mkdirat(root_.number(), folder.path.c_str(), S_IRWXU) != 0) fail(errno, folder.path);
  }
}

void ContentWriter::writeFiles() {
  const unsigned processors = std::clamp(std::thread::hardware_concurrency(), 1U, 8U);
  const std::size_t wanted = options_.workers != 0 ? options_.workers : processors;
  const std::size_t count = std::min(wanted, std::max<std::size_t>(plan_.files.size(), 1));
  std::exception_ptr failure;
  std::mutex mutex;
  const auto work = [&] {
    try {
      workThroughFiles();
    } catch (...) {
      hasFailed_ = true;
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };
  std::vector<std::thread> helpers;
  for (std::size_t index = 1; index < count; ++index) {
    try {
      helpers.emplace_back(work);
    } catch (const std::system_error&) {
      break;  // fewer threads do the same work
    }
  }
  work();
  for (std::thread& helper : helpers) helper.join();
  if (failure) std::rethrow_exception(failure);
}

void ContentWriter::workThroughFiles() {
  EntryInflater inflater(archive_);
  ReusedBuffer buffer;
  for (std::size_t index = next_++; index < plan_.files.size() && !hasFailed_; index = next_++) {
    throwIfStopped();
    writeFile(plan_.files[index], inflater, buffer);
  }
}

void ContentWriter::writeFile(const PlannedFile& file, EntryInflater& inflater, ReusedBuffer& buffer) const {
  const ZipEntry& entry = *file.entry;
  Descriptor output = created(root_, file.path, entry.permissions | S_IRUSR);
  try {
    if (entry.size > largeFile) {
      writeLarge(file, output, inflater);
    } else {
      const std::span<std::uint8_t> content = buffer.sized(static_cast<std::size_t>(entry.size));
      inflater.inflate(entry, content);
      output.writeAll(content);
    }
    const timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                               {.tv_sec = entry.modificationTime, .tv_nsec = 0}};
    (void)::futimens(output.number(), times);
    output.close();
  } catch (const std::system_error& error) {
    fail(error.code().value(), file.path);
  }
}

void ContentWriter::writeLarge(const PlannedFile& file, const Descriptor& output,
                               EntryInflater& inflater) const {
  const auto size = static_cast<std::size_t>(file.entry->size);
  // The space is reserved first: a page that cannot be had would end the program.
  if (const int error = ::posix_fallocate(output.number(), 0, static_cast<off_t>(size)); error != 0) {
    fail(error, file.path);
  }
  void* pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, output.number(), 0);
  if (pages == MAP_FAILED) fail(errno, file.path);
  const auto unmap = [size](void* address) { (void)::munmap(address, size); };
  const std::unique_ptr<void, decltype(unmap)> owner(pages, unmap);
  inflater.inflate(*file.entry, {static_cast<std::uint8_t*>(pages), size});
}

void ContentWriter::makeLinks(const std::unordered_map<std::string, std::string>& targets) const {
  throwIfStopped();
  for (const PlannedFile& link : plan_.links) {
    const std::string& target = targets.at(link.path);
    if (::symlinkat(target.c_str(), root_.number(), link.path.c_str()) != 0) fail(errno, link.path);
    setTime(root_, link.path, link.entry->modificationTime);
  }
}

// Children first: writing into a folder changes its time. The owner keeps every right, or nobody could take
// the folder away again.
void ContentWriter::finishFolders() const {
  const mode_t mask = ::umask(0);
  (void)::umask(mask);
  for (auto folder = plan_.folders.rbegin(); folder != plan_.folders.rend(); ++folder) {
    const unsigned permissions = folder->entry == nullptr ? 0755U : folder->entry->permissions;
    if (::fchmodat(root_.number(), folder->path.c_str(), (permissions & ~mask) | S_IRWXU, 0) != 0) {
      fail(errno, folder->path);
    }
    if (folder->entry != nullptr) setTime(root_, folder->path, folder->entry->modificationTime);
  }
}

}  // namespace pellam::archive
