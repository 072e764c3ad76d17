#include "launcher-protocol/replacement_request.h"
