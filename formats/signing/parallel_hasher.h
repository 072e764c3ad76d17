#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/signing/bundle_contents.h"
#include "formats/signing/digest.h"

namespace pellam::codesign {

// Digests many files on several threads that share one list of work, the largest pieces first.
class ParallelHasher {
 public:
  // The bundle must outlive the hasher.
  explicit ParallelHasher(const BundleContents& bundle) : bundle_(bundle) {}

  // The digest of the whole file arrives in `result` when run() returns; nothing for a file that cannot be
  // read. The result must stay where it is until then.
  void addFile(std::string pathBelowContents, std::uint64_t size, std::optional<Digest>* result);
  // The digest of each page of a file of exactly this size. The vector must already have one element for each
  // page and stays where it is.
  void addPages(const std::string& pathBelowContents, std::uint64_t size, std::uint64_t pageSize,
                std::vector<std::optional<Digest>>* results);
  // Blocks until all is done. At most as many threads as the machine has processors, eight at most.
  void run();

 private:
  struct Work {
    std::string path;
    std::uint64_t size = 0;
    std::uint64_t firstPage = 0;
    std::uint64_t pageCount = 0;
    std::uint64_t pageSize = 0;  // 0: the whole file
    std::optional<Digest>* result = nullptr;
    std::uint64_t fileSize = 0;
  };
  class Worker;

  const BundleContents& bundle_;
  std::vector<Work> work_;
};

}  // namespace pellam::codesign
