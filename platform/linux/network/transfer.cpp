#include "platform/linux/network/transfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <new>
#include <system_error>

#include "foundation/decimal.h"
#include "text/ascii.h"

namespace pellam {

namespace {

using Code = URLLoadingError::Code;

constexpr std::chrono::seconds defaultTimeout{60};
constexpr long maximumRedirects = 20;
constexpr long receiveBufferSize = 512L * 1024;

Code codeFor(CURLcode result) {
  switch (result) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      return Code::unsupportedURL;
    case CURLE_URL_MALFORMAT:
      return Code::badURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return Code::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return Code::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return Code::timedOut;
    case CURLE_TOO_MANY_REDIRECTS:
      return Code::httpTooManyRedirects;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      return Code::networkConnectionLost;
    case CURLE_GOT_NOTHING:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
      return Code::badServerResponse;
    case CURLE_SSL_CONNECT_ERROR:
      return Code::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
      return Code::serverCertificateUntrusted;
    case CURLE_FILE_COULDNT_READ_FILE:
      return Code::fileDoesNotExist;
    default:
      return Code::unknown;
  }
}

URLLoadingError cancelledError() { return {Code::cancelled, "The transfer was cancelled."}; }

std::string_view trimmedLine(std::string_view line) {
  constexpr std::string_view whitespace = " \t\r\n\v\f";
  const auto begin = line.find_first_not_of(whitespace);
  if (begin == std::string_view::npos) return {};
  return line.substr(begin, line.find_last_not_of(whitespace) - begin + 1);
}

void initializeLibraryOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

}  // namespace

// Frees what one transfer holds of the library, in the order that the library asks for.
struct Transfer::Handles {
  Handles() : easy(curl_easy_init()), multi(curl_multi_init()) {}
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;
  ~Handles() {
    if (easy != nullptr && multi != nullptr) curl_multi_remove_handle(multi, easy);
    if (easy != nullptr) curl_easy_cleanup(easy);
    if (multi != nullptr) curl_multi_cleanup(multi);
    curl_slist_free_all(headers);
  }
  CURL* easy;
  CURLM* multi;
  curl_slist* headers = nullptr;
  std::array<char, CURL_ERROR_SIZE> errorText{};
};

struct TransferCallbacks {
  // No exception may pass through the library; a short count makes it stop the transfer instead.
  static std::size_t header(char* bytes, std::size_t size, std::size_t count, void* transfer) {
    return guarded(transfer, size * count, [&](Transfer& owner) {
      return owner.headerLine({bytes, size * count});
    });
  }
  static std::size_t write(char* bytes, std::size_t size, std::size_t count, void* transfer) {
    return guarded(transfer, size * count, [&](Transfer& owner) { return owner.body(bytes, size * count); });
  }
  template <typename Work>
  static std::size_t guarded(void* transfer, std::size_t size, const Work& work) {
    auto& owner = *static_cast<Transfer*>(transfer);
    const std::size_t stopping = size == 0 ? 1 : 0;
    try {
      return work(owner) ? size : stopping;
    } catch (const std::bad_alloc&) {
      owner.ranOutOfMemory_ = true;
      return stopping;
    }
  }
};

Transfer::Transfer(URLRequest request, std::string userAgent,
                   std::shared_ptr<URLSessionDataDelegate> delegate)
    : request_(std::move(request)),
      userAgent_(std::move(userAgent)),
      delegate_(std::move(delegate)),
      bodyLimit_(request_.maximumBodyLength) {}

Transfer::~Transfer() = default;

bool Transfer::isCancelled() {
  const std::lock_guard lock(mutex_);
  return cancelled_;
}

// The library's own limit looks at the mean speed of the last seconds and notices a standstill that much
// later.
std::chrono::milliseconds Transfer::patienceLeft() const {
  const auto stoodStill = std::chrono::steady_clock::now() - lastProgress_;
  return std::chrono::ceil<std::chrono::milliseconds>(request_.timeout.value_or(defaultTimeout) - stoodStill);
}

