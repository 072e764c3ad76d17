#include "pellam/cancellation.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace pellam {

namespace cancellation_detail {

class State {
 public:
  bool isCancelled() {
    const std::lock_guard lock(mutex_);
    return cancelled_;
  }

  // The identifier of the stored handler, or 0 when the state is cancelled already.
  std::uint64_t add(std::function<void()>& handler) {
    const std::lock_guard lock(mutex_);
    if (cancelled_) return 0;
    handlers_.emplace(++lastIdentifier_, std::move(handler));
    return lastIdentifier_;
  }

  void remove(std::uint64_t identifier) {
    std::unique_lock lock(mutex_);
    handlers_.erase(identifier);
    if (running_ != identifier || runner_ == std::this_thread::get_id()) return;
    finished_.wait(lock, [&] { return running_ != identifier; });
  }

  void cancel() {
    std::unique_lock lock(mutex_);
    if (cancelled_) return;
    cancelled_ = true;
    runner_ = std::this_thread::get_id();
    while (!handlers_.empty()) {
      auto handler = handlers_.extract(handlers_.begin());
      running_ = handler.key();
      lock.unlock();
      handler.mapped()();
      lock.lock();
      running_ = 0;
      finished_.notify_all();
    }
  }

 private:
  std::mutex mutex_;
  std::condition_variable finished_;
  std::map<std::uint64_t, std::function<void()>> handlers_;
  std::uint64_t lastIdentifier_ = 0;
  std::uint64_t running_ = 0;
  std::thread::id runner_;
  bool cancelled_ = false;
};

}  // namespace cancellation_detail

CancellationRegistration::CancellationRegistration(std::shared_ptr<cancellation_detail::State> state,
                                                   std::uint64_t identifier)
    : state_(std::move(state)), identifier_(identifier) {}

CancellationRegistration::CancellationRegistration(CancellationRegistration&& other) noexcept
    : state_(std::move(other.state_)), identifier_(std::exchange(other.identifier_, 0)) {}

CancellationRegistration& CancellationRegistration::operator=(CancellationRegistration&& other) noexcept {
  if (this != &other) {
    release();
    state_ = std::move(other.state_);
    identifier_ = std::exchange(other.identifier_, 0);
  }
  return *this;
}

CancellationRegistration::~CancellationRegistration() { release(); }

void CancellationRegistration::release() {
  if (state_ && identifier_ != 0) state_->remove(identifier_);
  state_.reset();
  identifier_ = 0;
}

bool CancellationToken::isCancelled() const { return state_ && state_->isCancelled(); }

void CancellationToken::throwIfCancelled() const {
  if (isCancelled()) throw OperationCancelled();
}

CancellationRegistration CancellationToken::onCancel(std::function<void()> handler) const {
  if (!state_) return {};
  const std::uint64_t identifier = state_->add(handler);
  if (identifier == 0) {
    handler();
    return {};
  }
  return {state_, identifier};
}

CancellationSource::CancellationSource() : state_(std::make_shared<cancellation_detail::State>()) {}

void CancellationSource::cancel() { state_->cancel(); }

}  // namespace pellam
