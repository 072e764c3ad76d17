#include "pellam/standard_updater.h"

#include <random>
#include <utility>

#include "host/standard_updater_core.h"
#include "host/system_host.h"
#include "platform/child_process.h"
#include "platform/framework_memory.h"
#include "platform/user_languages.h"

namespace pellam {

OrvoStandardUpdater::OrvoStandardUpdater(std::unique_ptr<StandardUpdaterCore> core)
    : core_(std::move(core)) {}

OrvoStandardUpdater::~OrvoStandardUpdater() = default;

void OrvoStandardUpdater::start() { core_->start(); }

void OrvoStandardUpdater::checkForUpdates() { core_->checkForUpdates(); }

void OrvoStandardUpdater::cancelInstallation() { core_->cancelInstallation(); }

bool OrvoStandardUpdater::isInstalling() const { return core_->isInstalling(); }

std::unique_ptr<OrvoStandardUpdater> makeStandardUpdater(OrvoStandardUpdaterConfiguration configuration,
                                                         OrvoStandardUpdaterSurroundings surroundings) {
  const std::shared_ptr<WindowToolkit> toolkit =
      makeSystemWindowToolkit(*makeSystemBundleLoader(makeSystemFileSystem()),
                              makeSystemChildProcessRunner(surroundings.bundle / "Contents/MacOS"));
  const std::shared_ptr<ServicedMainThread> mainThread = ServicedMainThread::make(makeSystemMainThread());
  const SystemHost host = makeSystemHost(surroundings.bundle, std::nullopt, mainThread);
  if (configuration.currentOSVersion.empty()) {
    configuration.currentOSVersion = host.process->operatingSystemVersion().text();
  }
  if (!configuration.preferredLanguageCode) configuration.preferredLanguageCode = preferredUserLanguage();

  StandardUpdaterCollaborators collaborators;
  collaborators.application = host.application;
  collaborators.mainThread = mainThread;
  collaborators.toolkit = toolkit;
  collaborators.bundles = host.bundles;
  collaborators.workspace = makeSystemWorkspace(host.fileSystem, host.bundles);
  collaborators.settings = surroundings.settings ? surroundings.settings : host.settings;
  collaborators.network = host.network;
  collaborators.coordinator = host.coordinator;
  collaborators.reports = host.reports;
  collaborators.identifiers = host.identifiers;
  collaborators.clock = host.clock;
  collaborators.sleep = systemSleep;
  collaborators.frameworkMemoryScope = makeSystemFrameworkMemoryScope();
  collaborators.random = [] {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32U) | device();
  };
  collaborators.logger = surroundings.logger ? surroundings.logger : std::make_shared<PellamNoopLogger>();
  collaborators.terminate = std::move(surroundings.terminate);
  return std::make_unique<OrvoStandardUpdater>(
      std::make_unique<StandardUpdaterCore>(std::move(configuration), std::move(collaborators)));
}

}  // namespace pellam
