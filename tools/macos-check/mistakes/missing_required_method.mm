// stage: compile
// refused: method 'URLSession:downloadTask:didFinishDownloadingToURL:' in protocol .* not implemented
#import <Foundation/Foundation.h>
@interface Receiver : NSObject <NSURLSessionDownloadDelegate>
@end
@implementation Receiver
#ifndef MISTAKE
- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)downloadTask
    didFinishDownloadingToURL:(NSURL*)location {
  (void)session, (void)downloadTask, (void)location;
}
#endif
@end
