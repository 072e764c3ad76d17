#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fstream>
#include <thread>

#include "host/launcher_client.h"
#include "host/service_launcher_connection.h"
#include "launcher-protocol/replacement_message.h"
#include "launcher-protocol/service_info.h"
#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "platform/linux/connection/service_process.h"
#include "platform/linux/jobs/embedded_jobs.h"
#include "platform/service_connection.h"
#include "tests/support/raw_bus_peer.h"
#include "tests/support/temporary_folder.h"

namespace pellam {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;
using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;

std::string plist(const std::string& identifier, const std::string& executable) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
         "<key>CFBundleIdentifier</key><string>" +
         identifier +
         "</string>"
         "<key>CFBundleShortVersionString</key><string>1.0</string>"
         "<key>CFBundleVersion</key><string>10</string>"
         "<key>CFBundleExecutable</key><string>" +
         executable + "</string></dict></plist>";
}

// An application with a service and a signing tool of its own, and a helper that leaves a trace.
struct HostBundle {
  TemporaryFolder folder;
  fs::path application = folder / "Editor.app";
  std::string serviceName = "com.example.Editor.Pellam.UpdateInstallerLauncherService";
  fs::path trace = folder / "trace";

  explicit HostBundle(const fs::path& serviceProgram, const std::string& executable) {
    folder.write("Editor.app/Contents/Info.plist", plist("com.example.Editor", "Editor"));
    const fs::path service = "Editor.app/Contents/XPCServices/" + serviceName + ".xpc/Contents";
    folder.write(service / "Info.plist", plist(serviceName, executable));
    fs::create_directories(folder / service / "MacOS");
    fs::copy_file(serviceProgram, folder / service / "MacOS" / executable);
    script("pellam-codesign", "echo Executable=x; echo TeamIdentifier=TEAM123456");
    script("PellamUpdateInstaller", "printf '%s\\n' \"$@\" > " + trace.string() + ".new; mv " +
                                        trace.string() + ".new " + trace.string());
  }
  void script(const std::string& name, const std::string& body) const {
    const fs::path file = folder.write("Editor.app/Contents/MacOS/" + name, "#!/bin/sh\n" + body + "\n");
    fs::permissions(file, fs::perms::owner_all);
  }
  [[nodiscard]] OrvoAppBundleReplacementRequest request() const {
    OrvoAppBundleReplacementRequest request;
    request.stagedApplicationURL = "/stage/New.app";
    request.installedApplicationURL = application;
    request.hostIdentity =
        OrvoAppBundleUpdateHostIdentity{"com.example.Editor", "1.0", 10, std::nullopt, false};
    return request;
  }
  [[nodiscard]] std::shared_ptr<OrvoAppBundleXPCUpdateHelperLauncher> launcher(
      std::uint64_t milliseconds = 20'000) const {
    return std::make_shared<OrvoAppBundleXPCUpdateHelperLauncher>(
        std::make_shared<OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory>(
            makeSystemServiceConnections(application, makeSystemFileSystem(),
                                         makeSystemBundleLoader(makeSystemFileSystem()))),
        serviceName,
        LaunchTimeouts{std::chrono::milliseconds(milliseconds), std::chrono::milliseconds(milliseconds)},
        systemSleep);
  }
  [[nodiscard]] Result launch(std::vector<Progress>* progress = nullptr,
                              std::uint64_t milliseconds = 20'000) const {
    return launcher(milliseconds)->launchReplacement(request(), [progress](const Progress& event) {
      if (progress != nullptr) progress->push_back(event);
    });
  }
};

