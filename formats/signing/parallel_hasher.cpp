#include "formats/signing/parallel_hasher.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <span>
#include <system_error>
#include <thread>

namespace pellam::codesign {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} << 10;  // stays in a core's own cache
constexpr std::uint64_t pagesPerPiece = 256;
constexpr std::uint64_t sizeWorthAThread = std::uint64_t{1} << 20;
constexpr unsigned maximumThreads = 8;

}  // namespace

class ParallelHasher::Worker {
 public:
  explicit Worker(const BundleContents& bundle) : bundle_(bundle), buffer_(bufferSize) {}

  void perform(const Work& work) {
    try {
      const std::unique_ptr<ReadOnlyFile> file = bundle_.openFile(work.path);
      if (file == nullptr) return;
      if (work.pageSize == 0) {
        hashFile(*file, work);
      } else {
        hashPages(*file, work);
      }
    } catch (const std::system_error&) {
      // A file that cannot be read to its end has no digest.
    }
  }

 private:
  void hashFile(const ReadOnlyFile& file, const Work& work) {
    digest_.begin();
    for (std::uint64_t offset = 0;;) {
      const std::size_t count = file.readAt(offset, buffer_);
      digest_.update(std::span(buffer_).first(count));
      if (count < buffer_.size()) break;
      offset += count;
    }
    *work.result = digest_.finish();
  }

  void hashPages(const ReadOnlyFile& file, const Work& work) {
    if (file.size() != work.fileSize) return;
    for (std::uint64_t page = 0; page < work.pageCount; ++page) {
      const std::uint64_t offset = (work.firstPage + page) * work.pageSize;
      const auto length = static_cast<std::size_t>(std::min(work.pageSize, work.fileSize - offset));
      if (file.readAt(offset, std::span(buffer_).first(length)) != length) return;
      work.result[page] = digest_.of(std::span(buffer_).first(length));
    }
  }

  const BundleContents& bundle_;
  std::vector<std::uint8_t> buffer_;
  Sha256 digest_;
};

void ParallelHasher::addFile(std::string pathBelowContents, std::uint64_t size,
                             std::optional<Digest>* result) {
  work_.push_back({std::move(pathBelowContents), size, 0, 0, 0, result, size});
}

void ParallelHasher::addPages(const std::string& pathBelowContents, std::uint64_t size,
                              std::uint64_t pageSize, std::vector<std::optional<Digest>>* results) {
  for (std::uint64_t first = 0; first < results->size(); first += pagesPerPiece) {
    const std::uint64_t count = std::min<std::uint64_t>(pagesPerPiece, results->size() - first);
    work_.push_back(
        {pathBelowContents, count * pageSize, first, count, pageSize, results->data() + first, size});
  }
}

void ParallelHasher::run() {
  std::sort(work_.begin(), work_.end(),
            [](const Work& left, const Work& right) { return left.size > right.size; });
  std::uint64_t total = 0;
  for (const Work& work : work_) total += work.size;
  const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
  const unsigned wanted = total < sizeWorthAThread ? 1U : std::min(processors, maximumThreads);

  std::atomic<std::size_t> next{0};
  const auto loop = [&] {
    try {
      Worker worker(bundle_);
      for (std::size_t index = next++; index < work_.size(); index = next++) worker.perform(work_[index]);
    } catch (const std::exception&) {
      // Work that was not done has no result, which the caller treats as a file that cannot be read.
    }
  };
  std::vector<std::thread> threads;
  for (unsigned index = 1; index < wanted; ++index) {
    try {
      threads.emplace_back(loop);
    } catch (const std::system_error&) {
      break;  // fewer threads do the same work
    }
  }
  loop();
  for (std::thread& thread : threads) thread.join();
  work_.clear();
}

}  // namespace pellam::codesign
