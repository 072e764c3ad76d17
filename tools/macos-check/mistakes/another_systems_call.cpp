// stage: compile
// refused: no member named 'pipe2' in the global namespace
#include <fcntl.h>
#include <unistd.h>
int openPipe(int* ends) {
#ifdef MISTAKE
  return ::pipe2(ends, O_CLOEXEC);
#else
  return ::pipe(ends);
#endif
}
