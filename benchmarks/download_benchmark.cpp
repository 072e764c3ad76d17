// Downloads an archive of 300 MB from a server on this machine, with our client and with curl, and measures
// the peak memory of a process that does nothing else.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/download_client.h"
#include "platform/url_session.h"

namespace {

using namespace pellam;

constexpr std::size_t archiveSize = 300'000'000;
constexpr int rounds = 5;

double milliseconds(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Answers every request with the same body, straight from memory, until its parent ends.
[[noreturn]] void serve(int listener) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::signal(SIGPIPE, SIG_IGN);
  const int body = ::memfd_create("body", 0);
  const std::string block(1'000'000, 'x');
  for (std::size_t written = 0; written < archiveSize; written += block.size()) {
    if (::write(body, block.data(), block.size()) < 0) std::exit(1);
  }
  const std::string head =
      "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(archiveSize) + "\r\n\r\n";
  for (;;) {
    const int peer = ::accept(listener, nullptr, nullptr);
    char request[4096];
    if (::read(peer, request, sizeof request) > 0 && ::write(peer, head.data(), head.size()) > 0) {
      off_t offset = 0;
      while (offset < static_cast<off_t>(archiveSize) &&
             ::sendfile(peer, body, &offset, archiveSize - static_cast<std::size_t>(offset)) > 0) {
      }
    }
    ::close(peer);
  }
}

void download(const URL& url) {
  OrvoUpdateURLSessionInstallerNetworkClient client(makeSystemURLSessions(""));
  std::int64_t last = 0;
  const NetworkData data = client.data(
      url, [&](const OrvoUpdateInstallerDownloadProgress& progress) { last = progress.bytesReceived; }, {});
  if (data.body.size() != archiveSize || last != static_cast<std::int64_t>(archiveSize)) {
    std::fprintf(stderr, "download_benchmark: the download is incomplete\n");
    std::exit(1);
  }
}

double peakMegabytes(const URL& url) {
  const pid_t child = ::fork();
  if (child == 0) {
    download(url);
    ::_exit(0);
  }
  int status = 0;
  rusage usage{};
  ::wait4(child, &status, 0, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024 / 1e6;
}

}  // namespace

int main() {
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(listener, 8) != 0)
    return 1;
  ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  if (::fork() == 0) serve(listener);

  const std::string text = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/archive.zip";
  const URL url = *URL::parse(text);
  const std::string curl = "curl -s -o /dev/shm/pellam-download " + text;
  const double peak = peakMegabytes(url);
  std::vector<double> ours;
  std::vector<double> theirs;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(milliseconds([&] { download(url); }));
    theirs.push_back(milliseconds([&] {
      if (std::system(curl.c_str()) != 0) std::exit(1);
    }));
  }
  ::unlink("/dev/shm/pellam-download");
  const double mine = median(ours);
  const double other = median(theirs);
  std::printf(
      "download of 300 MB, into memory; curl into a memory-backed file\t%.0f ms\tcurl %.0f ms\t%.2f x curl's "
      "speed\tat least 1\n",
      mine, other, other / mine);
  std::printf("peak memory of that download\t%.0f MB\tarchive 300 MB\t+ %.0f MB\tat most + 32 MB\n", peak,
              peak - static_cast<double>(archiveSize) / 1e6);
  return 0;
}
