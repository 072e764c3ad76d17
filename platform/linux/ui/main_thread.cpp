#include "pellam/main_thread.h"

#include <future>
#include <thread>
#include <utility>

#include "platform/linux/ui/gtk_object.h"

namespace pellam {

namespace {

// One event source for each piece of work: sources of one priority are served in the order in which they were
// added, and a nested loop goes on where the outer one was interrupted.
class EventLoopMainThread final : public MainThread {
 public:
  void perform(std::function<void()> work) override {
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
          runGuarded(*static_cast<std::function<void()>*>(data));
          return G_SOURCE_REMOVE;
        },
        new std::function<void()>(std::move(work)),
        [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
    g_source_attach(source, nullptr);
    g_source_unref(source);
  }

  void performAndWait(const std::function<void()>& work) override {
    if (std::this_thread::get_id() == thread_) {
      work();
      return;
    }
    // Shared, because the waiting thread goes on while the task is still returning.
    const auto task = std::make_shared<std::packaged_task<void()>>(work);
    std::future<void> done = task->get_future();
    perform([task] { (*task)(); });
    done.get();
  }

 private:
  std::thread::id thread_ = std::this_thread::get_id();
};

}  // namespace

std::shared_ptr<MainThread> makeSystemMainThread() { return std::make_shared<EventLoopMainThread>(); }

}  // namespace pellam
