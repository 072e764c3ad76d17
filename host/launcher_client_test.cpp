#include "host/launcher_client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <future>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "host/launch_session.h"
#include "host/launch_watchdog.h"
#include "host/service_launcher_connection.h"
#include "launcher-protocol/replacement_message.h"

namespace pellam {
namespace {

using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;

// Sleeps that end when the test says so; each is known by its duration.
class ManualSleep {
 public:
  CancellableSleep function() {
    return [this](std::uint64_t nanoseconds, const CancellationToken& token) {
      const auto registration = token.onCancel([this] { wake(); });
      std::unique_lock guard(lock_);
      asked_.push_back(nanoseconds);
      ++running_;
      changed_.notify_all();
      changed_.wait(guard,
                    [&] { return released_.contains(nanoseconds) || (token.isCancelled() && !isDeaf_); });
      --running_;
      if (released_.contains(nanoseconds)) return;
      guard.unlock();
      token.throwIfCancelled();
    };
  }
  void release(std::uint64_t nanoseconds) {
    const std::lock_guard guard(lock_);
    released_.insert(nanoseconds);
    changed_.notify_all();
  }
  void waitForAsked(std::size_t count) {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return asked_.size() >= count; });
  }
  std::vector<std::uint64_t> asked() {
    const std::lock_guard guard(lock_);
    return asked_;
  }
  std::size_t running() {
    const std::lock_guard guard(lock_);
    return running_;
  }
  void ignoreCancellation() { isDeaf_ = true; }

 private:
  void wake() {
    const std::lock_guard guard(lock_);
    changed_.notify_all();
  }
  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<std::uint64_t> asked_;
  std::size_t running_ = 0;
  std::set<std::uint64_t> released_;
  bool isDeaf_ = false;
};

// Records what the client does and plays the service on a thread of its own.
struct FakeService final : OrvoAppBundleInstallerLauncherServiceConnectionMaking {
  struct Wire {
    std::function<void(const BridgedError&)> error;
    LaunchProgressHandler progress;
    std::function<void(const Result&)> reply;
    PropertyListDictionary message;
  };
  std::function<void(Wire&)> script = [](Wire&) {};
  bool isMissing = false;
  bool cannotSend = false;
  std::string throwsAt;                    // "make", "resume", "send" or "sent"
  std::optional<BridgedError> firstError;  // told before the connection is handed out
  std::vector<std::string> events;

  struct Connection final : OrvoAppBundleInstallerLauncherServiceConnection {
    Connection(FakeService& owner, Wire wire) : service(owner), wire_(std::move(wire)) {
      ++service.connections;
    }
    ~Connection() override {
      if (player.joinable()) player.join();
      --service.connections;
    }
    void resume() override {
      service.note("resume");
      service.throwAt("resume");
    }
    bool launchReplacement(const PropertyListDictionary& message, const std::function<void()>& didSubmit,
                           std::function<void(const Result&)> reply) override {
      if (service.cannotSend) return false;
      service.throwAt("send");
      didSubmit();
      service.note("send");
      service.throwAt("sent");
      wire_.message = message;
      wire_.reply = std::move(reply);
      player = std::thread([this] { service.script(wire_); });
      return true;
    }
    void invalidate() override { service.note("invalidate"); }
    FakeService& service;
    Wire wire_;
    std::thread player;
  };

  std::shared_ptr<OrvoAppBundleInstallerLauncherServiceConnection> makeConnection(
      const std::string& serviceName, std::function<void(const BridgedError&)> error,
      LaunchProgressHandler progress) override {
    note(serviceName);
    throwAt("make");
    if (firstError) error(*firstError);
    if (isMissing) return nullptr;
    return std::make_shared<Connection>(*this, Wire{std::move(error), std::move(progress), nullptr, {}});
  }
  void note(std::string event) {
    const std::lock_guard guard(lock);
    events.push_back(std::move(event));
  }
  void throwAt(const std::string& place) const {
    if (throwsAt == place) throw std::system_error(EMFILE, std::generic_category(), place);
  }
  std::mutex lock;
  std::atomic<int> connections = 0;  // that are alive
};

