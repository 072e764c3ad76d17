#include "jobs/authorization_provider.h"

#include "pellam/installer_error.h"
#include "platform/security_status.h"

namespace pellam {

namespace {

void throwUnlessSuccess(std::int32_t status) {
  if (status == security_status::canceled) throw OrvoUpdateInstallerError::authorizationCancelled(status);
  if (status != security_status::success) throw OrvoUpdateInstallerError::authorizationDenied(status);
}

AuthorizationReference requiredReference(const OrvoAppBundleLaunchdAuthorization& authorization) {
  if (authorization.authorizationRef() == nullptr) {
    throw OrvoUpdateInstallerError::authorizationDenied(security_status::invalidReference);
  }
  return authorization.authorizationRef();
}

}  // namespace

std::unique_ptr<OrvoAppBundleLaunchdAuthorization>
OrvoAppBundleSecurityAuthorizationProvider::makeAuthorization() {
  AuthorizationReference reference = nullptr;
  throwUnlessSuccess(securityClient_->authorizationCreate(authorization_flags::defaults, reference));
  if (reference == nullptr) throw OrvoUpdateInstallerError::authorizationDenied(security_status::success);
  return std::make_unique<OrvoAppBundleLaunchdAuthorization>(
      reference, [client = securityClient_](AuthorizationReference freed) {
        (void)client->authorizationFree(freed, authorization_flags::defaults);
      });
}

void OrvoAppBundleSecurityAuthorizationProvider::requestAdministratorRights(
    OrvoAppBundleLaunchdAuthorization& authorization, const AdministratorQuestion& question) {
  const AuthorizationReference reference = requiredReference(authorization);
  throwUnlessSuccess(securityClient_->authorizationRightSet(reference, question.customRightName,
                                                            "authenticate-admin", question.prompt));
  question.interactionWillBegin();
  const std::int32_t status = securityClient_->authorizationCopyRights(
      reference, {question.customRightName, question.serviceManagementRightName},
      authorization_flags::interactionAllowed | authorization_flags::extendRights, question.cancellation);
  question.interactionDidEnd();
  throwUnlessSuccess(status);
}

void OrvoAppBundleSecurityAuthorizationProvider::requestServiceManagementRightsWithoutInteraction(
    OrvoAppBundleLaunchdAuthorization& authorization, const std::string& serviceManagementRight) {
  throwUnlessSuccess(securityClient_->authorizationCopyRights(
      requiredReference(authorization), {serviceManagementRight}, authorization_flags::extendRights, {}));
}

}  // namespace pellam
