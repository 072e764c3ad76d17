#include "platform/url_session.h"

#include <curl/curl.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "foundation/decimal.h"
#include "platform/linux/network/transfer.h"

namespace pellam {

namespace {

// One transfer on a thread of its own. The thread keeps the transfer and its delegate; the task only starts
// and stops it, and is joined when it goes away.
class DataTask final : public URLSessionDataTask {
 public:
  DataTask(URLRequest request, std::string userAgent, std::shared_ptr<URLSessionDataDelegate> delegate)
      : transfer_(std::make_shared<Transfer>(std::move(request), std::move(userAgent), std::move(delegate))) {
  }
  DataTask(const DataTask&) = delete;
  DataTask& operator=(const DataTask&) = delete;
  ~DataTask() override {
    if (!thread_.joinable()) return;
    if (thread_.get_id() == std::this_thread::get_id()) {
      thread_.detach();  // the last owner let go inside a callback; the thread is about to end
    } else {
      thread_.join();
    }
  }

  void resume() override {
    const std::lock_guard lock(mutex_);
    if (started_) return;
    started_ = true;
    thread_ = std::thread([transfer = transfer_] { transfer->perform(); });
  }

  void cancel() override { transfer_->cancel(); }

 private:
  std::shared_ptr<Transfer> transfer_;
  std::mutex mutex_;
  bool started_ = false;
  std::thread thread_;
};

class Session final : public URLSession {
 public:
  explicit Session(std::string userAgent) : userAgent_(std::move(userAgent)) {}
  std::shared_ptr<URLSessionDataTask> dataTask(const URLRequest& request,
                                               std::shared_ptr<URLSessionDataDelegate> delegate) override {
    return std::make_shared<DataTask>(request, userAgent_, std::move(delegate));
  }
  // Every task has a thread of its own, so a session holds nothing to give back.
  void finishTasksAndInvalidate() override {}

 private:
  std::string userAgent_;
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