// The bodies of redirects, which nobody is given, are progress as well.
void Transfer::noticeReceivedBytes() {
  curl_off_t received = 0;
  if (curl_easy_getinfo(easy_, CURLINFO_SIZE_DOWNLOAD_T, &received) != CURLE_OK || received == received_)
    return;
  received_ = received;
  lastProgress_ = std::chrono::steady_clock::now();
}

void Transfer::cancel() {
  const std::lock_guard lock(mutex_);
  cancelled_ = true;
  if (multi_ != nullptr) curl_multi_wakeup(multi_);
}

void Transfer::perform() {
  delegate_->didComplete(run());
  delegate_.reset();
}

void Transfer::configure(Handles& handles) {
  CURL* easy = handles.easy;
  easy_ = easy;
  curl_easy_setopt(easy, CURLOPT_URL, request_.url.text().c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https,file");
  // The rule for redirects is kept where their headers arrive; this is the library's own, in case the two
  // should ever read a header differently.
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR,
                   request_.url.scheme() == "https" ? "https" : "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, maximumRedirects);
  if (!userAgent_.empty()) curl_easy_setopt(easy, CURLOPT_USERAGENT, userAgent_.c_str());
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // What a proxy says to the request for a tunnel is not the server's answer.
  curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  // A name look-up cannot be interrupted; whoever gives up leaves its thread to end by itself.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  const auto timeout = request_.timeout.value_or(defaultTimeout);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(timeout.count()));
  curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, receiveBufferSize);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, handles.errorText.data());
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &TransferCallbacks::header);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &TransferCallbacks::write);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
  for (const auto& [name, value] : request_.headers) {
    std::string line = name;
    line.append(": ").append(value);
    handles.headers = curl_slist_append(handles.headers, line.c_str());
  }
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, handles.headers);
}

std::optional<URLLoadingError> Transfer::run() {
  if (isCancelled()) return cancelledError();
  if (auto refusal = addressRefusal(request_.url)) return refusal;
  if (auto refusal = refusalOfFile()) return refusal;
  initializeLibraryOnce();
  Handles handles;
  if (handles.easy == nullptr || handles.multi == nullptr) {
    return URLLoadingError(Code::unknown, "The transfer could not be prepared.");
  }
  configure(handles);
  curl_multi_add_handle(handles.multi, handles.easy);

  // Published only while it lives: cancel() wakes the loop through it, under the lock.
  struct Publication {
    Publication(Transfer& owner, CURLM* multi) : transfer(owner) { set(multi); }
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;
    ~Publication() { set(nullptr); }
    void set(CURLM* multi) const {
      const std::lock_guard lock(transfer.mutex_);
      transfer.multi_ = multi;
    }
    Transfer& transfer;
  };
  const Publication publication(*this, handles.multi);

  int running = 1;
  lastProgress_ = std::chrono::steady_clock::now();
  while (running > 0) {
    if (isCancelled()) return cancelledError();
    if (curl_multi_perform(handles.multi, &running) != CURLM_OK) {
      return URLLoadingError(Code::unknown, "The transfer failed.");
    }
    if (running == 0) break;
    noticeReceivedBytes();
    const auto left = patienceLeft().count();
    if (left <= 0) return URLLoadingError(Code::timedOut, "The request timed out.");
    curl_multi_poll(handles.multi, nullptr, 0, static_cast<int>(std::min<std::int64_t>(left, 1000)), nullptr);
  }
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(handles.multi, &left)) {
    if (message->msg == CURLMSG_DONE) return finish(message->data.result, handles);
  }
  return URLLoadingError(Code::unknown, "The transfer ended without a result.");
}

// Opening a pipe would wait for its other end, and reading a device might never end; nothing could be
// cancelled.
std::optional<URLLoadingError> Transfer::refusalOfFile() const {
  if (request_.url.scheme() != "file") return std::nullopt;
  int length = 0;
  char* path = curl_easy_unescape(nullptr, request_.url.path().c_str(), 0, &length);
  if (path == nullptr) return std::nullopt;
  const std::filesystem::path file(std::string_view(path, static_cast<std::size_t>(length)));
  curl_free(path);
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(file, ignored);
  if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) return std::nullopt;
  return URLLoadingError(Code::fileDoesNotExist, file.string() + " is no regular file.");
}

