#include "platform/linux/jobs/jobs_agent_messages.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace pellam::jobs_agent {

bool send(int socket, const Texts& message) {
  std::string bytes;
  for (const std::string& text : message) {
    if (text.find('\0') != std::string::npos) return false;
    bytes += text;
    bytes += '\0';
  }
  ssize_t sent = 0;
  do {
    sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent == static_cast<ssize_t>(bytes.size());
}

std::optional<Texts> receive(int socket, std::optional<std::chrono::milliseconds> limit) {
  pollfd readable{socket, POLLIN, 0};
  int count = 0;
  do {
    count = ::poll(&readable, 1, limit ? static_cast<int>(limit->count()) : -1);
  } while (count < 0 && errno == EINTR);
  if (count != 1) return std::nullopt;
  const ssize_t size = ::recv(socket, nullptr, 0, MSG_PEEK | MSG_TRUNC);
  if (size <= 0) return std::nullopt;
  std::string bytes(static_cast<std::size_t>(size), '\0');
  if (::recv(socket, bytes.data(), bytes.size(), 0) != size || bytes.back() != '\0') return std::nullopt;
  Texts message;
  for (std::size_t begin = 0; begin < bytes.size();) {
    const std::size_t end = bytes.find('\0', begin);
    message.push_back(bytes.substr(begin, end - begin));
    begin = end + 1;
  }
  return message;
}

}  // namespace pellam::jobs_agent
