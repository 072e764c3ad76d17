// Written for the check from the public documentation; no file of an SDK. See ../../FACTS.md.
#pragma once
#include <Foundation/Values.h>
#pragma clang assume_nonnull begin
@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
+ (nullable instancetype)bundleWithPath:(NSString*)path;
+ (nullable instancetype)bundleWithURL:(NSURL*)url;
@property(readonly, copy) NSURL* bundleURL;
@property(readonly, copy) NSString* bundlePath;
@property(nullable, readonly, copy) NSURL* executableURL;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@property(nullable, readonly, copy) NSDictionary<NSString*, id>* infoDictionary;
- (nullable id)objectForInfoDictionaryKey:(NSString*)key;
- (NSString*)localizedStringForKey:(NSString*)key
                             value:(nullable NSString*)value
                             table:(nullable NSString*)tableName __attribute__((format_arg(1)));
@end
#define NSLocalizedString(key, comment) [NSBundle.mainBundle localizedStringForKey:(key) value:@"" table:nil]
typedef NS_OPTIONS(NSUInteger, NSFileManagerItemReplacementOptions) {
  NSFileManagerItemReplacementUsingNewMetadataOnly = 1 << 0,
  NSFileManagerItemReplacementWithoutDeletingBackupItem = 1 << 1
};
typedef NS_ENUM(NSUInteger, NSSearchPathDirectory) {
  NSApplicationDirectory = 1,
  NSCachesDirectory = 13,
  NSApplicationSupportDirectory = 14,
  NSItemReplacementDirectory = 99
};
typedef NS_OPTIONS(NSUInteger, NSSearchPathDomainMask) { NSUserDomainMask = 1, NSLocalDomainMask = 2 };
@interface NSEnumerator<ObjectType> : NSObject <NSFastEnumeration>
- (nullable ObjectType)nextObject;
@end
@interface NSDirectoryEnumerator<ObjectType> : NSEnumerator <ObjectType>
- (void)skipDescendants;
@end
FOUNDATION_EXPORT NSString* NSTemporaryDirectory(void);
FOUNDATION_EXPORT NSString* NSHomeDirectory(void);
FOUNDATION_EXPORT NSString* NSUserName(void);
@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager* defaultManager;
- (nullable NSURL*)URLForDirectory:(NSSearchPathDirectory)directory
                          inDomain:(NSSearchPathDomainMask)domain
                 appropriateForURL:(nullable NSURL*)url
                            create:(BOOL)shouldCreate
                             error:(NSError**)error;
- (BOOL)createDirectoryAtURL:(NSURL*)url
    withIntermediateDirectories:(BOOL)createIntermediates
                     attributes:(nullable NSDictionary<NSFileAttributeKey, id>*)attributes
                          error:(NSError**)error;
- (BOOL)fileExistsAtPath:(NSString*)path;
- (NSArray<NSURL*>*)URLsForDirectory:(NSSearchPathDirectory)directory
                           inDomains:(NSSearchPathDomainMask)domainMask API_MAC(10.6);
- (nullable NSArray<NSString*>*)contentsOfDirectoryAtPath:(NSString*)path
                                                    error:(NSError**)error API_MAC(10.5);
- (nullable NSDirectoryEnumerator<NSString*>*)enumeratorAtPath:(NSString*)path;
- (NSString*)stringWithFileSystemRepresentation:(const char*)str length:(NSUInteger)len;
- (BOOL)removeItemAtURL:(NSURL*)URL error:(NSError**)error;
- (BOOL)moveItemAtURL:(NSURL*)srcURL toURL:(NSURL*)dstURL error:(NSError**)error;
- (BOOL)copyItemAtURL:(NSURL*)srcURL toURL:(NSURL*)dstURL error:(NSError**)error;
- (BOOL)replaceItemAtURL:(NSURL*)originalItemURL
           withItemAtURL:(NSURL*)newItemURL
          backupItemName:(nullable NSString*)backupItemName
                 options:(NSFileManagerItemReplacementOptions)options
        resultingItemURL:(NSURL* _Nullable* _Nullable)resultingURL
                   error:(NSError**)error;
