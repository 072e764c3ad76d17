#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

#include "formats/signing/cms_signature.h"
#include "formats/signing/code_directory.h"
#include "formats/signing/requirement.h"
#include "formats/signing/resource_seal.h"
#include "foundation/safe_text.h"
#include "tests/support/signing_identity_files.h"
#include "tests/support/temporary_folder.h"
#include "tools/pellam_codesign/arguments.h"

// The signing tool as a process: accepts what it signed, and refuses everything else with its exact line.

namespace pellam::codesign {
namespace {

namespace fs = std::filesystem;
using testing_support::SigningAuthority;
using testing_support::TemporaryFolder;

struct Ended {
  int status = -1;
  std::string output;
};

Ended runShell(const std::string& command) {
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  Ended ended;
  std::array<char, 4096> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    ended.output.append(buffer.data(), count);
  }
  const int status = ::pclose(pipe);
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return ended;
}

Ended tool(const std::string& arguments) { return runShell(std::string(PELLAM_CODESIGN) + " " + arguments); }

void put(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

std::string get(const fs::path& file) { return TemporaryFolder::read(file); }

void flipByte(const fs::path& file, std::size_t offset) {
  std::string text = get(file);
  text.at(offset) = static_cast<char>(text.at(offset) ^ 1);
  put(file, text);
}

std::string infoPlist(const std::string& identifier, const std::string& version) {
  return "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" + identifier +
         "</string><key>CFBundleExecutable</key><string>Main</string><key>CFBundleVersion</key><string>" +
         version + "</string></dict></plist>";
}

class CodesignTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    shared_ = std::make_unique<TemporaryFolder>();
    vendor_ = std::make_unique<SigningAuthority>(*shared_ / "vendor");
    vendor_->issue("good", "/OU=TEAM1");
    vendor_->issue("other", "/OU=TEAM2");
    vendor_->issue("teamless", "");
    vendor_->issue("expired", "/OU=TEAM1", -1);
    vendor_->issue("server", "/OU=TEAM1", 20, "serverAuth");
    stranger_ = std::make_unique<SigningAuthority>(*shared_ / "stranger");
    stranger_->issue("good", "/OU=TEAM1");
    const fs::path app = *shared_ / "Editor.app";
    makeBundle(app);
    ASSERT_EQ(sign(app / "Contents/XPCServices/Service.xpc").output, "");
    ASSERT_EQ(sign(app).output, "");
  }
  static void TearDownTestSuite() {
    vendor_.reset();
    stranger_.reset();
    shared_.reset();
  }

