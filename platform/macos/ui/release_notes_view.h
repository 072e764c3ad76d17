#pragma once

#import <WebKit/WebKit.h>

#include <functional>

#include "platform/window_toolkit.h"

// A web view that asks a function about every navigation. Main thread only.
@interface PellamReleaseNotesView : WKWebView <WKNavigationDelegate>
- (nonnull instancetype)initWithPolicy:
    (std::function<pellam::NavigationPolicy(const pellam::NavigationAction&)>)decidePolicy
    NS_DESIGNATED_INITIALIZER;
- (nonnull instancetype)initWithFrame:(CGRect)frame
                        configuration:(nonnull WKWebViewConfiguration*)configuration NS_UNAVAILABLE;
- (nullable instancetype)initWithCoder:(nonnull NSCoder*)coder NS_UNAVAILABLE;

// Loads the page afresh, whatever a cache holds; a page that fails leaves the view blank.
- (void)loadPage:(const pellam::URL&)page timeout:(std::chrono::seconds)timeout;
@end
