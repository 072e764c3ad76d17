#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>

#include "formats/archive/zip_unpacker.h"
#include "tests/support/zip_builder.h"

namespace pellam::archive {
namespace {

namespace fs = std::filesystem;

// A folder of its own with the archive, the destination beneath a missing folder, and a witness beside them.
class ZipUnpackerTest : public testing::Test {
 protected:
  ZipUnpackerTest() {
    std::string pattern = (fs::temp_directory_path() / "pellam-unpacking-test-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
    std::ofstream(root_ / "witness") << "untouched";
  }
  ~ZipUnpackerTest() override { fs::remove_all(root_); }

  // Why the archive was not unpacked; empty when it was.
  std::string unpack(const std::string& archive) {
    std::ofstream(root_ / "a.zip", std::ios::binary) << archive;
    return unpackFile(root_ / "a.zip");
  }
  std::string unpackFile(const fs::path& archive, const UnpackingOptions& options = {}) {
    try {
      unpackZipArchive(*folders_, archive, destination(), options);
      return "";
    } catch (const ArchiveError& error) {
      return error.what();
    } catch (const std::system_error& error) {
      return error.what();
    }
  }

  [[nodiscard]] fs::path destination() const { return root_ / "new" / "destination"; }

  // Everything beneath the folder in one text: "name=content|name/|name->target|".
  static std::string contentOf(const fs::path& folder) {
    std::set<std::string> lines;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
      const std::string name = entry.path().lexically_relative(folder).string();
      if (entry.is_symlink()) {
        lines.insert(name + "->" + fs::read_symlink(entry.path()).string());
      } else if (entry.is_directory()) {
        lines.insert(name + "/");
      } else {
        std::ifstream file(entry.path(), std::ios::binary);
        lines.insert(name + "=" + std::string(std::istreambuf_iterator<char>(file), {}));
      }
    }
    std::string text;
    for (const std::string& line : lines) text += line + "|";
    return text;
  }

  static unsigned modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }

