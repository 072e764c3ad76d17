#pragma once

#import <Foundation/Foundation.h>

// The system's one comparison of two version strings, for hosts written in Objective-C. An absent string
// counts as the empty one. Any thread.
@interface OrvoVersionComparator : NSObject
+ (NSComparisonResult)compareVersion:(nullable NSString*)first toVersion:(nullable NSString*)second;
@end
