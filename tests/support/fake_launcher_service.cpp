// A program that plays launcher services of every temper. Its own file name says which.
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "platform/linux/connection/incoming_connection.h"
#include "platform/linux/system/file_descriptor.h"

namespace {

using namespace pellam;

struct Player final : OrvoAppBundleInstallerLauncherXPCProtocol {
  explicit Player(std::string howToPlay) : temper(std::move(howToPlay)) {}
  std::string temper;
  std::shared_ptr<OrvoAppBundleInstallerLauncherProgressXPCProtocol> progress;

  void launchReplacement(const PropertyListDictionary&, Reply reply) override {
    progress->reportProgress({{"event", "handoffStarted"}});
    if (temper == "dies-before-reply") ::_exit(9);
    if (temper == "crashes-before-reply") std::abort();
    if (temper == "replies-and-dies") {
      reply({{"result", "launched"}});
      ::_exit(0);
    }
    if (temper == "replies-nonsense") reply({{"result", 7}});
    if (temper == "replies-twice") {
      reply({{"result", "launched"}});
      reply({{"result", "helperUnavailable"}});
    }
    if (temper == "talks-much") {
      for (int count = 0; count < 200; ++count) progress->reportProgress({{"event", "jobSubmitted"}});
      progress->reportProgress({{"event", "unheard-of"}});
      reply({{"result", "launched"}});
    }
  }
};

}  // namespace

int main(int, char** arguments) {
  const std::string temper = std::filesystem::path(arguments[0]).filename();
  if (temper == "exits-at-once") return 1;
  FileDescriptor host(3);
  if (temper == "sends-garbage") {
    (void)::send(3, "HTTP/1.1 200 OK\r\n\r\n", 19, MSG_NOSIGNAL);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return 0;
  }
  if (temper == "stays-and-is-silent") {
    std::this_thread::sleep_for(std::chrono::seconds(60));
    return 0;
  }
  BusIncomingConnection connection(std::move(host), ::getppid(), nullptr);
  const auto player = std::make_shared<Player>(temper);
  player->progress = connection.remoteObjectProxy([](const BridgedError&) {});
  connection.setExportedObject(player);
  connection.resume();
  connection.join();
  return 0;
}
