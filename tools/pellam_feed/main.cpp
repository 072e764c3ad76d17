#include <iostream>

#include "tools/pellam_feed/command_line.h"

int main(int argc, char* argv[]) {
  const int status = pellam::feed_tool::run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc),
                                            std::cout, std::cerr);
  // A full disk or a closed pipe must not look like success.
  return std::cout.flush() ? status : pellam::feed_tool::failure;
}
