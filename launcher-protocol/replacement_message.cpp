#include "launcher-protocol/replacement_message.h"

#include <utility>
#include <vector>

#include "launcher-protocol/launch_refusal.h"
#include "launcher-protocol/value_readers.h"

namespace pellam {

namespace {

using Refusal = OrvoAppBundleInstallerLaunchRefusal;

namespace key {
constexpr const char* stagedApplicationPath = "stagedApplicationPath";
constexpr const char* installedApplicationPath = "installedApplicationPath";
constexpr const char* shouldRequestAuthorizationIfNeeded = "shouldRequestAuthorizationIfNeeded";
constexpr const char* bundleIdentifier = "bundleIdentifier";
constexpr const char* applicationVersion = "applicationVersion";
constexpr const char* applicationBuild = "applicationBuild";
constexpr const char* allowsSameBuildReplacement = "allowsSameBuildReplacement";
constexpr const char* expectedTeamIdentifier = "expectedTeamIdentifier";
constexpr const char* launchUserIdentifier = "launchUserIdentifier";
constexpr const char* launchGroupIdentifier = "launchGroupIdentifier";
constexpr const char* launchUserName = "launchUserName";
constexpr const char* launchUserHomeDirectory = "launchUserHomeDirectory";
constexpr const char* failureReportPath = "failureReportPath";
constexpr const char* failureReportAttemptIdentifier = "failureReportAttemptIdentifier";
}  // namespace key

// Reads keys and remembers, in the order of reading, which of them gave no value.
class FieldReader {
 public:
  explicit FieldReader(const PropertyListDictionary& dictionary) : dictionary_(dictionary) {}

  template <typename Value>
  std::optional<Value> read(const char* name, std::optional<Value> (*reader)(const PropertyListValue*)) {
    std::optional<Value> value = reader(dictionary_.find(name));
    if (!value) addProblem(name);
    return value;
  }

  void addProblem(const char* name) {
    const PropertyListValue* received = dictionary_.find(name);
    problems_.push_back(received == nullptr
                            ? Refusal::FieldProblem::missing(name)
                            : Refusal::FieldProblem::invalid(name, renderedRawValue(*received)));
  }

  [[nodiscard]] std::vector<Refusal::FieldProblem>& problems() { return problems_; }

 private:
  const PropertyListDictionary& dictionary_;
  std::vector<Refusal::FieldProblem> problems_;
};

std::optional<OrvoAppBundleLaunchdUserContext> parseLaunchUserContext(
    const PropertyListDictionary& dictionary) {
  const auto user = uint32Value(dictionary.find(key::launchUserIdentifier));
  const auto group = uint32Value(dictionary.find(key::launchGroupIdentifier));
  const auto name = stringValue(dictionary.find(key::launchUserName));
  const auto home = stringValue(dictionary.find(key::launchUserHomeDirectory));
  if (!user && !group && !name && !home) return std::nullopt;

  FieldReader fields(dictionary);
  if (!user) fields.addProblem(key::launchUserIdentifier);
  if (!group) fields.addProblem(key::launchGroupIdentifier);
  if (!name || name->empty()) fields.addProblem(key::launchUserName);
  if (!home || home->empty()) fields.addProblem(key::launchUserHomeDirectory);
  if (!fields.problems().empty()) throw Refusal::invalidLaunchUserContext(std::move(fields.problems()));
  return OrvoAppBundleLaunchdUserContext{*user, *group, *name, *home};
}

}  // namespace

std::filesystem::path locationFromPathText(std::string text) {
  while (text.size() > 1 && text.ends_with('/')) text.pop_back();
  // A file address is absolute; what is not counts from the current folder.
  if (text.starts_with('/')) return text;
  return std::filesystem::current_path() / text;
}

PropertyListDictionary OrvoAppBundleXPCReplacementMessage::propertyList() const {
  std::vector<PropertyListDictionary::Entry> entries{
      {key::stagedApplicationPath, request.stagedApplicationURL.string()},
      {key::installedApplicationPath, request.installedApplicationURL.string()},
      {key::shouldRequestAuthorizationIfNeeded, request.shouldRequestAuthorizationIfNeeded}};
  if (const auto& identity = request.hostIdentity) {
    entries.emplace_back(key::bundleIdentifier, identity->bundleIdentifier);
    entries.emplace_back(key::applicationVersion, identity->applicationVersion);
    entries.emplace_back(key::applicationBuild, identity->applicationBuild);
    entries.emplace_back(key::allowsSameBuildReplacement, identity->allowsSameBuildReplacement);
    if (identity->expectedTeamIdentifier) {
      entries.emplace_back(key::expectedTeamIdentifier, *identity->expectedTeamIdentifier);
    }
  }
  if (const auto& user = request.launchUserContext) {
    entries.emplace_back(key::launchUserIdentifier, user->userIdentifier);
    entries.emplace_back(key::launchGroupIdentifier, user->groupIdentifier);
    entries.emplace_back(key::launchUserName, user->userName);
    entries.emplace_back(key::launchUserHomeDirectory, user->homeDirectory);
  }
  if (request.failureReportURL) {
    entries.emplace_back(key::failureReportPath, request.failureReportURL->string());
  }
  if (request.failureReportAttemptIdentifier) {
    entries.emplace_back(key::failureReportAttemptIdentifier, *request.failureReportAttemptIdentifier);
  }
  return PropertyListDictionary(std::move(entries));
}

OrvoAppBundleXPCReplacementMessage OrvoAppBundleXPCReplacementMessage::parse(
    const PropertyListDictionary& dictionary) {
  FieldReader fields(dictionary);
  const auto staged = fields.read(key::stagedApplicationPath, stringValue);
  const auto installed = fields.read(key::installedApplicationPath, stringValue);
  const auto bundleIdentifier = fields.read(key::bundleIdentifier, stringValue);
  const auto version = fields.read(key::applicationVersion, stringValue);
  const auto build = fields.read(key::applicationBuild, intValue);
  const auto allowsSameBuild = fields.read(key::allowsSameBuildReplacement, boolValue);
  const auto shouldRequestAuthorization = fields.read(key::shouldRequestAuthorizationIfNeeded, boolValue);
  if (!staged || !installed || !bundleIdentifier || !version || !build || !allowsSameBuild ||
      !shouldRequestAuthorization) {
    throw Refusal::malformedMessage(std::move(fields.problems()));
  }

  OrvoAppBundleXPCReplacementMessage message;
  OrvoAppBundleReplacementRequest& request = message.request;
  request.launchUserContext = parseLaunchUserContext(dictionary);
  request.stagedApplicationURL = locationFromPathText(*staged);
  request.installedApplicationURL = locationFromPathText(*installed);
  request.hostIdentity = OrvoAppBundleUpdateHostIdentity{
      *bundleIdentifier, *version, *build, stringValue(dictionary.find(key::expectedTeamIdentifier)),
      *allowsSameBuild};
  request.shouldRequestAuthorizationIfNeeded = *shouldRequestAuthorization;
  if (auto report = stringValue(dictionary.find(key::failureReportPath))) {
    request.failureReportURL = locationFromPathText(std::move(*report));
  }
  request.failureReportAttemptIdentifier = stringValue(dictionary.find(key::failureReportAttemptIdentifier));
  return message;
}

}  // namespace pellam
