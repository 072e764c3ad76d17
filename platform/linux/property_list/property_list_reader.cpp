#include "platform/property_list.h"
