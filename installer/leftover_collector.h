#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

#include "foundation/diagnostic_log.h"
#include "platform/clock.h"
#include "platform/file_system.h"

namespace pellam {

// Removes what replacements left that were cut off, and whatever else of ours nobody needs any more: it knows
// every name that we make (installer/own_names.h, foundation/hidden_name.h), and touches nothing else.
//
//   what                        where                    may go
//   backups, incoming bundles   beside the application   when nobody works there and a bundle is installed
//   what is being removed       wherever we remove       at once
//   what is being written       wherever we write        ten minutes after it was last written
//   probes                      beside, temporary        likewise
//
// Whoever replaces an application there holds its folder's lock (FileSystem::lockFolder), so that the calls
// below are for whoever has that lock alone. Each removal is one line of the log; what cannot be removed
// stays for the next one to come. Blocks; never throws. Each returns how many items it removed.
class LeftoverCollector {
 public:
  struct Collaborators {
    std::shared_ptr<FileSystem> fileSystem;
    std::shared_ptr<PellamClock> clock;
    DiagnosticLog log{};
  };

  enum class Backups { kept, removed };

  explicit LeftoverCollector(Collaborators collaborators) : with_(std::move(collaborators)) {}

  int collectBeside(const std::filesystem::path& installed, Backups backups) const;
  // In the folder that holds the attempts' own folders; these are the host's to remove.
  int collectAttempts(const std::filesystem::path& folder) const;
  // In the folder of the report.
  int collectReports(const std::filesystem::path& report) const;
  // Where others have probes of their own: only this user's.
  int collectTemporary(const std::filesystem::path& folder, std::uint32_t ownerID) const;
  // All of the above that a host finds at its start; it has the lock of its own folder taken and given back.
  int collectAtStart(const std::filesystem::path& runningApplication, std::uint32_t ownerID) const;

 private:
  enum class Verdict { keep, removeOnceOld, remove };
  template <typename Judge>
  int collect(const std::filesystem::path& folder, const Judge& judge) const;
  [[nodiscard]] bool belongsTo(const std::filesystem::path& item, std::uint32_t ownerID) const;
  [[nodiscard]] bool isOld(const std::filesystem::path& item) const;

  Collaborators with_;
};

}  // namespace pellam
