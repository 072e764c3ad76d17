// Written for the check from the public documentation; no file of an SDK. See ../../FACTS.md.
#pragma once
#include <Foundation/System.h>
#pragma clang assume_nonnull begin
// ---- XPC
@protocol NSXPCProxyCreating
- (id)remoteObjectProxy;
- (id)remoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler;
@optional
- (id)synchronousRemoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler API_MAC(10.11);
@end
typedef NS_OPTIONS(NSUInteger, NSXPCConnectionOptions) { NSXPCConnectionPrivileged = (1 << 12UL) };
API_MAC(10.8)
@interface NSXPCListenerEndpoint : NSObject <NSSecureCoding>
@end
API_MAC(10.8)
@interface NSXPCConnection : NSObject <NSXPCProxyCreating>
- (instancetype)initWithServiceName:(NSString*)serviceName;
@property(nullable, readonly, copy) NSString* serviceName;
- (instancetype)initWithMachServiceName:(NSString*)name options:(NSXPCConnectionOptions)options;
- (instancetype)initWithListenerEndpoint:(NSXPCListenerEndpoint*)endpoint;
@property(readonly, retain) NSXPCListenerEndpoint* endpoint;
@property(nullable, retain) NSXPCInterface* exportedInterface;
@property(nullable, retain) id exportedObject;
@property(nullable, retain) NSXPCInterface* remoteObjectInterface;
@property(readonly, retain) id remoteObjectProxy;
- (id)remoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler;
- (id)synchronousRemoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler API_MAC(10.11);
@property(nullable, copy) void (^interruptionHandler)(void);
@property(nullable, copy) void (^invalidationHandler)(void);
- (void)resume;
- (void)suspend;
- (void)activate API_MAC(11.0);
- (void)invalidate;
@property(readonly) pid_t processIdentifier;
@property(readonly) uid_t effectiveUserIdentifier;
@property(readonly) gid_t effectiveGroupIdentifier;
+ (nullable NSXPCConnection*)currentConnection API_MAC(10.8);
- (void)scheduleSendBarrierBlock:(void (^)(void))block API_MAC(10.15);
- (void)setCodeSigningRequirement:(NSString*)requirement API_MAC(13.0);
@end
@protocol NSXPCListenerDelegate <NSObject>
@optional
- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)newConnection;
@end
API_MAC(10.8)
@interface NSXPCListener : NSObject
+ (NSXPCListener*)serviceListener;
+ (NSXPCListener*)anonymousListener;
- (instancetype)initWithMachServiceName:(NSString*)name NS_DESIGNATED_INITIALIZER;
@property(nullable, weak) id<NSXPCListenerDelegate> delegate;
@property(readonly, retain) NSXPCListenerEndpoint* endpoint;
- (void)resume;
- (void)suspend;
- (void)activate API_MAC(11.0);
- (void)invalidate;
- (void)setConnectionCodeSigningRequirement:(NSString*)requirement API_MAC(13.0);
@end
API_MAC(10.8)
@interface NSXPCInterface : NSObject
+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol;
@property(assign) Protocol* protocol;
- (void)setClasses:(NSSet<Class>*)classes
       forSelector:(SEL)sel
     argumentIndex:(NSUInteger)arg
           ofReply:(BOOL)ofReply;
- (void)setInterface:(NSXPCInterface*)ifc
         forSelector:(SEL)sel
       argumentIndex:(NSUInteger)arg
             ofReply:(BOOL)ofReply;
@end
// ---- URL loading
FOUNDATION_EXPORT NSErrorDomain const NSURLErrorDomain;
typedef NS_ENUM(NSUInteger, NSURLRequestCachePolicy) {
  NSURLRequestUseProtocolCachePolicy = 0,
  NSURLRequestReloadIgnoringLocalCacheData = 1
};
@interface NSURLRequest : NSObject <NSSecureCoding, NSCopying, NSMutableCopying>
+ (instancetype)requestWithURL:(NSURL*)URL;
+ (instancetype)requestWithURL:(NSURL*)URL
                   cachePolicy:(NSURLRequestCachePolicy)cachePolicy
               timeoutInterval:(NSTimeInterval)timeoutInterval;
