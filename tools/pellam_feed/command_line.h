#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace pellam::feed_tool {

// Exit statuses of the program.
inline constexpr int success = 0;
inline constexpr int failure = 1;
inline constexpr int badUsage = 2;

// The whole program: takes the arguments without the program's name, writes results to `output` and one line
// per failure to `errors`, and returns the exit status. Reads the files that the arguments name, writes none.
[[nodiscard]] int run(const std::vector<std::string>& arguments, std::ostream& output, std::ostream& errors);

}  // namespace pellam::feed_tool
