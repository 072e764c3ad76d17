// stage: library includes
// refused: std::map without <map>
#ifndef MISTAKE
#include <map>
#endif
#include <string>
std::string text() { return std::map<int, std::string>{{1, "x"}}[1]; }
