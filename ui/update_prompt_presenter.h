#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "localization/localized_text.h"
#include "pellam/feed_entry.h"
#include "platform/bundle_loading.h"
#include "platform/window_toolkit.h"
#include "platform/workspace.h"

namespace pellam {

// One offer and how it is to be shown.
struct OrvoUpdatePromptInput {
  FeedEntry feed;
  bool isManualCheck = false;       // the user asked: an open prompt may be replaced
  bool allowInstallAction = false;  // the host can install from this prompt at all
  std::string applicationName;
  std::string applicationVersion;
  std::int64_t applicationBuild = 0;
  std::string applicationLogoImageName;
  std::filesystem::path localizationBundle;  // whose strings tables have the texts
  double defaultWindowWidth = 0;             // the smallest content size, in points
  double defaultWindowHeight = 0;
};

// The user's answer. Compared member by member.
struct OrvoUpdatePromptAction {
  enum class Kind { remindLater, install, dismissed };
  Kind kind = Kind::dismissed;
  std::string feedType;  // of remindLater
  FeedEntry feed;        // of install

  [[nodiscard]] static OrvoUpdatePromptAction remindLater(std::string feedType) {
    return {Kind::remindLater, std::move(feedType), {}};
  }
  [[nodiscard]] static OrvoUpdatePromptAction install(FeedEntry feed) {
    return {Kind::install, {}, std::move(feed)};
  }
  [[nodiscard]] static OrvoUpdatePromptAction dismissed() { return {}; }

  friend bool operator==(const OrvoUpdatePromptAction&, const OrvoUpdatePromptAction&) = default;
};

// Shows one offered update in a window of its own and reports the answer, at most one for each shown prompt.
// Closed → (present) → open → (button) → answered and closed; → (close button) → closed with `dismissed`;
// → (dismissPrompt, or a manual check's next prompt) → closed without an answer. It decides nothing about
// the offer. Main thread only. The handler is called before the window closes; it may present the next
// prompt, dismiss this one or destroy the presenter. Destruction closes the prompt without an answer.
class OrvoUpdatePromptPresenter {
 public:
  using ActionHandler = std::function<void(const OrvoUpdatePromptAction&)>;

  OrvoUpdatePromptPresenter(std::shared_ptr<WindowToolkit> toolkit, std::shared_ptr<BundleLoading> bundles,
                            std::shared_ptr<Workspace> workspace);
  ~OrvoUpdatePromptPresenter();
  OrvoUpdatePromptPresenter(const OrvoUpdatePromptPresenter&) = delete;
  OrvoUpdatePromptPresenter& operator=(const OrvoUpdatePromptPresenter&) = delete;

  // False, with nothing shown, for an entry without an address of release notes, for an entry of another type
  // than "update", and for an automatic check while a prompt is open. A manual check replaces an open prompt.
  [[nodiscard]] bool presentUpdatePrompt(const OrvoUpdatePromptInput& input, ActionHandler onAction);
  // Closes the prompt without reporting an answer.
  void dismissPrompt();
  [[nodiscard]] bool isPromptOpen() const { return promptWindow_ != nullptr; }

  // What the buttons do.
  void installButtonPressed();
  void remindLaterButtonPressed();
  void dismissButtonPressed();
  // A clicked link leaves for the browser; every other navigation goes on.
  [[nodiscard]] NavigationPolicy decidePolicy(const NavigationAction& action);

  // The texts, looked up in the input's bundle.
  [[nodiscard]] std::string promptWindowTitle(const OrvoUpdatePromptInput& input) const;
  [[nodiscard]] std::string topTitleString(const OrvoUpdatePromptInput& input) const;
  [[nodiscard]] std::string secondaryTitleString(const OrvoUpdatePromptInput& input) const;

  struct BuildOnlyUpdate {
    std::string version;
    std::int64_t build = 0;
    friend bool operator==(const BuildOnlyUpdate&, const BuildOnlyUpdate&) = default;
  };
  // The entry's version and build when it offers only a newer build of the installed version.
  [[nodiscard]] static std::optional<BuildOnlyUpdate> buildOnlyUpdate(const OrvoUpdatePromptInput& input);
  // The larger of the entry's size and the default one, each length for itself. What the entry states counts
  // up to `maximumStatedPromptLength`.
  [[nodiscard]] static WindowSize resolvedWindowSize(const FeedEntry& feed, double defaultWidth,
                                                     double defaultHeight);
  // True when the key holds a string with more in it than white space and newlines.
  [[nodiscard]] static bool hasNonEmptyStringValue(std::string_view key, const FeedEntry& feed);

  // Fills an empty content view. An `urlString` that is no address leaves the notes blank.
  void configurePromptContent(View& contentView, const OrvoUpdatePromptInput& input,
                              const std::string& urlString);

 private:
  [[nodiscard]] std::string text(const OrvoUpdatePromptInput& input, const LocalizedText& text) const;
  [[nodiscard]] UpdatePromptButton button(const OrvoUpdatePromptInput& input, const LocalizedText& title,
                                          const char* identifier,
                                          void (OrvoUpdatePromptPresenter::*action)());
  void answer(const OrvoUpdatePromptAction& action);
  void windowWillClose(const Window* window);

  std::shared_ptr<WindowToolkit> toolkit_;
  std::shared_ptr<BundleLoading> bundles_;
  std::shared_ptr<Workspace> workspace_;

  std::shared_ptr<Window> promptWindow_;
  std::optional<FeedEntry> displayedFeed_;
  ActionHandler actionHandler_;
  bool shouldRemindOnWindowClose_ = false;
  // Points nowhere once the presenter is gone; what is called later, or goes on later, finds out by it.
  std::shared_ptr<OrvoUpdatePromptPresenter*> self_;
};

}  // namespace pellam
