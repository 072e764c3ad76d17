#pragma once

#include <atomic>
#include <string>
#include <unordered_map>

#include "formats/archive/unpacking_plan.h"
#include "formats/archive/zip_unpacker.h"

namespace pellam::archive {

// Makes the planned content inside an empty folder that only this process uses. Throws on the first failure
// and leaves what it has made; the caller removes the folder.
class ContentWriter {
 public:
  ContentWriter(const Descriptor& archive, const UnpackingPlan& plan, const Descriptor& root,
                const UnpackingOptions& options)
      : archive_(archive), plan_(plan), root_(root), options_(options) {}

  void write();

 private:
  void makeFolders() const;
  void writeFiles();
  void workThroughFiles();
  void writeFile(const PlannedFile& file, class EntryInflater& inflater, class ReusedBuffer& buffer) const;
  void writeLarge(const PlannedFile& file, const Descriptor& output, class EntryInflater& inflater) const;
  void makeLinks(const std::unordered_map<std::string, std::string>& targets) const;
  void finishFolders() const;
  [[nodiscard]] std::unordered_map<std::string, std::string> readLinkTargets() const;
  void throwIfStopped() const;

  const Descriptor& archive_;
  const UnpackingPlan& plan_;
  const Descriptor& root_;
  const UnpackingOptions& options_;
  std::atomic<std::size_t> next_ = 0;
  std::atomic<bool> hasFailed_ = false;
};

}  // namespace pellam::archive