std::optional<URLLoadingError> Transfer::finish(int curlResult, const Handles& handles) {
  const auto result = static_cast<CURLcode>(curlResult);
  if (ranOutOfMemory_) {
    return URLLoadingError(Code::unknown, "There is not enough memory for the response.");
  }
  if (refusal_) return refusal_;
  if (result == CURLE_OK) {
    if (!responseReported_) reportResponse();
    return std::nullopt;
  }
  if (isCancelled()) return cancelledError();
  const char* detail =
      handles.errorText.front() != '\0' ? handles.errorText.data() : curl_easy_strerror(result);
  // A proxy that refuses the tunnel: the server was never reached.
  long proxyAnswer = 0;
  curl_easy_getinfo(easy_, CURLINFO_HTTP_CONNECTCODE, &proxyAnswer);
  if (result == CURLE_RECV_ERROR && proxyAnswer != 0 && proxyAnswer / 100 != 2) {
    return URLLoadingError(Code::cannotConnectToHost, detail);
  }
  return URLLoadingError(codeFor(result), detail);
}

bool Transfer::headerLine(std::string_view line) {
  lastProgress_ = std::chrono::steady_clock::now();
  if (line.starts_with("HTTP/")) {
    // A new header block: after a redirect or an interim response everything before is void.
    const auto space = line.find(' ');
    status_ = space == std::string_view::npos ? 0 : parseDecimal<int>(line.substr(space + 1, 3)).value_or(0);
    statedLength_.reset();
    isRedirect_ = false;
    return true;
  }
  if (const auto colon = line.find(':'); colon != std::string_view::npos) {
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = trimmedLine(line.substr(colon + 1));
    if (text::equalsIgnoringASCIICase(name, "Content-Length"))
      statedLength_ = parseDecimal<std::int64_t>(value);
    if (text::equalsIgnoringASCIICase(name, "Location") && status_ / 100 == 3 && !value.empty()) {
      isRedirect_ = true;
      if (const std::optional<URL> target = redirectTarget(value)) {
        refusal_ = redirectRefusal(currentAddress(), *target);
      }
    }
    return !refusal_;
  }
  const bool isFinalBlock = trimmedLine(line).empty() && status_ >= 200 && !isRedirect_;
  if (isFinalBlock && !responseReported_) reportResponse();
  return true;
}

bool Transfer::body(const char* bytes, std::size_t size) {
  // A file is handed over within one call of the library, so this is where that ends.
  if (isCancelled()) return false;
  if (isRedirect_) return true;
  if (!responseReported_) reportResponse();
  refusal_ = bodyLimit_.take(size);
  if (refusal_) return false;
  delegate_->didReceiveData({reinterpret_cast<const std::uint8_t*>(bytes), size});
  // How long the receiver takes is not the server's doing.
  lastProgress_ = std::chrono::steady_clock::now();
  return true;
}

URL Transfer::currentAddress() const {
  const char* effective = nullptr;
  curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &effective);
  return effective == nullptr ? request_.url : URL::parseLeniently(effective).value_or(request_.url);
}

std::optional<URL> Transfer::redirectTarget(std::string_view location) const {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> address(curl_url(), &curl_url_cleanup);
  if (!address) throw std::bad_alloc();
  constexpr unsigned asTheLibraryDoes = CURLU_URLENCODE | CURLU_ALLOW_SPACE | CURLU_NON_SUPPORT_SCHEME;
  char* target = nullptr;
  if (curl_url_set(address.get(), CURLUPART_URL, currentAddress().text().c_str(), 0) != CURLUE_OK ||
      curl_url_set(address.get(), CURLUPART_URL, std::string(location).c_str(), asTheLibraryDoes) !=
          CURLUE_OK ||
      curl_url_get(address.get(), CURLUPART_URL, &target, 0) != CURLUE_OK) {
    return std::nullopt;
  }
  const std::unique_ptr<char, decltype(&curl_free)> owned(target, &curl_free);
  return URL::parseLeniently(target);
}

void Transfer::reportResponse() {
  responseReported_ = true;
  URLResponse response{currentAddress(), std::nullopt, statedLength_};
  if (status_ != 0) response.statusCode = status_;
  delegate_->didReceiveResponse(response);
}

}  // namespace pellam
