#include "platform/linux/jobs/systemd_jobs.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <map>

namespace pellam {

namespace {

constexpr const char* destination = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";
constexpr const char* jobManager = "the job manager";
// A host gives up five seconds after its service would have.
constexpr std::chrono::seconds startLimit{4};
constexpr std::chrono::seconds stopLimit{20};
constexpr std::uint64_t callLimitMicroseconds = 25'000'000;

struct BusError {
  BusError() = default;
  ~BusError() { sd_bus_error_free(&value); }
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;
  sd_bus_error value{};
};

void check(int result, const char* what) {
  if (result < 0) throw jobError(-result, what);
}

BusMessage methodCall(sd_bus* bus, const char* method) {
  sd_bus_message* message = nullptr;
  check(sd_bus_message_new_method_call(bus, &message, destination, managerPath, managerInterface, method),
        method);
  return BusMessage(message);
}

// A failed unit keeps its name, and so does one that has ended, for as long as something that it has started
// lives.
bool isRunning(const std::string& state) {
  return !state.empty() && state != "inactive" && state != "failed";
}

int noteRemovedJob(sd_bus_message* message, void* userData, sd_bus_error*) {
  const char* path = nullptr;
  const char* result = nullptr;
  if (sd_bus_message_read(message, "uoss", nullptr, &path, nullptr, &result) >= 0) {
    (*static_cast<std::map<std::string, std::string>*>(userData))[path] = result;
  }
  return 0;
}

void appendTexts(sd_bus_message* message, const char* property, const std::vector<std::string>& texts) {
  check(sd_bus_message_open_container(message, 'r', "sv"), property);
  check(sd_bus_message_append(message, "s", property), property);
  check(sd_bus_message_open_container(message, 'v', "as"), property);
  check(sd_bus_message_open_container(message, 'a', "s"), property);
  for (const std::string& text : texts) check(sd_bus_message_append(message, "s", text.c_str()), property);
  for (int depth = 0; depth < 3; ++depth) check(sd_bus_message_close_container(message), property);
}

// As "ExecStartEx", because arguments must not have "$NAME" replaced in them.
void appendProgram(sd_bus_message* message, const std::vector<std::string>& arguments) {
  constexpr const char* what = "ExecStartEx";
  const auto open = [message](char type, const char* contents) {
    check(sd_bus_message_open_container(message, type, contents), what);
  };
  const auto close = [message] { check(sd_bus_message_close_container(message), what); };
  open('r', "sv");
  check(sd_bus_message_append(message, "s", what), what);
  open('v', "a(sasas)");
  open('a', "(sasas)");
  open('r', "sasas");
  check(sd_bus_message_append(message, "s", arguments.front().c_str()), what);
  open('a', "s");
  for (const std::string& text : arguments) check(sd_bus_message_append(message, "s", text.c_str()), what);
  close();
  check(sd_bus_message_append(message, "as", 1, "no-env-expand"), what);
  for (int depth = 0; depth < 4; ++depth) close();
}

[[noreturn]] void fail(int result, const sd_bus_error* error) {
  if (sd_bus_error_is_set(error) == 0) throw jobError(-result, "the job manager does not answer");
  throw PlatformError(
      {error->name, sd_bus_error_get_errno(error), error->message == nullptr ? error->name : error->message});
}

[[noreturn]] void fail(int result, const BusError& error) { fail(result, &error.value); }

}  // namespace

std::optional<SystemdJobs> SystemdJobs::connect(Manager manager) {
  if (::access("/run/systemd/system", F_OK) != 0) return std::nullopt;
  sd_bus* bus = nullptr;
  const int result = manager == Manager::user ? sd_bus_open_user(&bus) : sd_bus_open_system(&bus);
  if (result < 0) return std::nullopt;
  return SystemdJobs(bus);
}

std::optional<SystemdJobs> SystemdJobs::connectTo(const std::string& busAddress) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return std::nullopt;
  SystemdJobs jobs(bus);
  if (sd_bus_set_address(bus, busAddress.c_str()) < 0 || sd_bus_set_bus_client(bus, 1) < 0 ||
      sd_bus_start(bus) < 0) {
    return std::nullopt;
  }
  return jobs;
}

