#include <gtest/gtest.h>

#include <string>

#include "formats/signing/code_directory.h"
#include "formats/signing/requirement.h"
#include "formats/signing/resource_seal.h"

// The bytes of the signature's files, and what is refused of them.

namespace pellam::codesign {
namespace {

TEST(CodeDirectory, HasTheDocumentedBytes) {
  CodeDirectory directory;
  directory.identifier = "id";
  directory.team = "TEAM";
  directory.codeLimit = 16'385;
  directory.infoPlist.fill(0x11);
  directory.requirements.fill(0x22);
  directory.resources.fill(0x33);
  directory.pages.resize(2);
  directory.pages[0].fill(0x44);
  directory.pages[1].fill(0x55);
  const Bytes bytes = directory.encoded();
  EXPECT_EQ(hexadecimal(std::span(bytes).first(96)),
            "fade0c02"
            "00000100"
            "00020400"
            "00000000"
            "000000c0"
            "00000058"
            "00000003"
            "00000002"
            "00004001"
            "2002000e"
            "00000000"
            "00000000"
            "0000005b"
            "00000000"
            "0000000000000000"
            "0000000000000000"
            "0000000000000000"
            "0000000000000000"
            "69640054454"
            "14d00");
  EXPECT_EQ(bytes.size(), 256U);
  EXPECT_EQ(hexadecimal(std::span(bytes).subspan(96, 8)), "3333333333333333");
  EXPECT_EQ(hexadecimal(std::span(bytes).subspan(160, 8)), "1111111111111111");
  EXPECT_EQ(CodeDirectory::decode(bytes), directory);
}

TEST(CodeDirectory, SurvivesEveryMutation) {
  CodeDirectory directory;
  directory.identifier = "com.example";
  directory.team = "TEAM";
  directory.codeLimit = 20'000;
  directory.pages.resize(2);
  const Bytes bytes = directory.encoded();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_EQ(CodeDirectory::decode(std::span(bytes).first(length)), std::nullopt) << length;
  }
  int accepted = 0;
  for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
    for (const int value : {0, 1, 0x7F, 0x80, 0xFF}) {
      Bytes changed = bytes;
      changed[offset] = static_cast<std::uint8_t>(value);
      const auto decoded = CodeDirectory::decode(changed);
      if (decoded && *decoded == directory && changed != bytes) ++accepted;
    }
  }
  // Fields that this format does not use: platform, spares, executable segment.
  EXPECT_LE(accepted, 40 * 5);
}

TEST(ResourceSeal, AcceptsOnlyItsOwnRulesAndItems) {
  ResourceSeal seal;
  seal.items["a"].file = Digest{};
  seal.items["b"].linkTarget = "a";
  seal.items["c"].nestedCode = SealedItem::NestedCode{{}, "identifier \"x\""};
  const std::string text = seal.encoded();
  const auto decode = [](const std::string& bytes) {
    return ResourceSeal::decode({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  };
  ASSERT_TRUE(decode(text));
  EXPECT_EQ(decode(text)->items, seal.items);
  const struct {
    const char* find;
    const char* replacement;
  } cases[] = {{"<key>omit</key>", "<key>optional</key>"}, {"<key>files2</key>", "<key>files</key>"},
               {"<key>hash2</key>", "<key>hash</key>"},    {"<key>cdhash</key>", "<key>hash2</key>"},
               {"<string>a</string>", "<true/>"},          {"^.*", "^Resources/.*"}};
  for (const auto& row : cases) {
    std::string changed = text;
    const std::size_t at = changed.find(row.find);
    ASSERT_NE(at, std::string::npos) << row.find;
    changed.replace(at, std::string(row.find).size(), row.replacement);
    EXPECT_FALSE(decode(changed)) << row.find;
  }
}

TEST(Requirement, IsWrittenInTheRequirementLanguage) {
  DesignatedRequirement requirement{"com.example", "TEAM", {}};
  EXPECT_EQ(requirement.text(), "identifier \"com.example\" and certificate leaf[subject.OU] = \"TEAM\"");
  EXPECT_EQ(hexadecimal(requirement.encodedSet()),
            "fade0c01"
            "0000005c"
            "00000001"
            "00000003"
            "00000014"
            "fade0c00"
            "00000048"
            "00000001"
            "00000006"
            "00000002"
            "0000000b"
            "636f6d2e6578616d706c6500"
            "0000000b"
            "00000000"
            "0000000a"
            "7375626a6563742e4f550000"
            "00000001"
            "00000004"
            "5445414d");
  requirement.team.reset();
  EXPECT_EQ(
      requirement.text(),
      "identifier \"com.example\" and certificate leaf = H\"0000000000000000000000000000000000000000\"");
}

}  // namespace
}  // namespace pellam::codesign
