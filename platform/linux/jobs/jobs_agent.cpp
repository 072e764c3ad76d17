#include "platform/linux/jobs/jobs_agent.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <vector>

#include "foundation/decimal.h"
#include "platform/linux/jobs/cancellation_event.h"
#include "platform/linux/jobs/job_process.h"
#include "platform/linux/jobs/privileged_program.h"
#include "platform/linux/jobs/systemd_jobs.h"
#include "platform/linux/system/spawn_settings.h"
#include "platform/security_status.h"

namespace pellam {

namespace {

using namespace jobs_agent;

constexpr const char* elevator = "/usr/bin/pkexec";
constexpr std::chrono::seconds readyLimit{5};
constexpr std::chrono::seconds removalLimit{30};
constexpr std::chrono::seconds submissionLimit{5};
constexpr std::chrono::seconds endLimit{1};

bool canBeElevated() { return ::access(elevator, X_OK) == 0; }

// Both ends above the standard streams, whose numbers are taken over in children.
std::pair<FileDescriptor, FileDescriptor> connectedSockets() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw jobError(errno, "socketpair");
  }
  const FileDescriptor first(ends[0]);
  const FileDescriptor second(ends[1]);
  constexpr int lowest = 3;
  FileDescriptor ours(::fcntl(first.get(), F_DUPFD_CLOEXEC, lowest));
  FileDescriptor theirs(::fcntl(second.get(), F_DUPFD_CLOEXEC, lowest));
  if (!ours.isOpen() || !theirs.isOpen()) throw jobError(errno, "socketpair");
  return {std::move(ours), std::move(theirs)};
}

// A name that no other agent has while this one runs.
std::string unitNameFor(int socket) {
  struct stat status {};
  if (::fstat(socket, &status) != 0) throw jobError(errno, "socket");
  return SystemdJobs::unitName("system-jobs." + std::to_string(status.st_ino));
}

// What the manager's answer means as a security status; nothing when it is not about rights. The manager does
// not say whether its question was denied or dismissed.
std::optional<std::int32_t> refusalOf(const PlatformError& error) {
  const std::string domain = error.bridged().domain;
  if (domain == "org.freedesktop.DBus.Error.AccessDenied") return security_status::denied;
  if (domain == "org.freedesktop.DBus.Error.InteractiveAuthorizationRequired") {
    return security_status::interactionNotAllowed;
  }
  return std::nullopt;
}

[[noreturn]] void refuseElevation(int status) {
  constexpr int dismissed = 126;
  constexpr int denied = 127;
  if (WIFEXITED(status) && WEXITSTATUS(status) == dismissed) {
    throw AdministratorRefusal(security_status::canceled);
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) != denied) {
    throw jobError(EIO, "the program for jobs of the system has ended");
  }
  throw AdministratorRefusal(security_status::denied);
}

pid_t spawnElevator(const std::filesystem::path& program, int input) {
  std::vector<std::string> arguments = {elevator, "--disable-internal-agent", program.string(),
                                        agentArgument};
  std::vector<std::string> environment = sessionEnvironment(std::nullopt);
  const auto pointers = [](std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  };
  SpawnSettings settings(SpawnSettings::Place::session);
  posix_spawn_file_actions_adddup2(&settings.actions, input, STDIN_FILENO);
  posix_spawn_file_actions_addclosefrom_np(&settings.actions, 3);
  pid_t process = 0;
  const int error = posix_spawn(&process, elevator, &settings.actions, &settings.attributes,
                                pointers(arguments).data(), pointers(environment).data());
  if (error != 0) throw jobError(error, elevator);
  return process;
}

}  // namespace

void JobsAgent::requireStartable(const std::filesystem::path& program) {
  (void)requirePrivilegedProgram(program);
  if (!canBeElevated() && !SystemdJobs::connect(SystemdJobs::Manager::system))
    throw jobError(ENOENT, elevator);
}

std::unique_ptr<JobsAgent> JobsAgent::start(const std::filesystem::path& program, bool managerIsGranted,
                                            const CancellationToken& cancellation) {
  const std::filesystem::path trusted = requirePrivilegedProgram(program);
  // The socket is for this process alone: other processes of its user must not reach into it.
  if (::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) throw jobError(errno, "prctl");
  auto [ours, theirs] = connectedSockets();
  std::unique_ptr<JobsAgent> agent(new JobsAgent(std::move(ours)));
  if (!managerIsGranted || !agent->startAsUnit(trusted, theirs.get(), std::nullopt)) {
    if (canBeElevated() || !agent->startAsUnit(trusted, theirs.get(), cancellation)) {
      agent->startElevated(trusted, theirs.get(), cancellation);
    }
  }
  theirs.reset();  // so that the agent's end is noticed
  const std::optional<Texts> greeting = receive(agent->socket_.get(), readyLimit);
  if (greeting != Texts{ready}) throw jobError(EIO, "the program for jobs of the system does not answer");
  return agent;
}

