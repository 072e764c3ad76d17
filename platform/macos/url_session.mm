#include "platform/url_session.h"

#include <atomic>
#include <map>
#include <mutex>
#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"

namespace {

using DelegatePointer = std::shared_ptr<pellam::URLSessionDataDelegate>;

// What one task serves, touched by the session's queue alone once the task has been resumed.
struct Served {
  pellam::URL asked;
  DelegatePointer delegate;
  bool hasResponse = false;
  bool hasFailed = false;  // the delegate could not take what came, which nobody below can be told
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
  if (!served || served->hasFailed) return;
  served->hasFailed = true;
  pellam::macos::runGuarded([&] {
    work(*served->delegate);
    served->hasFailed = false;
  });
  if (served->hasFailed) [task cancel];
}

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
    [delegate_ setServed:std::make_shared<Served>(Served{request.url, std::move(delegate)}) ofTask:task];
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
