#include "platform/authorization.h"

#import <Security/Security.h>

#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

// The opaque reference of the seam is the platform's own.
AuthorizationRef platformReference(AuthorizationReference reference) {
  return reinterpret_cast<AuthorizationRef>(reference);
}

class OrvoAppBundleSystemSecurityAuthorizationClient final : public OrvoAppBundleSecurityAuthorizationClient {
 public:
  std::int32_t authorizationCreate(std::uint32_t flags, AuthorizationReference& reference) override {
    AuthorizationRef created = nullptr;
    const OSStatus status = AuthorizationCreate(nullptr, kAuthorizationEmptyEnvironment, flags, &created);
    reference =
        status == errAuthorizationSuccess
            ? reinterpret_cast<AuthorizationReference>(const_cast<struct AuthorizationOpaqueRef*>(created))
            : nullptr;
    return status;
  }

  std::int32_t authorizationCopyRights(AuthorizationReference reference,
                                       const std::vector<std::string>& rightNames, std::uint32_t flags,
                                       const CancellationToken&) override {
    std::vector<AuthorizationItem> items;
    for (const std::string& name : rightNames) items.push_back({name.c_str(), 0, nullptr, 0});
    const AuthorizationRights rights = {static_cast<UInt32>(items.size()), items.data()};
    return AuthorizationCopyRights(platformReference(reference), &rights, kAuthorizationEmptyEnvironment,
                                   flags, nullptr);
  }

  std::int32_t authorizationRightSet(AuthorizationReference reference, const std::string& rightName,
                                     const std::string& ruleDefinition,
                                     const std::string& descriptionKey) override {
    return AuthorizationRightSet(platformReference(reference), rightName.c_str(),
                                 (__bridge CFTypeRef)macos::stringFrom(ruleDefinition),
                                 (__bridge CFStringRef)macos::stringFrom(descriptionKey), nullptr, nullptr);
  }

  std::int32_t authorizationFree(AuthorizationReference reference, std::uint32_t flags) override {
    return AuthorizationFree(platformReference(reference), flags);
  }
};

}  // namespace

std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> makeSystemSecurityAuthorizationClient() {
  return std::make_shared<OrvoAppBundleSystemSecurityAuthorizationClient>();
}

}  // namespace pellam
