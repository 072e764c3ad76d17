// stage: link
// refused: undefined symbol: .*std::__1::pmr::
#include <cstdlib>
#include <memory_resource>
int main() {
#ifdef MISTAKE
  char value = 0;
  std::pmr::new_delete_resource()->deallocate(&value, 1);
  return 0;
#else
  return std::malloc(1) == nullptr ? 1 : 0;
#endif
}
