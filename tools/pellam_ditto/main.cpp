#include <csignal>

#include <atomic>
#include <iostream>

#include "platform/confined_folder.h"
#include "tools/pellam_ditto/ditto_command.h"

namespace {

std::atomic<bool> isStopped = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

}  // namespace

int main(int argc, char* argv[]) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) (void)std::signal(number, [](int) { isStopped = true; });
  return pellam::archive::runDitto(*pellam::makeSystemFolderOpening(),
                                   std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc),
                                   std::cout, std::cerr, isStopped);
}
