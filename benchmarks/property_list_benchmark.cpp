// Reading property lists of 20,000 entries with 15 strings each, against libplist and Python's plistlib.
// Every measurement runs in a process of its own, so that no heap is disturbed by the other reader's garbage.

#include <plist/plist.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>

#include "benchmarks/measure.h"
#include "platform/property_list.h"

namespace {

using namespace pellam;
using Bytes = std::vector<std::uint8_t>;

PropertyListValue makeList() {
  const char* const keys[] = {
      "app-installer", "current", "currentbuild", "id",          "important", "installer-name",
      "interval",      "lang",    "os",           "releasedate", "sku",       "title",
      "type",          "url",     "version"};
  std::mt19937 random(42);
  PropertyListArray list;
  for (int index = 0; index < 20'000; ++index) {
    PropertyListDictionary entry;
    for (const char* key : keys) {
      std::string text = std::string(key) + "-" + std::to_string(index) + "-";
      for (int letter = 0; letter < 12; ++letter)
        text += "abcdefghijklmnopqrstuvwxyz0123456789/."[random() % 38];
      entry.set(key, text);
    }
    list.push_back(std::move(entry));
  }
  return list;
}

// The seconds that the work reports from a child process.
double inChild(const std::function<double()>& work) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    const double seconds = work();
    if (write(ends[1], &seconds, sizeof seconds) != sizeof seconds) std::abort();
    _exit(0);
  }
  close(ends[1]);
  double seconds = 0;
  if (read(ends[0], &seconds, sizeof seconds) != sizeof seconds) std::abort();
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return seconds;
}

double readOurs(const Bytes& bytes) {
  return benchmark::secondsOf([&] {
    if (readPropertyList(bytes).array()->size() != 20'000) std::abort();
  });
}

double readTheirs(const Bytes& bytes) {
  return benchmark::secondsOf([&] {
    plist_t list = nullptr;
    plist_from_memory(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()),
                      &list);
    if (plist_array_get_size(list) != 20'000) std::abort();
    plist_free(list);
  });
}

std::optional<double> readWithPython(const Bytes& bytes) {
  char path[] = "/tmp/property-list-benchmark-XXXXXX";
  const int file = mkstemp(path);
  if (file < 0 || write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    return std::nullopt;
  close(file);
  const std::string command =
      "python3 -c \"import plistlib,time,sys\nb=open(sys.argv[1],'rb').read()\nt=time.perf_counter()\n"
      "plistlib.loads(b)\nprint(time.perf_counter()-t)\" " +
      std::string(path);
  double seconds = 0;
  std::FILE* output = popen(command.c_str(), "r");
  const bool isRead = output != nullptr && std::fscanf(output, "%lf", &seconds) == 1;
  if (output != nullptr) pclose(output);
  unlink(path);
  return isRead ? std::optional(seconds) : std::nullopt;
}

void compare(const std::string& form, const Bytes& bytes) {
  std::vector<double> ours;
  std::vector<double> theirs;
  for (int round = 0; round < 9; ++round) {
    ours.push_back(inChild([&] { return readOurs(bytes); }));
    theirs.push_back(inChild([&] { return readTheirs(bytes); }));
  }
  const double megabytes = static_cast<double>(bytes.size()) / 1e6;
  const double own = megabytes / benchmark::median(ours);
  const double libplist = megabytes / benchmark::median(theirs);
  const std::string row =
      "property list, " + form + ", " + std::to_string(std::lround(megabytes)) + " MB, MB/s, ";
  benchmark::printRow(row + "libplist", own, libplist, own / libplist, 4);
  if (const std::optional<double> seconds = readWithPython(bytes)) {
    benchmark::printRow(row + "plistlib", own, megabytes / *seconds, own * *seconds / megabytes,
                        std::nullopt);
  }
}

}  // namespace

int main() {
  const PropertyListValue list = makeList();
  const std::string xml = writeXMLPropertyList(list);
  compare("XML", Bytes(xml.begin(), xml.end()));
  compare("binary", writeBinaryPropertyList(list));
}
