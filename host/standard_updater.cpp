#include "host/standard_updater.h"

#include "host/standard_updater_session.h"
#include "host/update_worker.h"

namespace pellam {

OrvoStandardUpdater::OrvoStandardUpdater(OrvoStandardUpdaterConfiguration configuration,
                                         OrvoStandardUpdaterCollaborators collaborators)
    : mainThread_(collaborators.mainThread),
      worker_(std::make_shared<UpdateWorker>(collaborators.clock, collaborators.sleep,
                                             collaborators.frameworkMemoryScope)),
      session_(std::make_shared<StandardUpdaterSession>(std::move(configuration), std::move(collaborators),
                                                        worker_)) {}

// The worker may be waiting for the main thread, which is here: so its work is done here until it has ended.
OrvoStandardUpdater::~OrvoStandardUpdater() {
  session_->end();
  worker_->requestEnd([mainThread = mainThread_] { mainThread->perform([] {}); });
  mainThread_->serviceUntil([this] { return worker_->hasEnded(); });
  session_->closeProgressWindow();
}

void OrvoStandardUpdater::start() { session_->start(); }

void OrvoStandardUpdater::checkForUpdates() { session_->checkForUpdates(); }

void OrvoStandardUpdater::cancelInstallation() { session_->cancelInstallation(); }

bool OrvoStandardUpdater::isInstalling() const { return session_->isInstalling(); }

}  // namespace pellam
