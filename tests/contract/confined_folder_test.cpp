#include "platform/confined_folder.h"
#include "tests/support/file_system_fixture.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace pellam {
namespace {

namespace fs = std::filesystem;

// A folder with an inside and an outside.
class ConfinedFolderContractTest : public testing_support::FileSystemFixture {
 protected:
  void SetUp() override {
    FileSystemFixture::SetUp();
    fs::create_directory(inside());
    write(outside() / "kept", "outside");
    outsideMode_ = modeOf(outside());
    folder_ = folders_->openFolder(inside());
  }

  [[nodiscard]] Path inside() const { return root_ / "inside"; }
  [[nodiscard]] Path outside() const { return root_ / "outside"; }
  void expectOutsideUntouched() {
    EXPECT_EQ(namesIn(outside()), std::vector<std::string>{"kept"});
    EXPECT_EQ(read(outside() / "kept"), "outside");
    EXPECT_EQ(modeOf(outside()), outsideMode_);
  }

  static unsigned modeOf(const Path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }
  static std::int64_t timeOf(const Path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mtime;
  }
  static std::string contentOf(const ReadOnlyFile& file) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(file.size()));
    EXPECT_EQ(file.readAt(0, bytes), bytes.size());
    return {bytes.begin(), bytes.end()};
  }
  void makeFile(ConfinedFolder& folder, const std::string& path, const std::string& content) {
    const auto file = folder.createFile(path, 0644);
    file->write(bytes(content));
    file->finish(0);
  }

  const std::shared_ptr<FolderOpening> folders_ = makeSystemFolderOpening();
  std::unique_ptr<ConfinedFolder> folder_;
  unsigned outsideMode_ = 0;
};

