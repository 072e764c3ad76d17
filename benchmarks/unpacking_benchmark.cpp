// Unpacking an application-like archive of 3,000 files and 315 MB to memory-backed files, against bsdtar.
// The argument is the program pellam-ditto; without one it is looked for beside this program.

#include <spawn.h>
#include <sys/wait.h>
#include <cstdlib>

#include <filesystem>
#include <fstream>
#include <random>

#include "benchmarks/measure.h"
#include "tests/support/zip_builder.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

std::string makeArchive() {
  std::mt19937 random(5);
  std::vector<std::string> words(4000);
  for (std::string& word : words) {
    for (auto count = 3 + random() % 9; count > 0; --count) word += static_cast<char>(random());
  }
  pellam::archive::ZipBuilder builder;
  for (unsigned index = 0; index < 3000; ++index) {
    const std::size_t size = index % 150 == 0 ? 5'000'000 : 2000 + random() % 140'000;
    std::string content;
    while (content.size() < size) {
      if (random() % 5 != 0) {
        content += words[random() % words.size()];
      } else {
        for (int count = 0; count < 6; ++count) content += static_cast<char>(random());
      }
    }
    pellam::archive::BuiltEntry entry;
    entry.name = "Editor.app/Contents/Resources/" + std::to_string(index % 60) + "/" + std::to_string(index);
    entry.content = std::move(content);
    entry.isDeflated = true;
    builder.entries.push_back(std::move(entry));
  }
  return builder.build();
}

double secondsOfProgram(std::vector<std::string> arguments) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  return pellam::benchmark::secondsOf([&] {
    pid_t child = 0;
    int status = 1;
    if (posix_spawnp(&child, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
      std::fprintf(stderr, "%s failed\n", pointers[0]);
      std::exit(1);
    }
  });
}

}  // namespace

int main(int argc, char* argv[]) {
  const fs::path program = argc > 1 ? fs::path(argv[1]) : fs::path(argv[0]).parent_path() / "pellam-ditto";
  std::string pattern = "/dev/shm/unpacking-benchmark-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) return 1;
  const fs::path folder = pattern;
  const fs::path archive = folder / "a.zip";
  std::ofstream(archive, std::ios::binary) << makeArchive();
  std::vector<double> ours;
  std::vector<double> theirs;
  for (int round = 0; round < 5; ++round) {
    const fs::path place = folder / "out";
    fs::create_directory(place);
    ours.push_back(secondsOfProgram({program.string(), "-x", "-k", archive.string(), place.string()}));
    fs::remove_all(place);
    fs::create_directory(place);
    theirs.push_back(secondsOfProgram({"bsdtar", "-xf", archive.string(), "-C", place.string()}));
    fs::remove_all(place);
  }
  fs::remove_all(folder);
  const double own = pellam::benchmark::median(ours);
  const double bsdtar = pellam::benchmark::median(theirs);
  pellam::benchmark::printRow("unpacking 3,000 files, 315 MB, s, bsdtar", own, bsdtar, bsdtar / own, 1.5);
}
