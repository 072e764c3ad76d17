#include "installer/failure_report.h"

#include <exception>
#include <string_view>

#include "foundation/item_path.h"
#include "installer/leftover_collector.h"
#include "launcher-protocol/installer_folder.h"
#include "platform/property_list.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {

using Path = std::filesystem::path;
using Report = OrvoAppBundleUpdateFailureReport;
using Store = OrvoAppBundleUpdateFailureReportStore;

constexpr const char* attemptFilePrefix = "PellamUpdateInstallerFailure-";
constexpr const char* fileExtension = ".plist";
constexpr std::size_t maximumAttemptIdentifierBytes = 128;

std::string percentEncoded(std::string_view identifier) {
  constexpr const char* hexadecimal = "0123456789ABCDEF";
  std::string encoded;
  for (std::size_t offset = 0; offset < identifier.size();) {
    const std::size_t start = offset;
    const char32_t scalar = text::nextScalar(identifier, offset);
    const std::string_view bytes = identifier.substr(start, offset - start);
    if (scalar == U'-' || scalar == U'_' || text::isAlphanumeric(scalar)) {
      encoded += bytes;
      continue;
    }
    for (const char character : bytes) {
      const auto byte = static_cast<unsigned char>(character);
      encoded += '%';
      encoded += hexadecimal[byte >> 4];
      encoded += hexadecimal[byte & 15];
    }
  }
  return encoded;
}

// The report's place under its attempt's own name, beside the base report.
std::optional<Path> attemptReportURL(const Path& baseReport, const std::optional<std::string>& identifier) {
  if (!identifier || identifier->empty() || identifier->size() > maximumAttemptIdentifierBytes) {
    return std::nullopt;
  }
  return baseReport.parent_path() / (attemptFilePrefix + percentEncoded(*identifier) + fileExtension);
}

void removeIgnoringErrors(FileSystem& fileSystem, const Path& item) {
  try {
    fileSystem.removeItem(item);
  } catch (const std::exception&) {
    // A report that stays is overwritten by the next one.
  }
}

Report readReport(const FileSystem& fileSystem, const Path& file, Date now,
                  const std::optional<std::string>& attemptIdentifier) {
  try {
    return Report::decode(fileSystem.readFile(file).span());
  } catch (const std::exception&) {
    return {"Unknown helper failure", now, attemptIdentifier};
  }
}

bool isAttemptReport(const Path& name) {
  return name.native().starts_with(attemptFilePrefix) && name.extension() == fileExtension;
}

void removeAllReports(FileSystem& fileSystem, const Path& consumed, const Path& baseReport) {
  removeIgnoringErrors(fileSystem, consumed);
  removeIgnoringErrors(fileSystem, baseReport);
  std::vector<Path> entries;
  try {
    entries = fileSystem.contentsOfDirectory(baseReport.parent_path(), HiddenItems::included);
  } catch (const std::exception&) {
    return;
  }
  for (const Path& entry : entries) {
    if (isAttemptReport(entry.filename()) && entry.filename() != consumed.filename())
      removeIgnoringErrors(fileSystem, entry);
  }
}

}  // namespace

std::vector<std::uint8_t> OrvoAppBundleUpdateFailureReport::encoded() const {
  PropertyListDictionary dictionary{{"errorDescription", errorDescription}, {"failedAt", failedAt}};
  if (attemptIdentifier) dictionary.set("attemptIdentifier", *attemptIdentifier);
  return writeBinaryPropertyList(PropertyListValue(std::move(dictionary)));
}

OrvoAppBundleUpdateFailureReport OrvoAppBundleUpdateFailureReport::decode(
    std::span<const std::uint8_t> bytes) {
  const PropertyListValue value = readPropertyList(bytes);
  const PropertyListDictionary* dictionary = value.dictionary();
  if (dictionary == nullptr) throw PropertyListReadError("the failure report is no dictionary");
  const PropertyListText* description = dictionary->findString("errorDescription");
  const PropertyListValue* date = dictionary->find("failedAt");
  if (description == nullptr) throw PropertyListReadError("the failure report has no errorDescription");
  if (date == nullptr || date->date() == nullptr) {
    throw PropertyListReadError("the failure report has no failedAt");
  }
  Report report{*description, *date->date(), std::nullopt};
  if (const PropertyListValue* attempt = dictionary->find("attemptIdentifier")) {
    if (attempt->string() == nullptr) {
      throw PropertyListReadError("the failure report's attemptIdentifier is no string");
    }
    report.attemptIdentifier = *attempt->string();
  }
  return report;
}

