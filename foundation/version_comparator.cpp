#include "foundation/version_comparator.h"
