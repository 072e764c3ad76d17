#include "platform/url_session.h"

#include <atomic>
#include <map>
#include <mutex>
#include <utility>

#include "foundation/loading_refusals.h"
#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"

namespace {

using DelegatePointer = std::shared_ptr<pellam::URLSessionDataDelegate>;

// What one task serves, touched by the session's queue alone once the task has been resumed.
struct Served {
  pellam::URL asked;
  DelegatePointer delegate;
  pellam::BodyLimit bodyLimit;
  bool hasResponse = false;
  bool hasFailed = false;  // the delegate could not take what came, which nobody below can be told
  std::optional<pellam::URLLoadingError> refusal;  // why this side ended the task
};

// Which task of a session serves whom. One lock of its own, nothing called while it is held.
class TaskDelegates {
 public:
  void add(NSURLSessionTask* task, std::shared_ptr<Served> served) {
    const std::lock_guard guard(lock_);
    served_[task.taskIdentifier] = std::move(served);
  }
  std::shared_ptr<Served> find(NSURLSessionTask* task) {
    const std::lock_guard guard(lock_);
    const auto found = served_.find(task.taskIdentifier);
    return found == served_.end() ? nullptr : found->second;
  }
  void remove(NSURLSessionTask* task) {
    const std::lock_guard guard(lock_);
    served_.erase(task.taskIdentifier);
  }

 private:
  std::mutex lock_;
  std::map<NSUInteger, std::shared_ptr<Served>> served_;
};

// Gives the delegate an event; a task whose delegate fails goes no further.
template <typename Work>
void deliver(NSURLSessionTask* task, const std::shared_ptr<Served>& served, const Work& work) {
  if (!served || served->hasFailed || served->refusal) return;
  served->hasFailed = true;
  (void)pellam::macos::runGuarded([&] {
    work(*served->delegate);
    served->hasFailed = false;
  });
  if (served->hasFailed) [task cancel];
}

std::optional<pellam::URL> addressOf(NSURL* address) {
  return pellam::URL::parseLeniently(pellam::macos::textOf(address.absoluteString));
}

pellam::URLResponse responseOf(NSURLResponse* response, const pellam::URL& asked) {
  pellam::URLResponse result{addressOf(response.URL).value_or(asked), std::nullopt, std::nullopt};
  if ([response isKindOfClass:[NSHTTPURLResponse class]]) {
    result.statusCode = static_cast<int>(static_cast<NSHTTPURLResponse*>(response).statusCode);
  }
  if (response.expectedContentLength >= 0) result.expectedContentLength = response.expectedContentLength;
  return result;
}

pellam::URLLoadingError loadingError(NSError* error) {
  using pellam::URLLoadingError;
  if (![error.domain isEqualToString:NSURLErrorDomain])
    return URLLoadingError(pellam::macos::bridgedError(error));
  return {static_cast<URLLoadingError::Code>(error.code), pellam::macos::textOf(error.localizedDescription)};
}

}  // namespace

// Receives the events of a session's tasks on the session's own serial queue.
@interface PellamURLSessionDelegate : NSObject <NSURLSessionDataDelegate>
- (void)setServed:(std::shared_ptr<Served>)served ofTask:(NSURLSessionTask*)task;
@end

