#include "tools/pellam_feed/command_line.h"

#include <gtest/gtest.h>
#include <cstdlib>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace pellam::feed_tool {
namespace {

using JSON = nlohmann::json;

class CommandLineTest : public testing::Test {
 protected:
  CommandLineTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pellam-feed-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~CommandLineTest() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name, const std::string& content) {
    std::ofstream(folder_ / name, std::ios::binary) << content;
    return (folder_ / name).string();
  }

  struct Outcome {
    int status;
    std::string output;
    std::string errors;
  };
  static Outcome call(const std::vector<std::string>& arguments) {
    std::ostringstream output;
    std::ostringstream errors;
    const int status = run(arguments, output, errors);
    return {status, output.str(), errors.str()};
  }

  JSON evaluated(const std::string& feed, const JSON& context) {
    const Outcome outcome =
        call({"evaluate", file("feed.plist", feed), "--context", file("context.json", context.dump())});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    return JSON::parse(outcome.output);
  }

  std::filesystem::path folder_;
};

TEST_F(CommandLineTest, ComparesVersions) {
  EXPECT_EQ(call({"compare", "1.0", "1.0.0"}).output, "same\n");
  EXPECT_EQ(call({"compare", "1.0b1", "1.0"}).output, "ascending\n");
  EXPECT_EQ(call({"compare", "10", ""}).output, "descending\n");
  EXPECT_EQ(call({"compare", "-1", "--1"}).output, "descending\n");
}

const char* const feed = R"((
  { type = news; id = n; },
  { type = update; id = old; current = "2.0"; },
  { type = update; id = waiting; current = "3.0"; },
  { type = update; id = forced; current = "3.1"; mustupdate = "2.1.0"; interval = "7200"; releasedate = "2024-05-01"; version = "1.0-2.9"; },
  { type = update; id = behind; current = "4.0"; }
))";

JSON baseContext() {
  return {{"appVersion", "2.1"},
          {"appBuild", 7},
          {"currentOSVersion", "14.5"},
          {"canProcessUpdateFeeds", true},
          {"now", "2024-05-10T12:00:00Z"},
          {"lastNewsDisplayedDate", "2024-05-10T11:00:00Z"},
          {"checkUpdatesAfterHours", 24},
          {"storedFeedIdentifier", "waiting"},
          {"shouldConfirmNoUpdatesDialog", true},
          {"shouldSetSleepInterval", true},
          {"existingNewsDictionary", {{"main", "waiting"}, {"other", {1, true, 2.5}}}},
          {"feedTypeKey", "main"},
          {"defaultRefetchIntervalSeconds", 86400},
          {"minimumRefetchIntervalSeconds", 600}};
}

TEST_F(CommandLineTest, EvaluatesAsAHostWould) {
  setenv("TZ", "UTC", 1);
  const auto applicability = [](bool applies, const char* identifier, const char* releaseDate) {
    return JSON{{"shouldProcessFeed", applies}, {"isUpdate", applies},
                {"isNewBuild", false},          {"isBetaUpdate", false},
                {"releaseDate", releaseDate},   {"resolvedFeedIdentifier", identifier}};
  };
  const auto display = [](bool isDue, const char* identifier) {
    return JSON{{"isEligibleForProcessing", isDue},
                {"shouldDisplayNow", isDue},
                {"resolvedFeedIdentifier", identifier},
                {"effectiveStoredFeedIdentifier", "waiting"}};
  };
  const char* const never = "0001-01-01T00:00:00Z";
  const JSON expected = {
      {"entries",
       {{{"index", 0}, {"applicability", applicability(false, "n", never)}, {"display", nullptr}},
        {{"index", 1}, {"applicability", applicability(false, "old", never)}, {"display", nullptr}},
        {{"index", 2},
         {"applicability", applicability(true, "waiting", never)},
         {"display", display(false, "waiting")}},
        {{"index", 3},
         {"applicability", applicability(true, "forced", "2024-05-01T00:00:00Z")},
         {"display", display(true, "forced")}},
        {{"index", 4}, {"applicability", applicability(true, "behind", never)}, {"display", nullptr}}}},
      {"selectedIndex", 3},
      {"application",
       {{"didProcessSelectedUpdate", true},
        {"shouldMarkUpdateCheckPerformedOK", true},
        {"shouldHideNoUpdatesFoundDialog", true},
        {"updatedNewsDictionary", {{"main", "forced"}, {"other", {1, true, 2.5}}}},
        {"resolvedSleepInterval", 7200.0}}},
      {"displayCallbackCalls", 1}};
  EXPECT_EQ(evaluated(feed, baseContext()), expected);
}

