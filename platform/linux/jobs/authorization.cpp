#include "platform/authorization.h"

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/linux/jobs/platform_authorization.h"
#include "platform/linux/jobs/polkit_question.h"
#include "platform/security_status.h"

namespace pellam {

namespace {

constexpr const char* serviceManagementRight = "com.apple.ServiceManagement.daemons.modify";
constexpr const char* manageUnitsAction = "org.freedesktop.systemd1.manage-units";
// For applications that bring no action of their own.
constexpr const char* sharedAction = "org.pellam.update.install";

struct BusDeleter {
  // Closed at once: an open question ends with the bus.
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusDeleter>;

std::string actionForRight(const std::string& right) {
  std::string action = right;
  for (char& byte : action) {
    const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                         (byte >= '0' && byte <= '9') || byte == '.' || byte == '-';
    if (!isPlain) byte = '-';
  }
  return action;
}

class PolkitAuthorizationClient final : public OrvoAppBundleSecurityAuthorizationClient {
 public:
  explicit PolkitAuthorizationClient(std::filesystem::path agentProgram)
      : agentProgram_(std::move(agentProgram)) {}

  std::int32_t authorizationCreate(std::uint32_t, AuthorizationReference& reference) override {
    reference = new PlatformAuthorization();
    return security_status::success;
  }

  std::int32_t authorizationFree(AuthorizationReference reference, std::uint32_t) override {
    delete reference;
    return security_status::success;
  }

  std::int32_t authorizationRightSet(AuthorizationReference reference, const std::string& rightName,
                                     const std::string& /*ruleDefinition*/,
                                     const std::string& descriptionKey) override {
    if (reference == nullptr) return security_status::invalidReference;
    // The rule itself is in the action's policy file, which only root can install.
    reference->prompts[rightName] = descriptionKey;
    return security_status::success;
  }

  std::int32_t authorizationCopyRights(AuthorizationReference reference,
                                       const std::vector<std::string>& rightNames, std::uint32_t flags,
                                       const CancellationToken& cancellation) override {
    if (reference == nullptr) return security_status::invalidReference;
    if (::geteuid() == 0) return security_status::success;
    sd_bus* opened = nullptr;
    if (sd_bus_open_system(&opened) < 0) return security_status::denied;
    const Bus bus(opened);
    const bool mayInteract = (flags & authorization_flags::interactionAllowed) != 0;
    const bool wantsJobs =
        std::find(rightNames.begin(), rightNames.end(), serviceManagementRight) != rightNames.end();
    try {
      // Nobody is asked for what cannot be used.
      if (mayInteract && wantsJobs) JobsAgent::requireStartable(agentProgram_);
      for (const std::string& right : rightNames) {
        if (mayInteract && right == serviceManagementRight) {
          const bool isGranted =
              askPolkit(bus.get(), {manageUnitsAction, "", false}, cancellation).isAuthorized;
          reference->agent = JobsAgent::start(agentProgram_, isGranted, cancellation);
          continue;
        }
        const std::int32_t status = statusOfRight(bus.get(), *reference, right, mayInteract, cancellation);
        if (status != security_status::success) return status;
      }
      return security_status::success;
    } catch (const AdministratorRefusal& refusal) {
      return refusal.status();
    } catch (const OperationCancelled&) {
      return security_status::canceled;
    } catch (const std::exception& error) {
      // No refusal: whoever uses the right hears what is wrong.
      reference->failure = bridge(error);
      return security_status::success;
    }
  }

 private:
  static std::int32_t statusOfRight(sd_bus* bus, const PlatformAuthorization& authorization,
                                    const std::string& right, bool mayInteract,
                                    const CancellationToken& cancellation) {
    const auto found = authorization.prompts.find(right);
    const std::string prompt = found == authorization.prompts.end() ? std::string() : found->second;
    const std::string own = right == serviceManagementRight ? manageUnitsAction : actionForRight(right);
    PolkitAnswer answer;
    for (const std::string& action : {own, std::string(sharedAction)}) {
      answer = askPolkit(bus, {action, prompt, mayInteract}, cancellation);
      // Only an action's owner may put its own words to the user; others get the words of the policy file.
      if (answer.isRefusedToCaller()) answer = askPolkit(bus, {action, "", mayInteract}, cancellation);
      if (!answer.isUnknownAction()) break;
    }
    return answer.status();
  }

  std::filesystem::path agentProgram_;
};

}  // namespace

std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> makeSecurityAuthorizationClient(
    std::filesystem::path agentProgram) {
  return std::make_shared<PolkitAuthorizationClient>(std::move(agentProgram));
}

std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> makeSystemSecurityAuthorizationClient() {
  std::error_code ignored;
  return makeSecurityAuthorizationClient(std::filesystem::read_symlink("/proc/self/exe", ignored));
}

}  // namespace pellam