TEST_F(ConfinedFolderContractTest, SaysWhatIsThereWithoutFollowing) {
  write(inside() / "b", "12345");
  fs::create_directory(inside() / "a");
  fs::create_directory_symlink(outside(), inside() / "link");
  fs::create_symlink(std::string(900, 'x'), inside() / "long");
  ASSERT_EQ(::mkfifo((inside() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(folder_->names(), (std::vector<std::string>{"a", "b", "link", "long", "pipe"}));
  EXPECT_EQ(folder_->names().size(), 5U);  // a second time from the start
  const struct {
    const char* name;
    FileType type;
    std::uint64_t size;
  } rows[] = {{"a", FileType::directory, 0},
              {"b", FileType::regular, 5},
              {"link", FileType::symbolicLink, 0},
              {"pipe", FileType::other, 0}};
  for (const auto& row : rows) {
    const std::optional<ConfinedItem> item = folder_->describe(row.name);
    ASSERT_TRUE(item) << row.name;
    EXPECT_EQ(item->type, row.type) << row.name;
    EXPECT_EQ(item->size, row.size) << row.name;
  }
  EXPECT_FALSE(folder_->describe("missing"));
  EXPECT_EQ(folder_->linkTarget("link"), outside().native());
  EXPECT_EQ(folder_->linkTarget("long"), std::string(900, 'x'));
  EXPECT_EQ(errorOf([&] { (void)folder_->linkTarget("b"); }), EINVAL);
  EXPECT_EQ(errorOf([&] { (void)folder_->linkTarget("missing"); }), ENOENT);
}

TEST_F(ConfinedFolderContractTest, OpensFilesAndFoldersForWhatTheyAre) {
  write(inside() / "a" / "b" / "file", "content");
  ASSERT_EQ(::mkfifo((inside() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(contentOf(*folder_->openFile("a/b/file")), "content");
  EXPECT_EQ(contentOf(*folder_->openFolder("a")->openFolder("b")->openFile("file")), "content");
  EXPECT_EQ(contentOf(*folders_->openFile(inside() / "a/b/file")), "content");
  const struct {
    const char* path;
    int asFile, asFolder;
  } rows[] = {{"a", EISDIR, 0},
              {"pipe", EINVAL, ENOTDIR},
              {"a/b/file", 0, ENOTDIR},
              {"missing", ENOENT, ENOENT},
              {"a/none/x", ENOENT, ENOENT},
              {"a/b/file/x", ENOTDIR, ENOTDIR}};
  for (const auto& row : rows) {
    EXPECT_EQ(errorOf([&] { (void)folder_->openFile(row.path); }), row.asFile) << row.path;
    EXPECT_EQ(errorOf([&] { (void)folder_->openFolder(row.path); }), row.asFolder) << row.path;
    EXPECT_EQ(errorOf([&] { (void)folders_->openFile(inside() / row.path); }), row.asFile) << row.path;
    EXPECT_EQ(errorOf([&] { (void)folders_->openFolder(inside() / row.path); }), row.asFolder) << row.path;
  }
  try {
    (void)folder_->openFolder("a")->openFile("b/none");
    FAIL();
  } catch (const std::system_error& error) {
    EXPECT_EQ(std::string(error.what()).find((inside() / "a/b/none").native() + ": "), 0U) << error.what();
  }
}

TEST_F(ConfinedFolderContractTest, TakesOnlyPlainNamesAndPaths) {
  fs::create_directory(inside() / "a");
  for (const std::string& path :
       {std::string(), std::string("/"), std::string("."), std::string(".."), std::string("/a"),
        std::string("a/"), std::string("a//b"), std::string("./b"), std::string("a/./b"), std::string("a/.."),
        std::string("../outside/kept"), std::string("a/../../outside/kept"), std::string("a\0b", 3)}) {
    EXPECT_EQ(errorOf([&] { (void)folder_->openFile(path); }), EINVAL) << path;
    EXPECT_EQ(errorOf([&] { (void)folder_->openFolder(path); }), EINVAL) << path;
    EXPECT_EQ(errorOf([&] { (void)folder_->createFile(path, 0600); }), EINVAL) << path;
    EXPECT_EQ(errorOf([&] { (void)folder_->leadsInside(path); }), EINVAL) << path;
  }
  for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                  std::string("../outside"), std::string("a/"), std::string("a\0b", 3)}) {
    EXPECT_EQ(errorOf([&] { (void)folder_->describe(name); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { (void)folder_->linkTarget(name); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { folder_->makeFolder(name); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { (void)folder_->makeUniqueFolder("../" + name); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { folder_->makeLink(name, "x"); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { folder_->setModificationTime(name, 0); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { folder_->moveInto(name, *folder_, "b"); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { folder_->moveInto("a", *folder_, name); }), EINVAL) << name;
    EXPECT_EQ(errorOf([&] { folder_->removeTree(name); }), EINVAL) << name;
  }
  EXPECT_EQ(errorOf([&] { folder_->makeLink("link", std::string("a\0b", 3)); }), EINVAL);
  EXPECT_EQ(namesIn(inside()), std::vector<std::string>{"a"});
  expectOutsideUntouched();
}

TEST_F(ConfinedFolderContractTest, NoLinkIsEverFollowed) {
  fs::create_directory(inside() / "a");
  for (const char* link : {"link", "a/link"}) fs::create_directory_symlink(outside(), inside() / link);
  fs::create_symlink(outside() / "kept", inside() / "file");
  fs::create_symlink(outside() / "new", inside() / "dangling");
  for (const char* path : {"link", "file", "dangling", "link/kept", "a/link/kept", "a/link"}) {
    EXPECT_EQ(errorOf([&] { (void)folder_->openFile(path); }), ELOOP) << path;
    EXPECT_EQ(errorOf([&] { (void)folder_->openFolder(path); }), ELOOP) << path;
  }
  EXPECT_EQ(errorOf([&] { (void)folder_->createFile("link/new", 0600); }), ELOOP);
  EXPECT_EQ(errorOf([&] { (void)folder_->createFile("a/link/new", 0600); }), ELOOP);
  EXPECT_EQ(errorOf([&] { (void)folder_->createFile("dangling", 0600); }), EEXIST);
  EXPECT_EQ(errorOf([&] { folder_->makeFolder("dangling"); }), EEXIST);
  const std::int64_t before = timeOf(outside());
  folder_->setModificationTime("link", 1'000'000'000);
  EXPECT_EQ(timeOf(inside() / "link"), 1'000'000'000);
  EXPECT_EQ(timeOf(outside()), before);
  // The link itself moves and goes.
  folder_->moveInto("link", *folder_, "moved");
  EXPECT_EQ(fs::read_symlink(inside() / "moved"), outside());
  folder_->removeTree("moved");
  folder_->removeTree("a");
  EXPECT_EQ(namesIn(inside()), (std::vector<std::string>{"dangling", "file"}));
  expectOutsideUntouched();
  // Up to the folder itself, links are the system's own.
  fs::create_directory_symlink(inside(), root_ / "way");
  EXPECT_EQ(folders_->openFolder(root_ / "way")->names(), folder_->names());
  EXPECT_EQ(contentOf(*folders_->openFile(root_ / "way" / "file")), "outside");
}

TEST_F(ConfinedFolderContractTest, KnowsWhetherALinkLeadsOutside) {
  write(inside() / "Contents/a/deep/er/file", "x");
  const struct {
    const char* link;
    std::string target;
    bool staysInside;
  } rows[] = {
      {"Contents/inside", "a/deep/er/file", true},
      {"Contents/a/up", "../a/deep/../deep", true},
      {"Contents/top", "..", true},  // the folder itself
      {"Contents/dots", "./a/./", true},
      {"Contents/out", "../..", false},
      {"Contents/back", "../../inside/Contents", false},  // outside on its way
      {"Contents/absolute", (inside() / "Contents").native(), false},
      {"Contents/missing", "nowhere", true},
      {"Contents/missing-and-up", "nowhere/../../../..", true},
      {"Contents/through-a-file", "a/deep/er/file/x", false},
      {"Contents/up-from-a-file", "a/deep/er/file/..", false},
      {"Contents/link", "a/deep/er", true},
      {"Contents/link-and-up", "link/../../..", true},
      {"Contents/link-and-out", "link/../../../../..", false},
      {"Contents/circle", "circle", false},
      {"Contents/there", "back-again", false},
      {"Contents/back-again", "there", false},
  };
  for (const auto& row : rows) fs::create_symlink(row.target, inside() / row.link);
  for (const auto& row : rows) EXPECT_EQ(folder_->leadsInside(row.link), row.staysInside) << row.link;
  EXPECT_TRUE(folder_->leadsInside("Contents/a/deep/er/file"));
  EXPECT_TRUE(folder_->leadsInside("Contents/none/at/all"));
  EXPECT_TRUE(folder_->leadsInside("Contents/link/file"));
  EXPECT_FALSE(folder_->leadsInside("Contents/out/inside"));
}

TEST_F(ConfinedFolderContractTest, KnowsThatWhileOthersRename) {
  fs::create_directories(inside() / "Contents/a");
  fs::create_symlink("../Contents/../Contents/a/../../Contents/a", inside() / "Contents/link");
  write(root_ / "one" / "file", "x");
  fs::create_directory(root_ / "two");
  std::atomic<bool> isOver = false;
  std::thread renaming([&, one = root_ / "one/file", two = root_ / "two/file"] {
    while (!isOver) {
      fs::rename(one, two);
      fs::rename(two, one);
    }
  });
  int refused = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
  while (std::chrono::steady_clock::now() < end) refused += folder_->leadsInside("Contents/link") ? 0 : 1;
  isOver = true;
  renaming.join();
  EXPECT_EQ(refused, 0);
}

TEST_F(ConfinedFolderContractTest, WritesAndReadsAtAnyOffset) {
  {
    const auto file = folder_->createFile("small", 0644);
    file->write(bytes("hello "));
    file->write(bytes("world"));
    file->finish(1'234'567'890);
  }
  EXPECT_EQ(read(inside() / "small"), "hello world");
  EXPECT_EQ(timeOf(inside() / "small"), 1'234'567'890);
  constexpr std::uint64_t size = 5'000'001;
  {
    const auto file = folder_->createFile("large", 0644);
    const std::span<std::uint8_t> pages = file->pages(size);
    ASSERT_EQ(pages.size(), size);
    EXPECT_TRUE(std::all_of(pages.begin(), pages.end(), [](std::uint8_t byte) { return byte == 0; }));
    for (std::size_t index = 0; index < size; index += 1000)
      pages[index] = static_cast<std::uint8_t>(index / 1000);
    pages[size - 1] = 'e';
    file->finish(1'000'000'000);
  }
  EXPECT_EQ(fs::file_size(inside() / "large"), size);
  EXPECT_EQ(timeOf(inside() / "large"), 1'000'000'000);

  const auto file = folder_->openFile("large");
  EXPECT_EQ(file->size(), size);
  std::vector<std::uint8_t> buffer(3);
  EXPECT_EQ(file->readAt(3'000, buffer), 3U);
  EXPECT_EQ(buffer, (std::vector<std::uint8_t>{3, 0, 0}));
  EXPECT_EQ(file->readAt(size - 2, buffer), 2U);
  EXPECT_EQ(buffer, (std::vector<std::uint8_t>{0, 'e', 0}));
  EXPECT_EQ(file->readAt(size, buffer), 0U);
  EXPECT_EQ(file->readAt(size + 1'000'000, buffer), 0U);
  EXPECT_EQ(file->readAt(0, {}), 0U);
  // The file that was opened, whatever its name stands for by now.
  fs::rename(inside() / "small", inside() / "large");
  EXPECT_EQ(file->readAt(size - 1, buffer), 1U);
  EXPECT_EQ(buffer[0], 'e');
}

TEST_F(ConfinedFolderContractTest, RightsAreThoseAskedForUnderTheMask) {
  const mode_t before = ::umask(027);
  EXPECT_EQ(folders_->withheldPermissions(), 027U);
  EXPECT_EQ(::umask(027), 027U);
  makeFile(*folder_, "plain", "");
  folder_->createFile("marked", 06777)->finish(0);
  folder_->makeFolder("folder");
  (void)::umask(0);
  folder_->makeFolder("open");
  const std::string unique = folder_->makeUniqueFolder(".work-");
  (void)::umask(before);
  EXPECT_EQ(modeOf(inside() / "plain"), 0640U);
  EXPECT_EQ(modeOf(inside() / "marked"), 0750U);
  EXPECT_EQ(modeOf(inside() / "folder"), 0700U);
  EXPECT_EQ(modeOf(inside() / "open"), 0700U);
  EXPECT_EQ(modeOf(inside() / unique), 0700U);
  EXPECT_EQ(unique.find(".work-"), 0U);
  EXPECT_GT(unique.size(), 12U);
  EXPECT_NE(folder_->makeUniqueFolder(".work-"), unique);

  const auto opened = folder_->openFolder("folder");
  opened->setPermissions(07775);
  EXPECT_EQ(modeOf(inside() / "folder"), 0775U);
  opened->setModificationTime(946'684'800);
  EXPECT_EQ(timeOf(inside() / "folder"), 946'684'800);
  folder_->setModificationTime("folder", 946'684'801);
  EXPECT_EQ(timeOf(inside() / "folder"), 946'684'801);
  EXPECT_EQ(errorOf([&] { folder_->setModificationTime("missing", 0); }), ENOENT);
}

TEST_F(ConfinedFolderContractTest, NothingIsOverwritten) {
  fs::create_directories(inside() / "to" / "empty");
  write(inside() / "to" / "file", "theirs");
  fs::create_symlink("nowhere", inside() / "to" / "dangling");
  write(inside() / "from" / "file", "ours");
  write(inside() / "from" / "folder" / "file", "ours");
  const auto from = folder_->openFolder("from");
  const auto to = folder_->openFolder("to");
  for (const char* taken : {"empty", "file", "dangling"}) {
    EXPECT_EQ(errorOf([&] { from->moveInto("file", *to, taken); }), EEXIST) << taken;
    EXPECT_EQ(errorOf([&] { from->moveInto("folder", *to, taken); }), EEXIST) << taken;
    EXPECT_EQ(errorOf([&] { to->makeFolder(taken); }), EEXIST) << taken;
    EXPECT_EQ(errorOf([&] { to->makeLink(taken, "x"); }), EEXIST) << taken;
    EXPECT_EQ(errorOf([&] { (void)to->createFile(taken, 0600); }), EEXIST) << taken;
  }
  EXPECT_EQ(from->names(), (std::vector<std::string>{"file", "folder"}));
  EXPECT_EQ(read(inside() / "to/file"), "theirs");
  EXPECT_EQ(fs::read_symlink(inside() / "to/dangling"), "nowhere");

  from->moveInto("folder", *to, "new");
  EXPECT_EQ(read(inside() / "to/new/file"), "ours");
  EXPECT_EQ(from->names(), std::vector<std::string>{"file"});
  EXPECT_EQ(errorOf([&] { from->moveInto("missing", *to, "other"); }), ENOENT);
  EXPECT_EQ(errorOf([&] { folder_->moveInto("to", *to, "itself"); }), EINVAL);
  from->makeLink("link", "../to/new");
  EXPECT_EQ(fs::read_symlink(inside() / "from/link"), "../to/new");
}

TEST_F(ConfinedFolderContractTest, StaysTheFolderThatWasOpened) {
  fs::create_directory(inside() / "work");
  const auto work = folder_->openFolder("work");
  fs::rename(inside() / "work", outside() / "elsewhere");
  fs::create_directory_symlink(root_, inside() / "work");  // somebody lays a trap at the name
  makeFile(*work, "file", "x");
  work->makeFolder("folder");
  makeFile(*work, "folder/file", "x");
  work->makeLink("link", "file");
  EXPECT_EQ(namesIn(outside() / "elsewhere"), (std::vector<std::string>{"file", "folder", "link"}));
  EXPECT_EQ(work->names(), namesIn(outside() / "elsewhere"));
  EXPECT_EQ(namesIn(root_), (std::vector<std::string>{"inside", "outside"}));
  work->moveInto("folder", *folder_, "home");
  EXPECT_EQ(read(inside() / "home" / "file"), "x");

  fs::remove_all(outside() / "elsewhere");
  EXPECT_EQ(errorOf([&] { makeFile(*work, "file", "x"); }), ENOENT);
  EXPECT_EQ(errorOf([&] { (void)work->openFile("file"); }), ENOENT);
  EXPECT_FALSE(work->describe("file"));
}

TEST_F(ConfinedFolderContractTest, RemovesWholeTreesAndNothingElse) {
  write(inside() / "tree" / "a" / "file", "x");
  write(inside() / "tree" / "b" / "c" / "file", "x");
  fs::create_directory_symlink(outside(), inside() / "tree" / "b" / "link");
  fs::permissions(inside() / "tree" / "b" / "c", fs::perms(0500));
  fs::permissions(inside() / "tree" / "b", fs::perms(0500));
  write(inside() / "kept", "x");
  folder_->removeTree("tree");
  EXPECT_EQ(folder_->names(), std::vector<std::string>{"kept"});
  folder_->removeTree("kept");
  EXPECT_EQ(errorOf([&] { folder_->removeTree("missing"); }), ENOENT);
  expectOutsideUntouched();

  fs::create_directories(inside() / "full" / "x");
  fs::create_directory(inside() / "empty");
  fs::create_directory_symlink(inside() / "empty", inside() / "link");
  EXPECT_EQ(errorOf([&] { folders_->removeEmptyFolder(inside() / "full"); }), ENOTEMPTY);
  EXPECT_EQ(errorOf([&] { folders_->removeEmptyFolder(inside() / "link"); }), ENOTDIR);
  EXPECT_EQ(errorOf([&] { folders_->removeEmptyFolder(inside() / "missing"); }), ENOENT);
  folders_->removeEmptyFolder(inside() / "empty");
  EXPECT_EQ(namesIn(inside()), (std::vector<std::string>{"full", "link"}));
}

}  // namespace
}  // namespace pellam
