#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "launcher-protocol/launch_result.h"
#include "launcher-protocol/replacement_message.h"
#include "pellam/launch_progress.h"
#include "platform/linux/connection/bus_dictionary.h"
#include "platform/linux/connection/bus_names.h"
#include "platform/linux/connection/incoming_connection.h"
#include "tests/support/raw_bus_peer.h"

namespace pellam {
namespace {

using namespace testing_support;
using Result = OrvoAppBundleReplacementLaunchResult;
using Progress = OrvoAppBundleInstallerLaunchProgress;
using Phase = OrvoAppBundleInstallerLaunchPhase;

// The golden bodies, written by hand-made code of another language: lines of a name and hexadecimal bytes.
std::map<std::string, std::string> goldenBodies() {
  std::map<std::string, std::string> bodies;
  std::ifstream file(PELLAM_WIRE_DATA);
  std::string name;
  std::string hex;
  while (file >> name >> hex) {
    for (std::size_t index = 0; index < hex.size(); index += 2) {
      bodies[name] += static_cast<char>(std::stoi(hex.substr(index, 2), nullptr, 16));
    }
  }
  return bodies;
}

std::map<std::string, PropertyListDictionary> vocabulary() {
  OrvoAppBundleReplacementRequest request;
  request.stagedApplicationURL = "/stage/Neu \u00fc.app";
  request.installedApplicationURL = "/Applications/Editor.app";
  request.shouldRequestAuthorizationIfNeeded = true;
  request.hostIdentity =
      OrvoAppBundleUpdateHostIdentity{"com.example.Editor", "1.2", -42, "TEAM123456", false};
  request.launchUserContext = OrvoAppBundleLaunchdUserContext{501, 4294967295U, "ada", "/Users/ada"};
  request.failureReportURL = "/Users/ada/report.plist";
  request.failureReportAttemptIdentifier = "attempt";
  return {
      {"message", OrvoAppBundleXPCReplacementMessage{request}.propertyList()},
      {"reply.launched", Result::launched().xpcDictionary()},
      {"reply.helperUnavailable", Result::helperUnavailable().xpcDictionary()},
      {"reply.launchFailed", Result::launchFailed({Phase::jobSubmission, "D", -7, "text"}).xpcDictionary()},
      {"reply.protocolFailure",
       Result::protocolFailure({Phase::messageResolution, std::nullopt, std::nullopt, std::nullopt})
           .xpcDictionary()},
      {"reply.authorizationDenied", Result::authorizationDenied(-60005).xpcDictionary()},
      {"reply.authorizationCancelled", Result::authorizationCancelled(-60006).xpcDictionary()},
      {"reply.timedOut", Result::timedOut(Phase::postAuthorization).xpcDictionary()},
      {"progress.handoffStarted", Progress::handoffStarted().xpcDictionary()},
      {"progress.authorizationRequired", Progress::authorizationRequired(true, false).xpcDictionary()},
      {"progress.authorizationBegan", Progress::authorizationBegan().xpcDictionary()},
      {"progress.authorizationEnded", Progress::authorizationEnded(UINT64_MAX).xpcDictionary()},
      {"progress.jobSubmitted", Progress::jobSubmitted().xpcDictionary()},
  };
}

// Records what arrives and answers with what it is given.
struct RecordingLauncher final : OrvoAppBundleInstallerLauncherXPCProtocol {
  std::vector<PropertyListDictionary> received;
  PropertyListDictionary answer;
  std::vector<Reply> kept;
  bool keepsReplies = false;
  void launchReplacement(const PropertyListDictionary& message, Reply reply) override {
    received.push_back(message);
    if (keepsReplies) {
      kept.push_back(std::move(reply));
    } else {
      reply(answer);
    }
  }
};

struct ServiceEnd {
  ServiceEnd() {
    auto [near, far] = socketPair();
    peer = std::make_unique<RawBusPeer>(std::move(far));
    connection = std::make_unique<BusIncomingConnection>(std::move(near), 77, nullptr);
    progress = connection->remoteObjectProxy([this](const BridgedError& error) { errors.push_back(error); });
    connection->setExportedObject(launcher);
    connection->resume();
    peer->authenticateAsClient();
  }
  void call(const std::string& signature, const std::string& body) {
    peer->call(bus_names::launcherPath, bus_names::launcherInterface, bus_names::launchReplacement, signature,
               body);
  }
  // A message with one entry besides nothing else.
  PropertyListValue received(const std::string& type, const std::function<void(WireWriter&)>& value) {
    WireWriter entries;
    entries.entry("k", type);
    value(entries);
    call("a{sv}", entries.array());
    if (peer->readMessage().type != 2 || launcher->received.empty()) return "refused";
    const PropertyListValue* found = launcher->received.back().find("k");
    return found == nullptr ? PropertyListValue("absent") : *found;
  }

