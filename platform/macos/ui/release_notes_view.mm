#include "platform/macos/ui/release_notes_view.h"

#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"

namespace {

// As everywhere: no scripts, and nothing is kept when the view has gone.
WKWebViewConfiguration* configurationForReading() {
  WKWebViewConfiguration* configuration = [[WKWebViewConfiguration alloc] init];
  configuration.websiteDataStore = [WKWebsiteDataStore nonPersistentDataStore];
  WKWebpagePreferences* preferences = [[WKWebpagePreferences alloc] init];
  preferences.allowsContentJavaScript = NO;
  configuration.defaultWebpagePreferences = preferences;
  return configuration;
}

}  // namespace

@implementation PellamReleaseNotesView {
  std::function<pellam::NavigationPolicy(const pellam::NavigationAction&)> _decidePolicy;
}
- (instancetype)initWithPolicy:
    (std::function<pellam::NavigationPolicy(const pellam::NavigationAction&)>)decidePolicy {
  if ((self = [super initWithFrame:NSZeroRect configuration:configurationForReading()])) {
    _decidePolicy = std::move(decidePolicy);
    self.navigationDelegate = self;
  }
  return self;
}
- (void)loadPage:(const pellam::URL&)page timeout:(std::chrono::seconds)timeout {
  NSURL* address = [NSURL URLWithString:pellam::macos::stringFrom(page.text())];
  if (address == nil) return;
  (void)[self loadRequest:[NSURLRequest requestWithURL:address
                                           cachePolicy:NSURLRequestReloadIgnoringLocalCacheData
                                       timeoutInterval:static_cast<double>(timeout.count())]];
}
- (void)webView:(WKWebView*)webView
    decidePolicyForNavigationAction:(WKNavigationAction*)navigationAction
                    decisionHandler:(void (^)(WKNavigationActionPolicy))decisionHandler {
  (void)webView;
  bool allows = false;
  (void)pellam::macos::runGuarded([&] {
    pellam::NavigationAction action;
    action.isLinkActivated = navigationAction.navigationType == WKNavigationTypeLinkActivated;
    action.url =
        pellam::URL::parseLeniently(pellam::macos::textOf(navigationAction.request.URL.absoluteString));
    allows = !_decidePolicy || _decidePolicy(action) == pellam::NavigationPolicy::allow;
  });
  decisionHandler(allows ? WKNavigationActionPolicyAllow : WKNavigationActionPolicyCancel);
}
@end