bool Store::isReportName(const std::string& name, const Path& base) {
  return name == base.filename().string() || isAttemptReport(name);
}

std::optional<Path> Store::reportURL(const std::string& bundleIdentifier, const Path& applicationSupport) {
  if (!isPlainFileName(bundleIdentifier)) return std::nullopt;
  return applicationSupport / bundleIdentifier / installerFolderName / reportFileName;
}

std::optional<Path> Store::userApplicationSupportReportURL(const std::string& bundleIdentifier,
                                                           const std::string& homeDirectory) {
  if (homeDirectory.empty()) return std::nullopt;
  return reportURL(bundleIdentifier, Path(homeDirectory) / "Library" / "Application Support");
}

std::optional<Path> Store::sandboxContainerReportURL(const std::string& bundleIdentifier,
                                                     const std::string& homeDirectory) {
  if (homeDirectory.empty() || !isPlainFileName(bundleIdentifier)) return std::nullopt;
  return reportURL(bundleIdentifier, Path(homeDirectory) / "Library" / "Containers" / bundleIdentifier /
                                         "Data" / "Library" / "Application Support");
}

std::optional<Path> Store::reportURL(const std::string& bundleIdentifier) const {
  const std::optional<Path> applicationSupport = fileSystem_->applicationSupportDirectory();
  if (!applicationSupport) return std::nullopt;
  return reportURL(bundleIdentifier, *applicationSupport);
}

void Store::writeFailureReport(const std::string& errorDescription, const std::string& bundleIdentifier,
                               Date failedAt, const std::optional<std::string>& attemptIdentifier) {
  const std::optional<Path> location = reportURL(bundleIdentifier);
  if (location) writeFailureReportAt(errorDescription, *location, failedAt, attemptIdentifier);
}

void Store::writeFailureReportAt(const std::string& errorDescription, const Path& reportURL, Date failedAt,
                                 const std::optional<std::string>& attemptIdentifier) {
  fileSystem_->createDirectory(reportURL.parent_path());
  const std::vector<std::uint8_t> bytes = Report{errorDescription, failedAt, attemptIdentifier}.encoded();
  const std::optional<Path> attemptReport = attemptReportURL(reportURL, attemptIdentifier);
  if (attemptReport) fileSystem_->writeFileAtomically(*attemptReport, bytes);
  fileSystem_->writeFileAtomically(reportURL, bytes);
}

std::optional<Report> Store::consumeFailureReport(
    const std::string& bundleIdentifier, const std::optional<std::string>& preferredAttemptIdentifier) {
  const std::optional<Path> baseReport = reportURL(bundleIdentifier);
  if (!baseReport) return std::nullopt;
  (void)LeftoverCollector({.fileSystem = fileSystem_, .clock = clock_}).collectReports(*baseReport);
  const std::optional<Path> preferred = attemptReportURL(*baseReport, preferredAttemptIdentifier);
  if (preferred && fileSystem_->itemExists(*preferred)) {
    Report report = readReport(*fileSystem_, *preferred, clock_->now(), preferredAttemptIdentifier);
    removeAllReports(*fileSystem_, *preferred, *baseReport);
    return report;
  }
  if (!fileSystem_->itemExists(*baseReport)) return std::nullopt;
  Report report = readReport(*fileSystem_, *baseReport, clock_->now(), std::nullopt);
  removeIgnoringErrors(*fileSystem_, *baseReport);
  const std::optional<Path> ownAttempt = attemptReportURL(*baseReport, report.attemptIdentifier);
  if (ownAttempt) removeIgnoringErrors(*fileSystem_, *ownAttempt);
  return report;
}

}  // namespace pellam
