#include "platform/url_session.h"

#include <map>
#include <mutex>
#include <utility>

#include "platform/macos/foundation_bridge.h"

namespace {

using DelegatePointer = std::shared_ptr<pellam::URLSessionDataDelegate>;

// Which delegate serves which task of a session. One lock of its own, nothing called while it is held.
class TaskDelegates {
 public:
  void add(NSURLSessionTask* task, DelegatePointer delegate) {
    const std::lock_guard guard(lock_);
    delegates_[task.taskIdentifier] = std::move(delegate);
  }
  DelegatePointer find(NSURLSessionTask* task) {
    const std::lock_guard guard(lock_);
    const auto found = delegates_.find(task.taskIdentifier);
    return found == delegates_.end() ? nullptr : found->second;
  }
  DelegatePointer take(NSURLSessionTask* task) {
    DelegatePointer delegate = find(task);
    const std::lock_guard guard(lock_);
    delegates_.erase(task.taskIdentifier);
    return delegate;
  }

 private:
  std::mutex lock_;
  std::map<NSUInteger, DelegatePointer> delegates_;
};

pellam::URLResponse responseOf(NSURLResponse* response, const pellam::URL& asked) {
  const auto address = pellam::URL::parse(pellam::macos::textOf(response.URL.absoluteString));
  pellam::URLResponse result{address.value_or(asked), std::nullopt, std::nullopt};
  if ([response isKindOfClass:[NSHTTPURLResponse class]]) {
    result.statusCode = static_cast<int>(static_cast<NSHTTPURLResponse*>(response).statusCode);
  }
  if (response.expectedContentLength >= 0) result.expectedContentLength = response.expectedContentLength;
  return result;
}

pellam::URLLoadingError loadingError(NSError* error) {
  using pellam::URLLoadingError;
  const bool isLoading = [error.domain isEqualToString:NSURLErrorDomain] == YES;
  return {isLoading ? static_cast<URLLoadingError::Code>(error.code) : URLLoadingError::Code::unknown,
          pellam::macos::textOf(error.localizedDescription)};
}

}  // namespace

// Receives the events of a session's tasks on the session's own serial queue.
@interface PellamURLSessionDelegate : NSObject <NSURLSessionDataDelegate>
- (void)setDelegate:(DelegatePointer)delegate ofTask:(NSURLSessionTask*)task;
@end

@implementation PellamURLSessionDelegate {
  TaskDelegates _delegates;
}
- (void)setDelegate:(DelegatePointer)delegate ofTask:(NSURLSessionTask*)task {
  _delegates.add(task, std::move(delegate));
}
- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition))completionHandler {
  (void)session;
  const auto asked = pellam::URL::parse(pellam::macos::textOf(dataTask.originalRequest.URL.absoluteString));
  const DelegatePointer delegate = _delegates.find(dataTask);
  if (delegate && asked) delegate->didReceiveResponse(responseOf(response, *asked));
  completionHandler(NSURLSessionResponseAllow);
}
- (void)URLSession:(NSURLSession*)session
          dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveData:(NSData*)data {
  (void)session;
  const DelegatePointer delegate = _delegates.find(dataTask);
  if (!delegate) return;
  auto* receiver = delegate.get();
  // In its pieces, as it arrived: asking for all of it at once would copy it.
  [data enumerateByteRangesUsingBlock:^(const void* bytes, NSRange range, BOOL*) {
    receiver->didReceiveData({static_cast<const std::uint8_t*>(bytes), range.length});
  }];
}
- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
  (void)session;
  const DelegatePointer delegate = _delegates.take(task);
  if (!delegate) return;
  delegate->didComplete(error == nil ? std::nullopt : std::optional(loadingError(error)));
}
@end

namespace pellam {

namespace {

class DataTask final : public URLSessionDataTask {
 public:
  explicit DataTask(NSURLSessionDataTask* task) : task_(task) {}
  void resume() override { [task_ resume]; }
  void cancel() override { [task_ cancel]; }

 private:
  NSURLSessionDataTask* task_;
};

// The platform keeps a session and its delegate until the session is invalidated.
class Session final : public URLSession {
 public:
  Session()
      : delegate_([[PellamURLSessionDelegate alloc] init]),
        session_([NSURLSession sessionWithConfiguration:NSURLSessionConfiguration.defaultSessionConfiguration
                                               delegate:delegate_
                                          delegateQueue:nil]) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() override { [session_ finishTasksAndInvalidate]; }

  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest& request,
                                               std::shared_ptr<URLSessionDataDelegate> delegate) override {
    // An address that this system accepts and the platform does not fails like one that names nothing.
    NSURL* address = [NSURL URLWithString:macos::stringFrom(request.url.text())];
    if (address == nil) address = [NSURL fileURLWithPath:@"/dev/null/no-address"];
    NSMutableURLRequest* platformRequest = [NSMutableURLRequest requestWithURL:address];
    for (const auto& [field, value] : request.headers) {
      [platformRequest setValue:macos::stringFrom(value) forHTTPHeaderField:macos::stringFrom(field)];
    }
    if (request.timeout) platformRequest.timeoutInterval = static_cast<double>(request.timeout->count());
    NSURLSessionDataTask* task = [session_ dataTaskWithRequest:platformRequest];
    [delegate_ setDelegate:std::move(delegate) ofTask:task];
    return std::make_shared<DataTask>(task);
  }

  void finishTasksAndInvalidate() override { [session_ finishTasksAndInvalidate]; }

 private:
  PellamURLSessionDelegate* delegate_;
  NSURLSession* session_;
};

class Sessions final : public URLSessionMaking {
 public:
  std::shared_ptr<URLSession> makeSession() override { return std::make_shared<Session>(); }
};

}  // namespace

std::shared_ptr<URLSessionMaking> makeSystemURLSessions() { return std::make_shared<Sessions>(); }

}  // namespace pellam
