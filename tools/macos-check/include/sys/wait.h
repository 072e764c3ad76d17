// As in the C library: the macros of wait(2) read the same bits.
#pragma once
#include_next <sys/wait.h>
