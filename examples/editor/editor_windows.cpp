#include "examples/editor/editor_windows.h"

#include <memory>
#include <string>
#include <utility>

#include "pellam/standard_updater.h"
#include "platform/sample/application.h"

namespace pellam {

namespace {

constexpr const char* document =
    "Dear reader,\n\nthis small application keeps itself current. Choose “Check for Updates…” from its "
    "menu.\n";

// What the updater says goes to the sample's log.
class UpdaterLog final : public PellamLogger {
 public:
  explicit UpdaterLog(EditorLog& log) : log_(log) {}
  void log(const Message& message, PellamLogLevel, std::string_view category) override {
    log_.write(std::string(category) + ": " + message());
  }

 private:
  EditorLog& log_;
};

}  // namespace

void runEditorWithWindows(const Bundle& bundle, const BundleLoading& bundles, EditorLog& log,
                          const CancellationToken& cancellation) {
  const std::string name = bundle.informationString("CFBundleDisplayName");
  const std::unique_ptr<Application> application =
      makeSystemApplication(bundle.bundleIdentifier().value_or(""), name);
  const auto ending = cancellation.onCancel([&] { application->stop(); });
  const auto text = [&](const std::string& english) {
    return bundles.localizedString(bundle.path, english, "", english);
  };

  std::unique_ptr<OrvoStandardUpdater> updater;
  if (const std::optional<URL> feed = URL::parse(bundle.informationString("PellamFeedURL"))) {
    OrvoStandardUpdaterConfiguration configuration{*feed};
    configuration.applicationLogoImageName = "EditorLogo";
    configuration.manualUpdateURL = URL::parse(bundle.informationString("PellamManualUpdateURL"));
    updater = makeStandardUpdater(std::move(configuration), {.bundle = bundle.path,
                                                             .terminate = [&] { application->stop(); },
                                                             .logger = std::make_shared<UpdaterLog>(log)});
  }
  application->showDocumentWindow(name + " " + bundle.informationString("CFBundleShortVersionString"),
                                  document, name,
                                  {{text("Check for Updates…"),
                                    [&] {
                                      if (updater) updater->checkForUpdates();
                                    }},
                                   {text("Quit Editor"), [&] { application->stop(); }}});
  if (updater) updater->start();
  application->run();
}

}  // namespace pellam
