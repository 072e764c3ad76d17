#include "platform/authorization.h"

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <memory>
#include <optional>

#include "platform/linux/jobs/job_process.h"
#include "platform/linux/jobs/polkit_answer.h"
#include "platform/security_status.h"

namespace pellam {

// What was told about each right, for the question to the user.
struct PlatformAuthorization {
  std::map<std::string, std::string> prompts;
};

namespace {

constexpr const char* serviceManagementRight = "com.apple.ServiceManagement.daemons.modify";
constexpr const char* manageUnitsAction = "org.freedesktop.systemd1.manage-units";
// For applications that bring no action of their own.
constexpr const char* sharedAction = "org.pellam.update.install";

struct BusDeleter {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
struct MessageDeleter {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, BusDeleter>;
using Message = std::unique_ptr<sd_bus_message, MessageDeleter>;

std::string actionForRight(const std::string& right) {
  std::string action = right;
  for (char& byte : action) {
    const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                         (byte >= '0' && byte <= '9') || byte == '.' || byte == '-';
    if (!isPlain) byte = '-';
  }
  return action;
}

// The subject is this process, stamped so that no other can take its place.
int appendQuestion(sd_bus_message* message, const std::string& action, const std::string& prompt,
                   bool mayInteract) {
  const std::optional<ProcessStamp> self = stampOf(::getpid());
  if (!self) return -ESRCH;
  int result = sd_bus_message_append(
      message, "(sa{sv})s", "unix-process", 3, "pid", "u", static_cast<std::uint32_t>(self->identifier),
      "start-time", "t", self->startTime, "uid", "i", static_cast<std::int32_t>(::getuid()), action.c_str());
  if (result >= 0) {
    result = prompt.empty() ? sd_bus_message_append(message, "a{ss}", 0)
                            : sd_bus_message_append(message, "a{ss}", 1, "polkit.message", prompt.c_str());
  }
  if (result >= 0) result = sd_bus_message_append(message, "us", mayInteract ? 1U : 0U, "");
  return result;
}

PolkitAnswer readAnswer(sd_bus_message* reply) {
  PolkitAnswer answer;
  int isAuthorized = 0;
  int isChallenge = 0;
  if (sd_bus_message_enter_container(reply, 'r', "bba{ss}") < 0 ||
      sd_bus_message_read(reply, "bb", &isAuthorized, &isChallenge) < 0 ||
      sd_bus_message_enter_container(reply, 'a', "{ss}") < 0) {
    return answer;
  }
  answer.isAuthorized = isAuthorized != 0;
  answer.isChallenge = isChallenge != 0;
  const char* key = nullptr;
  const char* value = nullptr;
  while (sd_bus_message_read(reply, "{ss}", &key, &value) > 0) {
    if (std::string(key) == "polkit.dismissed") answer.isDismissed = true;
  }
  return answer;
}

// The answer to one question; an answer with an error name when there is none.
PolkitAnswer ask(sd_bus* bus, const std::string& action, const std::string& prompt, bool mayInteract) {
  constexpr const char* service = "org.freedesktop.PolicyKit1";
  PolkitAnswer failure;
  failure.errorName = SD_BUS_ERROR_FAILED;
  sd_bus_message* made = nullptr;
  if (sd_bus_message_new_method_call(bus, &made, service, "/org/freedesktop/PolicyKit1/Authority",
                                     "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization") < 0) {
    return failure;
  }
  const Message message(made);
  if (appendQuestion(made, action, prompt, mayInteract) < 0) return failure;
  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  // The user takes the time that the user takes.
  const int result = sd_bus_call(bus, made, mayInteract ? UINT64_MAX : 0, &error, &answer);
  const Message reply(answer);
  if (result >= 0) return readAnswer(answer);
  if (error.name != nullptr) failure.errorName = error.name;
  sd_bus_error_free(&error);
  return failure;
}

class PolkitAuthorizationClient final : public OrvoAppBundleSecurityAuthorizationClient {
 public:
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
                                       const std::vector<std::string>& rightNames,
                                       std::uint32_t flags) override {
    if (reference == nullptr) return security_status::invalidReference;
    if (::geteuid() == 0) return security_status::success;
    sd_bus* opened = nullptr;
    if (sd_bus_open_system(&opened) < 0) return security_status::denied;
    const Bus bus(opened);
    const bool mayInteract = (flags & authorization_flags::interactionAllowed) != 0;
    for (const std::string& right : rightNames) {
      // The job manager itself enforces its right when the job is submitted; asking for it here as well would
      // show a second dialog.
      if (right == serviceManagementRight && rightNames.size() > 1) continue;
      const std::int32_t status = statusOfRight(bus.get(), *reference, right, mayInteract);
      if (status != security_status::success) return status;
    }
    return security_status::success;
  }

 private:
  static std::int32_t statusOfRight(sd_bus* bus, const PlatformAuthorization& authorization,
                                    const std::string& right, bool mayInteract) {
    const auto found = authorization.prompts.find(right);
    const std::string prompt = found == authorization.prompts.end() ? std::string() : found->second;
    const std::string own = right == serviceManagementRight ? manageUnitsAction : actionForRight(right);
    PolkitAnswer answer;
    for (const std::string& action : {own, std::string(sharedAction)}) {
      answer = ask(bus, action, prompt, mayInteract);
      // Only an action's owner may put its own words to the user; others get the words of the policy file.
      if (answer.isRefusedToCaller()) answer = ask(bus, action, "", mayInteract);
      if (!answer.isUnknownAction()) break;
    }
    return answer.status();
  }
};

}  // namespace

std::shared_ptr<OrvoAppBundleSecurityAuthorizationClient> makeSystemSecurityAuthorizationClient() {
  return std::make_shared<PolkitAuthorizationClient>();
}

}  // namespace pellam
