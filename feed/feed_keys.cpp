#include "pellam/feed_keys.h"

#include "platform/calendar.h"

namespace pellam {

Calendar OrvoUpdateFeedKeys::releaseDateFormatter() { return Calendar(); }

}  // namespace pellam