std::string SystemdJobs::unitName(const std::string& label) {
  return "pellam-" + encodedLabel(label, "\\x") + ".service";
}

std::string SystemdJobs::runManagerJob(sd_bus_message* message, std::chrono::seconds limit,
                                       const std::optional<CancellationToken>& question) {
  // Watching begins before the call: a short job may be over when its answer arrives.
  std::map<std::string, std::string> removed;
  sd_bus_slot* slot = nullptr;
  check(sd_bus_match_signal(bus_.get(), &slot, destination, managerPath, managerInterface, "JobRemoved",
                            noteRemovedJob, &removed),
        "JobRemoved");
  const std::unique_ptr<sd_bus_slot, decltype(&sd_bus_slot_unref)> match(slot, &sd_bus_slot_unref);
  callWithoutAnswer("Subscribe", {});

  const BusMessage reply =
      callUntilAnswered(bus_.get(), message, question ? Patience::whileSomebodyIsAsked : Patience::ordinary,
                        question.value_or(CancellationToken()));
  if (const sd_bus_error* error = sd_bus_message_get_error(reply.get())) fail(-EIO, error);
  const char* path = nullptr;
  check(sd_bus_message_read(reply.get(), "o", &path), "the job manager's answer");

  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    int result = 0;
    while ((result = sd_bus_process(bus_.get(), nullptr)) > 0) {
    }
    check(result, jobManager);
    if (const auto found = removed.find(path); found != removed.end()) return found->second;
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) throw jobError(ETIMEDOUT, jobManager);
    check(sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left.count())), jobManager);
  }
}

void SystemdJobs::callWithoutAnswer(const char* method, const std::vector<std::string>& arguments) {
  const BusMessage message = methodCall(bus_.get(), method);
  for (const std::string& text : arguments)
    check(sd_bus_message_append(message.get(), "s", text.c_str()), method);
  // What these calls prepare or tidy up shows in the calls that follow.
  (void)sd_bus_call(bus_.get(), message.get(), 0, nullptr, nullptr);
}

BusMessage SystemdJobs::startCall(const std::string& unit, const JobDescription& job,
                                  const std::vector<std::string>& environment, std::optional<int> input) {
  constexpr const char* what = "StartTransientUnit";
  BusMessage message = methodCall(bus_.get(), what);
  sd_bus_message* request = message.get();
  check(sd_bus_message_append(request, "ss", unit.c_str(), "fail"), what);
  check(sd_bus_message_open_container(request, 'a', "(sv)"), what);
  check(sd_bus_message_append(request, "(sv)(sv)(sv)(sv)(sv)", "Description", "s", job.label.c_str(), "Type",
                              "s", "exec", "CollectMode", "s", "inactive-or-failed", "KillMode", "s",
                              "process", "Nice", "i", job.nice),
        what);
  if (input) {
    check(sd_bus_message_append(request, "(sv)(sv)", "StandardInputFileDescriptor", "h", *input,
                                "StandardOutput", "s", "null"),
          what);
  }
  appendTexts(request, "Environment", environment);
  appendProgram(request, job.arguments);
  check(sd_bus_message_close_container(request), what);
  check(sd_bus_message_append(request, "a(sa(sv))", 0), what);
  return message;
}

void SystemdJobs::submit(const std::string& unit, const JobDescription& job,
                         const std::vector<std::string>& environment) {
  const std::string name = freeName(unit);
  start(name, job, startCall(name, job, environment, std::nullopt).get(), std::nullopt);
}

void SystemdJobs::submitWithInput(const std::string& unit, const JobDescription& job, int input,
                                  const std::optional<CancellationToken>& question) {
  const BusMessage call = startCall(unit, job, {}, input);
  check(sd_bus_message_set_allow_interactive_authorization(call.get(), question ? 1 : 0),
        "StartTransientUnit");
  start(unit, job, call.get(), question);
}

