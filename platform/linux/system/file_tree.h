#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace pellam::posix {

// Whole trees, walked by folder descriptors: whatever somebody does to the names meanwhile, nothing outside
// the tree is touched, because no link inside it is ever followed. Failures are std::system_error.

// The names in an open folder, sorted, without "." and "..".
[[nodiscard]] std::vector<std::string> namesInDirectory(int directory, const std::string& pathForErrors);

// Removes the entry `name` of the open folder, with everything below it when it is a folder; folders that
// their owner may not read or write get these permissions first. The number of open descriptors and the stack
// stay constant however deep the tree is. Stops at the first failure.
void removeTree(int parent, const std::string& name, const std::string& pathForErrors);

// Copies the entry to a new name (EEXIST when it is taken): contents, permissions, times, links as links,
// user extended attributes where the destination's volume keeps them, and, when this process is root, owner
// and group. Trees deeper than 256 folders are refused (ENAMETOOLONG). On failure a part of the copy is left
// for the caller to remove.
void copyTree(int sourceParent, const std::string& sourceName, int destinationParent,
              const std::string& destinationName, const std::string& pathForErrors);

}  // namespace pellam::posix
