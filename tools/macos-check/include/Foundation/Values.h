// Written for the check from the public documentation; no file of an SDK. See ../../FACTS.md.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <objc/NSObject.h>
#include <stdarg.h>
#define FOUNDATION_EXPORT extern "C"
#define NS_ENUM(T, N)                                     \
  enum __attribute__((enum_extensibility(open))) N : T N; \
  enum N : T
#define NS_CLOSED_ENUM(T, N)                                \
  enum __attribute__((enum_extensibility(closed))) N : T N; \
  enum N : T
#define NS_OPTIONS(T, N) \
  T N;                   \
  enum __attribute__((flag_enum, enum_extensibility(open))) : T
#define API_MAC(v) __attribute__((availability(macos, introduced = v)))
#define API_MAC_DEP(a, d, m) __attribute__((availability(macos, introduced = a, deprecated = d, message = m)))
#define NS_DESIGNATED_INITIALIZER __attribute__((objc_designated_initializer))
#define NS_UNAVAILABLE __attribute__((unavailable))
#define NS_REQUIRES_SUPER __attribute__((objc_requires_super))
#define NS_REQUIRES_NIL_TERMINATION __attribute__((sentinel(0, 1)))
#define NS_FORMAT_FUNCTION(F, A) __attribute__((format(__NSString__, F, A)))
#define NS_TYPED_EXTENSIBLE_ENUM __attribute__((swift_wrapper(struct)))
#define NS_SWIFT_UI_ACTOR
#pragma clang assume_nonnull begin
typedef double NSTimeInterval;
typedef NS_CLOSED_ENUM(NSInteger, NSComparisonResult) {
  NSOrderedAscending = -1,
  NSOrderedSame = 0,
  NSOrderedDescending = 1
};
enum : NSInteger { NSNotFound = __LONG_MAX__ };
typedef struct _NSRange {
  NSUInteger location;
  NSUInteger length;
} NSRange;
static inline NSRange NSMakeRange(NSUInteger location, NSUInteger length) {
  return NSRange{location, length};
}
typedef double CGFloat;
struct CGPoint {
  CGFloat x, y;
};
typedef struct CGPoint CGPoint;
struct CGSize {
  CGFloat width, height;
};
typedef struct CGSize CGSize;
struct CGRect {
  CGPoint origin;
  CGSize size;
};
typedef struct CGRect CGRect;
typedef CGPoint NSPoint;
typedef CGSize NSSize;
typedef CGRect NSRect;
static inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h) { return NSRect{{x, y}, {w, h}}; }
static const NSPoint NSZeroPoint = {0, 0};
static const NSSize NSZeroSize = {0, 0};
static const NSRect NSZeroRect = {{0, 0}, {0, 0}};
static inline NSSize NSMakeSize(CGFloat w, CGFloat h) { return NSSize{w, h}; }
@class NSString, NSData, NSError, NSURL, NSDictionary<K, V>, NSArray<T>, NSDate, NSLocale, NSCoder, NSBundle,
    NSURLRequest, NSURLResponse, NSSet<T>, NSNotification, NSXPCConnection, NSXPCInterface, NSXPCListener,
    NSURLSession, NSURLSessionTask, NSOperationQueue, NSUUID, NSFileHandle;
FOUNDATION_EXPORT void NSLog(NSString* format, ...) NS_FORMAT_FUNCTION(1, 2);
@protocol NSCopying
- (id)copyWithZone:(nullable NSZone*)zone;
@end
@protocol NSMutableCopying
- (id)mutableCopyWithZone:(nullable NSZone*)zone;
@end
@protocol NSCoding
- (void)encodeWithCoder:(NSCoder*)coder;
- (nullable instancetype)initWithCoder:(NSCoder*)coder;
@end
@protocol NSSecureCoding <NSCoding>
@required
@property(class, readonly) BOOL supportsSecureCoding;
@end
typedef struct {
  unsigned long state;
  id __unsafe_unretained _Nullable* _Nullable itemsPtr;
  unsigned long* _Nullable mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;
@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)len;
@end
@interface NSCoder : NSObject
- (void)encodeObject:(nullable id)object forKey:(NSString*)key;
- (nullable id)decodeObjectOfClass:(Class)aClass forKey:(NSString*)key;
@end
typedef NSUInteger NSStringEncoding;
enum : NSStringEncoding {
  NSASCIIStringEncoding = 1,
  NSUTF8StringEncoding = 4,
  NSUTF32LittleEndianStringEncoding = 0x9c000100
};
typedef NS_OPTIONS(NSUInteger, NSStringEnumerationOptions) {
  NSStringEnumerationByLines = 0,
  NSStringEnumerationByParagraphs = 1,
  NSStringEnumerationByComposedCharacterSequences = 2,
  NSStringEnumerationByWords = 3
};
typedef NS_OPTIONS(NSUInteger, NSStringCompareOptions) {
  NSCaseInsensitiveSearch = 1,
  NSLiteralSearch = 2,
  NSNumericSearch = 64
};
@class NSLocale;
@interface NSString : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
@property(readonly) NSUInteger length;
- (instancetype)init NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
+ (instancetype)string;
+ (instancetype)stringWithFormat:(NSString*)format, ... NS_FORMAT_FUNCTION(1, 2);
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
- (nullable instancetype)initWithData:(NSData*)data encoding:(NSStringEncoding)encoding;
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)len
                              encoding:(NSStringEncoding)encoding;
