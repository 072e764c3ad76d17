#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "foundation/decimal.h"
#include "platform/job_control.h"
#include "platform/linux/jobs/job_description.h"
#include "platform/linux/jobs/jobs_agent_messages.h"
#include "platform/linux/jobs/privileged_program.h"

namespace pellam {

namespace {

using namespace jobs_agent;

bool isMessageSocket(int descriptor) {
  int type = 0;
  socklen_t length = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_SEQPACKET;
}

// Carries out what one process asks for. That process is an ordinary user's: of what it says only what an
// administrator's answer covers is done.
class JobsAgentServer {
 public:
  JobsAgentServer(JobControl& control, const JobsAgentScope& scope, int socket)
      : control_(control), scope_(scope), socket_(socket) {}

  void serve() {
    if (!send(socket_, {ready})) return;
    while (const std::optional<Texts> request = receive(socket_)) {
      const JobControlOutcome outcome = carryOut(*request);
      const bool isKept = reply(outcome) && (!isSubmission(*request) || !outcome.succeeded || hearsKeep());
      const bool isSubmitted = isSubmission(*request) && outcome.succeeded;
      if (isKept && !isSubmitted) continue;
      if (!isKept && isSubmitted) (void)remove(request->at(1), JobRemoval::waitsForTheEnd);
      return;
    }
  }

 private:
  static bool isSubmission(const Texts& request) {
    return request.size() > 3 && request.front() == jobs_agent::submit;
  }

  void requireOwnLabel(const std::string& label) const {
    if (!label.ends_with(scope_.labelEnding)) throw jobError(EPERM, "not a job of this program: " + label);
  }

  JobControlOutcome remove(const std::string& label, JobRemoval removal) {
    try {
      requireOwnLabel(label);
    } catch (const std::exception& error) {
      return {false, bridge(error)};
    }
    return control_.remove(JobControlDomain::systemLaunchd, label, nullptr, removal);
  }

  JobControlOutcome carryOut(const Texts& request) {
    if (request.size() == 3 && request.front() == jobs_agent::remove) {
      return remove(request[1], request[2] == waiting ? JobRemoval::waitsForTheEnd : JobRemoval::atOnce);
    }
    if (!isSubmission(request))
      return {false, jobError(EINVAL, "no request for jobs of the system").bridged()};
    try {
      PropertyListArray arguments(request.begin() + 3, request.end());
      // An application is opened as whoever opens it, which nobody may be but its user.
      if (OpenRequest::fromArguments({request.begin() + 3, request.end()})) {
        throw jobError(EPERM, "an application is no job of the system");
      }
      requireOwnLabel(request[1]);
      const std::filesystem::path program = requirePrivilegedProgram(request[3]);
      if (program != requirePrivilegedProgram(scope_.program)) {
        throw jobError(EPERM, "not the program that this one starts: " + program.string());
      }
      arguments.front() = program.string();
      return control_.submit(JobControlDomain::systemLaunchd,
                             {{"Label", request[1]},
                              {"Nice", parseDecimal<std::int64_t>(request[2]).value_or(0)},
                              {"ProgramArguments", std::move(arguments)}},
                             nullptr);
    } catch (const std::exception& error) {
      return {false, bridge(error)};
    }
  }

  bool reply(const JobControlOutcome& outcome) {
    if (outcome.succeeded) return send(socket_, {done});
    const BridgedError error = outcome.error.value_or(BridgedError{});
    return send(socket_, {failed, error.domain, std::to_string(error.code), error.description});
  }

  bool hearsKeep() { return receive(socket_) == Texts{keep}; }

  JobControl& control_;
  const JobsAgentScope& scope_;
  int socket_;
};

}  // namespace

std::optional<int> runAsJobsAgent(int argumentCount, char** arguments, JobControl& control,
                                  const JobsAgentScope& scope) {
  if (argumentCount != 2 || std::strcmp(arguments[1], agentArgument) != 0) return std::nullopt;
  constexpr int usage = 64;
  if (::geteuid() != 0 || !isMessageSocket(STDIN_FILENO)) return usage;
  JobsAgentServer(control, scope, STDIN_FILENO).serve();
  return 0;
}

}  // namespace pellam
