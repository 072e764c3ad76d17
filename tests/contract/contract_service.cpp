// A service that does what its host asks for under "task", so that a test can see both ends of a connection.
// Runs inside the bundle of the test program, on every system.
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/service_connection.h"

namespace {

using namespace pellam;
using Progress = OrvoAppBundleInstallerLauncherProgressXPCProtocol;

// Which alternative a value arrived as.
const char* kindOf(const PropertyListValue& value) {
  if (value.boolean() != nullptr) return "boolean";
  if (value.string() != nullptr) return "string";
  if (value.real() != nullptr) return "real";
  return value.isNumber() ? "whole number" : "another";
}

class ContractService final : public OrvoAppBundleInstallerLauncherXPCProtocol {
 public:
  explicit ContractService(std::int32_t host) : host_(host) {}
  void setProgress(std::shared_ptr<Progress> progress) { progress_ = std::move(progress); }

  void launchReplacement(const PropertyListDictionary& message, Reply reply) override {
    const PropertyListText* text = message.findString("task");
    const std::string task(text == nullptr ? std::string_view() : text->view());
    if (task == "echo") reply(echo(message));
    if (task == "processes") reply({{"host", host_}, {"service", static_cast<std::int64_t>(::getpid())}});
    if (task == "report") reply(report(message.find("count")->numberAsInteger().value_or(0)));
    if (task == "report this") {
      progress_->reportProgress(message);
      reply({{"reported", true}});
    }
    if (task == "report for ever") reportForEver();
    if (task == "reply later") {
      std::thread([reply] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        reply({{"from", "another thread"}});
      }).detach();
    }
    if (task == "keep") {
      const std::lock_guard guard(lock_);
      kept_.emplace_back(message, reply);
    }
    if (task == "answer what is kept") {
      answerKept();
      reply({});
    }
    if (task == "die") ::_exit(9);
  }

 private:
  static PropertyListDictionary echo(const PropertyListDictionary& message) {
    PropertyListDictionary answer = message;
    for (const auto& [key, value] : message) answer.set(key + " is a", kindOf(value));
    return answer;
  }

  PropertyListDictionary report(std::int64_t count) const {
    for (std::int64_t number = 0; number < count; ++number) {
      progress_->reportProgress({{"number", number}, {"isLast", number + 1 == count}});
    }
    return {{"reported", count}};
  }

  // Until the process ends or nobody wants to hear it any more; there is no reply.
  void reportForEver() {
    std::thread([progress = progress_] {
      for (int count = 0; count < 5'000; ++count) {
        progress->reportProgress({{"number", count}});
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }).detach();
  }

  // The last one first.
  void answerKept() {
    std::vector<std::pair<PropertyListDictionary, Reply>> kept;
    {
      const std::lock_guard guard(lock_);
      kept.swap(kept_);
    }
    for (auto entry = kept.rbegin(); entry != kept.rend(); ++entry) entry->second(entry->first);
  }

  std::int64_t host_;
  std::shared_ptr<Progress> progress_;
  std::mutex lock_;
  std::vector<std::pair<PropertyListDictionary, Reply>> kept_;
};

class Delegate final : public ServiceListenerDelegate {
 public:
  bool shouldAcceptNewConnection(IncomingServiceConnection& connection) override {
    const auto service = std::make_shared<ContractService>(connection.processIdentifier());
    service->setProgress(connection.remoteObjectProxy([](const BridgedError&) {}));
    connection.setExportedObject(service);
    connection.resume();
    return true;
  }
};

}  // namespace

int main() {
  const std::shared_ptr<ServiceListener> listener = makeServiceListener();
  Delegate delegate;
  listener->setDelegate(&delegate);
  return listener->resume();
}
