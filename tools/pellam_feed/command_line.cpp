#include "tools/pellam_feed/command_line.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <span>
#include <stdexcept>
#include <system_error>

#include "feed/feed_parser.h"
#include "foundation/safe_text.h"
#include "tools/pellam_feed/feed_evaluation.h"

namespace pellam::feed_tool {

namespace {

constexpr const char* help =
    "Usage: pellam-feed compare VERSION VERSION\n"
    "       pellam-feed evaluate FEED --context CONTEXT.json\n"
    "\n"
    "compare    print how the first version stands to the second: ascending (older), same or descending "
    "(newer)\n"
    "evaluate   run one check for updates over the feed and print every decision as JSON\n";

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string contentOf(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw FileError(path + ": " + std::generic_category().message(EISDIR));
  }
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::string content;
  if (file) content.assign(std::istreambuf_iterator<char>(file), {});
  if (!file || file.bad())
    throw FileError(path + ": " + std::generic_category().message(errno != 0 ? errno : EIO));
  return content;
}

int compare(const std::vector<std::string>& arguments, std::ostream& output) {
  if (arguments.size() != 3) throw UsageError("compare takes two versions");
  switch (OrvoUpdateVersionComparison::compare(arguments[1], arguments[2])) {
    case ComparisonResult::ascending:
      output << "ascending\n";
      break;
    case ComparisonResult::same:
      output << "same\n";
      break;
    case ComparisonResult::descending:
      output << "descending\n";
      break;
  }
  return success;
}

int evaluate(const std::vector<std::string>& arguments, std::ostream& output) {
  std::optional<std::string> feedPath;
  std::optional<std::string> contextPath;
  const auto take = [](std::optional<std::string>& place, const std::string& value, const char* name) {
    if (place) throw UsageError(std::string("more than one ") + name);
    place = value;
  };
  constexpr std::string_view option = "--context";
  for (std::size_t index = 1; index < arguments.size(); ++index) {
    const std::string& argument = arguments[index];
    if (argument == option) {
      if (++index == arguments.size()) throw UsageError("--context takes a file");
      take(contextPath, arguments[index], "context");
    } else if (argument.starts_with("--context=")) {
      take(contextPath, argument.substr(option.size() + 1), "context");
    } else if (argument.size() > 1 && argument.starts_with('-')) {
      throw UsageError("unknown option \"" + argument + "\"");
    } else {
      take(feedPath, argument, "feed");
    }
  }
  if (!feedPath) throw UsageError("evaluate takes a feed");
  if (!contextPath) throw UsageError("evaluate takes --context CONTEXT.json");

  const std::string feedBytes = contentOf(*feedPath);
  const EvaluationContext context = [&] {
    const std::string text = contentOf(*contextPath);
    try {
      return parseEvaluationContext(text);
    } catch (const ContextError& error) {
      throw ContextError(*contextPath + ": " + error.what());
    }
  }();
  try {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(feedBytes.data()), feedBytes.size());
    output << evaluateFeed(OrvoUpdateFeedParser().parseFeed(bytes), context) << "\n";
  } catch (const OrvoUpdateFeedParserError& error) {
    output << "{\"error\":\"" << error.caseName() << "\"}\n";
    return failure;
  }
  return success;
}

}  // namespace

int run(const std::vector<std::string>& arguments, std::ostream& output, std::ostream& errors) {
  const auto fail = [&](const std::exception& error, int status) {
    errors << "pellam-feed: " << visibleText(error.what()) << "\n";
    return status;
  };
  try {
    if (arguments.empty()) throw UsageError("no command; see pellam-feed --help");
    const bool asksForHelp = arguments[0] == "--help" || arguments[0] == "-h" ||
                             (arguments.size() == 2 && arguments[1] == "--help");
    if (asksForHelp) {
      output << help;
      return success;
    }
    if (arguments[0] == "compare") return compare(arguments, output);
    if (arguments[0] == "evaluate") return evaluate(arguments, output);
    throw UsageError("unknown command \"" + arguments[0] + "\"; see pellam-feed --help");
  } catch (const UsageError& error) {
    return fail(error, badUsage);
  } catch (const std::exception& error) {
    return fail(error, failure);
  }
}

}  // namespace pellam::feed_tool
