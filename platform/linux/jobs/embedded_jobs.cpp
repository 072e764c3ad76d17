#include "platform/linux/jobs/embedded_jobs.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>

#include "platform/linux/jobs/job_process.h"
#include "platform/linux/system/file_descriptor.h"

namespace pellam {

namespace {

constexpr int terminationGraceMilliseconds = 5'000;

// Held while one label is worked on. The file stays: removing it would let two of them hold it.
FileDescriptor lockedLabel(const std::filesystem::path& file) {
  FileDescriptor lock(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock.isOpen()) throw jobError(errno, file.string());
  while (::flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) throw jobError(errno, file.string());
  }
  return lock;
}

std::optional<ProcessStamp> readRecord(const std::filesystem::path& file) {
  std::ifstream stream(file);
  ProcessStamp stamp;
  if (!(stream >> stamp.identifier >> stamp.startTime) || stamp.identifier < 1) return std::nullopt;
  return stamp;
}

void writeRecord(const std::filesystem::path& file, const ProcessStamp& stamp) {
  const std::filesystem::path fresh = file.string() + ".new";
  std::ofstream stream(fresh, std::ios::trunc);
  stream << stamp.identifier << ' ' << stamp.startTime << '\n';
  stream.close();
  if (!stream || ::rename(fresh.c_str(), file.c_str()) != 0) throw jobError(errno, file.string());
}

// A descriptor of exactly that process; closed when it has ended.
FileDescriptor openProcess(const ProcessStamp& stamp) {
  FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, stamp.identifier, 0)));
  // Compared after opening: from here on the descriptor cannot mean another process.
  if (process.isOpen() && stampOf(stamp.identifier) != stamp) process.reset();
  return process;
}

bool hasEndedWithin(const FileDescriptor& process, int milliseconds) {
  pollfd waiting{process.get(), POLLIN, 0};
  int result = 0;
  do {
    result = ::poll(&waiting, 1, milliseconds);
  } while (result < 0 && errno == EINTR);
  return result > 0;
}

void sendSignal(const FileDescriptor& process, int signal) {
  if (::syscall(SYS_pidfd_send_signal, process.get(), signal, nullptr, 0) != 0 && errno != ESRCH) {
    throw jobError(errno, "the job cannot be ended");
  }
}

}  // namespace

std::filesystem::path EmbeddedJobs::defaultFolder() {
  if (::geteuid() == 0) return "/run/pellam-jobs";
  std::error_code ignored;
  const char* variable = std::getenv("XDG_RUNTIME_DIR");
  if (variable != nullptr && *variable == '/' && std::filesystem::is_directory(variable, ignored)) {
    return std::filesystem::path(variable) / "pellam-jobs";
  }
  return "/tmp/pellam-jobs-" + std::to_string(::geteuid());
}

void EmbeddedJobs::prepareFolder() const {
  if (::mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST) throw jobError(errno, folder_.string());
  struct stat status {};
  if (::lstat(folder_.c_str(), &status) != 0) throw jobError(errno, folder_.string());
  // In a shared folder somebody else may have been first.
  if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() || (status.st_mode & 0077) != 0) {
    throw jobError(EPERM, folder_.string() + " is not private to this user");
  }
}

void EmbeddedJobs::submit(const JobDescription& job) {
  const std::string name = encodedLabel(job.label, "%");
  prepareFolder();
  const FileDescriptor lock = lockedLabel(folder_ / (name + ".lock"));
  const std::filesystem::path record = folder_ / (name + ".job");
  if (const auto earlier = readRecord(record)) {
    if (openProcess(*earlier).isOpen()) throw jobError(EEXIST, "a job of this label is running");
  }
  // Whether there is room for the record is found out before anything runs.
  writeRecord(record, {0, 0});
  const pid_t process = [&] {
    try {
      return startProgram({job.arguments, sessionEnvironment(std::nullopt), std::nullopt, job.nice});
    } catch (const PlatformError&) {
      ::unlink(record.c_str());
      throw;
    }
  }();
  // A job that has ended by now leaves a record that matches no process.
  const ProcessStamp stamp = stampOf(process).value_or(ProcessStamp{process, 0});
  try {
    writeRecord(record, stamp);
  } catch (const PlatformError&) {
    if (const FileDescriptor started = openProcess(stamp); started.isOpen()) {
      (void)::syscall(SYS_pidfd_send_signal, started.get(), SIGKILL, nullptr, 0);
    }
    throw;
  }
}

void EmbeddedJobs::remove(const std::string& label, JobRemoval removal) {
  const std::string name = encodedLabel(label, "%");
  prepareFolder();
  const FileDescriptor lock = lockedLabel(folder_ / (name + ".lock"));
  const std::filesystem::path record = folder_ / (name + ".job");
  const std::optional<ProcessStamp> stamp = readRecord(record);
  if (!stamp) throw jobError(ENOENT, "there is no job of this label");
  if (const FileDescriptor process = openProcess(*stamp); process.isOpen()) {
    sendSignal(process, SIGTERM);
    if (removal == JobRemoval::waitsForTheEnd && !hasEndedWithin(process, terminationGraceMilliseconds)) {
      sendSignal(process, SIGKILL);
      (void)hasEndedWithin(process, -1);
    }
  }
  std::error_code ignored;
  std::filesystem::remove(record, ignored);
}

}  // namespace pellam
