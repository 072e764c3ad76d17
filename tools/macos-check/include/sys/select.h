// As in the C library: sigset_t and fd_set differ in size alone, which no source sees.
#pragma once
#include_next <sys/select.h>