@end
typedef NS_OPTIONS(NSUInteger, NSPropertyListMutabilityOptions) {
  NSPropertyListImmutable = 0,
  NSPropertyListMutableContainers = 1
};
typedef NSPropertyListMutabilityOptions NSPropertyListReadOptions;
typedef NSUInteger NSPropertyListWriteOptions;
typedef NS_ENUM(NSUInteger, NSPropertyListFormat) {
  NSPropertyListOpenStepFormat = 1,
  NSPropertyListXMLFormat_v1_0 = 100,
  NSPropertyListBinaryFormat_v1_0 = 200
};
@interface NSPropertyListSerialization : NSObject
+ (nullable NSData*)dataWithPropertyList:(id)plist
                                  format:(NSPropertyListFormat)format
                                 options:(NSPropertyListWriteOptions)opt
                                   error:(out NSError* _Nullable* _Nullable)error;
+ (nullable id)propertyListWithData:(NSData*)data
                            options:(NSPropertyListReadOptions)opt
                             format:(nullable NSPropertyListFormat*)format
                              error:(out NSError* _Nullable* _Nullable)error;
@end
@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (nullable instancetype)initWithSuiteName:(nullable NSString*)suitename NS_DESIGNATED_INITIALIZER;
- (nullable id)objectForKey:(NSString*)defaultName;
- (void)setObject:(nullable id)value forKey:(NSString*)defaultName;
- (void)removeObjectForKey:(NSString*)defaultName;
- (nullable NSString*)stringForKey:(NSString*)defaultName;
- (BOOL)boolForKey:(NSString*)defaultName;
- (NSInteger)integerForKey:(NSString*)defaultName;
- (double)doubleForKey:(NSString*)defaultName;
- (void)setBool:(BOOL)value forKey:(NSString*)defaultName;
@end
@interface NSFileHandle : NSObject
@property(class, readonly, strong) NSFileHandle* fileHandleWithNullDevice;
- (nullable NSData*)readDataToEndOfFileAndReturnError:(out NSError**)error API_MAC(10.15);
- (nullable NSData*)readDataUpToLength:(NSUInteger)length error:(out NSError**)error API_MAC(10.15);
- (BOOL)closeAndReturnError:(out NSError**)error API_MAC(10.15);
@property(nullable, copy) void (^readabilityHandler)(NSFileHandle*);
@end
@interface NSPipe : NSObject
@property(readonly, retain) NSFileHandle* fileHandleForReading;
@property(readonly, retain) NSFileHandle* fileHandleForWriting;
+ (NSPipe*)pipe;
@end
typedef NS_ENUM(NSInteger, NSTaskTerminationReason) {
  NSTaskTerminationReasonExit = 1,
  NSTaskTerminationReasonUncaughtSignal = 2
};
@interface NSTask : NSObject
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@property(nullable, copy) NSURL* executableURL API_MAC(10.13);
@property(nullable, copy) NSArray<NSString*>* arguments;
@property(nullable, copy) NSDictionary<NSString*, NSString*>* environment;
@property(nullable, copy) NSURL* currentDirectoryURL API_MAC(10.13);
@property(nullable, retain) id standardInput;
@property(nullable, retain) id standardOutput;
@property(nullable, retain) id standardError;
- (BOOL)launchAndReturnError:(out NSError**)error API_MAC(10.13);
- (void)launch API_MAC_DEP(10.0, 100000, "Use -launchAndReturnError: instead");
- (void)terminate;
@property(readonly) int processIdentifier;
@property(readonly, getter=isRunning) BOOL running;
@property(readonly) int terminationStatus;
@property(readonly) NSTaskTerminationReason terminationReason;
@property(nullable, copy) void (^terminationHandler)(NSTask*);
- (void)waitUntilExit;
@end
@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread API_MAC(10.5);
@end
@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop* currentRunLoop;
@property(class, readonly, strong) NSRunLoop* mainRunLoop;
- (void)run;
@end
@interface NSNotification : NSObject <NSCopying, NSCoding>
@property(readonly, copy) NSNotificationName name;
@property(nullable, readonly, retain) id object;
@end
@interface NSOperationQueue : NSObject
@property(class, readonly, strong) NSOperationQueue* mainQueue;
@property NSInteger maxConcurrentOperationCount;
@end
#pragma clang assume_nonnull end
