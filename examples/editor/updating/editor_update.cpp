#include "examples/editor/updating/editor_update.h"

#include "pellam/errors.h"

namespace pellam {

bool updateIfOffered(UpdateHost& host, const URL& feed, const LineLog& log,
                     const CancellationToken& cancellation) {
  try {
    const auto failure = host.takeFailureReport();
    if (failure) log("report " + failure->description);
    const UpdateDecision decision =
        host.decide(host.fetch(feed, cancellation), {}, [](const UpdateOffer&) { return true; });
    if (!decision.offer || !decision.offer->isDue) {
      log("decision nothing to offer");
      return false;
    }
    log("decision offer " + decision.offer->version);
    // What has just failed is not tried again at once: the application would replace itself for ever.
    if (failure) return false;
    const InstallResult result =
        host.install(*decision.offer,
                     {.window = std::make_shared<LoggedProgress>(log),
                      .launchProgress = [&](const auto& progress) { log("launch " + launchText(progress)); },
                      .cancellation = cancellation});
    if (result.outcome != InstallResult::Outcome::handedOver) return false;
    log("staged " + result.stagedBundle.string());
    log("launched");
    return true;
  } catch (const OrvoUpdateInstallerError& error) {
    log("failed " + std::string(error.caseName()) + ": " + installerErrorText(error));
  } catch (const std::exception& error) {
    log(std::string("failed ") + error.what());
  }
  return false;
}

}  // namespace pellam
