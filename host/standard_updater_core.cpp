#include "host/standard_updater_core.h"

#include "host/standard_updater_session.h"
#include "host/update_worker.h"

namespace pellam {

StandardUpdaterCore::StandardUpdaterCore(OrvoStandardUpdaterConfiguration configuration,
                                         StandardUpdaterCollaborators collaborators)
    : mainThread_(collaborators.mainThread),
      worker_(std::make_shared<UpdateWorker>(collaborators.clock, collaborators.sleep,
                                             collaborators.frameworkMemoryScope)),
      session_(std::make_shared<StandardUpdaterSession>(std::move(configuration), std::move(collaborators),
                                                        worker_)) {}

// The worker may be waiting for the main thread, which is here: so its work is done here until it has ended.
StandardUpdaterCore::~StandardUpdaterCore() {
  session_->end();
  worker_->requestEnd([mainThread = mainThread_] { mainThread->perform([] {}); });
  mainThread_->serviceUntil([this] { return worker_->hasEnded(); });
  session_->closeProgressWindow();
}

void StandardUpdaterCore::start() { session_->start(); }

void StandardUpdaterCore::checkForUpdates() { session_->checkForUpdates(); }

void StandardUpdaterCore::cancelInstallation() { session_->cancelInstallation(); }

bool StandardUpdaterCore::isInstalling() const { return session_->isInstalling(); }

}  // namespace pellam