  const std::shared_ptr<FolderOpening> folders_ = makeSystemFolderOpening();
  fs::path root_;
};

BuiltEntry file(std::string name, std::string content = "x") {
  return {.name = std::move(name), .content = std::move(content)};
}
BuiltEntry folder(std::string name) { return {.name = std::move(name), .content = "", .mode = 0040755}; }
BuiltEntry link(std::string name, std::string target) {
  return {.name = std::move(name), .content = std::move(target), .mode = 0120755};
}

TEST_F(ZipUnpackerTest, UnpacksApplications) {
  const std::string large(500, 'l');
  BuiltEntry deflated = file("App.app/Contents/MacOS/App", large);
  deflated.mode = 0104755;  // with the set-user bit
  deflated.isDeflated = true;
  deflated.hasDescriptor = true;
  BuiltEntry described = file("App.app/Contents/a", "stored");
  described.hasDescriptor = true;
  described.hasDescriptorSignature = false;
  BuiltEntry wide = file("App.app/Contents/wide", "64");
  wide.is64 = true;
  BuiltEntry wideDescribed = file("App.app/Contents/wide2", "64d");
  wideDescribed.is64 = wideDescribed.hasDescriptor = wideDescribed.isDeflated = true;
  BuiltEntry foreign = file("App.app/foreign");
  foreign.madeBy = 0;
  foreign.mode = 0;
  BuiltEntry readOnly = file("App.app/readonly");
  readOnly.mode = 0100444;
  const ZipBuilder builder{
      .entries = {folder("App.app/"), deflated, described, wide, wideDescribed, foreign, readOnly,
                  folder("App.app/Contents/Empty/"),
                  file("App.app/Contents/Frameworks/F.framework/Versions/A/F", "f"),
                  link("App.app/Contents/Frameworks/F.framework/Versions/Current", "A"),
                  link("App.app/Contents/Frameworks/F.framework/F", "Versions/Current/F"),
                  link("App.app/up", "../App.app/Contents"), file("App.app/Grüße.txt", ""),
                  file("./App.app/dot"), folder("__MACOSX/"), file("__MACOSX/App.app/._App", "fork")}};
  for (const bool is64 : {false, true}) {
    fs::remove_all(destination());
    ZipBuilder one = builder;
    one.is64 = is64;
    ASSERT_EQ(unpack(one.build()), "");
    EXPECT_EQ(contentOf(destination()),
              "App.app/|App.app/Contents/|App.app/Contents/Empty/|App.app/Contents/Frameworks/|"
              "App.app/Contents/Frameworks/F.framework/|"
              "App.app/Contents/Frameworks/F.framework/F->Versions/Current/F|"
              "App.app/Contents/Frameworks/F.framework/Versions/|App.app/Contents/Frameworks/F.framework/"
              "Versions/A/|"
              "App.app/Contents/Frameworks/F.framework/Versions/A/F=f|"
              "App.app/Contents/Frameworks/F.framework/Versions/Current->A|App.app/Contents/MacOS/|"
              "App.app/Contents/MacOS/App=" +
                  large +
                  "|App.app/Contents/a=stored|App.app/Contents/wide2=64d|App.app/Contents/wide=64|"
                  "App.app/Grüße.txt=|App.app/dot=x|App.app/foreign=x|App.app/readonly=x|"
                  "App.app/up->../App.app/Contents|");
  }
  EXPECT_EQ(modeOf(destination() / "App.app/Contents/MacOS/App"), 0755U);
  EXPECT_EQ(modeOf(destination() / "App.app/readonly"), 0444U);
  EXPECT_EQ(modeOf(destination() / "App.app/foreign"), 0644U);
  EXPECT_EQ(modeOf(destination() / "App.app/Contents/Empty"), 0755U);
}

TEST_F(ZipUnpackerTest, SeveralItemsMayLieAtTheTop) {
  const ZipBuilder builder{.entries = {folder("A/"), file("A/b/c/d"), link("l", "A/b"), folder("B/"),
                                       file("B/x/y"), file("f"), link("A/b/m", "c"), file("A/z/e"),
                                       link("B/n", "../A")}};
  ASSERT_EQ(unpack(builder.build()), "");
  EXPECT_EQ(contentOf(destination()),
            "A/|A/b/|A/b/c/|A/b/c/d=x|A/b/m->c|A/z/|A/z/e=x|B/|B/n->../A|B/x/|B/x/y=x|f=x|l->A/b|");
}

TEST_F(ZipUnpackerTest, CommentsMayLookLikeEndRecords) {
  const std::string whole = ZipBuilder{.entries = {file("inner")}}.build();
  ZipBuilder builder{.entries = {file("a", "outer")},
                     .comment = "PK\5\6" + whole.substr(whole.size() - 18) + whole};
  EXPECT_EQ(unpack(builder.build()), "");
  EXPECT_EQ(contentOf(destination()), "a=outer|");
}

TEST_F(ZipUnpackerTest, FilesBeyondTheBufferGoStraightToTheirPages) {
  std::string large(40'000'000, '\0');
  for (std::size_t index = 0; index < large.size(); index += 1000)
    large[index] = static_cast<char>(index / 1000);
  BuiltEntry entry = file("large", large);
  entry.isDeflated = true;
  ASSERT_EQ(unpack(ZipBuilder{.entries = {entry}}.build()), "");
  EXPECT_TRUE(contentOf(destination()) == "large=" + large + "|");
}

TEST_F(ZipUnpackerTest, RefusesWholeWhatIsNotSound) {
  const auto with = [](BuiltEntry entry, auto change) {
    change(entry);
    return ZipBuilder{.entries = {file("before"), entry}}.build();
  };
  const auto of = [](std::vector<BuiltEntry> entries) {
    entries.insert(entries.begin(), file("before"));
    return ZipBuilder{.entries = std::move(entries)}.build();
  };
  const std::string sound = of({file("a", "content")});
  ZipBuilder ambiguous{.entries = {file("a")}};
  ambiguous.comment = std::string("PK\5\6", 4) + std::string(18, '\0');
  {
    // A complete empty archive in the comment: its end record points at itself.
    const std::size_t place = ambiguous.build().size() - 22;
    for (std::size_t index = 0; index < 4; ++index) {
      ambiguous.comment[16 + index] = static_cast<char>(place >> (8 * index) & 0xFF);
    }
  }
  std::string damagedData =
      with(file("a", std::string(1000, 'a')), [](BuiltEntry& e) { e.isDeflated = true; });
  damagedData[40 + 33] = static_cast<char>(damagedData[40 + 33] ^ 0x5A);

  const struct {
    const char* name;
    std::string archive;
    const char* reason;
  } rows[] = {
      // ways out of the destination
      {"parent", of({file("../witness")}), "name leads outside: ../witness"},
      {"parent inside", of({file("a/../../witness")}), "name leads outside: a/../../witness"},
      {"parent as a folder", of({folder("a/../")}), "name leads outside: a/../"},
      {"parent beside resource forks", of({file("__MACOSX/../../w")}),
       "name leads outside: __MACOSX/../../w"},
      {"absolute", of({file("/tmp/witness")}), "absolute name: /tmp/witness"},
      {"empty name in a path", of({file("a//b")}), "empty name in a path: a//b"},
      {"link to the root", of({link("l", "/etc")}), "link leads outside: l"},
      {"link to the parent", of({link("l", "..")}), "link leads outside: l"},
      {"link past the root", of({folder("a/"), link("a/l", "../../witness")}), "link leads outside: a/l"},
      {"link through a link", of({folder("a/b/c/"), link("l", "a/b/c"), link("m", "l/../../../../w")}),
       "link leads outside: m"},
      {"link after a link up", of({folder("a/"), link("a/up", ".."), link("m", "a/up/../w")}),
       "link leads outside: m"},
      {"links in a circle", of({link("l", "m"), link("m", "l")}), "links in a circle: "},
      {"link without a target", of({link("l", "")}), "link without a target: l"},
      {"link with a NUL", of({link("l", std::string("a\0b", 3))}), "link without a target: l"},
      {"link with a long target", of({link("l", std::string(2000, 'a'))}), "link target too long: l"},
      {"behind a link", of({link("l", "."), file("l/a")}), "entry behind a link: l/a"},
      {"link over a folder", of({file("l/a"), link("l", ".")}), "name occurs twice: l"},
      {"inside a file", of({file("a"), file("a/b")}), "entry inside a file: a/b"},
      // names that meet
      {"twice", of({file("a"), file("a")}), "name occurs twice: a"},
      {"twice by a dot", of({file("a"), file("./a")}), "name occurs twice: ./a"},
      {"folder twice", of({folder("a/"), folder("a/")}), "name occurs twice: a/"},
      {"by case", of({file("a/README"), file("a/readme")}), "names collide: a/readme and a/README"},
      {"by case of a folder", of({file("A/x"), file("a/y")}), "names collide: a/y and A"},
      {"by composition", of({file("\u00E9"), file("e\u0301")}), "names collide: e\u0301 and \u00E9"},
      {"by full folding", of({file("stra\u00DFe"), file("STRASSE")}),
       "names collide: STRASSE and stra\u00DFe"},
      {"not UTF-8", of({file("a\xFF")}), "a name that is not UTF-8 text: a\uFFFD"},
      {"NUL in a name", of({file(std::string("a\0b", 3))}), "a name that is not UTF-8 text: a\\u{0}b"},
      {"long name", of({file(std::string(256, 'a'))}), "name too long: "},
      {"line end in a name", of({file("a\nb"), file("a\nb")}), "name occurs twice: a\\nb"},
      // types
      {"device", with(file("a"), [](BuiltEntry& e) { e.mode = 0020644; }), "special file: a"},
      {"pipe", with(file("a"), [](BuiltEntry& e) { e.mode = 0010644; }), "special file: a"},
      {"folder with content", with(folder("a/"), [](BuiltEntry& e) { e.content = "x"; }),
       "a folder with content: a/"},
      {"file named as a folder", with(file("a/"), [](BuiltEntry&) {}), "a folder's name on another type: a/"},
      {"encrypted", with(file("a"), [](BuiltEntry& e) { e.flags = 1; }), "encrypted entry: a"},
      {"unknown method", with(file("a"), [](BuiltEntry& e) { e.method = 14; }),
       "unknown compression method: a"},
      // content
      {"wrong checksum", with(file("a"), [](BuiltEntry& e) { e.checksum = 1; }), "wrong checksum: a"},
      {"damaged data", damagedData, "damaged data: a"},
      {"larger than declared",
       with(file("a", "12345678"),
            [](BuiltEntry& e) {
              e.isDeflated = true;
              e.size = 4;
            }),
       "larger than its declared size: a"},
      {"smaller than declared",
       with(file("a", "12345678"),
            [](BuiltEntry& e) {
              e.isDeflated = true;
              e.size = 9;
            }),
       "damaged data: a"},
      {"stored sizes differ", with(file("a", "1234"), [](BuiltEntry& e) { e.size = 5; }),
       "the sizes of a stored entry differ: a"},
      {"bomb by declaration",
       with(file("a"),
            [](BuiltEntry& e) {
              e.isDeflated = true;
              e.size = 100'000'000;
            }),
       "the content is too large for the archive"},
      {"bomb beyond all numbers",
       with(file("a"),
            [](BuiltEntry& e) {
              e.isDeflated = e.is64 = true;
              e.size = UINT64_MAX - 1;
            }),
       "the content is too large for the archive"},
      // structure
      {"not an archive", std::string(1000, 'x'), "not a zip archive"},
      {"empty file", "", "not a zip archive"},
      {"cut at the end", sound.substr(0, sound.size() - 1), "not a zip archive"},
      {"cut at the front", sound.substr(1), "the archive's end record is damaged"},
      {"something behind", sound + "x", "the archive's end record is damaged"},
      {"two end records", ambiguous.build(), "the archive has more than one end record"},
      {"overlap",
       of({file("a", "content"),
           [] {
             BuiltEntry e = file("a", "content");
             e.name = "b";
             e.localName = "b";
             e.offset = 35;
             return e;
           }()}),
       "a local header is missing: b"},
      {"same data twice",
       [] {
         BuiltEntry again = file("a", "content");
         again.offset = 0;
         return ZipBuilder{.entries = {file("a", "content"), again}}.build();
       }(),
       "entries overlap"},
      {"other local name", with(file("a"), [](BuiltEntry& e) { e.localName = "b"; }),
       "the directory and the local header disagree: a"},
      {"other local size", with(file("a", "1234"), [](BuiltEntry& e) { e.localSize = 3; }),
       "the directory and the local header disagree: a"},
      {"other descriptor",
       with(file("a", "1234"),
            [](BuiltEntry& e) {
              e.hasDescriptor = true;
              e.size = 4;
              e.checksum = 5;
              e.hasDescriptorSignature = true;
            }),
       "wrong checksum: a"},
      {"offset outside", with(file("a"), [](BuiltEntry& e) { e.offset = 9999; }),
       "an entry outside the archive: a"},
      {"split", ZipBuilder{.entries = {file("a")}, .disk = 1}.build(), "the archive's end record is damaged"},
      {"more entries than there are", ZipBuilder{.entries = {file("a")}, .extraCount = 1}.build(),
       "the archive's directory is damaged"},
      {"fewer entries than there are",
       ZipBuilder{.entries = {file("a"), file("b")}, .extraCount = -1}.build(),
       "the archive's directory is damaged"},
  };
  for (const auto& row : rows) {
    const std::string outcome = unpack(row.archive);
    EXPECT_EQ(outcome.find(row.reason), 0U) << row.name << ": " << outcome;
    EXPECT_EQ(outcome.find('\n'), std::string::npos) << row.name;
    ASSERT_FALSE(fs::exists(root_ / "new")) << row.name;
    fs::remove(root_ / "a.zip");
    ASSERT_EQ(contentOf(root_), "witness=untouched|") << row.name;
  }
}

TEST_F(ZipUnpackerTest, LeavesAnExistingDestinationAsItWas) {
  fs::create_directories(destination());
  std::ofstream(destination() / "b") << "mine";
  const std::string archive = ZipBuilder{.entries = {file("a"), file("b")}}.build();
  EXPECT_EQ(unpack(archive), "already at the destination: b");
  EXPECT_EQ(contentOf(destination()), "b=mine|");
  EXPECT_EQ(unpack(ZipBuilder{.entries = {file("a")}}.build()), "");
  EXPECT_EQ(contentOf(destination()), "a=x|b=mine|");

  fs::remove_all(destination());
  std::ofstream(destination()) << "a file";
  EXPECT_EQ(unpack(archive), "Not a directory");
  EXPECT_EQ(contentOf(root_ / "new"), "destination=a file|");
}

TEST_F(ZipUnpackerTest, AFullDiskLeavesNothing) {
  // The limit on the size of files stands for the end of the space: both fail in the middle of writing.
  struct rlimit before {};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  for (const std::size_t size : {std::size_t{3'000'000}, std::size_t{40'000'000}}) {
    BuiltEntry large = file("large", std::string(size, 'x'));
    large.isDeflated = true;
    const std::string archive = ZipBuilder{.entries = {file("a"), large, file("b")}}.build();
    const struct rlimit limit { .rlim_cur = 1'000'000, .rlim_max = before.rlim_max };
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string outcome = unpack(archive);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(outcome, "large: File too large");
    EXPECT_FALSE(fs::exists(root_ / "new"));
  }
  std::signal(SIGXFSZ, handler);
}

TEST_F(ZipUnpackerTest, GivesUpWhenTold) {
  std::ofstream(root_ / "a.zip", std::ios::binary) << ZipBuilder{.entries = {file("a")}}.build();
  const std::atomic<bool> stop = true;
  UnpackingOptions options;
  options.stop = &stop;
  EXPECT_EQ(unpackFile(root_ / "a.zip", options), "interrupted");
  EXPECT_FALSE(fs::exists(root_ / "new"));
}

TEST_F(ZipUnpackerTest, LimitsCountTheWholeContent) {
  std::ofstream(root_ / "a.zip", std::ios::binary)
      << ZipBuilder{.entries = {file("a", "1234"), file("b", "1234")}}.build();
  UnpackingOptions options;
  options.limits.largestTotal = 7;
  EXPECT_EQ(unpackFile(root_ / "a.zip", options), "the content is too large for the archive");
  options.limits.largestTotal = 8;
  options.limits.largestCount = 1;
  EXPECT_EQ(unpackFile(root_ / "a.zip", options), "too many entries");
  options.limits.largestCount = 2;
  EXPECT_EQ(unpackFile(root_ / "a.zip", options), "");
}

}  // namespace
}  // namespace pellam::archive
