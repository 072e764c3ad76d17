#pragma once

#include <atomic>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/archive/unpacking_options.h"
#include "formats/archive/unpacking_plan.h"
#include "platform/confined_folder.h"

namespace pellam::archive {

// Makes the planned content inside an empty folder that only this process uses. Throws on the first failure
// and leaves what it has made; the caller removes the folder.
class ContentWriter {
 public:
  ContentWriter(const ReadOnlyFile& archive, const UnpackingPlan& plan, ConfinedFolder& root,
                unsigned withheldPermissions, const UnpackingOptions& options)
      : archive_(archive),
        plan_(plan),
        root_(root),
        withheldPermissions_(withheldPermissions),
        options_(options) {}

  void write();

 private:
  void makeFolders() const;
  void writeFiles();
  void workThroughFiles();
  void writeFile(const PlannedFile& file, class EntryInflater& inflater, class ReusedBuffer& buffer) const;
  void makeLinks(ConfinedFolder& folder, const std::vector<const PlannedFile*>& links) const;
  void finishFolders() const;
  void readLinkTargets();
  void throwIfStopped() const;

  const ReadOnlyFile& archive_;
  const UnpackingPlan& plan_;
  ConfinedFolder& root_;
  const unsigned withheldPermissions_;
  const UnpackingOptions& options_;
  std::unordered_map<std::string, std::string> targets_;  // of every link, by its path
  std::atomic<std::size_t> next_ = 0;
  std::atomic<bool> hasFailed_ = false;
};

}  // namespace pellam::archive
