#include "platform/service_connection.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/bundle_loading.h"
#include "platform/file_system.h"
#include "tests/support/temporary_folder.h"

// The program is the executable of a bundle that holds the service: one system looks for services nowhere
// else.
namespace pellam {
namespace {

using namespace std::chrono_literals;
using Launcher = OrvoAppBundleInstallerLauncherXPCProtocol;

// A system may hold a service back for ten seconds that has just ended by itself.
constexpr auto patience = 30s;

// What a connection calls, in the order in which it does.
class Log {
 public:
  struct Entry {
    std::string what;  // "progress", "reply", "error", "interruption" or "invalidation"
    PropertyListDictionary dictionary;
    BridgedError error;
  };

  void add(Entry entry) {
    {
      const std::lock_guard guard(lock_);
      entries_.push_back(std::move(entry));
    }
    changed_.notify_all();
  }
  // False when it has not been called so many times in time.
  bool waitFor(const std::string& what, std::size_t count = 1) {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, patience, [&] { return countOf(what) >= count; });
  }
  std::size_t count(const std::string& what) {
    const std::lock_guard guard(lock_);
    return countOf(what);
  }
  std::vector<Entry> entries() {
    const std::lock_guard guard(lock_);
    return entries_;
  }
  std::vector<Entry> entries(const std::string& what) {
    std::vector<Entry> result = entries();
    std::erase_if(result, [&](const Entry& entry) { return entry.what != what; });
    return result;
  }

 private:
  [[nodiscard]] std::size_t countOf(const std::string& what) const {
    std::size_t count = 0;
    for (const Entry& entry : entries_) count += entry.what == what ? 1U : 0U;
    return count;
  }

  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<Entry> entries_;
};

class LoggingReceiver final : public OrvoAppBundleInstallerLauncherProgressXPCProtocol {
 public:
  LoggingReceiver(std::shared_ptr<Log> log, std::function<void()> then)
      : log_(std::move(log)), then_(std::move(then)) {}
  void reportProgress(const PropertyListDictionary& event) override {
    log_->add({"progress", event, {}});
    if (then_) then_();
  }

 private:
  std::shared_ptr<Log> log_;
  std::function<void()> then_;
};

class ServiceConnectionContractTest : public testing::Test {
 protected:
  // The program's own bundle.
  static Bundle host() {
    const auto bundles = makeSystemBundleLoader(makeSystemFileSystem());
    return bundles->bundleAt(bundles->mainBundlePath()).value();
  }
  static std::string serviceName() { return host().bundleIdentifier().value() + ".service"; }
  static std::shared_ptr<ServiceConnection> connect(const std::string& name = serviceName()) {
    return makeSystemServiceConnections(host().path, makeSystemFileSystem(),
                                        makeSystemBundleLoader(makeSystemFileSystem()))
        ->connectionToService(name);
  }
  // With everything that it calls in the log, and started.
  void open(bool hasReceiver = true, std::function<void()> atProgress = nullptr) {
    connection_ = connect();
    ASSERT_NE(connection_, nullptr) << "the bundle of this program does not hold the service";
    prepare(*connection_, hasReceiver, std::move(atProgress));
    proxy_ = connection_->remoteObjectProxy(errorHandler());
    ASSERT_NE(proxy_, nullptr);
  }
  void prepare(ServiceConnection& connection, bool hasReceiver = true,
               std::function<void()> atProgress = nullptr) {
    if (hasReceiver) {
      connection.setExportedObject(std::make_shared<LoggingReceiver>(log_, std::move(atProgress)));
    }
    connection.setInterruptionHandler([log = log_] { log->add({"interruption", {}, {}}); });
    connection.setInvalidationHandler([log = log_] { log->add({"invalidation", {}, {}}); });
    connection.resume();
  }
  [[nodiscard]] ServiceErrorHandler errorHandler() const {
    return [log = log_](const BridgedError& error) { log->add({"error", {}, error}); };
  }
  [[nodiscard]] Launcher::Reply replyHandler() const {
    return [log = log_](const PropertyListDictionary& reply) { log->add({"reply", reply, {}}); };
  }
  void ask(const PropertyListDictionary& message) const {
    proxy_->launchReplacement(message, replyHandler());
  }
  // The answer to a message of its own; empty when none comes.
  PropertyListDictionary answerTo(const PropertyListDictionary& message) {
    const std::size_t before = log_->count("reply");
    ask(message);
    EXPECT_TRUE(log_->waitFor("reply", before + 1));
    const auto replies = log_->entries("reply");
    return replies.size() == before + 1 ? replies.back().dictionary : PropertyListDictionary();
  }