@property(nullable, readonly) const char* UTF8String __attribute__((objc_returns_inner_pointer));
@property(readonly) const char* fileSystemRepresentation __attribute__((objc_returns_inner_pointer));
- (BOOL)isEqualToString:(NSString*)aString;
- (NSComparisonResult)compare:(NSString*)string;
- (NSComparisonResult)compare:(NSString*)string options:(NSStringCompareOptions)mask;
@property(readonly, copy) NSString* lowercaseString;
@property(readonly, copy) NSString* decomposedStringWithCanonicalMapping;
- (NSString*)stringByFoldingWithOptions:(NSStringCompareOptions)options
                                 locale:(nullable NSLocale*)locale API_MAC(10.5);
- (NSUInteger)lengthOfBytesUsingEncoding:(NSStringEncoding)enc;
- (nullable NSData*)dataUsingEncoding:(NSStringEncoding)encoding allowLossyConversion:(BOOL)lossy;
- (void)enumerateSubstringsInRange:(NSRange)range
                           options:(NSStringEnumerationOptions)opts
                        usingBlock:(void (^)(NSString* _Nullable substring, NSRange substringRange,
                                             NSRange enclosingRange, BOOL* stop))block API_MAC(10.6);
- (BOOL)hasPrefix:(NSString*)str;
- (BOOL)hasSuffix:(NSString*)str;
- (NSString*)stringByAppendingString:(NSString*)aString;
- (NSString*)stringByAppendingPathComponent:(NSString*)str;
- (nullable NSData*)dataUsingEncoding:(NSStringEncoding)encoding;
@property(readonly, copy) NSString* lastPathComponent;
@property(readonly, copy) NSString* pathExtension;
@end
@interface NSSimpleCString : NSString
@end
@interface NSConstantString : NSSimpleCString
@end
@interface NSValue : NSObject <NSCopying, NSSecureCoding>
@property(readonly) const char* objCType __attribute__((objc_returns_inner_pointer));
@end
@interface NSNumber : NSValue
+ (NSNumber*)numberWithBool:(BOOL)value;
+ (NSNumber*)numberWithInt:(int)value;
+ (NSNumber*)numberWithLong:(long)value;
+ (NSNumber*)numberWithUnsignedLong:(unsigned long)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
+ (NSNumber*)numberWithDouble:(double)value;
+ (NSNumber*)numberWithInteger:(NSInteger)value;
+ (NSNumber*)numberWithUnsignedInt:(unsigned int)value;
+ (NSNumber*)numberWithUnsignedLongLong:(unsigned long long)value;
@property(readonly) double doubleValue;
@property(readonly) long long longLongValue;
@property(readonly) unsigned int unsignedIntValue;
@property(readonly) unsigned long long unsignedLongLongValue;
@property(readonly) BOOL boolValue;
@property(readonly) NSInteger integerValue;
@end
@interface NSData : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes __attribute__((objc_returns_inner_pointer));
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
+ (nullable instancetype)dataWithContentsOfURL:(NSURL*)url;
- (void)enumerateByteRangesUsingBlock:(void(__attribute__((noescape)) ^)(const void* bytes, NSRange byteRange,
                                                                         BOOL* stop))block API_MAC(10.9);
