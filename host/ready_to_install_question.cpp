#include "host/ready_to_install_question.h"

#include <exception>
#include <future>
#include <string>

#include "host/ready_install_confirmation.h"

namespace pellam {

void ReadyToInstallQuestion::ask(const ProgressDisplay::Window& window,
                                 const CancellationToken& cancellation) const {
  if (!window) return;
  const auto confirmation = std::make_shared<OrvoUpdateReadyInstallConfirmation>();
  const CancellationRegistration registration = cancellation.onCancel(
      [confirmation] { confirmation->resolve(std::make_exception_ptr(OperationCancelled())); });

  const auto promise = std::make_shared<std::promise<void>>();
  confirmation->setContinuation([promise](const std::exception_ptr& result) {
    if (result) {
      promise->set_exception(result);
    } else {
      promise->set_value();
    }
  });
  const std::string title = display_.localized(localized_texts::readyToInstall);
  const std::string buttonTitle = display_.localized(localized_texts::installAndRelaunch);
  display_.mainThread()->perform([confirmation, window, title, buttonTitle] {
    if (confirmation->isResolved()) return;
    window->showReadyToInstallAndRelaunch(title, buttonTitle,
                                          [confirmation] { confirmation->resolve(nullptr); });
    window->requestUserAttention();
  });
  promise->get_future().get();
}

}  // namespace pellam