  std::shared_ptr<Log> log_ = std::make_shared<Log>();
  std::shared_ptr<ServiceConnection> connection_;
  std::shared_ptr<Launcher> proxy_;
};

TEST_F(ServiceConnectionContractTest, DictionariesArriveAsTheyWereSentBothWays) {
  open();
  const std::vector<std::pair<std::string, PropertyListValue>> wholeNumbers = {
      {"zero", 0},
      {"one", 1},
      {"minus one", -1},
      {"smallest", std::numeric_limits<std::int64_t>::min()},
      {"largest", std::numeric_limits<std::int64_t>::max()},
      {"unsigned 32", std::numeric_limits<std::uint32_t>::max()},
      {"unsigned 64", std::numeric_limits<std::uint64_t>::max()},
  };
  PropertyListDictionary message = {
      {"task", "echo"},
      {"yes", true},
      {"no", false},
      {"half", 0.5},
      {"no text", ""},
      {"digits", "1"},
      {"long", std::string(200'000, 'x')},
      {"text", "Gr\u00fc\u00dfe\n\"\u65e5\u672c\" \U0001F680"},
      {"\u00fc", "a key beyond ASCII"},
  };
  for (const auto& [key, value] : wholeNumbers) message.set(key, value);
  const PropertyListDictionary answer = answerTo(message);
  EXPECT_EQ(answer.size(), 2 * message.size());
  for (const auto& [key, value] : message) {
    SCOPED_TRACE(key);
    const PropertyListValue* returned = answer.find(key);
    const PropertyListText* kind = answer.findString(key + " is a");
    ASSERT_NE(returned, nullptr);
    ASSERT_NE(kind, nullptr);
    if (value.isNumber() && value.boolean() == nullptr && value.real() == nullptr) {
      // A system may carry every width as the one that it likes best.
      EXPECT_EQ(kind->view(), "whole number");
      EXPECT_TRUE(returned->isNumber());
      EXPECT_EQ(returned->boolean(), nullptr);
      EXPECT_EQ(returned->real(), nullptr);
      EXPECT_EQ(returned->numberAsInteger(), value.numberAsInteger());
    } else {
      EXPECT_TRUE(*returned == value);
      EXPECT_EQ(kind->view(), value.boolean() != nullptr ? "boolean"
                              : value.real() != nullptr  ? "real"
                                                         : "string");
    }
  }
  // Signed extremes stay signed, and what only an unsigned number holds stays unsigned.
  EXPECT_NE(answer.find("unsigned 64")->unsigned64(), nullptr);
  EXPECT_EQ(answer.find("smallest")->unsigned64(), nullptr);
}

TEST_F(ServiceConnectionContractTest, AValueThatIsNotCarriedSpoilsNoOtherKey) {
  PropertyListValue deep = "the bottom";
  for (int level = 0; level < 200; ++level) deep = PropertyListArray{deep};
  const PropertyListDictionary spoiling = {{"array", PropertyListArray{1, "two"}},
                                           {"data", PropertyListData{1, 2}},
                                           {"date", Date()},
                                           {"deep", deep},
                                           {"dictionary", PropertyListDictionary{{"k", "v"}}}};
  PropertyListDictionary message = spoiling;
  message.set("text", "whole");
  message.set("build", 42);
  open();
  message.set("task", "echo");
  const PropertyListDictionary answer = answerTo(message);
  message.set("task", "report this");
  EXPECT_EQ(answerTo(message), (PropertyListDictionary{{"reported", true}}));
  const auto events = log_->entries("progress");
  ASSERT_EQ(events.size(), 1U);
  for (const PropertyListDictionary& received : {answer, events.front().dictionary}) {
    ASSERT_TRUE(received.contains("text") && received.contains("build"));
    EXPECT_EQ(*received.find("text"), PropertyListValue("whole"));
    EXPECT_EQ(received.find("build")->numberAsInteger(), 42);
    for (const auto& [key, value] : spoiling) {
      SCOPED_TRACE(key);
      const PropertyListValue* unreadable = received.find(key);
      ASSERT_NE(unreadable, nullptr) << "what was sent is not missing";
      EXPECT_FALSE(unreadable->isNumber());
      EXPECT_EQ(unreadable->string(), nullptr);
    }
  }
  for (const auto& [key, value] : spoiling) {
    ASSERT_TRUE(answer.contains(key + " is a"));
    EXPECT_EQ(*answer.find(key + " is a"), PropertyListValue("another"));
  }
}

TEST_F(ServiceConnectionContractTest, EventsComeInOrderAndBeforeTheReply) {
  open();
  constexpr std::int64_t count = 300;
  EXPECT_EQ(answerTo({{"task", "report"}, {"count", count}}), (PropertyListDictionary{{"reported", count}}));
  const auto entries = log_->entries();
  ASSERT_EQ(entries.size(), count + 1U);
  for (std::int64_t number = 0; number < count; ++number) {
    const Log::Entry& entry = entries[static_cast<std::size_t>(number)];
    ASSERT_EQ(entry.what, "progress") << number;
    const PropertyListValue* sent = entry.dictionary.find("number");
    ASSERT_NE(sent, nullptr);
    ASSERT_EQ(sent->numberAsInteger(), number);
    ASSERT_EQ(*entry.dictionary.find("isLast"), PropertyListValue(number + 1 == count));
  }
  EXPECT_EQ(entries.back().what, "reply");
}

TEST_F(ServiceConnectionContractTest, AHostWithoutAReceiverGetsItsReply) {
  open(false);
  EXPECT_EQ(answerTo({{"task", "report"}, {"count", 3}}), (PropertyListDictionary{{"reported", 3}}));
  EXPECT_EQ(log_->entries().size(), 1U);
}

TEST_F(ServiceConnectionContractTest, EveryCallGetsItsOwnReplyOnce) {
  open();
  for (const char* name : {"first", "second", "third"}) ask({{"task", "keep"}, {"name", name}});
  ask({{"task", "answer what is kept"}});
  ASSERT_TRUE(log_->waitFor("reply", 4));
  const auto replies = log_->entries("reply");
  const std::vector<std::string> expected = {"third", "second", "first"};
  for (std::size_t index = 0; index < expected.size(); ++index) {
    const PropertyListText* name = replies[index].dictionary.findString("name");
    ASSERT_NE(name, nullptr) << index;
    EXPECT_EQ(name->view(), expected[index]);
  }
  EXPECT_EQ(answerTo({{"task", "reply later"}}), (PropertyListDictionary{{"from", "another thread"}}));
  EXPECT_EQ(log_->entries().size(), 5U);
}

TEST_F(ServiceConnectionContractTest, TheServiceIsAnotherProcessAndKnowsItsHost) {
  open();
  const PropertyListDictionary answer = answerTo({{"task", "processes"}});
  ASSERT_TRUE(answer.contains("host") && answer.contains("service"));
  EXPECT_EQ(answer.find("host")->numberAsInteger(), ::getpid());
  EXPECT_GT(answer.find("service")->numberAsInteger(), 1);
  EXPECT_NE(answer.find("service")->numberAsInteger(), ::getpid());
}

TEST_F(ServiceConnectionContractTest, HandlersMayCallBackIntoTheConnection) {
  std::once_flag once;
  open(true, [&] {
    std::call_once(once, [&] {
      proxy_->launchReplacement({{"task", "echo"}, {"asked", "at an event"}},
                                [&](const PropertyListDictionary& first) {
                                  log_->add({"reply", first, {}});
                                  ask({{"task", "echo"}, {"asked", "at a reply"}});
                                });
    });
  });
  ask({{"task", "report"}, {"count", 1}});
  ASSERT_TRUE(log_->waitFor("reply", 3));
  const PropertyListDictionary last = log_->entries("reply").back().dictionary;
  ASSERT_TRUE(last.contains("asked"));
  EXPECT_EQ(*last.find("asked"), PropertyListValue("at a reply"));

  proxy_->launchReplacement({{"task", "echo"}}, [&](const PropertyListDictionary&) {
    connection_->invalidate();
    log_->add({"invalidated", {}, {}});
  });
  EXPECT_TRUE(log_->waitFor("invalidated"));
  EXPECT_TRUE(log_->waitFor("invalidation"));
  EXPECT_EQ(log_->count("error"), 0U);
}

TEST_F(ServiceConnectionContractTest, InvalidatingIsToldOnceAndEndsEverything) {
  open();
  ask({{"task", "keep"}});
  (void)answerTo({{"task", "processes"}});
  connection_->invalidate();
  connection_->invalidate();
  ASSERT_TRUE(log_->waitFor("invalidation"));
  // Whether the call in flight hears of it is for each system to say; its reply is lost.
  const std::size_t errors = log_->count("error");
  EXPECT_LE(errors, 1U);
  ask({{"task", "processes"}});
  ASSERT_TRUE(log_->waitFor("error", errors + 1));
  const BridgedError error = log_->entries("error").back().error;
  EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
  EXPECT_EQ(error.code, 4099);
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(log_->count("invalidation"), 1U);
  EXPECT_EQ(log_->count("interruption"), 0U);
  EXPECT_EQ(log_->count("reply"), 1U);
}

TEST_F(ServiceConnectionContractTest, DroppingTheLastReferenceCallsNothingFurther) {
  open();
  ask({{"task", "keep"}});
  ask({{"task", "report for ever"}});
  ASSERT_TRUE(log_->waitFor("progress", 3));
  connection_.reset();
  const std::size_t entries = log_->entries().size();
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(log_->entries().size(), entries);
  EXPECT_EQ(log_->count("progress"), entries);

  // From within a handler as well, and without ever having been used.
  log_ = std::make_shared<Log>();
  open();
  proxy_->launchReplacement({{"task", "echo"}}, [&](const PropertyListDictionary&) {
    connection_.reset();
    log_->add({"dropped", {}, {}});
  });
  ASSERT_TRUE(log_->waitFor("dropped"));
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(log_->entries().size(), 1U);
  EXPECT_NE(connect(), nullptr);
}

TEST_F(ServiceConnectionContractTest, AMissingServiceIsNoConnectionOrAnInvalidOne) {
  EXPECT_EQ(makeSystemServiceConnections(testing_support::TemporaryFolder().path(), makeSystemFileSystem(),
                                         makeSystemBundleLoader(makeSystemFileSystem()))
                ->connectionToService(serviceName()),
            nullptr)
      << "another bundle's service";
  connection_ = connect("com.example.no-such-service");
  if (!connection_) return;
  prepare(*connection_);
  proxy_ = connection_->remoteObjectProxy(errorHandler());
  if (!proxy_) return;
  ask({{"task", "echo"}});
  ASSERT_TRUE(log_->waitFor("invalidation"));
  ASSERT_TRUE(log_->waitFor("error"));
  EXPECT_EQ(log_->entries("error").front().error.domain, "NSCocoaErrorDomain");
  EXPECT_EQ(log_->entries("error").front().error.code, 4099);
  EXPECT_EQ(log_->count("reply"), 0U);
}

// Last: the system may take its time before it starts a service again that has ended like this.
TEST_F(ServiceConnectionContractTest, AServiceThatDiesInterruptsAndNeverReplies) {
  open();
  ask({{"task", "keep"}});
  (void)answerTo({{"task", "processes"}});
  ask({{"task", "die"}});
  ASSERT_TRUE(log_->waitFor("interruption"));
  ASSERT_TRUE(log_->waitFor("error", 2)) << "both calls are lost";
  for (const Log::Entry& entry : log_->entries("error")) {
    EXPECT_EQ(entry.error.domain, "NSCocoaErrorDomain");
    EXPECT_EQ(entry.error.code, 4097);
  }
  EXPECT_EQ(log_->count("reply"), 1U);
  EXPECT_EQ(log_->count("interruption"), 1U);

  // A new connection finds a new service.
  open();
  EXPECT_TRUE(answerTo({{"task", "processes"}}).contains("service"));
}

TEST_F(ServiceConnectionContractTest, ACallMadeWhileTheInterruptionIsToldIsNotForgotten) {
  connection_ = connect();
  ASSERT_NE(connection_, nullptr);
  connection_->setInterruptionHandler([&] {
    std::thread([&] { ask({{"task", "echo"}}); }).join();
    log_->add({"interruption", {}, {}});
  });
  connection_->resume();
  proxy_ = connection_->remoteObjectProxy(errorHandler());
  ask({{"task", "die"}});
  ASSERT_TRUE(log_->waitFor("interruption"));
  // It may reach the service that is started anew.
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (log_->count("error") + log_->count("reply") < 2 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(log_->count("error") + log_->count("reply"), 2U);
  EXPECT_GE(log_->count("error"), 1U) << "the call that ended the service";
}

TEST_F(ServiceConnectionContractTest, DroppingAnInterruptedConnectionLetsItsCallsRest) {
  connection_ = connect();
  ASSERT_NE(connection_, nullptr);
  connection_->setInterruptionHandler([&] {
    connection_.reset();
    log_->add({"dropped", {}, {}});
  });
  connection_->resume();
  proxy_ = connection_->remoteObjectProxy(errorHandler());
  ask({{"task", "keep"}});
  ask({{"task", "die"}});
  ASSERT_TRUE(log_->waitFor("dropped"));
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(log_->count("error"), 0U);
}

}  // namespace
}  // namespace pellam