std::size_t openDescriptors() {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

// True when this process has a child, living or not yet collected.
bool hasChildren() {
  return ::waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

bool appears(const fs::path& file) {
  for (int count = 0; count < 500; ++count) {
    if (fs::exists(file)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

const Result interrupted =
    Result::protocolFailure({Phase::xpcConnection, "NSCocoaErrorDomain", 4097,
                             "The installer launcher XPC connection was interrupted."});

TEST(FakeServices, AreSurvivedWhateverTheyDo) {
  struct Row {
    const char* temper;
    Result result;
    std::size_t events;
  };
  const Row rows[] = {
      {"exits-at-once", interrupted, 0},
      {"sends-garbage", interrupted, 0},
      {"stays-and-is-silent", Result::timedOut(Phase::preAuthorization), 0},
      {"is-silent", Result::timedOut(Phase::preAuthorization), 1},
      {"dies-before-reply", interrupted, 1},
      {"crashes-before-reply", interrupted, 1},
      {"replies-and-dies", Result::launched(), 1},
      {"replies-twice", Result::launched(), 1},
      {"replies-nonsense",
       Result::protocolFailure({Phase::xpcReply, "Pellam.XPCReply", std::nullopt,
                                "The launcher service returned an invalid result."}),
       1},
      {"talks-much", Result::launched(), 201},
  };
  const std::size_t descriptors = openDescriptors();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.temper);
    const HostBundle host(PELLAM_FAKE_SERVICE_PROGRAM, row.temper);
    std::vector<Progress> progress;
    EXPECT_EQ(host.launch(&progress, row.result.kind == Result::Kind::timedOut ? 200 : 20'000), row.result);
    EXPECT_EQ(progress.size(), row.events);
    EXPECT_FALSE(hasChildren());
  }
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(FakeServices, AreNotFoundWhereTheBundleHasNone) {
  HostBundle host(PELLAM_FAKE_SERVICE_PROGRAM, "is-silent");
  const auto connections = makeSystemServiceConnections(host.application, makeSystemFileSystem(),
                                                        makeSystemBundleLoader(makeSystemFileSystem()));
  for (const char* name : {"com.example.Other", "", ".", "..", "../XPCServices", "a/b"}) {
    EXPECT_EQ(connections->connectionToService(name), nullptr) << name;
  }
  const fs::path contents =
      host.application / "Contents/XPCServices" / (host.serviceName + ".xpc") / "Contents";
  for (const char* executable : {"", "../../../../MacOS/PellamUpdateInstaller", "missing"}) {
    std::ofstream(contents / "Info.plist") << plist(host.serviceName, executable);
    EXPECT_EQ(host.launch(), Result::helperUnavailable()) << executable;
  }
  EXPECT_FALSE(hasChildren());
}

TEST(ServiceConnection, CanBeDroppedWithoutEverBeingUsed) {
  const HostBundle host(PELLAM_FAKE_SERVICE_PROGRAM, "is-silent");
  const auto connection = makeSystemServiceConnections(host.application, makeSystemFileSystem(),
                                                       makeSystemBundleLoader(makeSystemFileSystem()))
                              ->connectionToService(host.serviceName);
  ASSERT_NE(connection, nullptr);
}

// The real service in a bundle. The environment keeps its jobs in a folder of the test's own.
struct RealService : testing::Test {
  HostBundle host{PELLAM_SERVICE_PROGRAM, "PellamUpdateInstallerLauncherService"};
  void SetUp() override {
    if (::access("/run/systemd/system", F_OK) == 0) GTEST_SKIP() << "systemd would be given the job";
  }
  [[nodiscard]] fs::path program() const {
    return host.application / "Contents/XPCServices" / (host.serviceName + ".xpc") /
           "Contents/MacOS/PellamUpdateInstallerLauncherService";
  }
  void TearDown() override {
    try {
      EmbeddedJobs(EmbeddedJobs::defaultFolder())
          .remove("com.example.Editor.pellam-updater", JobRemoval::waitsForTheEnd);
    } catch (const PlatformError&) {  // NOLINT(bugprone-empty-catch)
      // Nothing was submitted.
    }
  }
};

TEST_F(RealService, LaunchesTheHelperWithTheVerifiedRequest) {
  std::vector<Progress> progress;
  EXPECT_EQ(host.launch(&progress), Result::launched());
  EXPECT_EQ(progress, (std::vector{Progress::handoffStarted(), Progress::jobSubmitted()}));
  ASSERT_TRUE(appears(host.trace));
  const std::string arguments = TemporaryFolder::read(host.trace);
  EXPECT_TRUE(arguments.starts_with("--staged-app\n/stage/New.app\n--installed-app\n" +
                                    host.application.string() + "\n--host-pid\n" +
                                    std::to_string(::getpid()) + "\n--bundle-id\ncom.example.Editor\n"))
      << arguments;
  EXPECT_NE(arguments.find("--expected-team-id\nTEAM123456\n"), std::string::npos);
  EXPECT_NE(arguments.find("--launch-user-id\n" + std::to_string(::getuid()) + "\n"), std::string::npos);
}

TEST_F(RealService, RefusesWithTheRefusalsText) {
  host.script("pellam-codesign", "echo unsigned; exit 1");
  const Result result = host.launch();
  EXPECT_EQ(result,
            Result::protocolFailure(
                {Phase::messageResolution, "PellamUpdatesAppKitUI.OrvoAppBundleInstallerLaunchRefusal", 8,
                 "The code signature metadata for the app that embeds this service could not be read; "
                 "status=1 output=unsigned"}));
  fs::remove(host.application / "Contents/MacOS/PellamUpdateInstaller");
  host.script("pellam-codesign", "echo TeamIdentifier=TEAM123456");
  EXPECT_EQ(host.launch(), Result::helperUnavailable());
}

TEST_F(RealService, LeavesNothingBehindAfterManyLaunches) {
  host.script("PellamUpdateInstaller", "exit 0");
  ASSERT_EQ(host.launch(), Result::launched());
  const std::size_t descriptors = openDescriptors();
  constexpr int launches = 200;
  const auto begin = std::chrono::steady_clock::now();
  for (int count = 0; count < launches; ++count) ASSERT_EQ(host.launch(), Result::launched()) << count;
  const auto each =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin) / launches;
  std::printf("%.1f ms for each launch, from connecting to the running helper\n", each.count());
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_FALSE(hasChildren());
}

TEST_F(RealService, GoesOnWithALaunchWhoseHostHasDied) {
  host.script("pellam-codesign",
              "touch " + (host.folder / "signing").string() + "; sleep 0.5; echo TeamIdentifier=TEAM123456");
  const pid_t child = ::fork();
  if (child == 0) {
    (void)host.launch();
    ::_exit(0);
  }
  ASSERT_TRUE(appears(host.folder / "signing"));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(appears(host.trace));
}

RawBusPeer connectTo(const fs::path& socket) {
  FileDescriptor descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, socket.c_str());
  if (::connect(descriptor.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("connect");
  }
  return RawBusPeer(std::move(descriptor));
}

// Started by hand, the service prints where it listens.
struct HandStarted {
  pid_t process = 0;
  fs::path socket;
  TemporaryFolder runtime;

  HandStarted(const fs::path& program, uid_t user) {
    runtime.write("warnings", "");
    if (::chown(runtime.path().c_str(), user, static_cast<gid_t>(-1)) != 0) return;
    int ends[2];
    if (::pipe(ends) != 0) return;
    process = ::fork();
    if (process == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::dup2(::open((runtime / "warnings").c_str(), O_WRONLY | O_CLOEXEC), STDERR_FILENO);
      ::close(ends[0]);
      ::setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
      if (::setresuid(user, user, user) != 0) ::_exit(126);
      ::execl(program.c_str(), program.c_str(), "--check-runtime", "--verbose", nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    std::string line;
    char byte = 0;
    while (::read(ends[0], &byte, 1) == 1 && byte != '\n') line += byte;
    ::close(ends[0]);
    socket = line;
  }
  HandStarted(const HandStarted&) = delete;
  HandStarted& operator=(const HandStarted&) = delete;
  ~HandStarted() {
    if (process > 0) (void)end(SIGKILL);
  }
  [[nodiscard]] std::string warnings() const { return TemporaryFolder::read(runtime / "warnings"); }
  int end(int signal) {
    ::kill(process, signal);
    return waitForEnd();
  }
  int waitForEnd() {
    int status = 0;
    ::waitpid(process, &status, 0);
    process = 0;
    return status;
  }
};

TEST_F(RealService, ServesItsOwnSocketUntilItIsAskedToEnd) {
  for (const int signal : {SIGTERM, SIGINT}) {
    HandStarted service(program(), ::getuid());
    struct stat status {};
    ASSERT_EQ(::stat(service.socket.parent_path().c_str(), &status), 0) << service.socket;
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_EQ(service.socket.parent_path().parent_path(), service.runtime.path());
    // Several hosts at once; one that goes away does not take the service with it.
    RawBusPeer first = connectTo(service.socket);
    first.authenticateAsClient();
    RawBusPeer second = connectTo(service.socket);
    second.authenticateAsClient();
    first.close();
    second.call("/org/pellam/InstallerLauncher", "org.pellam.InstallerLauncher1", "LaunchReplacement",
                "a{sv}", WireWriter().array());
    EXPECT_NE(second.readMessage().body.find("handoffStarted"), std::string::npos);
    EXPECT_NE(second.readMessage().body.find("fields=stagedApplicationPath(missing)"), std::string::npos);
    EXPECT_EQ(service.end(signal), 0);
    EXPECT_TRUE(second.isClosedByPeer());
    EXPECT_FALSE(fs::exists(service.socket.parent_path()));
  }
}

void askToLaunch(RawBusPeer& peer, const HostBundle& host) {
  peer.call("/org/pellam/InstallerLauncher", "org.pellam.InstallerLauncher1", "LaunchReplacement", "a{sv}",
            wireDictionary(OrvoAppBundleXPCReplacementMessage{host.request()}.propertyList()));
}

// The reply's body, after the events.
std::string replyTo(RawBusPeer& peer) {
  for (;;) {
    const WireMessage message = peer.readMessage();
    if (message.type != 1) return message.body;
  }
}

TEST_F(RealService, AnswersRunningLaunchesBeforeItEnds) {
  host.script("pellam-codesign",
              "touch " + (host.folder / "signing").string() + "; sleep 0.5; echo TeamIdentifier=TEAM123456");
  HandStarted service(program(), ::getuid());
  RawBusPeer idle = connectTo(service.socket);
  idle.authenticateAsClient();
  RawBusPeer peer = connectTo(service.socket);
  peer.authenticateAsClient();
  askToLaunch(peer, host);
  ASSERT_TRUE(appears(host.folder / "signing"));
  ::kill(service.process, SIGTERM);
  EXPECT_NE(replyTo(peer).find("launched"), std::string::npos);
  EXPECT_TRUE(peer.isClosedByPeer());
  EXPECT_TRUE(idle.isClosedByPeer());
  EXPECT_EQ(service.waitForEnd(), 0);
  EXPECT_TRUE(appears(host.trace));
  EXPECT_FALSE(fs::exists(service.socket.parent_path()));
}

TEST_F(RealService, PeersThatOnlyStayConnectedKeepNobodyOut) {
  host.script("pellam-codesign",
              "touch " + (host.folder / "signing").string() + "; sleep 2; echo TeamIdentifier=TEAM123456");
  HandStarted service(program(), ::getuid());
  RawBusPeer busy = connectTo(service.socket);
  busy.authenticateAsClient();
  askToLaunch(busy, host);
  ASSERT_TRUE(appears(host.folder / "signing"));
  std::vector<RawBusPeer> idle;
  for (int count = 0; count < 100; ++count) {
    idle.push_back(connectTo(service.socket));
    idle.back().authenticateAsClient();  // waits until it is served
  }
  EXPECT_TRUE(idle.front().isClosedByPeer()) << "the oldest one makes room";
  EXPECT_NE(replyTo(busy).find("launched"), std::string::npos) << "whoever is at work does not";
  EXPECT_EQ(service.end(SIGTERM), 0);
}

TEST_F(RealService, WaitsQuietlyWhenItIsOutOfDescriptors) {
  HandStarted service(program(), ::getuid());
  const auto limit = [&](rlim_t most) {
    const rlimit limits{most, 4'096};
    return ::prlimit(service.process, RLIMIT_NOFILE, &limits, nullptr);
  };
  const auto consumed = [&] {
    clockid_t clock{};
    timespec time{};
    EXPECT_EQ(::clock_getcpuclockid(service.process, &clock), 0);
    ::clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  };
  ASSERT_EQ(limit(3), 0);
  RawBusPeer peer = connectTo(service.socket);
  const auto before = consumed();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_LT(consumed() - before, std::chrono::milliseconds(100));
  ASSERT_EQ(limit(4'096), 0);
  peer.authenticateAsClient();
  EXPECT_EQ(service.end(SIGTERM), 0);
}

TEST_F(RealService, SaysWhenOthersCouldChangeWhatItRuns) {
  EXPECT_EQ(HandStarted(program(), ::getuid()).warnings(), "");
  for (const fs::path& item : {program(), host.application / "Contents/MacOS/PellamUpdateInstaller",
                               host.application / "Contents/MacOS", host.application}) {
    fs::permissions(item, fs::perms::others_write, fs::perm_options::add);
    HandStarted service(program(), ::getuid());
    const std::string warning = service.warnings();
    const std::string end = " is not to be trusted: " + item.string() +
                            " can be changed by others than root and the user of this service\n";
    EXPECT_TRUE(warning.ends_with(end)) << warning;
    EXPECT_EQ(std::count(warning.begin(), warning.end(), '\n'), 1);
    EXPECT_EQ(service.end(SIGTERM), 0) << "it serves all the same";
    fs::permissions(item, fs::perms::others_write, fs::perm_options::remove);
  }
  const fs::path odd = host.application.parent_path() / "a\nwarning: b\x1b[31m.app";
  const fs::path oddProgram = odd / program().lexically_relative(host.application);
  fs::rename(host.application, odd);
  fs::permissions(odd, fs::perms::others_write, fs::perm_options::add);
  const std::string warning = HandStarted(oddProgram, ::getuid()).warnings();
  EXPECT_EQ(std::count(warning.begin(), warning.end(), '\n'), 1) << warning;
  EXPECT_EQ(warning.find('\x1b'), std::string::npos) << warning;
  fs::permissions(odd, fs::perms::others_write, fs::perm_options::remove);
  fs::rename(odd, host.application);
  if (::getuid() != 0) return;
  ASSERT_EQ(::chown(host.application.c_str(), 65'534, 0), 0);
  EXPECT_NE(HandStarted(program(), 0).warnings().find(host.application.string() + " can be changed"),
            std::string::npos);
}

TEST_F(RealService, RefusesAConnectionThatIsNone) {
  for (const char* value : {"", "x", "-1", "99", "0"}) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::setenv("PELLAM_LAUNCHER_CONNECTION", value, 1);
      ::close(STDERR_FILENO);
      ::execl(PELLAM_SERVICE_PROGRAM, PELLAM_SERVICE_PROGRAM, nullptr);
      ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 64) << value;
  }
}

TEST_F(RealService, ChecksItsRuntimeForThatOneArgumentOnly) {
  const auto run = [](const std::string& arguments) {
    FILE* pipe = ::popen((std::string(PELLAM_SERVICE_PROGRAM) + arguments).c_str(), "r");
    char text[200] = {};
    const std::size_t size = std::fread(text, 1, sizeof text, pipe);
    return std::pair(std::string(text, size), ::pclose(pipe));
  };
  EXPECT_EQ(run(" --check-runtime"), std::pair(std::string("Pellam updater runtime check passed\n"), 0));
  EXPECT_NE(run(" --check-runtime > /dev/full").second, 0);
}

TEST_F(RealService, ServesItsUserAndRootAndNobodyElse) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root to become other users";
  constexpr uid_t serviceUser = 65'534;
  constexpr uid_t otherUser = 65'533;
  fs::permissions(host.folder.path(), fs::perms(0755));
  HandStarted service(program(), serviceUser);
  // Nobody but root could open the way to the socket; the peer is asked who it is all the same.
  fs::permissions(service.socket.parent_path(), fs::perms(0755));
  fs::permissions(service.runtime.path(), fs::perms(0755));
  fs::permissions(service.socket, fs::perms(0777));
  const auto isServed = [&](uid_t user) {
    const pid_t child = ::fork();
    if (child == 0) {
      if (::setresuid(user, user, user) != 0) ::_exit(2);
      try {
        RawBusPeer peer = connectTo(service.socket);
        peer.authenticateAsClient();
        ::_exit(0);
      } catch (const std::runtime_error&) {
        ::_exit(1);
      }
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
  };
  EXPECT_EQ(isServed(serviceUser), 0);
  EXPECT_EQ(isServed(0), 0);
  EXPECT_EQ(isServed(otherUser), 1);
  EXPECT_EQ(service.end(SIGTERM), 0);
}

}  // namespace
}  // namespace pellam
