// stage: compile
// refused: no type named 'jthread' in namespace 'std'
#include <thread>
#ifdef MISTAKE
void wait(std::jthread& worker) { worker.join(); }
#else
void wait(std::thread& worker) { worker.join(); }
#endif
