#pragma once

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <csignal>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace pellam::testing_support {

// A socket on the loopback interface with a port of its own. Without listen() whoever connects is refused.
class LoopbackSocket {
 public:
  LoopbackSocket() : descriptor_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (descriptor_ < 0 || ::fcntl(descriptor_, F_SETFD, FD_CLOEXEC) != 0 ||
        ::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("no socket on the loopback interface");
    }
    port_ = ntohs(address.sin_port);
  }
  LoopbackSocket(const LoopbackSocket&) = delete;
  LoopbackSocket& operator=(const LoopbackSocket&) = delete;
  ~LoopbackSocket() { ::close(descriptor_); }

  void listen() const {
    if (::listen(descriptor_, SOMAXCONN) != 0) throw std::runtime_error("listen failed");
  }
  [[nodiscard]] int descriptor() const { return descriptor_; }
  [[nodiscard]] std::string address(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }

 private:
  int descriptor_;
  int port_ = 0;
};

// Answers HTTP requests the way a test wants it: one request for each connection, each on a thread of its
// own, the answer written byte for byte by the handler. Destroying the server ends what is still going on.
class LoopbackHTTPServer {
 public:
  struct Request {
    std::string path;
    std::map<std::string, std::string> headers;  // names in lower case
  };

  class Connection {
   public:
    explicit Connection(int descriptor) : descriptor_(descriptor) {}
    // False when the client is gone.
    bool send(std::string_view bytes) const {
      while (!bytes.empty()) {
        const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), 0);
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
      }
      return true;
    }
    // A whole answer that states its length.
    void answer(const std::string& status, std::string_view body, const std::string& headers = "") const {
      (void)(send(head(status, "Content-Length: " + std::to_string(body.size()) + "\r\n" + headers)) &&
             send(body));
    }
    // The head of an answer that ends with the connection. The type keeps clients from guessing at it, which
    // some do before they report the response; and nothing is kept for another test.
    static std::string head(const std::string& status, const std::string& headers = "") {
      return "HTTP/1.1 " + status + "\r\nConnection: close\r\nCache-Control: no-store\r\n" +
             "Content-Type: application/octet-stream\r\n" + headers + "\r\n";
    }
    // Blocks until the client has closed its end or the server is destroyed.
    void waitUntilClosed() const {
      std::array<char, 512> bytes{};
      while (::recv(descriptor_, bytes.data(), bytes.size(), 0) > 0) {
      }
    }

   private:
    friend class LoopbackHTTPServer;
    // False when the client says nothing that ends like a request.
    bool read(Request& request) const {
      std::string text;
      std::array<char, 4096> bytes{};
      while (text.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
        if (count <= 0) return false;
        text.append(bytes.data(), static_cast<std::size_t>(count));
      }
      std::size_t begin = text.find(' ') + 1;
      request.path = text.substr(begin, text.find(' ', begin) - begin);
      for (begin = text.find("\r\n") + 2; text.compare(begin, 2, "\r\n") != 0;) {
        const std::size_t end = text.find("\r\n", begin);
        const std::string line = text.substr(begin, end - begin);
        std::string name = line.substr(0, line.find(':'));
        for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        const std::size_t value = line.find_first_not_of(' ', name.size() + 1);
        request.headers[name] = value == std::string::npos ? "" : line.substr(value);
        begin = end + 2;
      }
      return true;
    }

    int descriptor_;
  };
  using Handler = std::function<void(const Request&, const Connection&)>;

  explicit LoopbackHTTPServer(Handler handler) : handler_(std::move(handler)) {
    // A client may leave at any time; not every system lets a single call ask not to be killed for it.
    (void)std::signal(SIGPIPE, SIG_IGN);
    if (::pipe(wakeUp_.data()) != 0) throw std::runtime_error("pipe failed");
    socket_.listen();
    thread_ = std::thread([this] { serve(); });
  }
  LoopbackHTTPServer(const LoopbackHTTPServer&) = delete;
  LoopbackHTTPServer& operator=(const LoopbackHTTPServer&) = delete;
  ~LoopbackHTTPServer() {
    ::close(wakeUp_[1]);
    thread_.join();
    {
      const std::lock_guard guard(lock_);
      for (const Served& served : connections_) ::shutdown(served.descriptor, SHUT_RDWR);
    }
    for (Served& served : connections_) {
      served.thread.join();
      ::close(served.descriptor);
    }
    ::close(wakeUp_[0]);
  }

  [[nodiscard]] std::string address(const std::string& path) const { return socket_.address(path); }
  // How many connections were opened so far.
  [[nodiscard]] std::size_t connectionCount() {
    const std::lock_guard guard(lock_);
    return connections_.size();
  }
  [[nodiscard]] std::vector<Request> requests() {
    const std::lock_guard guard(lock_);
    return requests_;
  }

 private:
  struct Served {
    int descriptor;
    std::thread thread;
  };

  void keep(const Request& request) {
    const std::lock_guard guard(lock_);
    requests_.push_back(request);
  }

  void serve() {
    for (;;) {
      std::array<pollfd, 2> waiting = {{{wakeUp_[0], POLLIN, 0}, {socket_.descriptor(), POLLIN, 0}}};
      (void)::poll(waiting.data(), waiting.size(), -1);
      if (waiting[0].revents != 0) return;
      if (waiting[1].revents == 0) continue;
      const int descriptor = ::accept(socket_.descriptor(), nullptr, nullptr);
      if (descriptor < 0) continue;
      const std::lock_guard guard(lock_);
      connections_.push_back({descriptor, std::thread([this, descriptor] {
                                const Connection connection(descriptor);
                                Request request;
                                if (connection.read(request)) {
                                  keep(request);
                                  handler_(request, connection);
                                }
                                // The descriptor itself stays taken until nobody can mean it any more.
                                ::shutdown(descriptor, SHUT_RDWR);
                              })});
    }
  }

  Handler handler_;
  LoopbackSocket socket_;
  std::array<int, 2> wakeUp_{};
  std::mutex lock_;
  std::list<Served> connections_;
  std::vector<Request> requests_;
  std::thread thread_;
};

}  // namespace pellam::testing_support
