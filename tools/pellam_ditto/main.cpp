#include <csignal>

#include <atomic>
#include <iostream>

#include "tools/pellam_ditto/ditto_command.h"

namespace {

std::atomic<bool> isStopped = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

}  // namespace

int main(int argc, char* argv[]) {
  struct sigaction action {};
  action.sa_handler = [](int) { isStopped = true; };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) (void)sigaction(signal, &action, nullptr);
  return pellam::archive::runDitto(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc),
                                   std::cout, std::cerr, isStopped);
}
