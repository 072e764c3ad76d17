#include "host/archive_download.h"

#include <algorithm>
#include <utility>

#include "foundation/text_format.h"
#include "host/latest_progress.h"
#include "pellam/installer_error.h"
#include "text/unicode_text.h"

namespace pellam {

namespace {
using Error = OrvoUpdateInstallerError;
namespace texts = localized_texts;
}

NetworkData ArchiveDownload::fetch(const URL& primaryURL, const std::optional<URL>& fallbackURL,
                                   const Window& window, const CancellationToken& cancellation) const {
  try {
    return fetchSuccessfully(primaryURL, window, cancellation);
  } catch (const std::exception&) {
    throwIfCancellation(std::current_exception());
  }
  if (!fallbackURL) throw Error(Error::Case::downloadFailed);
  try {
    return fetchSuccessfully(*fallbackURL, window, cancellation);
  } catch (const std::exception&) {
    throwIfCancellation(std::current_exception());
    throw Error(Error::Case::downloadFailed);
  }
}

NetworkData ArchiveDownload::fetchSuccessfully(const URL& url, const Window& window,
                                               const CancellationToken& cancellation) const {
  const auto note = [&](const std::string& reason) {
    systemLog_("Unable to download the update url=" + url.publicText() + " " + reason);
  };
  try {
    NetworkData result = fetchArchive(url, window, cancellation);
    const std::optional<int> status = result.response.statusCode;
    if (!status || (*status >= 200 && *status <= 299)) return result;
    note("status=" + std::to_string(*status));
  } catch (const std::exception& error) {
    throwIfCancellation(std::current_exception());
    note(std::string("error=") + error.what());
  }
  throw Error(Error::Case::downloadFailed);
}

NetworkData ArchiveDownload::fetchArchive(const URL& url, const Window& window,
                                          const CancellationToken& cancellation) const {
  display_.show(window, texts::downloadingUpdate, texts::preparingDownload, 0.0);
  const auto token = std::make_shared<OrvoUpdateProgressToken>();
  // Deactivated on every way out, so that progress still waiting for the main thread is dropped.
  struct Deactivation {
    explicit Deactivation(std::shared_ptr<OrvoUpdateProgressToken> owned) : token(std::move(owned)) {}
    Deactivation(const Deactivation&) = delete;
    Deactivation& operator=(const Deactivation&) = delete;
    ~Deactivation() { token->deactivate(); }
    std::shared_ptr<OrvoUpdateProgressToken> token;
  };
  const Deactivation deactivation(token);
  return networkClient_->data(
      url, window ? downloadProgressHandler(window, token) : DownloadProgressHandler(), cancellation);
}

DownloadProgressHandler ArchiveDownload::downloadProgressHandler(
    const Window& window, const std::shared_ptr<OrvoUpdateProgressToken>& token) const {
  const auto latest = std::make_shared<LatestDownloadProgress>();
  const std::weak_ptr<OrvoUpdateProgressWindow> weakWindow = window;
  // What runs on the main thread may outlive the coordinator, so it brings its texts along.
  const auto show = [latest, weakWindow, token, title = display_.localized(texts::downloadingUpdate),
                     formats = statusFormats()] {
    const std::optional<OrvoUpdateInstallerDownloadProgress> progress = latest->take();
    const std::shared_ptr<OrvoUpdateProgressWindow> shown = weakWindow.lock();
    if (!progress || !shown || !token->isActive()) return;
    shown->update({title, statusText(formats, *progress), progress->progressFraction()});
  };
  return [latest, show,
          mainThread = display_.mainThread()](const OrvoUpdateInstallerDownloadProgress& progress) {
    if (latest->put(progress)) mainThread->perform(show);
  };
}

ArchiveDownload::StatusFormats ArchiveDownload::statusFormats() const {
  return {display_.localized(texts::bytesOfBytes), display_.localized(texts::bytesDownloaded)};
}

std::string ArchiveDownload::statusText(const StatusFormats& formats,
                                        const OrvoUpdateInstallerDownloadProgress& progress) {
  const std::string received = text::fileByteCount(progress.bytesReceived);
  if (!progress.expectedBytes || *progress.expectedBytes < 1) {
    return formatText(formats.sizeUnknown, {received});
  }
  const std::string total = text::fileByteCount(std::max(*progress.expectedBytes, progress.bytesReceived));
  return formatText(formats.sizeKnown, {received, total});
}

std::string ArchiveDownload::downloadProgressStatusText(
    const OrvoUpdateInstallerDownloadProgress& progress) const {
  return statusText(statusFormats(), progress);
}

void ArchiveDownload::throwIfCancellation(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const OperationCancelled&) {
    throw;
  } catch (const URLLoadingError& loading) {
    if (loading.code() == URLLoadingError::Code::cancelled) throw OperationCancelled();
  } catch (
      const std::exception&) {  // NOLINT(bugprone-empty-catch): the caller decides about every other error
  }
}

}  // namespace pellam
