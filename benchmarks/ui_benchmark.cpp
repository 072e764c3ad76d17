// Measures what a user waits for: from the call that shows a window until its first frame is drawn, the
// release notes still loading; and what a download pays for its progress being shown. Needs a display.
#include <gtk/gtk.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/measure.h"
#include "host/installer_coordinator.h"
#include "pellam/installer_error.h"
#include "platform/bundle_loading.h"
#include "platform/child_process.h"
#include "platform/file_system.h"
#include "platform/identifiers.h"
#include "platform/system_log.h"
#include "platform/window_toolkit.h"
#include "platform/workspace.h"
#include "ui/presented_progress_window.h"
#include "ui/update_prompt_presenter.h"

namespace {

using namespace pellam;
using Clock = std::chrono::steady_clock;

constexpr int rounds = 15;
constexpr int firstRounds = 5;
constexpr int callbacks = 200'000;

// A server that takes connections and never answers: the notes go on loading.
class SilentServer {
 public:
  SilentServer() : listener_(g_socket_listener_new()) {
    port_ = g_socket_listener_add_any_inet_port(listener_, nullptr, nullptr);
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;
  ~SilentServer() { g_object_unref(listener_); }
  [[nodiscard]] std::string address() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

 private:
  GSocketListener* listener_;
  std::uint16_t port_ = 0;
};

struct Fixture {
  std::shared_ptr<WindowToolkit> toolkit = makeSystemWindowToolkit(
      *makeSystemBundleLoader(makeSystemFileSystem()), makeSystemChildProcessRunner("/usr/bin"));
  std::shared_ptr<FileSystem> fileSystem = makeSystemFileSystem();
  std::shared_ptr<BundleLoading> bundles = makeSystemBundleLoader(fileSystem);
  std::shared_ptr<MainThread> mainThread = makeSystemMainThread();
  SilentServer server;
};

// Handles events until the newest window has drawn a frame; milliseconds since `begin`.
double untilDrawn(Clock::time_point begin) {
  GListModel* windows = gtk_window_get_toplevels();
  auto* window = GTK_WIDGET(g_list_model_get_item(windows, g_list_model_get_n_items(windows) - 1));
  g_object_unref(window);
  bool isDrawn = false;
  GdkFrameClock* clock = gtk_widget_get_frame_clock(window);
  const gulong handler = g_signal_connect(
      clock, "after-paint",
      G_CALLBACK(+[](GdkFrameClock*, gpointer drawn) { *static_cast<bool*>(drawn) = true; }), &isDrawn);
  while (!isDrawn) g_main_context_iteration(nullptr, TRUE);
  g_signal_handler_disconnect(clock, handler);
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void settle() {
  const auto end = Clock::now() + std::chrono::milliseconds(150);
  while (Clock::now() < end) g_main_context_iteration(nullptr, FALSE);
}

double promptMilliseconds(Fixture& fixture) {
  OrvoUpdatePromptPresenter presenter(
      fixture.toolkit, fixture.bundles,
      makeSystemWorkspace(makeSystemFileSystem(), makeSystemBundleLoader(makeSystemFileSystem())));
  OrvoUpdatePromptInput input;
  input.feed = {
      {"type", "update"}, {"title", "Editor 2.0"}, {"url", fixture.server.address()}, {"current", "2.0"}};
  input.applicationName = "Editor";
  input.applicationVersion = "1.0";
  input.defaultWindowWidth = 600;
  input.defaultWindowHeight = 500;
  const auto begin = Clock::now();
  if (!presenter.presentUpdatePrompt(input, [](const auto&) {})) std::abort();
  const double taken = untilDrawn(begin);
  presenter.dismissPrompt();
  settle();
  return taken;
}

double progressMilliseconds(Fixture& fixture) {
  const auto begin = Clock::now();
  PresentedProgressWindow window(fixture.toolkit, fixture.bundles, "Downloading update…");
  const double taken = untilDrawn(begin);
  window.close();
  settle();
  return taken;
}

// Reports progress as fast as it can and then fails, so that the installation ends there.
class BusyDownload final : public OrvoUpdateInstallerNetworkClient {
 public:
  NetworkData data(const URL&, const CancellationToken&) override { std::abort(); }
  NetworkData data(const URL&, const DownloadProgressHandler& progress, const CancellationToken&) override {
    const auto begin = Clock::now();
    for (int at = 1; at <= callbacks; ++at) progress({at, callbacks});
    nanoseconds = std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / callbacks;
    throw URLLoadingError(URLLoadingError::Code::cancelled, "enough");
  }
  double nanoseconds = 0;
};

double callbackNanoseconds(Fixture& fixture) {
  const auto download = std::make_shared<BusyDownload>();
  OrvoUpdateInstallerCoordinator::Collaborators parts;
  parts.fileManager = fixture.fileSystem;
  parts.networkClient = download;
  parts.environment.mainThread = fixture.mainThread;
  parts.environment.bundles = fixture.bundles;
  parts.environment.localizationBundle = fixture.bundles->mainBundlePath();
  parts.environment.identifiers = makeSystemUUIDGenerator();
  parts.environment.clock = std::make_shared<PellamSystemClock>();
  parts.environment.systemLog = makeSystemLog();
  OrvoUpdateInstallerCoordinator coordinator(std::move(parts));
  const auto window =
      std::make_shared<PresentedProgressWindow>(fixture.toolkit, fixture.bundles, "Downloading update…");
  OrvoUpdateInstallerRequest request;
  request.archiveURL = URL::parse(fixture.server.address());
  std::atomic<bool> isDone = false;
  std::thread installation([&] {
    try {
      (void)coordinator.installUpdate(request, window, {});
    } catch (const std::exception&) {
      isDone = true;
    }
    g_main_context_wakeup(nullptr);
  });
  while (!isDone) g_main_context_iteration(nullptr, TRUE);
  installation.join();
  return download->nanoseconds;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    Fixture fixture;
    if (count > 1 && std::string(arguments[1]) == "--first-prompt") {
      std::printf("%.2f\n", promptMilliseconds(fixture));
      return 0;
    }
    std::vector<double> first;
    const auto processes = makeSystemChildProcessRunner("/usr/bin");
    for (int round = 0; round < firstRounds; ++round) {
      // The last line; the web view's own process may have complained before it.
      std::string output = processes->run("/proc/self/exe", {"--first-prompt"}).output;
      output.resize(output.find_last_not_of('\n') + 1);
      first.push_back(std::atof(output.c_str() + output.rfind('\n') + 1));
      if (first.back() <= 0) throw std::runtime_error("a first prompt was not measured: " + output);
    }
    std::vector<double> prompts;
    std::vector<double> windows;
    std::vector<double> nanoseconds;
    nanoseconds.reserve(firstRounds);
    for (int round = 0; round < rounds; ++round) {
      prompts.push_back(promptMilliseconds(fixture));
      windows.push_back(progressMilliseconds(fixture));
    }
    for (int round = 0; round < firstRounds; ++round) nanoseconds.push_back(callbackNanoseconds(fixture));
    using benchmark::median;
    std::printf("prompt drawn, its notes loading, a process's first\t%.0f ms\t-\t-\tunder 400 ms\n",
                median(first));
    std::printf("prompt drawn, its notes loading, later ones\t%.0f ms\t-\t-\tunder 400 ms\n",
                median(prompts));
    std::printf("progress window drawn\t%.1f ms\t-\t-\tunder 100 ms\n", median(windows));
    std::printf("a download's progress callback, the window open\t%.0f ns\t-\t-\tunder 1000 ns\n",
                median(nanoseconds));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ui_benchmark: %s\n", error.what());
    return 1;
  }
}
