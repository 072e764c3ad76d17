#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/authorization.h"

namespace pellam {

// The right that the job manager asks for before it changes the system's jobs.
inline constexpr const char* serviceManagementRightName = "com.apple.ServiceManagement.daemons.modify";

// Sole owner of an authorization: frees it when it goes away.
class OrvoAppBundleLaunchdAuthorization {
 public:
  using Free = std::function<void(AuthorizationReference)>;

  explicit OrvoAppBundleLaunchdAuthorization(AuthorizationReference reference = nullptr, Free free = nullptr)
      : authorizationRef_(reference), freeAuthorization_(std::move(free)) {}
  ~OrvoAppBundleLaunchdAuthorization() {
    if (authorizationRef_ != nullptr && freeAuthorization_) freeAuthorization_(authorizationRef_);
  }
  OrvoAppBundleLaunchdAuthorization(const OrvoAppBundleLaunchdAuthorization&) = delete;
  OrvoAppBundleLaunchdAuthorization& operator=(const OrvoAppBundleLaunchdAuthorization&) = delete;

  // Null when there is none.
  [[nodiscard]] AuthorizationReference authorizationRef() const { return authorizationRef_; }

 private:
  AuthorizationReference authorizationRef_;
  Free freeAuthorization_;
};

// The question to the administrator.
struct AdministratorQuestion {
  std::string customRightName;
  std::string serviceManagementRightName;
  std::string prompt;                          // what the user reads
  std::function<void()> interactionWillBegin;  // may throw, and then nobody is asked
  std::function<void()> interactionDidEnd;     // after the question, however it was answered
  CancellationToken cancellation{};            // ends the question
};

// Gets the rights for changing jobs. Every refusal is an OrvoUpdateInstallerError: authorizationCancelled
// when the user ended the dialog, else authorizationDenied with the platform's status. Nothing is retried.
class OrvoAppBundleLaunchdAuthorizationProviding {
 public:
  virtual ~OrvoAppBundleLaunchdAuthorizationProviding() = default;

  [[nodiscard]] virtual std::unique_ptr<OrvoAppBundleLaunchdAuthorization> makeAuthorization() = 0;

  // Blocks for as long as the user is asked.
  virtual void requestAdministratorRights(OrvoAppBundleLaunchdAuthorization& authorization,
                                          const AdministratorQuestion& question) = 0;

  virtual void requestServiceManagementRightsWithoutInteraction(
      OrvoAppBundleLaunchdAuthorization& authorization, const std::string& serviceManagementRight) = 0;
};

class OrvoAppBundleSecurityAuthorizationProvider final : public OrvoAppBundleLaunchdAuthorizationProviding {
 public:
  explicit OrvoAppBundleSecurityAuthorizationProvider(
      std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> securityClient)
      : securityClient_(std::move(securityClient)) {}

  [[nodiscard]] std::unique_ptr<OrvoAppBundleLaunchdAuthorization> makeAuthorization() override;
  void requestAdministratorRights(OrvoAppBundleLaunchdAuthorization& authorization,
                                  const AdministratorQuestion& question) override;
  void requestServiceManagementRightsWithoutInteraction(OrvoAppBundleLaunchdAuthorization& authorization,
                                                        const std::string& serviceManagementRight) override;

 private:
  std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> securityClient_;
};

}  // namespace pellam