constexpr std::uint64_t pre = 7;
constexpr std::uint64_t post = 9;
constexpr LaunchTimeouts timeouts{.preAuthorization = std::chrono::nanoseconds(pre),
                                  .postAuthorization = std::chrono::nanoseconds(post)};

struct Launch {
  std::shared_ptr<FakeService> service = std::make_shared<FakeService>();
  ManualSleep sleep;
  std::vector<Progress> progress;
  LaunchProgressHandler listener = [this](const Progress& event) { progress.push_back(event); };
  OrvoAppBundleReplacementRequest request;

  Result run(std::uint64_t preTimeout = pre) {
    request.stagedApplicationURL = "/s.app";
    OrvoAppBundleXPCUpdateHelperLauncher launcher(service, "com.example.service",
                                                  {.preAuthorization = std::chrono::nanoseconds(preTimeout),
                                                   .postAuthorization = std::chrono::nanoseconds(post)},
                                                  sleep.function());
    return launcher.launchReplacement(request, listener);
  }
};

TEST(LauncherClient, ReturnsTheReplyAndClosesTheConnection) {
  Launch launch;
  launch.service->script = [](FakeService::Wire& wire) {
    wire.progress(Progress::handoffStarted());
    wire.reply(Result::authorizationDenied(-60005));
    wire.error({"NSCocoaErrorDomain", 4099, "late"});
    wire.reply(Result::launched());
  };
  EXPECT_EQ(launch.run(), Result::authorizationDenied(-60005));
  EXPECT_EQ(launch.service->events,
            (std::vector<std::string>{"com.example.service", "resume", "send", "invalidate"}));
  EXPECT_EQ(launch.progress, std::vector{Progress::handoffStarted()});
  EXPECT_EQ(launch.sleep.asked(), std::vector{pre});

  launch.listener = nullptr;
  EXPECT_EQ(launch.run(), Result::authorizationDenied(-60005)) << "nobody has to listen";
  launch.listener = [](const Progress&) { throw std::runtime_error("the listener's own trouble"); };
  EXPECT_EQ(launch.run(), Result::authorizationDenied(-60005)) << "a launch is not its listener's";
}

TEST(LauncherClient, IsUnavailableWithoutAServiceOrAWayToSend) {
  Launch missing;
  missing.service->isMissing = true;
  EXPECT_EQ(missing.run(), Result::helperUnavailable());

  Launch mute;
  mute.service->cannotSend = true;
  EXPECT_EQ(mute.run(), Result::helperUnavailable());
  EXPECT_EQ(mute.service->events, (std::vector<std::string>{"com.example.service", "resume", "invalidate"}));
  EXPECT_TRUE(mute.sleep.asked().empty());
}

TEST(LauncherClient, ReportsALostConnectionWithItsError) {
  Launch launch;
  launch.service->script = [](FakeService::Wire& wire) { wire.error({"NSCocoaErrorDomain", 4097, "gone"}); };
  EXPECT_EQ(launch.run(),
            Result::protocolFailure({Phase::xpcConnection, "NSCocoaErrorDomain", 4097, "gone"}));
}

