#include "tools/pellam_update/update_reporter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

namespace pellam {
namespace {

using Form = UpdateReporter::Form;

const PellamAppIdentity identity{"Editor", "com.example.editor", "1.0", "100"};

// What a reporter of that form prints; the clock stands still unless the work moves it.
template <typename Work>
std::string printed(Form form, const Work& work) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* output = ::open_memstream(&text, &size);
  std::uint64_t seconds = 100;
  {
    UpdateReporter reporter(output, form, [&] { return seconds * 1'000'000'000; });
    work(reporter, seconds);
  }
  (void)std::fclose(output);
  std::string result(text, size);
  std::free(text);
  return result;
}

TEST(UpdateReporterTest, NothingFromOutsideSteersTheTerminal) {
  const std::string hostile = "\x1b]0;x\x07 \u009B2J \u202Egpj.exe\r\n{\"event\":\"launched\"}";
  const std::string shown = "\\u{1b}]0;x\\u{7} \\u{9b}2J \\u{202e}gpj.exe\\r\\n{\"event\":\"launched\"}";
  const auto everything = [&](UpdateReporter& reporter, std::uint64_t&) {
    const FeedEntry entry{{"id", hostile}, {"current", hostile}, {"currentbuild", hostile}, {"url", hostile}};
    reporter.checking({hostile, hostile, hostile, hostile}, hostile);
    reporter.offer({hostile, hostile, hostile, hostile}, {entry, {}, {}});
    reporter.nothingToOffer(identity, {{entry, OrvoUpdateFeedObstacle::edition}});
    reporter.earlierFailure(hostile, hostile);
    reporter.progress({hostile, hostile, 0.5});
    reporter.progress({hostile, hostile, std::nullopt});
    reporter.launched(hostile);
    reporter.openedInstaller(hostile);
    reporter.failed(hostile, hostile);
  };
  for (const Form form : {Form::terminal, Form::plain}) {
    const std::string text = printed(form, everything);
    EXPECT_EQ(text.find("\x1b]"), std::string::npos);
    EXPECT_EQ(text.find("\u009B"), std::string::npos);
    EXPECT_EQ(text.find("\u202E"), std::string::npos);
    EXPECT_EQ(text.find("\n{"), std::string::npos);
    EXPECT_NE(text.find("Release notes: " + shown + "\n"), std::string::npos);
  }
  std::istringstream lines(printed(Form::json, everything));
  int events = 0;
  for (std::string line; std::getline(lines, line); ++events) {
    EXPECT_TRUE(std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '~'; })) << line;
    EXPECT_NE(nlohmann::json::parse(line).at("event"), "") << line;
  }
  EXPECT_EQ(events, 9);
}

// A server that states no length: bytes are counted, and there is no end to divide them by.
TEST(UpdateReporterTest, ADownloadOfUnknownLengthIsSeenToGoOn) {
  const auto download = [](UpdateReporter& reporter, std::uint64_t& seconds) {
    reporter.progress({"Downloading", "Preparing", 0.0});
    for (int chunk = 1; chunk <= 120; ++chunk) {
      if (chunk % 10 == 0) ++seconds;
      reporter.progress({"Downloading", std::to_string(chunk) + " KB", std::nullopt});
    }
    reporter.progress({"Extracting", std::nullopt, std::nullopt});
    reporter.progress({"Extracting", std::nullopt, std::nullopt});
  };
  EXPECT_EQ(printed(Form::plain, download),
            "Downloading Preparing\nDownloading 1 KB\nDownloading 50 KB\nDownloading 100 KB\nExtracting\n");
  const std::string json = printed(Form::json, download);
  EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 15);
  EXPECT_NE(json.find(R"({"event":"progress","title":"Downloading","status":"120 KB","fraction":null})"),
            std::string::npos);
  const std::string terminal = printed(Form::terminal, download);
  EXPECT_NE(terminal.find("\r\033[KDownloading 119 KB\r\033[KDownloading 120 KB\nExtracting\n"),
            std::string::npos);
}

TEST(UpdateReporterTest, AKnownLengthIsCountedInItsParts) {
  const auto download = [](UpdateReporter& reporter, std::uint64_t&) {
    for (int chunk = 0; chunk <= 1000; ++chunk) reporter.progress({"Downloading", "x", chunk / 1000.0});
    reporter.progress({"Downloading", "x", 1e300});
  };
  const std::string plain = printed(Form::plain, download);
  EXPECT_EQ(std::count(plain.begin(), plain.end(), '\n'), 11);
  const std::string json = printed(Form::json, download);
  EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 101);
  EXPECT_NE(printed(Form::terminal, download)
                .find("\r\033[KDownloading [" + std::string(15, '#') + std::string(15, '.') + "] x"),
            std::string::npos);
}

TEST(UpdateReporterTest, WhatIsNotOfferedHasItsReason) {
  const std::vector<UpdateObstacle> obstacles = {
      {{{"id", "editor-2.0"}, {"current", "2.0"}}, OrvoUpdateFeedObstacle::operatingSystem},
      {{{"current", "3.0b1"}}, OrvoUpdateFeedObstacle::betaNotWanted},
  };
  EXPECT_EQ(printed(Form::plain, [&](UpdateReporter& reporter,
                                     std::uint64_t&) { reporter.nothingToOffer(identity, obstacles); }),
            "There is nothing to offer: Editor 1.0 (build 100) stays.\n"
            "  editor-2.0 (2.0) is for other versions of the operating system\n"
            "  An update (3.0b1) is a beta release, and these are not wanted\n");
  EXPECT_EQ(printed(Form::plain,
                    [](UpdateReporter& reporter, std::uint64_t&) { reporter.nothingToOffer(identity, {}); }),
            "There is nothing to offer: Editor 1.0 (build 100) stays.\nThe feed names no update.\n");
  EXPECT_EQ(printed(Form::json, [&](UpdateReporter& reporter,
                                    std::uint64_t&) { reporter.nothingToOffer(identity, obstacles); }),
            R"({"event":"nothingToOffer","entries":[)"
            R"({"identifier":"editor-2.0","version":"2.0","reason":"operatingSystem"},)"
            R"({"identifier":"","version":"3.0b1","reason":"betaNotWanted"}]})"
            "\n");
}

}  // namespace
}  // namespace pellam
