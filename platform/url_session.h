#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "foundation/url_loading.h"

namespace pellam {

// Receives the events of one data task, all on the session's own thread, in this order: at most one response,
// any number of data, exactly one completion.
class URLSessionDataDelegate {
 public:
  virtual ~URLSessionDataDelegate() = default;
  virtual void didReceiveResponse(const URLResponse& response) = 0;
  virtual void didReceiveData(std::span<const std::uint8_t> bytes) = 0;
  // Without an error the body is complete.
  virtual void didComplete(const std::optional<URLLoadingError>& error) = 0;
};

// One transfer. Any thread may resume and cancel it.
class URLSessionDataTask {
 public:
  virtual ~URLSessionDataTask() = default;
  // Starts the transfer; a task that is dropped without having been resumed transfers nothing. A task that
  // was cancelled before never transfers anything and completes with the code cancelled.
  virtual void resume() = 0;
  // The task completes with the code cancelled, once and within a tenth of a second, whatever it is waiting
  // for (a name look-up, a connection, a file), unless it has completed already.
  virtual void cancel() = 0;
};

// A session with the platform's default configuration: redirects are followed (at most 20), certificates are
// verified, proxies are the user's. foundation/loading_refusals.h says what is refused.
class URLSession {
 public:
  virtual ~URLSession() = default;
  // A GET for the request. The session keeps the delegate until the task has completed.
  [[nodiscard]] virtual std::shared_ptr<URLSessionDataTask> dataTask(
      const URLRequest& request, std::shared_ptr<URLSessionDataDelegate> delegate) = 0;
  // Lets running tasks finish and gives the session's thread back afterwards. May be called on that thread.
  virtual void finishTasksAndInvalidate() = 0;
};

class URLSessionMaking {
 public:
  virtual ~URLSessionMaking() = default;
  [[nodiscard]] virtual std::shared_ptr<URLSession> makeSession() = 0;
};

// `userAgent` goes out with every http request that does not bring a User-Agent of its own.
[[nodiscard]] std::shared_ptr<URLSessionMaking> makeSystemURLSessions(const std::string& userAgent);

}  // namespace pellam
