// stage: lint
// refused: the method 'listener:shouldAcceptNewConnections:' is declared nowhere
#import <Foundation/Foundation.h>
@interface Delegate : NSObject <NSXPCListenerDelegate>
@end
@implementation Delegate
#ifdef MISTAKE
- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnections:(NSXPCConnection*)connection {
#else
- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)connection {
#endif
  (void)listener;
  return connection != nil;
}
@end