  static void makeBundle(const fs::path& app, const std::string& version = "1") {
    const fs::path contents = app / "Contents";
    put(contents / "Info.plist", infoPlist("com.example.editor", version));
    put(contents / "MacOS/Main", std::string(40'000, 'm') + version);
    put(contents / "MacOS/helper", "#!/bin/sh\n");
    put(contents / "Resources/a.txt", "a");
    put(contents / "Resources/folder/b.txt", "b");
    put(contents / "Resources/empty", "");
    fs::create_symlink("folder/b.txt", contents / "Resources/link");
    put(contents / "XPCServices/Service.xpc/Contents/Info.plist", infoPlist("com.example.service", version));
    put(contents / "XPCServices/Service.xpc/Contents/MacOS/Main", "service" + version);
  }
  static Ended sign(const fs::path& bundle, const SigningAuthority& authority, const std::string& name,
                    const std::string& options = "") {
    return tool("--sign " + authority.certificate(name).string() + " --key " + authority.key(name).string() +
                " " + options + " " + bundle.string());
  }
  static Ended sign(const fs::path& bundle) { return sign(bundle, *vendor_, "good"); }
  static Ended verify(const fs::path& bundle) {
    return tool("--verify --strict --deep --anchors " + vendor_->anchors().string() + " " + bundle.string());
  }
  // A fresh copy of the signed bundle.
  fs::path copy() {
    const fs::path app = folder_ / (std::to_string(++copies_) + ".app");
    fs::copy(*shared_ / "Editor.app", app, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    return app;
  }

  static std::unique_ptr<TemporaryFolder> shared_;
  static std::unique_ptr<SigningAuthority> vendor_;
  static std::unique_ptr<SigningAuthority> stranger_;
  TemporaryFolder folder_;
  int copies_ = 0;
};

std::unique_ptr<TemporaryFolder> CodesignTest::shared_;
std::unique_ptr<SigningAuthority> CodesignTest::vendor_;
std::unique_ptr<SigningAuthority> CodesignTest::stranger_;

TEST_F(CodesignTest, AcceptsWhatItSignedInSilence) {
  const fs::path app = copy();
  put(app / "Contents/Resources/.DS_Store", "finder");
  fs::create_directory(app / "Contents/Resources/nothing inside");
  const Ended ended = verify(app);
  EXPECT_EQ(ended.output, "");
  EXPECT_EQ(ended.status, 0);
  // Somebody else's implementation of the signature format agrees.
  const std::string signature = (app / "Contents/_CodeSignature/").string();
  EXPECT_EQ(runShell("openssl cms -verify -inform DER -binary -purpose any -out /dev/null -CAfile " +
                     vendor_->anchors().string() + " -content " + signature + "CodeDirectory -in " +
                     signature + "CodeSignature")
                .status,
            0);
}

TEST_F(CodesignTest, ShowsWhatTheSignatureSays) {
  const fs::path app = copy();
  const Ended ended = tool("-dv --verbose=4 " + app.string());
  EXPECT_EQ(ended.status, 0);
  for (const std::string& line :
       {"Executable=" + app.string() +
            "/Contents/MacOS/Main\nIdentifier=com.example.editor\n"
            "Format=app bundle with generic\nCodeDirectory v=20400 size=",
        std::string("Hash type=sha256 size=32\n"), std::string("\nAuthority=Developer good\n"),
        std::string(
            "\nInfo.plist entries=3\nTeamIdentifier=TEAM1\nSealed Resources version=2 rules=4 files=6\n"
            "Internal requirements count=1 size=")}) {
    EXPECT_NE(ended.output.find(line), std::string::npos) << line << "in\n" << ended.output;
  }
  ASSERT_EQ(sign(app, *vendor_, "teamless").output, "");
  EXPECT_NE(tool("-dv --verbose=4 " + app.string()).output.find("\nTeamIdentifier=not set\n"),
            std::string::npos);
  EXPECT_EQ(verify(app).status, 0);
}

TEST_F(CodesignTest, ANameCannotAddALineToTheOutput) {
  // Whatever the readers of the output take for the end of a line.
  for (const std::string end : {"\n", "\r", "\v", "\f", "\u0085", "\u2028", "\u2029"}) {
    const fs::path app = folder_ / ("Editor" + end + "TeamIdentifier=TEAM9" + end + ".app");
    fs::copy(*shared_ / "Editor.app", app, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    const Ended ended = tool("-dv --verbose=4 '" + app.string() + "'");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output.find(end + "TeamIdentifier=TEAM9"), std::string::npos) << visibleText(end);
    EXPECT_NE(ended.output.find("\nTeamIdentifier=TEAM1\n"), std::string::npos);
  }
}

TEST_F(CodesignTest, RefusesEveryChange) {
  using Path = fs::path;
  const std::string bad = "a sealed resource is missing or invalid";
  const std::string modified = "invalid signature (code or signature have been modified)";
  const std::string unsignedCode = "code object is not signed at all";
  const std::string service = "XPCServices/Service.xpc/Contents/";
  const std::string inService = "In subcomponent: %/Contents/XPCServices/Service.xpc";
  const std::string signature = "_CodeSignature/";
  const struct {
    const char* name;
    std::function<void(const Path& contents)> change;
    std::string reason;
    std::string detail = "";  // "%" stands for the bundle
    int status = 1;
  } cases[] = {
      {"resource changed", [](const Path& c) { put(c / "Resources/a.txt", "A"); }, bad,
       "file modified: %/Contents/Resources/a.txt"},
      {"resource added", [](const Path& c) { put(c / "Resources/new", ""); }, bad,
       "file added: %/Contents/Resources/new"},
      {"hidden file added", [](const Path& c) { put(c / "Resources/folder/.x", ""); }, bad,
       "file added: %/Contents/Resources/folder/.x"},
      {"resource removed", [](const Path& c) { fs::remove(c / "Resources/folder/b.txt"); }, bad,
       "file missing: %/Contents/Resources/folder/b.txt"},
      {"empty file removed", [](const Path& c) { fs::remove(c / "Resources/empty"); }, bad,
       "file missing: %/Contents/Resources/empty"},
      {"several",
       [](const Path& c) {
         put(c / "Resources/0", "");
         fs::remove(c / "Resources/a.txt");
       },
       bad, "file added: %/Contents/Resources/0\nfile missing: %/Contents/Resources/a.txt"},
      {"link changed",
       [](const Path& c) {
         fs::remove(c / "Resources/link");
         fs::create_symlink("a.txt", c / "Resources/link");
       },
       bad, "file modified: %/Contents/Resources/link"},
      {"link replaced by its target",
       [](const Path& c) {
         fs::remove(c / "Resources/link");
         put(c / "Resources/link", "b");
       },
       bad, "file modified: %/Contents/Resources/link"},
      {"file replaced by a link to its like",
       [](const Path& c) {
         fs::rename(c / "Resources/a.txt", c / "Resources/c");
         fs::create_symlink("c", c / "Resources/a.txt");
       },
       bad, "file modified: %/Contents/Resources/a.txt\nfile added: %/Contents/Resources/c"},
      {"folder replaced by a link out of the bundle",
       [](const Path& c) {
         fs::rename(c / "Resources/folder", c.parent_path().parent_path() / "moved");
         fs::create_symlink("../../../moved", c / "Resources/folder");
       },
       bad, "file added: %/Contents/Resources/folder\nfile missing: %/Contents/Resources/folder/b.txt"},
      {"pipe in a file's place",
       [](const Path& c) {
         fs::remove(c / "Resources/a.txt");
         ::mkfifo((c / "Resources/a.txt").c_str(), 0600);
       },
       bad, "file modified: %/Contents/Resources/a.txt"},
      {"helper changed", [](const Path& c) { put(c / "MacOS/helper", "#!/bin/rm\n"); }, bad,
       "file modified: %/Contents/MacOS/helper"},
      {"program added", [](const Path& c) { put(c / "MacOS/more", ""); }, bad,
       "file added: %/Contents/MacOS/more"},
      {"file beside the signature", [](const Path& c) { put(c / "_CodeSignature/x", ""); }, bad,
       "file added: %/Contents/_CodeSignature/x"},
      {"Info.plist changed",
       [](const Path& c) { put(c / "Info.plist", infoPlist("com.example.editor", "2")); },
       "invalid Info.plist (plist or signature have been modified)"},
      {"executable changed", [](const Path& c) { flipByte(c / "MacOS/Main", 20'000); }, modified},
      {"last byte changed", [](const Path& c) { flipByte(c / "MacOS/Main", 40'000); }, modified},
      {"executable longer", [](const Path& c) { put(c / "MacOS/Main", get(c / "MacOS/Main") + "x"); },
       modified},
      {"executable empty", [](const Path& c) { put(c / "MacOS/Main", ""); }, modified},
      {"executable is a link",
       [](const Path& c) {
         fs::rename(c / "MacOS/Main", c / "MacOS/Real");
         fs::create_symlink("Real", c / "MacOS/Main");
       },
       "bundle format unrecognized, invalid, or unsuitable", "there is no main executable"},
      {"seal changed", [&](const Path& c) { flipByte(c / signature / "CodeResources", 300); },
       "invalid resource directory (directory or signature have been modified)"},
      {"seal removed", [&](const Path& c) { fs::remove(c / signature / "CodeResources"); },
       "code has no resources but signature indicates they must be present"},
      {"requirements changed", [&](const Path& c) { flipByte(c / signature / "CodeRequirements", 40); },
       modified},
      {"requirements removed", [&](const Path& c) { fs::remove(c / signature / "CodeRequirements"); },
       modified},
      {"directory changed", [&](const Path& c) { flipByte(c / signature / "CodeDirectory", 200); }, modified},
      {"directory cut off", [&](const Path& c) { fs::resize_file(c / signature / "CodeDirectory", 100); },
       modified},
      {"signature changed", [&](const Path& c) { flipByte(c / signature / "CodeSignature", 500); }, modified},
      {"signature cut off", [&](const Path& c) { fs::resize_file(c / signature / "CodeSignature", 400); },
       modified},
      {"signature followed by more",
       [&](const Path& c) {
         put(c / signature / "CodeSignature", get(c / signature / "CodeSignature") + "x");
       },
       modified},
      {"signature removed", [&](const Path& c) { fs::remove(c / signature / "CodeSignature"); },
       unsignedCode},
      {"all of it removed", [&](const Path& c) { fs::remove_all(c / signature); }, unsignedCode},
      {"signature folder is a link",
       [&](const Path& c) {
         fs::rename(c / "_CodeSignature", c.parent_path().parent_path() / "away");
         fs::create_symlink("../../away", c / "_CodeSignature");
       },
       unsignedCode},
      {"more in the bundle's root", [](const Path& c) { put(c / "../more", ""); },
       "unsealed contents present in the bundle root", "file added: %/more"},
      {"signed by a stranger of the same name and team",
       [](const Path& c) { sign(c.parent_path(), *stranger_, "good"); }, "CSSMERR_TP_NOT_TRUSTED",
       "unable to get local issuer certificate"},
      {"signed with an expired certificate",
       [](const Path& c) { sign(c.parent_path(), *vendor_, "expired"); }, "CSSMERR_TP_CERT_EXPIRED",
       "certificate has expired"},
      {"nested code changed", [&](const Path& c) { put(c / service / "MacOS/Main", "evil"); }, modified,
       inService},
      {"nested code unsigned", [&](const Path& c) { fs::remove_all(c / service / "_CodeSignature"); },
       unsignedCode, inService},
      {"nested code re-signed by another team of the same vendor",
       [&](const Path& c) { sign(c / "XPCServices/Service.xpc", *vendor_, "other"); },
       "nested code is modified or invalid", inService},
      {"nested code of another version, signed alike",
       [&](const Path& c) {
         put(c / service / "MacOS/Main", "service0");
         sign(c / "XPCServices/Service.xpc");
       },
       "nested code is modified or invalid", inService},
      {"nested code no longer a bundle", [&](const Path& c) { fs::remove(c / service / "Info.plist"); }, bad,
       "file added: %/Contents/XPCServices/Service.xpc/Contents/MacOS/Main\n"
       "file added: %/Contents/XPCServices/Service.xpc/Contents/_CodeSignature/CodeDirectory\n"
       "file added: %/Contents/XPCServices/Service.xpc/Contents/_CodeSignature/CodeRequirements\n"
       "file added: %/Contents/XPCServices/Service.xpc/Contents/_CodeSignature/CodeResources\n"
       "file added: %/Contents/XPCServices/Service.xpc/Contents/_CodeSignature/CodeSignature\n"
       "file missing: %/Contents/XPCServices/Service.xpc"},
  };
  for (const auto& row : cases) {
    const fs::path app = copy();
    row.change(app / "Contents");
    std::string expected =
        app.string() + ": " + row.reason + "\n" + row.detail + (row.detail.empty() ? "" : "\n");
    for (std::size_t at = expected.find('%'); at != std::string::npos; at = expected.find('%')) {
      expected.replace(at, 1, app.string());
    }
    const Ended ended = verify(app);
    EXPECT_EQ(ended.output, expected) << row.name;
    EXPECT_EQ(ended.status, row.status) << row.name;
  }
}

TEST_F(CodesignTest, RefusesASignatureThatClaimsMoreThanItsCertificate) {
  // What a signer of the same vendor, but of another team, could forge.
  const SigningIdentity other(vendor_->certificate("other"), vendor_->key("other"));
  const auto forge = [&](const std::function<void(CodeDirectory&, const fs::path&)>& change) {
    const fs::path app = copy();
    const fs::path signature = app / "Contents/_CodeSignature";
    const std::string bytes = get(signature / "CodeDirectory");
    CodeDirectory directory =
        *CodeDirectory::decode({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    change(directory, signature);
    const Bytes forged = directory.encoded();
    const Bytes cms = other.sign(forged);
    put(signature / "CodeDirectory", std::string(forged.begin(), forged.end()));
    put(signature / "CodeSignature", std::string(cms.begin(), cms.end()));
    Ended ended = verify(app);
    ended.output = ended.output.substr(app.string().size());
    return ended;
  };
  const Ended team = forge([](CodeDirectory&, const fs::path&) {});
  EXPECT_EQ(team.output, ": the team identifier is not the signing certificate's\n");
  EXPECT_EQ(team.status, 1);
  // Its own team, but the victim's requirement.
  const Ended requirement =
      forge([](CodeDirectory& directory, const fs::path&) { directory.team = "TEAM2"; });
  EXPECT_EQ(requirement.output, ": does not satisfy its designated Requirement\n");
  EXPECT_EQ(requirement.status, 3);
}

TEST_F(CodesignTest, TrustsOnlyTheGivenAnchors) {
  const fs::path app = copy();
  put(folder_ / "empty.pem", "");
  const auto with = [&](const std::string& anchors) {
    return tool("--verify --strict --deep " + (anchors.empty() ? "" : "--anchors " + anchors) + " " +
                app.string());
  };
  for (const std::string& anchors :
       {std::string(), (folder_ / "none.pem").string(), (folder_ / "empty.pem").string(),
        stranger_->anchors().string(), vendor_->certificate("other").string()}) {
    const Ended ended = with(anchors);
    EXPECT_EQ(ended.status, 1) << anchors;
    EXPECT_EQ(ended.output.substr(0, ended.output.find('\n')), app.string() + ": CSSMERR_TP_NOT_TRUSTED")
        << anchors;
  }
  // A file of several anchors; and the signer's certificate itself as one.
  put(folder_ / "both.pem", get(stranger_->anchors()) + get(vendor_->anchors()));
  EXPECT_EQ(with((folder_ / "both.pem").string()).status, 0);
  EXPECT_EQ(with(vendor_->certificate("good").string()).status, 0);
}

TEST_F(CodesignTest, RefusesToSignWhatItCouldNotVouchFor) {
  const struct {
    const char* name;
    std::function<Ended(const fs::path& app)> attempt;
    const char* text;
  } cases[] = {
      {"nested code unsigned",
       [](const fs::path& app) {
         fs::remove_all(app / "Contents/XPCServices/Service.xpc/Contents/_CodeSignature");
         return sign(app);
       },
       ": code object is not signed at all\nIn subcomponent: "},
      {"nested code changed",
       [](const fs::path& app) {
         put(app / "Contents/XPCServices/Service.xpc/Contents/MacOS/Main", "changed");
         return sign(app);
       },
       ": invalid signature (code or signature have been modified)\nIn subcomponent: "},
      {"nested code behind a link",
       [](const fs::path& app) {
         const fs::path framework = app / "Contents/Frameworks/Old.framework";
         put(framework / "Versions/A/Info.plist", infoPlist("com.example.old", "1"));
         fs::create_symlink("Versions/A", framework / "Contents");
         return sign(app);
       },
       ": bundle format unrecognized, invalid, or unsuitable\nIn subcomponent: "},
      {"absolute link",
       [](const fs::path& app) {
         fs::create_symlink("/etc/passwd", app / "Contents/Resources/out");
         return sign(app);
       },
       ": invalid destination for symbolic link in bundle\nfile: Resources/out\n"},
      {"link out of the bundle",
       [](const fs::path& app) {
         fs::create_symlink("../../../x", app / "Contents/Resources/out");
         return sign(app);
       },
       ": invalid destination for symbolic link in bundle\nfile: Resources/out\n"},
      {"links that only together lead out",
       [](const fs::path& app) {
         fs::create_symlink("..", app / "Contents/Resources/up");
         fs::create_symlink("up/../../outside", app / "Contents/Resources/out");
         return sign(app);
       },
       ": invalid destination for symbolic link in bundle\nfile: Resources/out\n"},
      {"a pipe",
       [](const fs::path& app) {
         ::mkfifo((app / "Contents/Resources/p").c_str(), 0600);
         return sign(app);
       },
       ": only files, folders and links can be sealed\nfile: Resources/p\n"},
      {"another team", [](const fs::path& app) { return sign(app, *vendor_, "good", "--team TEAM2"); },
       ": the team is not the organizational unit of the certificate's subject\n"},
      {"a web server's certificate", [](const fs::path& app) { return sign(app, *vendor_, "server"); },
       ": the certificate is not made for signing code (extendedKeyUsage codeSigning)\n"},
      {"somebody else's key",
       [](const fs::path& app) {
         return tool("--sign " + vendor_->certificate("good").string() + " --key " +
                     vendor_->key("other").string() + " " + app.string());
       },
       ": the private key does not belong to the certificate\n"},
      {"an unusable identifier",
       [](const fs::path& app) { return sign(app, *vendor_, "good", "--identifier ''"); },
       ": no usable identifier to sign with\n"},
  };
  for (const auto& row : cases) {
    const fs::path app = copy();
    const Ended ended = row.attempt(app);
    EXPECT_EQ(ended.status, 1) << row.name;
    EXPECT_NE(ended.output.find(row.text), std::string::npos) << row.name << ": " << ended.output;
  }
}

TEST_F(CodesignTest, AnswersWhatIsNoBundleAndWhatIsNoCommandLine) {
  put(folder_ / "file", "");
  fs::create_directories(folder_ / "Empty.app/Contents");
  put(folder_ / "Broken.app/Contents/Info.plist", "<plist");
  put(folder_ / "Nameless.app/Contents/Info.plist", "<plist version=\"1.0\"><dict/></plist>");
  const struct {
    const char* name;
    const char* reason;
  } cases[] = {
      {"missing", "No such file or directory"},
      {"file", "code object is not signed at all"},
      {"Empty.app", "bundle format unrecognized, invalid, or unsuitable"},
      {"Broken.app", "bundle format unrecognized, invalid, or unsuitable"},
      {"Nameless.app", "bundle format unrecognized, invalid, or unsuitable"},
  };
  for (const auto& row : cases) {
    for (const std::string& operation :
         {"--verify --anchors " + vendor_->anchors().string(), std::string("-dv")}) {
      const std::string path = (folder_ / row.name).string();
      const Ended ended = tool(operation + " " + path);
      EXPECT_EQ(ended.status, 1) << row.name;
      EXPECT_EQ(ended.output.substr(0, ended.output.find('\n')), path + ": " + row.reason) << row.name;
    }
  }
  for (const char* arguments : {"", "--verify", "--verify -d x", "x", "--sign a x", "--sign",
                                "--verify --key k x", "--frob x", "--sign a --key b --deep x"}) {
    EXPECT_EQ(tool(arguments).status, 2) << arguments;
  }
}

}  // namespace
}  // namespace pellam::codesign