TEST_F(CommandLineTest, TheSelectedEntryIsFoundWhateverItHolds) {
  const char* const odd = R"(<plist><array>
    <dict><key>type</key><string>update</string><key>id</key><string>old</string>
      <key>current</key><string>2.0</string><key>interval</key><real>nan</real></dict>
    <dict><key>type</key><string>update</string><key>id</key><string>odd</string>
      <key>current</key><string>3.0</string><key>interval</key><real>nan</real></dict>
    <dict><key>type</key><string>update</string><key>id</key><string>odd</string>
      <key>current</key><string>3.0</string><key>interval</key><real>nan</real></dict>
  </array></plist>)";
  JSON context = baseContext();
  context.erase("lastNewsDisplayedDate");
  const JSON report = evaluated(odd, context);
  EXPECT_EQ(report["selectedIndex"], 1);
  EXPECT_EQ(report["entries"][2]["display"], nullptr);
  EXPECT_EQ(report["application"]["resolvedSleepInterval"], 86'400.0);
}

TEST_F(CommandLineTest, ContextFieldsReachTheirPlace) {
  const struct {
    const char* name;
    JSON changes;
    const char* pointer;
    JSON expected;
  } rows[] = {
      {"the callback's answer",
       {{"displaySelectedUpdateReturns", false}},
       "/application/updatedNewsDictionary",
       nullptr},
      {"manual", {{"isManualCheck", true}}, "/selectedIndex", 2},
      {"off", {{"canProcessUpdateFeeds", false}}, "/selectedIndex", nullptr},
      {"null is missing", {{"canProcessUpdateFeeds", nullptr}}, "/selectedIndex", nullptr},
      {"off for the display only", {{"displayCanProcessUpdateFeeds", false}}, "/selectedIndex", 2},
      {"shown once", {{"displayCanProcessUpdateFeeds", false}}, "/displayCallbackCalls", 0},
      {"reset",
       {{"displayCanProcessUpdateFeeds", false}, {"shouldResetStoredFeedIdentifier", true}},
       "/displayCallbackCalls",
       1},
      {"off for the application only",
       {{"applyCanProcessUpdateFeeds", false}},
       "/application/shouldHideNoUpdatesFoundDialog",
       false},
      {"bypass", {{"debugBypassApplicabilityChecks", true}}, "/entries/1/applicability/isUpdate", true},
      {"staggering",
       {{"shouldApplyUserStaggering", true}, {"userStaggerGroup", 30}},
       "/entries/3/applicability/isUpdate",
       false},
      {"no interval wanted",
       {{"shouldSetSleepInterval", false}},
       "/application/resolvedSleepInterval",
       nullptr},
      {"minimum", {{"minimumRefetchIntervalSeconds", 9000}}, "/application/resolvedSleepInterval", 9000.0},
      {"unknown members", {{"note", "x"}}, "/selectedIndex", 3},
      {"the longest reminder interval", {{"checkUpdatesAfterHours", INT64_MAX / 3600}}, "/selectedIndex", 3},
  };
  for (const auto& row : rows) {
    JSON context = baseContext();
    context.update(row.changes);
    EXPECT_EQ(evaluated(feed, context).at(JSON::json_pointer(row.pointer)), row.expected) << row.name;
  }
}