@implementation PellamURLSessionDelegate {
  TaskDelegates _delegates;
}
- (void)setServed:(std::shared_ptr<Served>)served ofTask:(NSURLSessionTask*)task {
  _delegates.add(task, std::move(served));
}
- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest*))completionHandler {
  (void)session;
  const std::shared_ptr<Served> served = _delegates.find(task);
  const auto target = addressOf(request.URL);
  if (served && target) {
    served->refusal = pellam::redirectRefusal(addressOf(response.URL).value_or(served->asked), *target);
  }
  if (served && served->refusal) [task cancel];
  completionHandler(served && served->refusal ? nil : request);
}
- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition))completionHandler {
  (void)session;
  const std::shared_ptr<Served> served = _delegates.find(dataTask);
  // A body of several parts brings a response for each.
  if (served && !served->hasResponse) {
    served->hasResponse = true;
    deliver(dataTask, served,
            [&](auto& delegate) { delegate.didReceiveResponse(responseOf(response, served->asked)); });
  }
  completionHandler(NSURLSessionResponseAllow);
}
- (void)URLSession:(NSURLSession*)session
          dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveData:(NSData*)data {
  (void)session;
  const std::shared_ptr<Served> served = _delegates.find(dataTask);
  // In its pieces, as it arrived: asking for all of it at once would copy it.
  [data enumerateByteRangesUsingBlock:^(const void* bytes, NSRange range, BOOL*) {
    if (!served || served->refusal) return;
    served->refusal = served->bodyLimit.take(range.length);
    if (served->refusal) [dataTask cancel];
    deliver(dataTask, served, [&](auto& delegate) {
      delegate.didReceiveData({static_cast<const std::uint8_t*>(bytes), range.length});
    });
  }];
}
- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
  (void)session;
  using pellam::URLLoadingError;
  const std::shared_ptr<Served> served = _delegates.find(task);
  if (!served) return;
  _delegates.remove(task);
  std::optional<URLLoadingError> failure;
  if (served->hasFailed) {
    failure = URLLoadingError(URLLoadingError::Code::unknown, "There is not enough memory for the response.");
  } else if (served->refusal) {
    failure = served->refusal;
  } else if (error != nil) {
    failure = loadingError(error);
  }
  // Whoever waits for this would wait for ever if it were lost: an error here ends the program.
  served->delegate->didComplete(failure);
}
@end

namespace pellam {

namespace {

class DataTask final : public URLSessionDataTask {
 public:
  explicit DataTask(NSURLSessionDataTask* task) : task_(task) {}
  DataTask(const DataTask&) = delete;
  DataTask& operator=(const DataTask&) = delete;
  // A session waits for every task that was ever made; one that nobody will resume would keep it for good.
  ~DataTask() override {
    if (!wasResumed_) [task_ cancel];
  }
  void resume() override {
    wasResumed_ = true;
    [task_ resume];
  }
  void cancel() override { [task_ cancel]; }

 private:
  NSURLSessionDataTask* task_;
  std::atomic<bool> wasResumed_ = false;
};

// The platform keeps a session and its delegate until the session is invalidated.
class Session final : public URLSession {
 public:
  explicit Session(const std::string& userAgent)
      : userAgent_(macos::stringFrom(userAgent)),
        delegate_([[PellamURLSessionDelegate alloc] init]),
        session_([NSURLSession sessionWithConfiguration:NSURLSessionConfiguration.defaultSessionConfiguration
                                               delegate:delegate_
                                          delegateQueue:nil]) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() override { [session_ finishTasksAndInvalidate]; }

  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest& request,
                                               std::shared_ptr<URLSessionDataDelegate> delegate) override {
    // An address that is refused, or that the platform does not accept, fails like one that names nothing.
    const std::optional<URLLoadingError> refusal = addressRefusal(request.url);
    NSURL* address = refusal ? nil : [NSURL URLWithString:macos::stringFrom(request.url.text())];
    if (address == nil) address = [NSURL fileURLWithPath:@"/dev/null/no-address"];
    NSMutableURLRequest* platformRequest = [NSMutableURLRequest requestWithURL:address];
    if (userAgent_.length > 0) [platformRequest setValue:userAgent_ forHTTPHeaderField:@"User-Agent"];
    for (const auto& [field, value] : request.headers) {
      [platformRequest setValue:macos::stringFrom(value) forHTTPHeaderField:macos::stringFrom(field)];
    }
    if (request.timeout) platformRequest.timeoutInterval = static_cast<double>(request.timeout->count());
    NSURLSessionDataTask* task = [session_ dataTaskWithRequest:platformRequest];
    const auto served = std::make_shared<Served>(Served{
        request.url, std::move(delegate), BodyLimit(request.maximumBodyLength), false, false, refusal});
    [delegate_ setServed:served ofTask:task];
    return std::make_shared<DataTask>(task);
  }

  void finishTasksAndInvalidate() override { [session_ finishTasksAndInvalidate]; }

 private:
  NSString* userAgent_;
  PellamURLSessionDelegate* delegate_;
  NSURLSession* session_;
};

class Sessions final : public URLSessionMaking {
 public:
  explicit Sessions(std::string userAgent) : userAgent_(std::move(userAgent)) {}
  std::shared_ptr<URLSession> makeSession() override { return std::make_shared<Session>(userAgent_); }

 private:
  std::string userAgent_;
};

}  // namespace

std::shared_ptr<URLSessionMaking> makeSystemURLSessions(const std::string& userAgent) {
  return std::make_shared<Sessions>(userAgent);
}

}  // namespace pellam
