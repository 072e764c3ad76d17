#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "foundation/diagnostic_log.h"
#include "host/download_client.h"
#include "host/progress_display.h"
#include "host/progress_token.h"
#include "pellam/cancellation.h"
#include "pellam/url.h"
#include "services/network_client.h"

namespace pellam {

// The download of one archive: from its address, else from the fallback, with its progress in the window.
// Keeps its collaborators and no state between calls.
class ArchiveDownload {
 public:
  using Window = ProgressDisplay::Window;

  ArchiveDownload(std::shared_ptr<OrvoUpdateInstallerNetworkClient> networkClient, ProgressDisplay display,
                  DiagnosticLog systemLog)
      : networkClient_(std::move(networkClient)),
        display_(std::move(display)),
        systemLog_(std::move(systemLog)) {}

  // Blocks; never on the main thread. What a server answers with another status than 2xx is a failure. The
  // fallback is tried once, after any failure but a cancellation. Throws OrvoUpdateInstallerError
  // (downloadFailed) or OperationCancelled. Progress that arrives after the end is not shown.
  [[nodiscard]] NetworkData fetch(const URL& primaryURL, const std::optional<URL>& fallbackURL,
                                  const Window& window, const CancellationToken& cancellation) const;

  // The status line of a download: "%@ of %@" or "%@ downloaded".
  [[nodiscard]] std::string downloadProgressStatusText(
      const OrvoUpdateInstallerDownloadProgress& progress) const;

 private:
  struct StatusFormats {
    std::string sizeKnown;
    std::string sizeUnknown;
  };

  [[nodiscard]] NetworkData fetchSuccessfully(const URL& url, const Window& window,
                                              const CancellationToken& cancellation) const;
  [[nodiscard]] NetworkData fetchArchive(const URL& url, const Window& window,
                                         const CancellationToken& cancellation) const;
  [[nodiscard]] DownloadProgressHandler downloadProgressHandler(
      const Window& window, const std::shared_ptr<OrvoUpdateProgressToken>& token) const;
  [[nodiscard]] StatusFormats statusFormats() const;
  [[nodiscard]] static std::string statusText(const StatusFormats& formats,
                                              const OrvoUpdateInstallerDownloadProgress& progress);
  static void throwIfCancellation(const std::exception_ptr& error);

  std::shared_ptr<OrvoUpdateInstallerNetworkClient> networkClient_;
  ProgressDisplay display_;
  DiagnosticLog systemLog_;  // which address failed, and why
};

}  // namespace pellam
