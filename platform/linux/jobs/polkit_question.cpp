#include "platform/linux/jobs/polkit_question.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>

#include "pellam/bridged_error.h"
#include "platform/linux/jobs/bus_call.h"
#include "platform/linux/jobs/job_process.h"

namespace pellam {

namespace {

// The subject is this process, stamped so that no other can take its place.
int append(sd_bus_message* message, const PolkitQuestion& question) {
  const std::optional<ProcessStamp> self = stampOf(::getpid());
  if (!self) return -ESRCH;
  int result =
      sd_bus_message_append(message, "(sa{sv})s", "unix-process", 3, "pid", "u",
                            static_cast<std::uint32_t>(self->identifier), "start-time", "t", self->startTime,
                            "uid", "i", static_cast<std::int32_t>(::getuid()), question.action.c_str());
  if (result >= 0) {
    result = question.prompt.empty()
                 ? sd_bus_message_append(message, "a{ss}", 0)
                 : sd_bus_message_append(message, "a{ss}", 1, "polkit.message", question.prompt.c_str());
  }
  if (result >= 0) result = sd_bus_message_append(message, "us", question.mayInteract ? 1U : 0U, "");
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

}  // namespace

PolkitAnswer askPolkit(sd_bus* bus, const PolkitQuestion& question, const CancellationToken& cancellation) {
  PolkitAnswer failure;
  failure.errorName = SD_BUS_ERROR_FAILED;
  sd_bus_message* made = nullptr;
  if (sd_bus_message_new_method_call(bus, &made, "org.freedesktop.PolicyKit1",
                                     "/org/freedesktop/PolicyKit1/Authority",
                                     "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization") < 0) {
    return failure;
  }
  const BusMessage message(made);
  if (append(made, question) < 0) return failure;
  try {
    const BusMessage answer = callUntilAnswered(
        bus, made, question.mayInteract ? Patience::whileSomebodyIsAsked : Patience::ordinary, cancellation);
    failure.errorName = errorNameOf(answer);
    return failure.errorName.empty() ? readAnswer(answer.get()) : failure;
  } catch (const PlatformError&) {
    return failure;
  }
}

}  // namespace pellam
