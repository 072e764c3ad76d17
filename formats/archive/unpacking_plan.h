#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/archive/zip_directory.h"

namespace pellam::archive {

// What an archive may grow to. An application compresses to a third or a half, seldom beyond a tenth.
struct UnpackingLimits {
  std::uint64_t largestTotal = std::uint64_t{32} << 30;
  std::uint64_t freeTotal = std::uint64_t{64} << 20;  // never too much, whatever the ratio
  std::uint64_t largestRatio = 100;                   // of the whole content to the whole archive
  std::size_t largestCount = 500'000;
};

struct PlannedFile {
  std::string path;  // relative, "/" between names, none of them "." or ".."
  const ZipEntry* entry;
};

struct PlannedFolder {
  std::string path;
  const ZipEntry* entry;  // null when only its content is in the archive
};

// What is to be made, checked as a whole before anything is written.
struct UnpackingPlan {
  std::vector<PlannedFolder> folders;  // parents first, every one that is needed
  std::vector<PlannedFile> files;      // largest first
  std::vector<PlannedFile> links;      // no planned path leads through one
  std::vector<std::string> topLevelNames;
};

// Lays out the entries. Resource forks ("__MACOSX/...") are left out. Throws ArchiveError for absolute names,
// "..", names that are too long, names that meet each other (exactly, by case or by Unicode composition), an
// entry inside a file or behind a link, and content beyond the limits. Keeps pointers into `entries`.
[[nodiscard]] UnpackingPlan planUnpacking(const std::vector<ZipEntry>& entries, std::uint64_t archiveSize,
                                          const UnpackingLimits& limits);

// Throws ArchiveError unless following the target from where the link stands, through all other links, stays
// inside the destination. `targets` maps the path of every link to its target.
void checkLinkTarget(const std::string& path, const std::unordered_map<std::string, std::string>& targets);

}  // namespace pellam::archive