TEST_F(CommandLineTest, FailuresAreOneLineWithTheirStatus) {
  const std::string good = file("good.plist", feed);
  const std::string empty = file("empty.json", "{}");
  const std::string missing = (folder_ / "missing").string();
  const auto context = [&](const char* name, const char* content) { return file(name, content); };
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string output;
    std::string errors;
  } rows[] = {
      {{}, 2, "", "no command; see pellam-feed --help"},
      {{"bogus"}, 2, "", "unknown command \"bogus\"; see pellam-feed --help"},
      {{"compare", "1"}, 2, "", "compare takes two versions"},
      {{"compare", "1", "2", "3"}, 2, "", "compare takes two versions"},
      {{"evaluate"}, 2, "", "evaluate takes a feed"},
      {{"evaluate", good}, 2, "", "evaluate takes --context CONTEXT.json"},
      {{"evaluate", good, "--context"}, 2, "", "--context takes a file"},
      {{"evaluate", good, good, "--context", empty}, 2, "", "more than one feed"},
      {{"evaluate", good, "--bogus\n"}, 2, "", "unknown option \"--bogus\\n\""},
      {{"evaluate", missing, "--context", empty}, 1, "", missing + ": No such file or directory"},
      {{"evaluate", folder_.string(), "--context", empty}, 1, "", folder_.string() + ": Is a directory"},
      {{"evaluate", good, "--context=" + missing}, 1, "", missing + ": No such file or directory"},
      {{"evaluate", good, "--context", context("a.json", "{\"now\":")},
       1,
       "",
       (folder_ / "a.json").string() + ": not JSON at byte 8"},
      {{"evaluate", good, "--context", context("b.json", "[]")},
       1,
       "",
       (folder_ / "b.json").string() + ": the context must be an object"},
      {{"evaluate", good, "--context", context("c.json", "{\"appBuild\":1.5}")},
       1,
       "",
       (folder_ / "c.json").string() + ": \"appBuild\" must be an integer of 64 bits"},
      {{"evaluate", good, "--context", context("d.json", "{\"appBuild\":18446744073709551615}")},
       1,
       "",
       (folder_ / "d.json").string() + ": \"appBuild\" must be an integer of 64 bits"},
      {{"evaluate", good, "--context", context("e.json", "{\"now\":\"2024-05-10\"}")},
       1,
       "",
       (folder_ / "e.json").string() + ": \"now\" must be a date like \"2026-01-31T12:00:00Z\""},
      {{"evaluate", good, "--context", context("f.json", "{\"acceptedSKUs\":[1]}")},
       1,
       "",
       (folder_ / "f.json").string() + ": \"acceptedSKUs\" must be an array of strings"},
      {{"evaluate", good, "--context", context("g.json", "{\"isManualCheck\":\"1\"}")},
       1,
       "",
       (folder_ / "g.json").string() + ": \"isManualCheck\" must be true or false"},
      {{"evaluate", good, "--context", context("h.json", "{\"existingNewsDictionary\":{\"a\":null}}")},
       1,
       "",
       (folder_ / "h.json").string() + ": \"existingNewsDictionary\" holds a null"},
      {{"evaluate", good, "--context", context("i.json", "{\"checkUpdatesAfterHours\":2562047788015216}")},
       1,
       "",
       (folder_ / "i.json").string() + ": \"checkUpdatesAfterHours\" overflows when counted in seconds"},
      {{"evaluate", file("broken.plist", "<plist>"), "--context", empty},
       1,
       "{\"error\":\"feedFailedToParse\"}\n",
       ""},
      {{"evaluate", file("none.plist", "{}"), "--context", empty}, 1, "{\"error\":\"feedNotFound\"}\n", ""},
  };
  for (const auto& row : rows) {
    const Outcome outcome = call(row.arguments);
    EXPECT_EQ(outcome.status, row.status) << row.errors;
    EXPECT_EQ(outcome.output, row.output);
    EXPECT_EQ(outcome.errors, row.errors.empty() ? "" : "pellam-feed: " + row.errors + "\n");
  }
  EXPECT_EQ(call({"--help"}).status, 0);
  EXPECT_NE(call({"--help"}).output.find("pellam-feed evaluate FEED --context CONTEXT.json"),
            std::string::npos);
}

}  // namespace
}  // namespace pellam::feed_tool
