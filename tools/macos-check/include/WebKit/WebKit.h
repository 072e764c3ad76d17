// Hand-written declarations for type checking only. Not an SDK header.
#pragma once
#import <AppKit/AppKit.h>
#pragma clang assume_nonnull begin
@class WKWebView, WKNavigation, WKFrameInfo;
typedef NS_ENUM(NSInteger, WKNavigationActionPolicy) {
  WKNavigationActionPolicyCancel,
  WKNavigationActionPolicyAllow,
  WKNavigationActionPolicyDownload API_MAC(11.3)
};
typedef NS_ENUM(NSInteger, WKNavigationType) {
  WKNavigationTypeLinkActivated,
  WKNavigationTypeFormSubmitted,
  WKNavigationTypeBackForward,
  WKNavigationTypeReload,
  WKNavigationTypeFormResubmitted,
  WKNavigationTypeOther = -1
};
API_MAC(10.10) @interface WKNavigation : NSObject
@end
API_MAC(10.10) @interface WKFrameInfo : NSObject<NSCopying>
@property(nonatomic, readonly, getter=isMainFrame) BOOL mainFrame;
@end
API_MAC(10.10)
@interface WKNavigationAction : NSObject
@property(nullable, nonatomic, readonly, copy) WKFrameInfo* sourceFrame;
@property(nullable, nonatomic, readonly, copy) WKFrameInfo* targetFrame;
@property(nonatomic, readonly) WKNavigationType navigationType;
@property(nonatomic, readonly, copy) NSURLRequest* request;
@end
@protocol WKNavigationDelegate <NSObject>
@optional
- (void)webView:(WKWebView*)webView
    decidePolicyForNavigationAction:(WKNavigationAction*)navigationAction
                    decisionHandler:(void (^)(WKNavigationActionPolicy))decisionHandler;
- (void)webView:(WKWebView*)webView didFinishNavigation:(null_unspecified WKNavigation*)navigation;
- (void)webView:(WKWebView*)webView
    didFailNavigation:(null_unspecified WKNavigation*)navigation
            withError:(NSError*)error;
@end
API_MAC(11.0) @interface WKWebpagePreferences : NSObject
@property(nonatomic) BOOL allowsContentJavaScript API_MAC(11.0);
@end
API_MAC(10.11) @interface WKWebsiteDataStore : NSObject<NSSecureCoding>
+ (WKWebsiteDataStore*)nonPersistentDataStore;
@end
API_MAC(10.10)
@interface WKWebViewConfiguration : NSObject <NSSecureCoding, NSCopying>
@property(nonatomic, strong) WKWebsiteDataStore* websiteDataStore API_MAC(10.11);
@property(null_resettable, nonatomic, copy) WKWebpagePreferences* defaultWebpagePreferences API_MAC(10.15);
@end
API_MAC(10.10)
@interface WKWebView : NSView
@property(nonatomic, readonly, copy) WKWebViewConfiguration* configuration;
@property(nullable, nonatomic, weak) id<WKNavigationDelegate> navigationDelegate;
- (instancetype)initWithFrame:(CGRect)frame
                configuration:(WKWebViewConfiguration*)configuration NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
- (nullable WKNavigation*)loadRequest:(NSURLRequest*)request;
- (nullable WKNavigation*)loadHTMLString:(NSString*)string baseURL:(nullable NSURL*)baseURL;
@end
#pragma clang assume_nonnull end