@property(nullable, readonly, copy) NSURL* URL;
@end
@interface NSMutableURLRequest : NSURLRequest
@property NSTimeInterval timeoutInterval;
- (void)setValue:(nullable NSString*)value forHTTPHeaderField:(NSString*)field;
@end
@interface NSURLResponse : NSObject <NSSecureCoding, NSCopying>
@property(nullable, readonly, copy) NSURL* URL;
@property(readonly) long long expectedContentLength;
@end
@interface NSHTTPURLResponse : NSURLResponse
@property(readonly) NSInteger statusCode;
@end
@protocol NSURLSessionDelegate;
@interface NSURLSessionConfiguration : NSObject <NSCopying>
@property(class, readonly, strong) NSURLSessionConfiguration* defaultSessionConfiguration;
@property(class, readonly, strong) NSURLSessionConfiguration* ephemeralSessionConfiguration;
@property NSTimeInterval timeoutIntervalForRequest;
@property(nullable, copy) NSDictionary* HTTPAdditionalHeaders;
@end
typedef NS_ENUM(NSInteger, NSURLSessionResponseDisposition) {
  NSURLSessionResponseCancel = 0,
  NSURLSessionResponseAllow = 1,
  NSURLSessionResponseBecomeDownload = 2,
  NSURLSessionResponseBecomeStream = 3
};
@interface NSURLSessionTask : NSObject <NSCopying>
@property(readonly) NSUInteger taskIdentifier;
@property(nullable, readonly, copy) NSURLRequest* originalRequest;
@property(nullable, readonly, copy) NSURLResponse* response;
- (void)cancel;
- (void)resume;
@end
@interface NSURLSessionDataTask : NSURLSessionTask
@end
@interface NSURLSessionDownloadTask : NSURLSessionTask
- (void)cancelByProducingResumeData:(void (^)(NSData* _Nullable resumeData))completionHandler;
@end
@interface NSURLSession : NSObject
+ (NSURLSession*)sessionWithConfiguration:(NSURLSessionConfiguration*)configuration
                                 delegate:(nullable id<NSURLSessionDelegate>)delegate
                            delegateQueue:(nullable NSOperationQueue*)queue;
- (NSURLSessionDataTask*)dataTaskWithRequest:(NSURLRequest*)request;
- (NSURLSessionDownloadTask*)downloadTaskWithRequest:(NSURLRequest*)request;
- (void)finishTasksAndInvalidate;
- (void)invalidateAndCancel;
@end
@protocol NSURLSessionDelegate <NSObject>
@optional
- (void)URLSession:(NSURLSession*)session didBecomeInvalidWithError:(nullable NSError*)error;
@end
@protocol NSURLSessionTaskDelegate <NSURLSessionDelegate>
@optional
- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest* _Nullable))completionHandler;
- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(nullable NSError*)error;
@end
@protocol NSURLSessionDataDelegate <NSURLSessionTaskDelegate>
@optional
- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition disposition))completionHandler;
- (void)URLSession:(NSURLSession*)session
          dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveData:(NSData*)data;
@end
@protocol NSURLSessionDownloadDelegate <NSURLSessionTaskDelegate>
- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)downloadTask
    didFinishDownloadingToURL:(NSURL*)location;
@optional
- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)downloadTask
                 didWriteData:(int64_t)bytesWritten
            totalBytesWritten:(int64_t)totalBytesWritten
    totalBytesExpectedToWrite:(int64_t)totalBytesExpectedToWrite;
- (void)URLSession:(NSURLSession*)session
          downloadTask:(NSURLSessionDownloadTask*)downloadTask
     didResumeAtOffset:(int64_t)fileOffset
    expectedTotalBytes:(int64_t)expectedTotalBytes;
@end
#pragma clang assume_nonnull end
