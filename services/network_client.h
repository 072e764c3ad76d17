#pragma once

#include <memory>

#include "foundation/byte_buffer.h"
#include "foundation/url_loading.h"
#include "pellam/cancellation.h"
#include "platform/url_session.h"

namespace pellam {

// A body and what the server said about it.
struct NetworkData {
  ByteBuffer body;
  URLResponse response;
};

// Fetches an address. Blocks the calling thread, so it is never called on the main thread. Throws
// URLLoadingError for transport failures (code cancelled when the token was cancelled); a bad status code is
// not a failure here, the caller looks at the response. No retry.
class PellamNetworkClient {
 public:
  virtual ~PellamNetworkClient() = default;
  [[nodiscard]] virtual NetworkData data(const URLRequest& request,
                                         const CancellationToken& cancellation) = 0;
};

// Performs each request on a session of the platform and passes its result or error through unchanged.
class PellamURLSessionNetworkClient final : public PellamNetworkClient {
 public:
  // With the system's own sessions, which then do not say for whom they ask. Only who uses this constructor
  // links them.
  PellamURLSessionNetworkClient() : PellamURLSessionNetworkClient(makeSystemURLSessions({})) {}
  explicit PellamURLSessionNetworkClient(std::shared_ptr<URLSessionMaking> sessions)
      : sessions_(std::move(sessions)) {}
  [[nodiscard]] NetworkData data(const URLRequest& request, const CancellationToken& cancellation) override;

 private:
  std::shared_ptr<URLSessionMaking> sessions_;
};

}  // namespace pellam
