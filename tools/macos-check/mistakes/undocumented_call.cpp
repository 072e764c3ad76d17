// stage: link
// refused: undefined symbol: sync_file_range
#include <unistd.h>
extern "C" int sync_file_range(int, long long, long long, unsigned);
int main() {
#ifdef MISTAKE
  return sync_file_range(0, 0, 0, 0);
#else
  return ::fsync(0);
#endif
}
