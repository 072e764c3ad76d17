#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "foundation/text_format.h"
#include "localization/localized_text.h"
#include "platform/property_list.h"

// The strings tables that the system and its sample ship, against the texts that the code looks up.
namespace pellam {
namespace {

namespace fs = std::filesystem;

struct Table {
  std::string source;
  PropertyListDictionary texts;
};

// The tables of that name by language.
std::map<std::string, Table> tables(const std::string& folder, const std::string& name) {
  const char* sources = std::getenv("PELLAM_SOURCES");
  std::map<std::string, Table> found;
  if (sources == nullptr) return found;
  for (const fs::directory_entry& language : fs::directory_iterator(fs::path(sources) / folder)) {
    if (language.path().extension() != ".lproj") continue;
    std::ifstream stream(language.path() / name, std::ios::binary);
    Table table{{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()}, {}};
    const std::vector<std::uint8_t> bytes(table.source.begin(), table.source.end());
    table.texts = *readPropertyList(bytes).dictionary();
    found.emplace(language.path().stem().string(), std::move(table));
  }
  return found;
}

// Which of a format's arguments appear in it.
std::set<char> usedArguments(const std::string& format) {
  const std::string filled = formatText(format, {"\x01", "\x02", "\x03", "\x04"});
  std::set<char> used;
  for (const char c : filled) {
    if (c >= 1 && c <= 4) used.insert(c);
  }
  return used;
}

void expectTranslation(const std::string& language, const Table& table, const LocalizedText& text) {
  const std::string key(text.key);
  const PropertyListText* translation = table.texts.findString(key);
  ASSERT_NE(translation, nullptr) << language << " lacks " << key;
  EXPECT_FALSE(translation->empty()) << language << ": " << key;
  EXPECT_EQ(usedArguments(*translation), usedArguments(key)) << language << ": " << *translation;
  if (language == "en") {
    EXPECT_EQ(*translation, key);
  }
  if (text.comment.empty()) return;
  const std::string entry = "/* " + std::string(text.comment) + " */\n\"" + key + "\" = ";
  EXPECT_NE(table.source.find(entry), std::string::npos) << language << " has another comment for " << key;
}

TEST(Localization, EveryLanguageHasEveryTextOfTheSystem) {
  const auto found = tables("localization", "Updates.strings");
  ASSERT_GE(found.size(), 15U) << "PELLAM_SOURCES names the source folder";
  for (const auto& [language, table] : found) {
    std::size_t count = 0;
    for (const LocalizedText& text : localized_texts::all) {
      if (text.table != "Updates") continue;
      ++count;
      expectTranslation(language, table, text);
    }
    EXPECT_EQ(table.texts.size(), count) << language << " has texts that nobody looks up";
  }
}

TEST(Localization, TheSampleHasEveryTextOfTheDefaultTable) {
  const auto found = tables("examples/editor/localization", "Localizable.strings");
  ASSERT_GE(found.size(), 15U) << "PELLAM_SOURCES names the source folder";
  const std::string sentence = "Editor" + std::string(localized_texts::promptSentenceEnding);
  for (const auto& [language, table] : found) {
    expectTranslation(language, table, {sentence, "", ""});
    for (const LocalizedText& text : localized_texts::all) {
      if (text.table.empty()) expectTranslation(language, table, text);
    }
  }
}

}  // namespace
}  // namespace pellam
