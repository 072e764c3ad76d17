#include "host/system_standard_updater.h"

#include <random>
#include <utility>

#include "host/system_host.h"
#include "platform/framework_memory.h"
#include "platform/user_languages.h"

namespace pellam {

std::unique_ptr<OrvoStandardUpdater> makeSystemStandardUpdater(
    const std::filesystem::path& hostBundle, OrvoStandardUpdaterConfiguration configuration,
    std::function<void()> terminate, const std::shared_ptr<PellamLogger>& logger,
    const std::shared_ptr<PellamKeyValueStoring>& settings) {
  const std::shared_ptr<WindowToolkit> toolkit = makeSystemWindowToolkit();
  const std::shared_ptr<ServicedMainThread> mainThread = ServicedMainThread::make(makeSystemMainThread());
  const SystemHost host = makeSystemHost(hostBundle, std::nullopt, mainThread);
  if (configuration.currentOSVersion.empty()) {
    configuration.currentOSVersion = host.process->operatingSystemVersion().text();
  }
  if (!configuration.preferredLanguageCode) configuration.preferredLanguageCode = preferredUserLanguage();

  OrvoStandardUpdaterCollaborators collaborators;
  collaborators.application = host.application;
  collaborators.mainThread = mainThread;
  collaborators.toolkit = toolkit;
  collaborators.bundles = host.bundles;
  collaborators.workspace = makeSystemWorkspace();
  collaborators.settings = settings ? settings : host.settings;
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
  collaborators.logger = logger ? logger : std::make_shared<PellamNoopLogger>();
  collaborators.terminate = std::move(terminate);
  return std::make_unique<OrvoStandardUpdater>(std::move(configuration), std::move(collaborators));
}

}  // namespace pellam
