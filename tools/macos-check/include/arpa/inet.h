// Nothing of it is used here but by GoogleTest, which streams results to a socket when it is asked to.
#pragma once
#include <netinet/in.h>
