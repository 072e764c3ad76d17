// stage: includes
// refused: <sys/eventfd\.h> is no header of this system that the check knows
#ifdef MISTAKE
#include <sys/eventfd.h>
#endif
#include <unistd.h>
int identifier() { return ::getpid(); }
