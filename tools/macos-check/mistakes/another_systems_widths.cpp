// stage: compile
// refused: cannot initialize a variable of type 'std::uint64_t \*'
#include <cstdint>
std::uint64_t twice(std::uint64_t value) {
#ifdef MISTAKE
  unsigned long copy = value;
#else
  std::uint64_t copy = value;
#endif
  std::uint64_t* count = &copy;
  return *count * 2;
}
