#pragma once
/* hand-written; what is used of it is the same there */
#include_next <pthread.h>