  std::unique_ptr<RawBusPeer> peer;
  std::shared_ptr<RecordingLauncher> launcher = std::make_shared<RecordingLauncher>();
  std::vector<BridgedError> errors;
  std::unique_ptr<BusIncomingConnection> connection;
  std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> progress;
};

class LauncherWire : public testing::Test {
 protected:
  void SetUp() override {
    const std::uint16_t probe = 1;
    if (*reinterpret_cast<const char*>(&probe) != 1) GTEST_SKIP() << "the golden bytes are little-endian";
  }
};

TEST_F(LauncherWire, CarriesTheWholeVocabularyInGoldenBytes) {
  const auto golden = goldenBodies();
  const auto dictionaries = vocabulary();
  ASSERT_EQ(golden.size(), 13U);
  ASSERT_EQ(golden.size(), dictionaries.size());
  ServiceEnd service;
  for (const auto& [name, bytes] : golden) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(dictionaries.contains(name));
    const PropertyListDictionary& dictionary = dictionaries.at(name);
    // Decoding and encoding by the service; what it decodes is what was meant, types included.
    service.launcher->answer = dictionary;
    service.call("a{sv}", bytes);
    EXPECT_EQ(service.peer->readMessage().body, bytes);
    EXPECT_EQ(service.launcher->received.back(), dictionary);
    service.progress->reportProgress(dictionary);
    const WireMessage event = service.peer->readMessage();
    EXPECT_EQ(event.body, bytes);
    EXPECT_NE(event.header.find(bus_names::reportProgress), std::string::npos);
    EXPECT_EQ(event.header[2] & 1, 1) << "an event expects no reply";
  }
}

TEST_F(LauncherWire, TakesNoForeignTypeForAnother) {
  ServiceEnd service;
  const auto unsupported = [](const char* type) {
    return PropertyListValue(PropertyListDictionary{{"unsupportedType", type}});
  };
  EXPECT_EQ(service.received("o", [](WireWriter& w) { w.pad(4), w.string("/path"); }), unsupported("o"));
  EXPECT_EQ(service.received("g", [](WireWriter& w) { w.signature("s"); }), unsupported("g"));
  EXPECT_EQ(service.received("as", [](WireWriter& w) { w.u32(0); }), unsupported("as"));
  EXPECT_EQ(service.received("ay", [](WireWriter& w) { w.u32(2), w.raw("hi"); }), unsupported("ay"));
  EXPECT_EQ(service.received("v", [](WireWriter& w) { w.signature("b"), w.u32(1); }), unsupported("v"));
  EXPECT_EQ(service.received("(ss)", [](WireWriter& w) { w.pad(8), w.string("a"), w.string("b"); }),
            unsupported("(ss)"));
  // Numbers of other widths are numbers.
  EXPECT_EQ(service.received("y", [](WireWriter& w) { w.byte(200); }), PropertyListValue(200));
  EXPECT_EQ(service.received("i", [](WireWriter& w) { w.u32(0xFFFFFFFF); }), PropertyListValue(-1));

  WireWriter twice;
  for (const char* value : {"first", "last"}) {
    twice.entry("k", "s");
    twice.string(value);
  }
  service.call("a{sv}", twice.array());
  (void)service.peer->readMessage();
  EXPECT_EQ(service.launcher->received.back(), (PropertyListDictionary{{"k", "last"}}));
}

TEST_F(LauncherWire, AnswersCallsThatItDoesNotOfferWithAnError) {
  ServiceEnd service;
  service.call("as", WireWriter().array());
  EXPECT_EQ(service.peer->readMessage().type, 3);
  service.peer->call(bus_names::launcherPath, bus_names::launcherInterface, "Other", "a{sv}",
                     WireWriter().array());
  EXPECT_EQ(service.peer->readMessage().type, 3);
  EXPECT_TRUE(service.launcher->received.empty());
  service.call("a{sv}", WireWriter().array());
  EXPECT_EQ(service.peer->readMessage().type, 2);
}

TEST_F(LauncherWire, ClosesOnBrokenBytesWithoutCallingAnybody) {
  const auto truncatedValue = [] {
    WireWriter entries;
    entries.entry("k", "s");
    entries.u32(1000);
    return entries.array();
  };
  for (const std::string& body : {truncatedValue(), std::string("\xff\xff\xff\xff", 4)}) {
    ServiceEnd service;
    service.call("a{sv}", body);
    // Either the call is refused or the connection is given up; the object behind it sees nothing.
    try {
      EXPECT_EQ(service.peer->readMessage().type, 3);
    } catch (const std::runtime_error& closed) {
      EXPECT_STREQ(closed.what(), "the peer has closed");
    }
    EXPECT_TRUE(service.launcher->received.empty());
  }
  ServiceEnd service;
  service.peer->send(std::string(4096, 'x'));
  EXPECT_TRUE(service.peer->isClosedByPeer());
}

TEST_F(LauncherWire, DropsRepliesAndEventsForAHostThatIsGone) {
  ServiceEnd service;
  service.launcher->keepsReplies = true;
  service.call("a{sv}", WireWriter().array());
  // Calls are taken in their order: the answer to the next one shows that this one has been taken.
  service.call("as", WireWriter().array());
  EXPECT_EQ(service.peer->readMessage().type, 3);
  service.peer->close();
  service.connection->join();
  EXPECT_EQ(service.launcher.use_count(), 1) << "the object learns of the end by being let go";
  ASSERT_EQ(service.launcher->kept.size(), 1U);
  service.launcher->kept.front()({{"result", "launched"}});
  service.progress->reportProgress({});
  EXPECT_EQ(service.errors.back().code, 4099);
}

TEST_F(LauncherWire, RepairsTextThatTheWireCannotCarryInRepliesOnly) {
  ServiceEnd service;
  service.launcher->answer = {{"k", std::string("a\xff\0b", 4)}};
  service.call("a{sv}", WireWriter().array());
  EXPECT_NE(service.peer->readMessage().body.find("a\xEF\xBF\xBD\xEF\xBF\xBD"
                                                  "b"),
            std::string::npos);

  auto [near, far] = socketPair();
  const auto loop = std::make_shared<BusLoop>(std::move(near), BusLoop::Role::client);
  ASSERT_GE(sd_bus_start(loop->bus()), 0);
  sd_bus_message* message = nullptr;
  ASSERT_GE(sd_bus_message_new_signal(loop->bus(), &message, "/", "a.b", "C"), 0);
  EXPECT_EQ(appendDictionary(message, {{"k", "\xff"}}, IllFormedText::refuse), -EILSEQ);
  sd_bus_message_unref(message);
}

}  // namespace
}  // namespace pellam
