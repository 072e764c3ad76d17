#include "formats/archive/content_writer.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "formats/archive/entry_inflater.h"
#include "formats/archive/entry_name.h"
#include "formats/archive/failure_name.h"

namespace pellam::archive {

namespace {

// Above this a file is inflated straight into its pages, below it goes through a warm buffer, which is
// faster.
constexpr std::uint64_t largeFile = std::uint64_t{32} << 20;
constexpr std::uint64_t longestTarget = 1023;

constexpr unsigned ownerReads = 0400;
constexpr unsigned ownerHasEveryRight = 0700;

std::string_view folderOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return path.substr(0, slash == std::string_view::npos ? 0 : slash);
}

std::string nameIn(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

void ContentWriter::write() {
  readLinkTargets();
  for (const auto& link : targets_) checkLinkTarget(link.first, targets_);
  makeFolders();
  writeFiles();
  throwIfStopped();
  finishFolders();
}

void ContentWriter::throwIfStopped() const {
  if (options_.stop != nullptr && *options_.stop) throw ArchiveError("interrupted");
}

void ContentWriter::readLinkTargets() {
  EntryInflater inflater(archive_);
  for (const PlannedFile& link : plan_.links) {
    if (link.entry->size > longestTarget) throw ArchiveError("link target too long: " + shownName(link.path));
    std::string target(static_cast<std::size_t>(link.entry->size), '\0');
    inflater.inflate(*link.entry, {reinterpret_cast<std::uint8_t*>(target.data()), target.size()});
    if (target.find('\0') != std::string::npos)
      throw ArchiveError("link without a target: " + shownName(link.path));
    targets_.emplace(link.path, std::move(target));
  }
}

void ContentWriter::makeFolders() const {
  // Neighbours mostly lie in one folder, so the last one stays open.
  std::string openPath;
  std::unique_ptr<ConfinedFolder> open;
  for (const PlannedFolder& folder : plan_.folders) {
    at(folder.path, [&] {
      const std::string_view above = folderOf(folder.path);
      if (above.empty()) return root_.makeFolder(nameIn(folder.path));
      if (above != openPath) {
        open = root_.openFolder(std::string(above));
        openPath = above;
      }
      open->makeFolder(nameIn(folder.path));
    });
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
  at(file.path, [&] {
    const std::unique_ptr<NewFile> output = root_.createFile(file.path, entry.permissions | ownerReads);
    if (entry.size > largeFile) {
      inflater.inflate(entry, output->pages(entry.size));
    } else {
      const std::span<std::uint8_t> content = buffer.sized(static_cast<std::size_t>(entry.size));
      inflater.inflate(entry, content);
      output->write(content);
    }
    output->finish(entry.modificationTime);
  });
}

void ContentWriter::makeLinks(ConfinedFolder& folder, const std::vector<const PlannedFile*>& links) const {
  for (const PlannedFile* link : links) {
    at(link->path, [&] {
      folder.makeLink(nameIn(link->path), targets_.at(link->path));
      folder.setModificationTime(nameIn(link->path), link->entry->modificationTime);
    });
  }
}

// Children first: what is made in a folder changes its time. The owner keeps every right, or nobody could
// take the folder away again.
void ContentWriter::finishFolders() const {
  std::unordered_map<std::string_view, std::vector<const PlannedFile*>> links;
  for (const PlannedFile& link : plan_.links) links[folderOf(link.path)].push_back(&link);
  for (auto folder = plan_.folders.rbegin(); folder != plan_.folders.rend(); ++folder) {
    const auto opened = at(folder->path, [&] { return root_.openFolder(folder->path); });
    makeLinks(*opened, links[folder->path]);
    const unsigned permissions = folder->entry == nullptr ? 0755U : folder->entry->permissions;
    at(folder->path,
       [&] { opened->setPermissions((permissions & ~withheldPermissions_) | ownerHasEveryRight); });
    if (folder->entry != nullptr) opened->setModificationTime(folder->entry->modificationTime);
  }
  makeLinks(root_, links[""]);
}

}  // namespace pellam::archive
