// Written for the check from the public documentation; no file of an SDK. See ../../FACTS.md.
#pragma once
#include <Foundation/System.h>
#pragma clang assume_nonnull begin
@interface NSCharacterSet : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
@property(readonly, class, copy) NSCharacterSet* alphanumericCharacterSet;
@property(readonly, class, copy) NSCharacterSet* decimalDigitCharacterSet;
@property(readonly, class, copy) NSCharacterSet* letterCharacterSet;
@property(readonly, class, copy) NSCharacterSet* punctuationCharacterSet;
@property(readonly, class, copy) NSCharacterSet* whitespaceAndNewlineCharacterSet;
- (BOOL)longCharacterIsMember:(uint32_t)theLongChar;
@end
@interface NSFormatter : NSObject <NSCopying, NSCoding>
@end
typedef NS_ENUM(NSInteger, NSByteCountFormatterCountStyle) {
  NSByteCountFormatterCountStyleFile = 0,
  NSByteCountFormatterCountStyleMemory = 1,
  NSByteCountFormatterCountStyleDecimal = 2,
  NSByteCountFormatterCountStyleBinary = 3
};
API_MAC(10.8)
@interface NSByteCountFormatter : NSFormatter
- (NSString*)stringFromByteCount:(long long)byteCount;
@property NSByteCountFormatterCountStyle countStyle;
@property BOOL zeroPadsFractionDigits;
@end
@interface NSLocale : NSObject <NSCopying, NSSecureCoding>
@property(class, readonly, copy) NSLocale* currentLocale;
@property(class, readonly, copy) NSArray<NSString*>* preferredLanguages;
+ (instancetype)localeWithLocaleIdentifier:(NSString*)ident API_MAC(10.6);
@property(readonly, copy) NSString* languageCode API_MAC(10.12);
@end
@interface NSTimeZone : NSObject <NSCopying, NSSecureCoding>
@property(class, readonly, copy) NSTimeZone* systemTimeZone;
+ (nullable instancetype)timeZoneWithName:(NSString*)tzName;
+ (instancetype)timeZoneForSecondsFromGMT:(NSInteger)seconds;
@end
@interface NSDateFormatter : NSFormatter
@property(null_resettable, copy) NSString* dateFormat;
@property(null_resettable, copy) NSLocale* locale;
@property(null_resettable, copy) NSTimeZone* timeZone;
@property(getter=isLenient) BOOL lenient;
- (nullable NSDate*)dateFromString:(NSString*)string;
@end
typedef NS_OPTIONS(NSUInteger, NSCalendarUnit) {
  NSCalendarUnitYear = 1 << 2,
  NSCalendarUnitMonth = 1 << 3,
  NSCalendarUnitDay = 1 << 4
};
typedef NS_OPTIONS(NSUInteger, NSCalendarOptions) { NSCalendarWrapComponents = 1 << 0 };
@interface NSCalendar : NSObject <NSCopying, NSSecureCoding>
@property(class, readonly, copy) NSCalendar* currentCalendar;
@property(copy) NSTimeZone* timeZone;
- (nullable NSDate*)dateByAddingUnit:(NSCalendarUnit)unit
                               value:(NSInteger)value
                              toDate:(NSDate*)date
                             options:(NSCalendarOptions)options API_MAC(10.9);
@end
typedef struct {
  NSInteger majorVersion;
  NSInteger minorVersion;
  NSInteger patchVersion;
} NSOperatingSystemVersion;
@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo* processInfo;
@property(readonly) NSOperatingSystemVersion operatingSystemVersion API_MAC(10.10);
@end
#pragma clang assume_nonnull end