@end
@interface NSMutableData : NSData
- (void)appendData:(NSData*)other;
@end
@interface NSArray<__covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSSecureCoding, NSFastEnumeration>
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndex:(NSUInteger)index;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)idx;
+ (instancetype)array;
+ (instancetype)arrayWithArray:(NSArray<ObjectType>*)array;
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nullable])objects count:(NSUInteger)cnt;
- (NSArray<ObjectType>*)arrayByAddingObject:(ObjectType)anObject;
@property(nullable, nonatomic, readonly) ObjectType firstObject;
- (BOOL)containsObject:(ObjectType)anObject;
@end
@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
- (void)addObject:(ObjectType)anObject;
@end
@interface NSSet<__covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSSecureCoding, NSFastEnumeration>
+ (instancetype)setWithObjects:(ObjectType)firstObj, ... NS_REQUIRES_NIL_TERMINATION;
+ (instancetype)setWithArray:(NSArray<ObjectType>*)array;
@end
@interface NSDictionary<__covariant KeyType, __covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSSecureCoding, NSFastEnumeration>
@property(readonly) NSUInteger count;
+ (instancetype)dictionary;
- (nullable ObjectType)objectForKey:(KeyType)aKey;
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key;
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                              forKeys:(const KeyType<NSCopying> _Nonnull[_Nullable])keys
                                count:(NSUInteger)cnt;
@end
@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
- (void)setObject:(ObjectType)anObject forKey:(KeyType<NSCopying>)aKey;
- (void)setObject:(nullable ObjectType)obj forKeyedSubscript:(KeyType<NSCopying>)key;
@end
typedef NSString* NSErrorDomain;
typedef NSString* NSErrorUserInfoKey;
typedef NSString* NSNotificationName;
typedef NSString* NSRunLoopMode;
typedef NSString* NSURLResourceKey;
typedef NSString* NSFileAttributeKey;
FOUNDATION_EXPORT NSErrorDomain const NSCocoaErrorDomain;
FOUNDATION_EXPORT NSErrorDomain const NSOSStatusErrorDomain;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSLocalizedDescriptionKey;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSUnderlyingErrorKey;
@interface NSError : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)errorWithDomain:(NSErrorDomain)domain
                           code:(NSInteger)code
                       userInfo:(nullable NSDictionary<NSErrorUserInfoKey, id>*)dict;
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSString* localizedDescription;
@end
@interface NSURL : NSObject <NSSecureCoding, NSCopying>
+ (nullable instancetype)URLWithString:(NSString*)URLString;
+ (NSURL*)fileURLWithPath:(NSString*)path isDirectory:(BOOL)isDir;
+ (NSURL*)fileURLWithPath:(NSString*)path;
@property(nullable, readonly, copy) NSString* absoluteString;
@property(nullable, readonly, copy) NSString* scheme;
@property(nullable, readonly, copy) NSString* path;
@property(readonly, getter=isFileURL) BOOL fileURL;
@property(readonly) const char* fileSystemRepresentation __attribute__((objc_returns_inner_pointer));
- (nullable NSURL*)URLByAppendingPathComponent:(NSString*)pathComponent;
- (nullable NSURL*)URLByAppendingPathComponent:(NSString*)pathComponent isDirectory:(BOOL)isDirectory;
- (BOOL)getResourceValue:(out id _Nullable* _Nonnull)value
                  forKey:(NSURLResourceKey)key
                   error:(out NSError**)error API_MAC(10.6);
@property(nullable, readonly, copy) NSURL* URLByResolvingSymlinksInPath API_MAC(10.6);
- (BOOL)setResourceValue:(nullable id)value forKey:(NSURLResourceKey)key error:(NSError**)error;
@end
FOUNDATION_EXPORT NSURLResourceKey const NSURLQuarantinePropertiesKey API_MAC(10.10);
FOUNDATION_EXPORT NSURLResourceKey const NSURLIsHiddenKey API_MAC(10.6);
FOUNDATION_EXPORT NSURLResourceKey const NSURLIsPackageKey API_MAC(10.6);
@interface NSDate : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)date;
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)secs;
@property(readonly) NSTimeInterval timeIntervalSinceNow;
@property(readonly) NSTimeInterval timeIntervalSince1970;
@end
@interface NSUUID : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)UUID;
@property(readonly, copy) NSString* UUIDString;
@end
__attribute__((cf_returns_retained)) static inline CFTypeRef _Nullable CFBridgingRetain(id _Nullable X) {
  return (__bridge_retained CFTypeRef)X;
}
static inline id _Nullable CFBridgingRelease(CFTypeRef CF_CONSUMED _Nullable X) {
  return (__bridge_transfer id)X;
}
#pragma clang assume_nonnull end
