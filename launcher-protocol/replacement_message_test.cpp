#include "launcher-protocol/replacement_message.h"

#include <gtest/gtest.h>

#include <limits>

#include "launcher-protocol/launch_refusal.h"
#include "launcher-protocol/service_info.h"
#include "launcher-protocol/value_readers.h"

namespace pellam {
namespace {

using Refusal = OrvoAppBundleInstallerLaunchRefusal;
using Problem = Refusal::FieldProblem;
using Message = OrvoAppBundleXPCReplacementMessage;

PropertyListDictionary minimalMessage() {
  return {{"stagedApplicationPath", "/tmp/New.app/"},
          {"installedApplicationPath", "/Applications/Editor.app"},
          {"shouldRequestAuthorizationIfNeeded", true},
          {"bundleIdentifier", "com.example.Editor"},
          {"applicationVersion", "1.2"},
          {"applicationBuild", std::int64_t{42}},
          {"allowsSameBuildReplacement", false}};
}

// The refusal's description, or "accepted".
std::string outcome(const PropertyListDictionary& dictionary) {
  try {
    (void)Message::parse(dictionary);
    return "accepted";
  } catch (const Refusal& refusal) {
    return refusal.description();
  }
}

TEST(ReplacementMessage, RoundTripsWithEverythingAndWithNothingOptional) {
  Message message = Message::parse(minimalMessage());
  EXPECT_EQ(message.request.stagedApplicationURL, "/tmp/New.app");
  EXPECT_EQ(locationFromPathText("//").string(), "/");
  EXPECT_EQ(message.request.helperExecutableURL, std::nullopt);
  EXPECT_EQ(message.request.launchUserContext, std::nullopt);
  PropertyListDictionary expected = minimalMessage();
  expected.set("stagedApplicationPath", "/tmp/New.app");
  EXPECT_EQ(message.propertyList(), expected);

  message.request.hostIdentity->expectedTeamIdentifier = "TEAM123456";
  message.request.launchUserContext = OrvoAppBundleLaunchdUserContext{501, 20, "ada", "/Users/ada"};
  message.request.failureReportURL = "/Users/ada/r.plist";
  message.request.failureReportAttemptIdentifier = "attempt";
  EXPECT_EQ(Message::parse(message.propertyList()), message);
  EXPECT_EQ(message.propertyList().size(), 14U);
  EXPECT_EQ(*message.propertyList().find("launchUserIdentifier"), PropertyListValue(std::uint32_t{501}));

  message.request.helperExecutableURL = "/never/sent";
  EXPECT_EQ(message.propertyList().size(), 14U);
}

TEST(ReplacementMessage, ReportsEveryBadFieldInReadingOrder) {
  EXPECT_EQ(
      outcome({}),
      "The launcher message is missing required values or contains invalid values; "
      "fields=stagedApplicationPath(missing),installedApplicationPath(missing),bundleIdentifier(missing),"
      "applicationVersion(missing),applicationBuild(missing),allowsSameBuildReplacement(missing),"
      "shouldRequestAuthorizationIfNeeded(missing)");

  Message withoutIdentity = Message::parse(minimalMessage());
  withoutIdentity.request.hostIdentity.reset();
  EXPECT_EQ(outcome(withoutIdentity.propertyList()),
            "The launcher message is missing required values or contains invalid values; "
            "fields=bundleIdentifier(missing),applicationVersion(missing),applicationBuild(missing),"
            "allowsSameBuildReplacement(missing)");
}

TEST(ReplacementMessage, ConvertsOnlyWhatTheReadersAllow) {
  const std::string malformed =
      "The launcher message is missing required values or contains invalid values; fields=";
  struct Row {
    const char* key;
    PropertyListValue value;
    std::string expected;
  };
  const Row rows[] = {
      {"applicationBuild", "+42", "accepted"},
      {"applicationBuild", "-9223372036854775808", "accepted"},
      {"applicationBuild", 1.9, "accepted"},
      {"applicationBuild", true, "accepted"},
      {"applicationBuild", "42a", malformed + "applicationBuild(invalid: 42a)"},
      {"applicationBuild", " 42", malformed + "applicationBuild(invalid:  42)"},
      {"applicationBuild", "9223372036854775808",
       malformed + "applicationBuild(invalid: 9223372036854775808)"},
      {"applicationBuild", "", malformed + "applicationBuild(invalid: <empty>)"},
      {"applicationBuild", PropertyListArray{}, malformed + "applicationBuild(invalid: ())"},
      {"applicationBuild", PropertyListData{1, 2}, malformed + "applicationBuild(invalid: {length = 2})"},
      {"applicationVersion", 12, malformed + "applicationVersion(invalid: 12)"},
      {"applicationVersion", true, malformed + "applicationVersion(invalid: true)"},
      {"applicationVersion", "", "accepted"},
      {"bundleIdentifier", distantPast, malformed + "bundleIdentifier(invalid: 0001-01-01T00:00:00Z)"},
      {"bundleIdentifier", PropertyListDictionary{{"a", "b\nc"}},
       malformed + "bundleIdentifier(invalid: {a = b\\nc;})"},
      {"allowsSameBuildReplacement", 1, "accepted"},
      {"allowsSameBuildReplacement", "TRUE", "accepted"},
      {"allowsSameBuildReplacement", "True", malformed + "allowsSameBuildReplacement(invalid: True)"},
      {"allowsSameBuildReplacement", "yes", malformed + "allowsSameBuildReplacement(invalid: yes)"},
      {"stagedApplicationPath", PropertyListData{},
       malformed + "stagedApplicationPath(invalid: {length = 0})"},
      {"failureReportPath", 5, "accepted"},
      {"expectedTeamIdentifier", true, "accepted"},
  };
  for (const Row& row : rows) {
    PropertyListDictionary dictionary = minimalMessage();
    dictionary.set(row.key, row.value);
    EXPECT_EQ(outcome(dictionary), row.expected) << row.key << " = " << row.value.description();
  }
  PropertyListDictionary dictionary = minimalMessage();
  dictionary.set("applicationBuild", "+42");
  dictionary.set("failureReportPath", 5);
  dictionary.set("allowsSameBuildReplacement", 2);
  const Message message = Message::parse(dictionary);
  EXPECT_EQ(message.request.hostIdentity->applicationBuild, 42);
  EXPECT_EQ(message.request.failureReportURL, std::nullopt);
  EXPECT_TRUE(message.request.hostIdentity->allowsSameBuildReplacement);
}

TEST(ReplacementMessage, TakesTheLaunchUserWholeOrNotAtAll) {
  const std::string incomplete = "The launch user context is incomplete or contains invalid values; fields=";
  struct Row {
    std::vector<PropertyListDictionary::Entry> keys;
    std::string expected;
  };
  const Row rows[] = {
      {{{"launchUserIdentifier", "abc"}}, "accepted"},
      {{{"launchUserName", 7}, {"launchGroupIdentifier", -1}}, "accepted"},
      {{{"launchUserName", ""}},
       incomplete + "launchUserIdentifier(missing),launchGroupIdentifier(missing),"
                    "launchUserName(invalid: <empty>),launchUserHomeDirectory(missing)"},
      {{{"launchUserIdentifier", "501"},
        {"launchGroupIdentifier", 4294967296},
        {"launchUserName", "ada"},
        {"launchUserHomeDirectory", ""}},
       incomplete + "launchGroupIdentifier(invalid: 4294967296),launchUserHomeDirectory(invalid: <empty>)"},
  };
  for (const Row& row : rows) {
    PropertyListDictionary dictionary = minimalMessage();
    for (const auto& [key, value] : row.keys) dictionary.set(key, value);
    EXPECT_EQ(outcome(dictionary), row.expected);
  }
  // A missing required key is reported before the user is looked at.
  PropertyListDictionary dictionary = minimalMessage();
  dictionary.erase("applicationBuild");
  dictionary.set("launchUserName", "");
  EXPECT_EQ(outcome(dictionary),
            "The launcher message is missing required values or contains invalid values; "
            "fields=applicationBuild(missing)");
}

TEST(ValueReaders, KeepNumbersApartAtTheirEdges) {
  constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  struct Row {
    PropertyListValue value;
    std::optional<std::uint32_t> u32;
    std::optional<std::uint64_t> u64;
    std::optional<bool> boolean;
  };
  const Row rows[] = {
      {largest, std::nullopt, largest, true},
      {std::uint32_t{4294967295}, 4294967295, 4294967295, true},
      {std::int64_t{-1}, std::nullopt, std::nullopt, true},
      {std::int64_t{0}, 0, 0, false},
      {0.5, 0, 0, true},
      {-0.5, 0, 0, true},
      {true, 1, 1, true},
      {"4294967295", 4294967295, std::nullopt, std::nullopt},
      {"-1", std::nullopt, std::nullopt, std::nullopt},
      {"0", 0, std::nullopt, false},
      {PropertyListArray{}, std::nullopt, std::nullopt, std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value.description());
    EXPECT_EQ(uint32Value(&row.value), row.u32);
    EXPECT_EQ(uint64Value(&row.value), row.u64);
    EXPECT_EQ(boolValue(&row.value), row.boolean);
  }
  EXPECT_EQ(intValue(nullptr), std::nullopt);
  const PropertyListValue text("12");
  EXPECT_EQ(numericIntValue(&text), std::nullopt);
}

TEST(ServiceInfo, NamesTheServiceAfterTheHost) {
  using Info = OrvoAppBundleInstallerLauncherServiceInfo;
  EXPECT_EQ(Info::serviceName("com.example.Editor"),
            "com.example.Editor.Pellam.UpdateInstallerLauncherService");
  EXPECT_EQ(Info::serviceName(""), "com.tarnvale.Pellam.UpdateInstallerLauncherService");
  EXPECT_EQ(Info::serviceName(std::nullopt), "com.tarnvale.Pellam.UpdateInstallerLauncherService");
}

}  // namespace
}  // namespace pellam
