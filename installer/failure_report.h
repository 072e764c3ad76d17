#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pellam/date.h"
#include "platform/clock.h"
#include "platform/file_system.h"

namespace pellam {

// What a failed replacement leaves for the host to read. Compared member by member.
struct OrvoAppBundleUpdateFailureReport {
  std::string errorDescription;
  Date failedAt = distantPast;
  std::optional<std::string> attemptIdentifier;

  // The binary property list that goes to disk, with microseconds of the date kept.
  [[nodiscard]] std::vector<std::uint8_t> encoded() const;
  // Throws PropertyListReadError when the bytes are no report.
  [[nodiscard]] static OrvoAppBundleUpdateFailureReport decode(std::span<const std::uint8_t> bytes);

  friend bool operator==(const OrvoAppBundleUpdateFailureReport&,
                         const OrvoAppBundleUpdateFailureReport&) = default;
};

// Where failure reports live, and how they are written, read once and cleaned up. Stateless; any thread.
class OrvoAppBundleUpdateFailureReportStore {
 public:
  static constexpr const char* reportFileName = "PellamUpdateInstallerFailure.plist";

  OrvoAppBundleUpdateFailureReportStore(std::shared_ptr<FileSystem> fileSystem,
                                        std::shared_ptr<PellamClock> clock)
      : fileSystem_(std::move(fileSystem)), clock_(std::move(clock)) {}

  // The base report below an Application Support folder; nothing for an identifier that is empty or cannot be
  // the name of one folder (".." or one with a slash or a zero byte), which would lead elsewhere.
  [[nodiscard]] static std::optional<std::filesystem::path> reportURL(
      const std::string& bundleIdentifier, const std::filesystem::path& applicationSupport);
  // The two locations that a host may ask for; nothing when the home path is empty or the
  // identifier is none for a folder.
  [[nodiscard]] static std::optional<std::filesystem::path> userApplicationSupportReportURL(
      const std::string& bundleIdentifier, const std::string& homeDirectory);
  [[nodiscard]] static std::optional<std::filesystem::path> sandboxContainerReportURL(
      const std::string& bundleIdentifier, const std::string& homeDirectory);

  // True for a file name that the report, or one attempt's, has beside the report at `base`.
  [[nodiscard]] static bool isReportName(const std::string& name, const std::filesystem::path& base);

  // The base report in this user's own Application Support folder.
  [[nodiscard]] std::optional<std::filesystem::path> reportURL(const std::string& bundleIdentifier) const;

  // Writes the report, under the attempt's own name first where it has a usable one, then under the base
  // name, each atomically. Throws std::system_error. Without a location nothing is written.
  void writeFailureReport(const std::string& errorDescription, const std::string& bundleIdentifier,
                          Date failedAt, const std::optional<std::string>& attemptIdentifier);
  void writeFailureReportAt(const std::string& errorDescription, const std::filesystem::path& reportURL,
                            Date failedAt, const std::optional<std::string>& attemptIdentifier);

  // Reads the preferred attempt's report, else the base report, and deletes what it read together with what
  // it makes stale and what was left of reports that were never complete. A report that cannot be read counts
  // as "Unknown helper failure". Never throws.
  [[nodiscard]] std::optional<OrvoAppBundleUpdateFailureReport> consumeFailureReport(
      const std::string& bundleIdentifier, const std::optional<std::string>& preferredAttemptIdentifier);

 private:
  std::shared_ptr<FileSystem> fileSystem_;
  std::shared_ptr<PellamClock> clock_;
};

}  // namespace pellam
