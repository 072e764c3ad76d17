#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/url_session.h"

namespace pellam::testing_support {

// How long a test waits for what must come.
inline constexpr std::chrono::seconds patience{30};

// Keeps what a task reports, and that it reports it in order and one at a time. `onEvent` is called on the
// session's thread, after the event has been kept.
class Recorder final : public URLSessionDataDelegate {
 public:
  std::function<void(char event)> onEvent = [](char) {};

  void didReceiveResponse(const URLResponse& received) override {
    record('r', [&] { response = received; });
  }
  void didReceiveData(std::span<const std::uint8_t> bytes) override {
    record('d', [&] { body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size()); });
  }
  void didComplete(const std::optional<URLLoadingError>& failure) override {
    record('c', [&] { error = failure; });
  }

  // False when the task has not completed in time.
  bool waitForCompletion() {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, patience, [this] { return hasCompleted_; });
  }
  bool waitForData() {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, patience, [this] { return !body.empty(); });
  }
  std::string eventsSoFar() {
    const std::lock_guard guard(lock_);
    return events;
  }
  [[nodiscard]] std::optional<URLLoadingError::Code> code() const {
    return error ? std::optional(error->code()) : std::nullopt;
  }

  // To be read after the completion.
  std::string events;  // a letter each; data that follows data counts once
  std::string body;
  std::optional<URLResponse> response;
  std::optional<URLLoadingError> error;

 private:
  template <typename Work>
  void record(char event, const Work& work) {
    EXPECT_NE(std::this_thread::get_id(), maker_) << "on the thread of whoever asked for it";
    EXPECT_FALSE(isBusy_.exchange(true)) << "two events at a time";
    {
      const std::lock_guard guard(lock_);
      work();
      if (event != 'd' || !events.ends_with('d')) events += event;
    }
    changed_.notify_all();
    onEvent(event);
    isBusy_ = false;
    if (event != 'c') return;
    const std::lock_guard guard(lock_);
    hasCompleted_ = true;
    changed_.notify_all();
  }

  std::thread::id maker_ = std::this_thread::get_id();
  std::atomic<bool> isBusy_ = false;
  std::mutex lock_;
  std::condition_variable changed_;
  bool hasCompleted_ = false;
};

class URLSessionContractTest : public testing::Test {
 protected:
  // What the environment says about proxies is not meant for this machine's own addresses.
  static void SetUpTestSuite() { ::setenv("no_proxy", "*", 1); }

  // One task from its beginning to its end.
  std::shared_ptr<Recorder> load(const std::string& address) { return load({*URL::parse(address), {}, {}}); }
  std::shared_ptr<Recorder> load(const URLRequest& request) {
    auto recorder = std::make_shared<Recorder>();
    const auto task = session_->dataTask(request, recorder);
    task->resume();
    EXPECT_TRUE(recorder->waitForCompletion()) << request.url.text();
    return recorder;
  }
  std::shared_ptr<URLSessionDataTask> start(const std::string& address,
                                            const std::shared_ptr<Recorder>& recorder) {
    auto task = session_->dataTask({*URL::parse(address), {}, {}}, recorder);
    task->resume();
    return task;
  }

  std::shared_ptr<URLSession> session_ = makeSystemURLSessions("Editor/2.4.1")->makeSession();
};

}  // namespace pellam::testing_support