TEST(LauncherClient, AFailureOnTheWayClosesTheConnectionAndStopsTheTimer) {
  const struct {
    const char* throwsAt;
    std::vector<std::string> events;
  } rows[] = {
      {"make", {"com.example.service"}},
      {"resume", {"com.example.service", "resume", "invalidate"}},
      {"send", {"com.example.service", "resume", "invalidate"}},
      {"sent", {"com.example.service", "resume", "send", "invalidate"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.throwsAt);
    Launch launch;
    launch.service->throwsAt = row.throwsAt;
    EXPECT_EQ(launch.run(), Result::protocolFailure(
                                {Phase::xpcConnection, "NSPOSIXErrorDomain", EMFILE, "Too many open files"}));
    EXPECT_EQ(launch.service->events, row.events);
    EXPECT_EQ(launch.service->connections, 0) << "a connection is left";
    EXPECT_EQ(launch.sleep.running(), 0U) << "a timer is left";
  }
}

TEST(LauncherClient, OnlyTheFirstResultCounts) {
  const BridgedError lost{"NSCocoaErrorDomain", 4099, "first"};
  const auto prepare = [](FakeService& service, const std::string& later) {
    if (later == "missing") service.isMissing = true;
    if (later == "not sent") service.cannotSend = true;
    if (later == "replied") service.script = [](FakeService::Wire& wire) { wire.reply(Result::launched()); };
    if (later == "resume" || later == "send" || later == "sent") service.throwsAt = later;
  };
  for (const char* later : {"missing", "not sent", "replied", "resume", "send", "sent"}) {
    SCOPED_TRACE(later);
    Launch launch;
    launch.service->firstError = lost;
    prepare(*launch.service, later);
    EXPECT_EQ(launch.run(), Result::protocolFailure({Phase::xpcConnection, lost.domain, lost.code, "first"}));
    EXPECT_EQ(launch.service->connections, 0);
    EXPECT_EQ(launch.sleep.running(), 0U);
  }
}

TEST(LauncherClient, TimesOutBeforeAuthorizationAndDropsTheLateReply) {
  Launch launch;
  launch.service->script = [&](FakeService::Wire& wire) {
    launch.sleep.waitForAsked(1);
    launch.sleep.release(pre);
    while (true) {
      {
        const std::lock_guard guard(launch.service->lock);
        if (launch.service->events.back() == "invalidate") break;
      }
      std::this_thread::yield();
    }
    wire.reply(Result::launched());
  };
  EXPECT_EQ(launch.run(), Result::timedOut(Phase::preAuthorization));
}

TEST(LauncherClient, StopsTheClockDuringTheDialogAndStartsTheSecondOneAfterIt) {
  Launch launch;
  launch.service->script = [&](FakeService::Wire& wire) {
    launch.sleep.waitForAsked(1);
    wire.progress(Progress::authorizationRequired(false, true));
    wire.progress(Progress::authorizationBegan());
    launch.sleep.release(pre);  // a minute passes in the dialog
    wire.progress(Progress::authorizationEnded(60));
    launch.sleep.waitForAsked(2);
    launch.sleep.release(post);
  };
  EXPECT_EQ(launch.run(), Result::timedOut(Phase::postAuthorization));
  EXPECT_EQ(launch.sleep.asked(), (std::vector{pre, post}));
  EXPECT_EQ(launch.progress.size(), 3U);
}

TEST(LauncherClient, ArmsNoTimerForZero) {
  Launch launch;
  launch.service->script = [](FakeService::Wire& wire) { wire.reply(Result::launched()); };
  EXPECT_EQ(launch.run(0), Result::launched());
  EXPECT_TRUE(launch.sleep.asked().empty());
}

TEST(LaunchWatchdog, LetsASupersededTimerThatHasSleptEnoughDoNothing) {
  ManualSleep sleep;
  sleep.ignoreCancellation();
  std::vector<Phase> expired;
  std::promise<void> didExpire;
  const auto watchdog = OrvoAppBundleXPCLaunchWatchdog::make(timeouts, sleep.function());
  const auto handler = [&](Phase phase) {
    expired.push_back(phase);
    didExpire.set_value();
  };
  watchdog->armTimeout(timeouts.preAuthorization, Phase::preAuthorization, handler);
  sleep.waitForAsked(1);
  watchdog->pause();
  EXPECT_FALSE(watchdog->consumeTimeout(1)) << "a pause supersedes";
  sleep.release(pre);  // its sleep ends like any other, only too late
  watchdog->armTimeout(timeouts.postAuthorization, Phase::postAuthorization, handler);
  sleep.waitForAsked(2);
  sleep.release(post);
  didExpire.get_future().wait();
  watchdog->armTimeout(timeouts.preAuthorization, Phase::preAuthorization, handler);  // finished for good
  watchdog->cancelAndWait();
  EXPECT_EQ(sleep.asked().size(), 2U);
  EXPECT_EQ(expired, std::vector{Phase::postAuthorization});
}

TEST(LaunchWatchdog, EndsItsSleepWhenItIsDropped) {
  bool hasExpired = false;
  auto watchdog = OrvoAppBundleXPCLaunchWatchdog::make(timeouts, systemSleep);
  watchdog->armTimeout(std::chrono::hours(1), Phase::preAuthorization, [&](Phase) { hasExpired = true; });
  watchdog.reset();  // would block for an hour
  EXPECT_FALSE(hasExpired);
}

TEST(LaunchSession, DeliversOnceAndInvalidatesAConnectionThatComesTooLate) {
  FakeService service;
  std::vector<Result> results;
  OrvoAppBundleXPCLaunchSession session([&](const Result& result) { results.push_back(result); });
  session.finish(Result::launched());
  session.finish(Result::helperUnavailable());
  session.setConnection(service.makeConnection("late", nullptr, nullptr));
  EXPECT_EQ(results, std::vector{Result::launched()});
  EXPECT_EQ(service.events, (std::vector<std::string>{"late", "invalidate"}));
}

// The platform's connection, as far as the wrapper can see it.
struct FakePlatformConnection final : ServiceConnection,
                                      ServiceConnectionMaking,
                                      std::enable_shared_from_this<FakePlatformConnection> {
  struct Proxy final : OrvoAppBundleInstallerLauncherXPCProtocol {
    explicit Proxy(PropertyListDictionary dictionary) : answer(std::move(dictionary)) {}
    void launchReplacement(const PropertyListDictionary&, Reply reply) override { reply(answer); }
    PropertyListDictionary answer;
  };
  void setExportedObject(std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> object) override {
    receiver = std::move(object);
  }
  void setInterruptionHandler(std::function<void()> handler) override { interrupted = std::move(handler); }
  void setInvalidationHandler(std::function<void()> handler) override { invalidated = std::move(handler); }
  void resume() override {}
  std::shared_ptr<OrvoAppBundleInstallerLauncherXPCProtocol> remoteObjectProxy(ServiceErrorHandler) override {
    return proxy;
  }
  void invalidate() override {}
  std::shared_ptr<ServiceConnection> connectionToService(const std::string&) override {
    return shared_from_this();
  }
  std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> receiver;
  std::function<void()> interrupted;
  std::function<void()> invalidated;
  std::shared_ptr<Proxy> proxy;
};

TEST(XPCServiceConnection, TranslatesHandlersProgressAndReplies) {
  const auto platform = std::make_shared<FakePlatformConnection>();
  std::vector<BridgedError> errors;
  std::vector<Progress> progress;
  OrvoAppBundleNSXPCInstallerLauncherServiceConnectionFactory factory(platform);
  const auto connection = factory.makeConnection(
      "name", [&](const BridgedError& error) { errors.push_back(error); },
      [&](const Progress& event) { progress.push_back(event); });

  platform->interrupted();
  platform->invalidated();
  EXPECT_EQ(errors,
            (std::vector<BridgedError>{
                {"NSCocoaErrorDomain", 4097, "The installer launcher XPC connection was interrupted."},
                {"NSCocoaErrorDomain", 4099, "The installer launcher XPC connection was invalidated."}}));

  platform->receiver->reportProgress({{"event", "nonsense"}});
  platform->receiver->reportProgress({{"event", "jobSubmitted"}});
  EXPECT_EQ(progress, std::vector{Progress::jobSubmitted()});

  std::vector<Result> results;
  int submissions = 0;
  const auto send = [&] {
    return connection->launchReplacement(
        {}, [&] { ++submissions; }, [&](const Result& result) { results.push_back(result); });
  };
  EXPECT_FALSE(send());
  EXPECT_EQ(submissions, 0);
  platform->proxy =
      std::make_shared<FakePlatformConnection::Proxy>(PropertyListDictionary{{"result", "what"}});
  EXPECT_TRUE(send());
  platform->proxy->answer = {{"result", "launched"}};
  EXPECT_TRUE(send());
  EXPECT_EQ(submissions, 2);
  EXPECT_EQ(results,
            (std::vector{Result::protocolFailure({Phase::xpcReply, "Pellam.XPCReply", std::nullopt,
                                                  "The launcher service returned an invalid result."}),
                         Result::launched()}));
  platform->interrupted = nullptr;
  platform->receiver.reset();
}

}  // namespace
}  // namespace pellam
