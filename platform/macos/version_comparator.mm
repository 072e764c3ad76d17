#include "platform/macos/include/pellam_objective_c/version_comparator.h"

#include "pellam/version_comparator.h"
#include "platform/macos/foundation_bridge.h"

@implementation OrvoVersionComparator
+ (NSComparisonResult)compareVersion:(NSString*)first toVersion:(NSString*)second {
  return static_cast<NSComparisonResult>(pellam::OrvoVersionComparator::compareVersion(
      pellam::macos::textOf(first), pellam::macos::textOf(second)));
}
@end
