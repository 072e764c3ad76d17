#include "tools/pellam_update/command_line.h"

#include <functional>
#include <map>

#include "foundation/decimal.h"

namespace pellam {

namespace {

using Flags = std::map<std::string, bool UpdateCommandLine::*>;
using Values = std::map<std::string, std::function<void(UpdateCommandLine&, const std::string&)>>;

const Flags& flags() {
  static const Flags table = {
      {"--check-only", &UpdateCommandLine::checkOnly},  {"--yes", &UpdateCommandLine::installWithoutAsking},
      {"--automatic", &UpdateCommandLine::isAutomatic}, {"--beta", &UpdateCommandLine::acceptsBeta},
      {"--json", &UpdateCommandLine::printsJSON},       {"--help", &UpdateCommandLine::showsHelp},
  };
  return table;
}

URL feedAddress(const std::string& text) {
  const std::optional<URL> url = URL::parse(text);
  if (!url || (url->scheme() != "http" && url->scheme() != "https" && url->scheme() != "file")) {
    throw UsageError("--feed needs an http, https or file address, not \"" + text + "\"");
  }
  return *url;
}

std::int64_t wholeNumber(const std::string& option, const std::string& text) {
  const std::optional<std::int64_t> value = parseDecimal<std::int64_t>(text);
  if (!value) throw UsageError(option + " needs a whole number, not \"" + text + "\"");
  return *value;
}

const Values& values() {
  static const Values table = {
      {"--app", [](UpdateCommandLine& line, const std::string& text) { line.application = text; }},
      {"--feed", [](UpdateCommandLine& line, const std::string& text) { line.feed = feedAddress(text); }},
      {"--language", [](UpdateCommandLine& line, const std::string& text) { line.language = text; }},
      {"--sku", [](UpdateCommandLine& line, const std::string& text) { line.acceptedSKUs.insert(text); }},
      {"--os", [](UpdateCommandLine& line, const std::string& text) { line.operatingSystemVersion = text; }},
      {"--stagger-group",
       [](UpdateCommandLine& line, const std::string& text) {
         line.staggerGroup = wholeNumber("--stagger-group", text);
       }},
      {"--state-dir", [](UpdateCommandLine& line, const std::string& text) { line.stateFolder = text; }},
  };
  return table;
}

}  // namespace

UpdateCommandLine parseUpdateCommandLine(const std::vector<std::string>& arguments) {
  UpdateCommandLine line;
  std::set<std::string> seen;
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::string& option = arguments[index];
    const auto flag = flags().find(option);
    const auto value = values().find(option);
    if (flag == flags().end() && value == values().end())
      throw UsageError("unknown argument \"" + option + "\"");
    if (!seen.insert(option).second && option != "--sku") throw UsageError(option + " is given twice");
    if (flag != flags().end()) {
      line.*(flag->second) = true;
      continue;
    }
    if (index + 1 == arguments.size() || arguments[index + 1].empty())
      throw UsageError(option + " needs a value");
    value->second(line, arguments[++index]);
  }
  if (line.showsHelp) return line;
  if (line.application.empty()) throw UsageError("--app is missing");
  if (!line.feed) throw UsageError("--feed is missing");
  if (line.checkOnly && line.installWithoutAsking)
    throw UsageError("--check-only and --yes exclude each other");
  return line;
}

std::string updateUsageText() {
  return "usage: pellam-update --app PATH --feed URL [--check-only] [--yes] [--automatic] [--beta]\n"
         "                     [--language CODE] [--sku TAG]... [--os VERSION] [--stagger-group N]\n"
         "                     [--state-dir DIR] [--json]\n"
         "\n"
         "Checks the feed for an update of the application bundle at PATH and, with --yes, installs it.\n"
         "\n"
         "  --check-only       only say what would be offered\n"
         "  --yes              install the offer without asking\n"
         "  --automatic        check as the application does by itself, not as if the user had asked\n"
         "  --beta             accept beta releases, whatever the settings say\n"
         "  --language CODE    the preferred language (the user's own otherwise)\n"
         "  --sku TAG          an edition tag that this installation accepts; may be repeated\n"
         "  --os VERSION       the version of the operating system (the running one otherwise)\n"
         "  --stagger-group N  this installation's delay in staged roll-outs, in days\n"
         "  --state-dir DIR    where the settings are kept (the user's preferences otherwise)\n"
         "  --json             print one JSON object for each event\n"
         "\n"
         "Exit status: 0 done, 3 nothing to offer, 1 failed, 2 wrong usage.\n";
}

}  // namespace pellam
