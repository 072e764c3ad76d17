#include "formats/archive/unpacking_plan.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>

#include "formats/archive/entry_name.h"
#include "foundation/confined_path.h"
#include "text/unicode_text.h"

namespace pellam::archive {

namespace {

constexpr std::size_t longestName = 255;
constexpr std::size_t longestPath = 1024;
constexpr std::string_view resourceForks = "__MACOSX";

// The names of a path, without "." and a trailing slash. Throws for every way out of the destination.
std::vector<std::string_view> namesOf(std::string_view path) {
  const std::string shown = shownName(path);
  if (path.starts_with('/')) throw ArchiveError("absolute name: " + shown);
  if (path.size() > longestPath) throw ArchiveError("name too long: " + shown);
  if (path.ends_with('/')) path.remove_suffix(1);
  std::vector<std::string_view> names;
  while (!path.empty()) {
    const std::size_t slash = std::min(path.find('/'), path.size());
    const std::string_view name = path.substr(0, slash);
    path.remove_prefix(std::min(slash + 1, path.size()));
    if (name == "..") throw ArchiveError("name leads outside: " + shown);
    if (name.empty()) throw ArchiveError("empty name in a path: " + shown);
    if (name.size() > longestName) throw ArchiveError("name too long: " + shown);
    if (name != ".") names.push_back(name);
  }
  return names;
}

std::string joined(const std::string& folder, std::string_view name) {
  std::string path = folder;
  if (!path.empty()) path += '/';
  return path.append(name);
}

class Planner {
 public:
  Planner(std::uint64_t archiveSize, const UnpackingLimits& limits)
      : archiveSize_(archiveSize), limits_(limits) {
    nodes_.push_back({"", EntryType::folder, nullptr});
  }

  void add(const ZipEntry& entry) {
    const std::vector<std::string_view> names = namesOf(entry.name);
    countContent(entry);
    if (names.empty() || names.front() == resourceForks) return;
    std::size_t parent = 0;
    for (std::size_t index = 0; index + 1 < names.size(); ++index) {
      parent = enterFolder(parent, names[index], entry);
    }
    const std::optional<std::size_t> existing = childNamed(parent, names.back(), entry);
    if (!existing) {
      addChild(parent, names.back(), entry.type, &entry);
    } else if (nodes_[*existing].type == EntryType::folder && entry.type == EntryType::folder &&
               nodes_[*existing].entry == nullptr) {
      nodes_[*existing].entry = &entry;
    } else {
      throw ArchiveError("name occurs twice: " + shownName(entry.name));
    }
  }

  UnpackingPlan finish() {
    UnpackingPlan plan;
    for (std::size_t index = 1; index < nodes_.size(); ++index) {
      const Node& node = nodes_[index];
      if (node.path.find('/') == std::string::npos) plan.topLevelNames.push_back(node.path);
      if (node.type == EntryType::folder) {
        plan.folders.push_back({node.path, node.entry});  // nodes are made parents first
      } else {
        (node.type == EntryType::file ? plan.files : plan.links).push_back({node.path, node.entry});
      }
    }
    std::stable_sort(plan.files.begin(), plan.files.end(),
                     [](const PlannedFile& left, const PlannedFile& right) {
                       return left.entry->size > right.entry->size;
                     });
    return plan;
  }

 private:
  struct Node {
    std::string path;
    EntryType type;
    const ZipEntry* entry;
  };

  void countContent(const ZipEntry& entry) {
    if (++count_ > limits_.largestCount) throw ArchiveError("too many entries");
    const bool overflows = entry.size > std::numeric_limits<std::uint64_t>::max() - total_;
    total_ += overflows ? 0 : entry.size;
    const std::uint64_t allowance = limits_.freeTotal + limits_.largestRatio * archiveSize_;
    if (overflows || total_ > std::min(limits_.largestTotal, allowance)) {
      throw ArchiveError("the content is too large for the archive");
    }
  }

  // Equal for two names of one folder exactly when some file system in use takes them for the same: case and
  // the composition of accented characters do not count.
  static std::string keyOf(std::size_t parent, std::string_view name) {
    return std::to_string(parent) + "/" + text::comparisonKey(name);
  }

  // The child of that name. Another spelling that a file system may take for the same is refused.
  std::optional<std::size_t> childNamed(std::size_t parent, std::string_view name,
                                        const ZipEntry& entry) const {
    const auto found = children_.find(keyOf(parent, name));
    if (found == children_.end()) return std::nullopt;
    if (nodes_[found->second].path != joined(nodes_[parent].path, name)) {
      throw ArchiveError("names collide: " + shownName(entry.name) + " and " +
                         shownName(nodes_[found->second].path));
    }
    return found->second;
  }

  std::size_t addChild(std::size_t parent, std::string_view name, EntryType type, const ZipEntry* entry) {
    nodes_.push_back({joined(nodes_[parent].path, name), type, entry});
    children_.emplace(keyOf(parent, name), nodes_.size() - 1);
    return nodes_.size() - 1;
  }

  std::size_t enterFolder(std::size_t parent, std::string_view name, const ZipEntry& entry) {
    const std::optional<std::size_t> existing = childNamed(parent, name, entry);
    if (!existing) return addChild(parent, name, EntryType::folder, nullptr);
    switch (nodes_[*existing].type) {
      case EntryType::folder:
        return *existing;
      case EntryType::link:
        throw ArchiveError("entry behind a link: " + shownName(entry.name));
      case EntryType::file:
        break;
    }
    throw ArchiveError("entry inside a file: " + shownName(entry.name));
  }

  std::uint64_t archiveSize_;
  const UnpackingLimits& limits_;
  std::uint64_t total_ = 0;
  std::size_t count_ = 0;
  std::vector<Node> nodes_;
  std::unordered_map<std::string, std::size_t> children_;
};

}  // namespace

UnpackingPlan planUnpacking(const std::vector<ZipEntry>& entries, std::uint64_t archiveSize,
                            const UnpackingLimits& limits) {
  Planner planner(archiveSize, limits);
  for (const ZipEntry& entry : entries) planner.add(entry);
  return planner.finish();
}

void checkLinkTarget(const std::string& path, const std::unordered_map<std::string, std::string>& targets) {
  const LinkEnd end = followLinks(path, [&](const std::string& reached, bool) -> std::optional<std::string> {
    const auto link = targets.find(reached);
    if (link == targets.end()) return std::nullopt;
    return link->second;
  });
  switch (end) {
    case LinkEnd::inside:
      return;
    case LinkEnd::outside:
      throw ArchiveError("link leads outside: " + shownName(path));
    case LinkEnd::circle:
      throw ArchiveError("links in a circle: " + shownName(path));
    case LinkEnd::nowhere:
      throw ArchiveError("link without a target: " + shownName(path));
  }
}

}  // namespace pellam::archive