// False where there is no manager, and where it would have to ask and may not.
bool JobsAgent::startAsUnit(const std::filesystem::path& program, int input,
                            const std::optional<CancellationToken>& question) {
  auto manager = SystemdJobs::connect(SystemdJobs::Manager::system);
  if (!manager) return false;
  try {
    manager->submitWithInput(unitNameFor(input),
                             {"jobs of an ordinary user's update", {program.string(), agentArgument}, 0},
                             input, question);
    return true;
  } catch (const PlatformError& error) {
    const std::optional<std::int32_t> status = refusalOf(error);
    if (!status) throw;
    if (question) throw AdministratorRefusal(*status);
    return false;
  }
}

void JobsAgent::startElevated(const std::filesystem::path& program, int input,
                              const CancellationToken& cancellation) {
  const CancellationEvent cancelled(cancellation);
  child_ = spawnElevator(program, input);
  const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child_, 0)));
  if (!process.isOpen()) throw jobError(errno, elevator);
  // The elevator becomes the agent when it is allowed to, and ends otherwise.
  for (;;) {
    std::array<pollfd, 3> events = {
        {{socket_.get(), POLLIN, 0}, {process.get(), POLLIN, 0}, {cancelled.descriptor(), POLLIN, 0}}};
    if (::poll(events.data(), events.size(), -1) < 0 && errno != EINTR) throw jobError(errno, elevator);
    cancellation.throwIfCancelled();
    if (events[0].revents != 0) return;
    if (events[1].revents == 0) continue;
    int status = 0;
    // Without a status nobody can say that it was granted.
    const bool isKnown = ::waitpid(child_, &status, 0) == child_;
    child_ = 0;
    if (!isKnown) throw AdministratorRefusal(security_status::denied);
    refuseElevation(status);
  }
}

JobsAgent::~JobsAgent() {
  socket_.reset();
  if (child_ == 0) return;
  // While an administrator is asked it is this user's process, and can be ended; afterwards it ends by
  // itself, because its socket has.
  ::kill(child_, SIGKILL);
  pollfd ended{static_cast<int>(::syscall(SYS_pidfd_open, child_, 0)), POLLIN, 0};
  const FileDescriptor process(ended.fd);
  (void)::poll(&ended, 1, static_cast<int>(std::chrono::milliseconds(endLimit).count()));
  // One that takes longer is left to the system when this process ends.
  ::waitpid(child_, nullptr, WNOHANG);
}

JobControlOutcome JobsAgent::ask(const Texts& request, std::chrono::milliseconds limit) {
  if (!send(socket_.get(), request)) {
    return {false, jobError(EPIPE, "the program for jobs of the system").bridged()};
  }
  const std::optional<Texts> reply = receive(socket_.get(), limit);
  if (reply == Texts{done}) return {true, std::nullopt};
  if (reply && reply->size() == 4 && reply->front() == failed) {
    return {false,
            BridgedError{(*reply)[1], parseDecimal<std::int64_t>((*reply)[2]).value_or(0), (*reply)[3]}};
  }
  // What it may still be doing comes to nothing, because nobody will say "keep".
  socket_.reset();
  return {false, jobError(ETIMEDOUT, "the program for jobs of the system").bridged()};
}

JobControlOutcome JobsAgent::remove(const std::string& label, JobRemoval removal) {
  return ask({jobs_agent::remove, label, removal == JobRemoval::waitsForTheEnd ? waiting : atOnce},
             removalLimit);
}

JobControlOutcome JobsAgent::submit(const JobDescription& job) {
  Texts request = {jobs_agent::submit, job.label, std::to_string(job.nice)};
  request.insert(request.end(), job.arguments.begin(), job.arguments.end());
  JobControlOutcome outcome = ask(request, submissionLimit);
  if (outcome.succeeded && !send(socket_.get(), {keep})) {
    return {false, jobError(EPIPE, "the program for jobs of the system").bridged()};
  }
  return outcome;
}

}  // namespace pellam
