#include "platform/linux/connection/bus_loop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <system_error>
#include <utility>

namespace pellam {

namespace {

void check(int result, const char* what) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), what);
}

// Milliseconds from now until a point on the monotonic clock, as poll wants them.
int millisecondsUntil(std::uint64_t microseconds) {
  if (microseconds == UINT64_MAX) return -1;
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t current =
      static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000;
  if (microseconds <= current) return 0;
  return static_cast<int>(std::min<std::uint64_t>((microseconds - current) / 1'000 + 1, INT_MAX));
}

}  // namespace

BusLoop::BusLoop(FileDescriptor socket, Role role) : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wakeUp_.isOpen()) throw std::system_error(errno, std::generic_category(), "eventfd");
  check(sd_bus_new(&bus_), "sd_bus_new");
  try {
    // sd-bus closes the descriptor from here on.
    check(sd_bus_set_fd(bus_, socket.get(), socket.get()), "sd_bus_set_fd");
    (void)socket.release();
    if (role == Role::server) {
      sd_id128_t identifier{};
      check(sd_id128_randomize(&identifier), "sd_id128_randomize");
      check(sd_bus_set_server(bus_, 1, identifier), "sd_bus_set_server");
    }
    check(sd_bus_negotiate_fds(bus_, 0), "sd_bus_negotiate_fds");
  } catch (...) {
    close();
    throw;
  }
}

BusLoop::~BusLoop() {
  stop();
  join();
  close();
}

void BusLoop::start(std::function<void(End)> willEnd, std::function<void()> didEnd) {
  thread_ = std::thread([self = shared_from_this(), willEndHandler = std::move(willEnd),
                         didEndHandler = std::move(didEnd)]() mutable {
    self->threadIdentifier_ = std::this_thread::get_id();
    const End end = self->run();
    willEndHandler(end);
    willEndHandler = nullptr;
    std::vector<Posted> left;
    {
      const std::lock_guard guard(self->lock_);
      self->hasEnded_ = true;
      left.swap(self->tasks_);
    }
    for (const Posted& posted : left) {
      if (posted.lost) posted.lost();
    }
    left.clear();
    self->close();
    didEndHandler();
    didEndHandler = nullptr;
    self.reset();
  });
}

bool BusLoop::post(Task task, std::function<void()> lost) {
  if (threadIdentifier_.load() == std::this_thread::get_id()) {
    if (bus_ == nullptr || hasEnded_) return false;
    task(bus_);
    return true;
  }
  {
    const std::lock_guard guard(lock_);
    if (hasEnded_ || isStopping_) return false;
    tasks_.push_back({std::move(task), std::move(lost)});
  }
  (void)::eventfd_write(wakeUp_.get(), 1);
  return true;
}

void BusLoop::stop() {
  {
    const std::lock_guard guard(lock_);
    isStopping_ = true;
  }
  (void)::eventfd_write(wakeUp_.get(), 1);
}

void BusLoop::join() {
  if (!thread_.joinable()) return;
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

BusLoop::End BusLoop::run() {
  if (sd_bus_start(bus_) < 0) return End::peerLost;
  for (;;) {
    if (!runTasks()) return End::stopped;
    if (!processBus()) return End::peerLost;
    waitForEvents();
  }
}

bool BusLoop::runTasks() {
  for (;;) {
    std::vector<Posted> tasks;
    bool isStopping = false;
    {
      const std::lock_guard guard(lock_);
      tasks.swap(tasks_);
      isStopping = isStopping_;
    }
    for (const Posted& posted : tasks) posted.task(bus_);
    if (isStopping) return false;
    if (tasks.empty()) return true;
  }
}

bool BusLoop::processBus() {
  for (;;) {
    const int result = sd_bus_process(bus_, nullptr);
    if (result < 0) return false;
    if (result == 0) return sd_bus_is_open(bus_) > 0;
    const std::lock_guard guard(lock_);
    if (isStopping_ || !tasks_.empty()) return true;
  }
}

void BusLoop::waitForEvents() const {
  const int events = sd_bus_get_events(bus_);
  std::uint64_t deadline = UINT64_MAX;
  if (sd_bus_get_timeout(bus_, &deadline) < 0) deadline = UINT64_MAX;
  std::array<pollfd, 2> waiting = {
      {{sd_bus_get_fd(bus_), static_cast<short>(std::max(events, 0)), 0}, {wakeUp_.get(), POLLIN, 0}}};
  (void)::poll(waiting.data(), waiting.size(), millisecondsUntil(deadline));
  eventfd_t ignored = 0;
  (void)::eventfd_read(wakeUp_.get(), &ignored);
}

void BusLoop::close() {
  if (bus_ == nullptr) return;
  // Not flushed: a peer that no longer reads must not hold this thread.
  sd_bus_close(bus_);
  bus_ = sd_bus_unref(bus_);
}

}  // namespace pellam