void SystemdJobs::start(const std::string& unit, const JobDescription& job, sd_bus_message* call,
                        const std::optional<CancellationToken>& question) {
  std::string result;
  try {
    result = runManagerJob(call, startLimit, question);
  } catch (const PlatformError& error) {
    // Nobody may be told that the job failed and then see it run. Only a job that the manager has taken on is
    // stopped: a unit of that name may also be an earlier one.
    if (error.bridged() == jobError(ETIMEDOUT, jobManager).bridged()) {
      stopGivenUp(unit);
    }
    throw;
  }
  if (result != "done") {
    throw PlatformError(
        {"org.freedesktop.systemd1.Job", 0,
         "the program could not be started; result=" + result + " program=" + job.arguments.front()});
  }
}

// The manager answers when it has noted the stop, and gets to it some time later; that is waited for, but not
// for long.
void SystemdJobs::stopGivenUp(const std::string& unit) {
  try {
    const BusMessage message = methodCall(bus_.get(), "StopUnit");
    check(sd_bus_message_append(message.get(), "ss", unit.c_str(), "replace"), "StopUnit");
    (void)runManagerJob(message.get(), std::chrono::seconds(1), std::nullopt);
  } catch (const PlatformError&) {  // NOLINT(bugprone-empty-catch)
    // What led here is the failure to report.
  }
}

std::string SystemdJobs::stateOf(const std::string& unit) {
  const BusMessage message = methodCall(bus_.get(), "GetUnit");
  check(sd_bus_message_append(message.get(), "s", unit.c_str()), "GetUnit");
  sd_bus_message* made = nullptr;
  const int found = sd_bus_call(bus_.get(), message.get(), callLimitMicroseconds, nullptr, &made);
  const BusMessage answer(made);
  const char* path = nullptr;
  if (found < 0 || sd_bus_message_read(made, "o", &path) < 0) return {};
  char* text = nullptr;
  // A unit that has gone meanwhile has no state.
  if (sd_bus_get_property_string(bus_.get(), destination, path, "org.freedesktop.systemd1.Unit",
                                 "ActiveState", nullptr, &text) < 0) {
    return {};
  }
  const std::unique_ptr<char, decltype(&std::free)> state(text, &std::free);
  return state.get();
}

std::vector<std::string> SystemdJobs::names(const std::string& unit) {
  constexpr int count = 8;
  const std::string stem = unit.substr(0, unit.rfind(".service"));
  std::vector<std::string> result = {unit};
  // No label has a colon in its name.
  for (int number = 2; number <= count; ++number)
    result.push_back(stem + ":" + std::to_string(number) + ".service");
  return result;
}

std::string SystemdJobs::freeName(const std::string& unit) {
  std::string free;
  for (const std::string& name : names(unit)) {
    const std::string state = stateOf(name);
    // With this one the manager says what is wrong.
    if (isRunning(state)) return name;
    if (state.empty() && free.empty()) free = name;
  }
  return free.empty() ? unit : free;
}

void SystemdJobs::remove(const std::string& unit, JobRemoval removal) {
  bool isFound = false;
  for (const std::string& name : names(unit)) {
    // Looking is free; stopping takes an authorization even where there is nothing to stop.
    if (!isRunning(stateOf(name))) continue;
    isFound = true;
    const BusMessage message = methodCall(bus_.get(), "StopUnit");
    check(sd_bus_message_append(message.get(), "ss", name.c_str(), "replace"), "StopUnit");
    if (removal == JobRemoval::waitsForTheEnd) {
      (void)runManagerJob(message.get(), stopLimit, std::nullopt);
    } else {
      BusError error;
      const int result = sd_bus_call(bus_.get(), message.get(), callLimitMicroseconds, &error.value, nullptr);
      if (result < 0) fail(result, error);
    }
    callWithoutAnswer("ResetFailedUnit", {name});
  }
  if (!isFound) throw jobError(ENOENT, "no job of that name is running");
}

}  // namespace pellam
