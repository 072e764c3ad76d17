#include "pellam/update_host.h"

#include <utility>

#include "host/offer_installation.h"
#include "host/system_host.h"
#include "platform/user_languages.h"

namespace pellam {

struct UpdateHost::Parts {
  std::shared_ptr<MainThread> mainThread;
  SystemHost host;
  OfferInstallation installations;
};

UpdateHost::UpdateHost(Surroundings surroundings) {
  SystemHost host = makeSystemHost(surroundings.bundle, surroundings.settingsFolder, surroundings.mainThread);
  OfferInstallation installations(host.application, host.coordinator);
  parts_ = std::make_unique<Parts>(
      Parts{std::move(surroundings.mainThread), std::move(host), std::move(installations)});
}

UpdateHost::~UpdateHost() = default;

const PellamAppIdentity& UpdateHost::application() const { return parts_->host.application.identity; }

const std::filesystem::path& UpdateHost::bundle() const { return parts_->host.application.path; }

std::vector<FeedEntry> UpdateHost::fetch(const URL& feed, const CancellationToken& cancellation) const {
  return parts_->host.check->fetch(feed, cancellation);
}

UpdateDecision UpdateHost::decide(const std::vector<FeedEntry>& feed, UpdateCheckOptions options,
                                  const std::function<bool(const UpdateOffer&)>& show) const {
  if (options.currentOSVersion.empty()) {
    options.currentOSVersion = parts_->host.process->operatingSystemVersion().text();
  }
  if (!options.preferredLanguageCode) options.preferredLanguageCode = preferredUserLanguage();
  UpdateDecision decision;
  parts_->mainThread->performAndWait([&] {
    decision = parts_->host.check->decide(feed, parts_->host.application, options, show).decision();
  });
  return decision;
}

InstallResult UpdateHost::install(const UpdateOffer& offer, const Installation& installation) {
  OfferInstallation::Attempt attempt{parts_->host.identifiers->makeUUID(), installation.installerNameFormat};
  attempt.window = installation.window;
  attempt.launchProgress = installation.launchProgress;
  attempt.cancellation = installation.cancellation;
  return parts_->installations.install(offer.entry, attempt);
}

std::optional<InstallationFailure> UpdateHost::takeFailureReport() {
  const auto report =
      parts_->host.reports->consumeFailureReport(application().bundleIdentifier, std::nullopt);
  if (!report) return std::nullopt;
  return InstallationFailure{report->errorDescription, report->failedAt};
}

int UpdateHost::removeStaleAttempts() { return parts_->installations.removeStaleAttempts(); }

}  // namespace pellam
