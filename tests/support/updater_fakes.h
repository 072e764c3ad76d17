#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pellam/key_value_storing.h"
#include "pellam/logger.h"
#include "pellam/main_thread.h"
#include "platform/clock.h"
#include "platform/property_list.h"
#include "services/network_client.h"
#include "services/sleeping.h"

// Substitutes for what the standard updater works with. All may be used from two threads.
namespace pellam::testing_support {

// A clock that stands still until it is advanced, which waits for the sleeper; it wakes when its time has
// come.
class ManualTime final : public PellamClock {
 public:
  Date now() const override {
    const std::lock_guard lock(lock_);
    return now_;
  }
  void advance(std::chrono::microseconds time) {
    std::unique_lock lock(lock_);
    change_.wait(lock, [this] { return isAsleep_; });
    now_ += time;
    change_.notify_all();
  }
  CancellableSleep sleep() {
    return [this](std::uint64_t nanoseconds, const CancellationToken& cancellation) {
      std::unique_lock lock(lock_);
      naps_.push_back(nanoseconds);
      const Date start = now_;
      bool isCancelled = false;
      lock.unlock();
      const CancellationRegistration registration = cancellation.onCancel([&] {
        const std::lock_guard inner(lock_);
        isCancelled = true;
        change_.notify_all();
      });
      lock.lock();
      isAsleep_ = true;
      change_.notify_all();
      change_.wait(lock, [&] {
        return isCancelled || static_cast<std::uint64_t>((now_ - start).count()) >= nanoseconds / 1000;
      });
      isAsleep_ = false;
      const bool wasCancelled = isCancelled;
      lock.unlock();
      if (wasCancelled) throw OperationCancelled();
    };
  }
  std::vector<std::uint64_t> naps() const {
    const std::lock_guard lock(lock_);
    return naps_;
  }

 private:
  mutable std::mutex lock_;
  std::condition_variable change_;
  Date now_{std::chrono::hours(24 * 20'000)};
  std::vector<std::uint64_t> naps_;
  bool isAsleep_ = false;
};

// A main thread without a loop: whoever needs it works off what arrives.
struct NoMainLoop final : MainThread {
  void perform(std::function<void()>) override {}
  void performAndWait(const std::function<void()>& work) override { work(); }
};

class MemorySettings final : public PellamKeyValueStoring {
 public:
  bool boolForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    return value && value->numberAsBoolean().value_or(false);
  }
  std::optional<std::string> stringForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    return value && value->string() != nullptr ? std::optional(*value->string()) : std::nullopt;
  }
  std::int64_t integerForKey(std::string_view key) const override {
    const auto value = objectForKey(key);
    return value ? value->numberAsInteger().value_or(0) : 0;
  }
  double doubleForKey(std::string_view key) const override { return static_cast<double>(integerForKey(key)); }
  std::optional<PropertyListValue> objectForKey(std::string_view key) const override {
    const std::lock_guard lock(lock_);
    const auto found = values_.find(std::string(key));
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }
  void set(std::optional<PropertyListValue> value, std::string_view key) override {
    const std::lock_guard lock(lock_);
    if (value) {
      values_.insert_or_assign(std::string(key), *value);
    } else {
      values_.erase(std::string(key));
    }
  }
  void removeObjectForKey(std::string_view key) override { set(std::nullopt, key); }

 private:
  mutable std::mutex lock_;
  std::map<std::string, PropertyListValue> values_;
};

// Serves the feed, or fails; can be held back until it is released or cancelled.
class ScriptedFeed final : public PellamNetworkClient {
 public:
  NetworkData data(const URLRequest& request, const CancellationToken& cancellation) override {
    bool isCancelled = false;
    std::unique_lock lock(lock_);
    ++requests_;
    lastRequest_ = request;
    lock.unlock();
    const CancellationRegistration registration = cancellation.onCancel([&] {
      const std::lock_guard inner(lock_);
      isCancelled = true;
      change_.notify_all();
    });
    lock.lock();
    change_.wait(lock, [&] { return isCancelled || !isHeld_; });
    if (isCancelled) throw URLLoadingError(URLLoadingError::Code::cancelled, "cancelled");
    if (error_) throw URLLoadingError(*error_, "no feed");
    return {ByteBuffer(std::string_view(body_)), URLResponse{request.url, status_, std::nullopt}};
  }

  void serve(const std::vector<PropertyListDictionary>& entries) {
    serveText(writeXMLPropertyList(PropertyListArray(entries.begin(), entries.end())));
  }
  void serveText(std::string body, int status = 200) {
    const std::lock_guard lock(lock_);
    body_ = std::move(body);
    status_ = status;
    error_.reset();
  }
  void fail(URLLoadingError::Code error) {
    const std::lock_guard lock(lock_);
    error_ = error;
  }
  void hold(bool isHeld) {
    const std::lock_guard lock(lock_);
    isHeld_ = isHeld;
    change_.notify_all();
  }
  int requests() const {
    const std::lock_guard lock(lock_);
    return requests_;
  }
  URLRequest lastRequest() const {
    const std::lock_guard lock(lock_);
    return lastRequest_.value();
  }

 private:
  mutable std::mutex lock_;
  std::condition_variable change_;
  std::string body_;
  int status_ = 200;
  std::optional<URLLoadingError::Code> error_;
  bool isHeld_ = false;
  int requests_ = 0;
  std::optional<URLRequest> lastRequest_;
};

class RecordingLogger final : public PellamLogger {
 public:
  void log(const Message& message, PellamLogLevel, std::string_view) override {
    const std::string line = message();
    const std::lock_guard lock(lock_);
    lines_.push_back(line);
  }
  // How many lines begin like this.
  int count(std::string_view beginning) const {
    const std::lock_guard lock(lock_);
    int found = 0;
    for (const std::string& line : lines_) found += line.starts_with(beginning) ? 1 : 0;
    return found;
  }

 private:
  mutable std::mutex lock_;
  std::vector<std::string> lines_;
};

}  // namespace pellam::testing_support
