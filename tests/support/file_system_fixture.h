#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "platform/file_system.h"

namespace pellam::testing_support {

// The system's file manager at work in a folder of the test's own, which goes with the test.
class FileSystemFixture : public testing::Test {
 protected:
  using Path = std::filesystem::path;

  void SetUp() override {
    root_ = std::filesystem::canonical(makeFolder(std::filesystem::temp_directory_path()));
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  static Path makeFolder(const Path& parent) {
    std::string pattern = (parent / "pellam-file-system-XXXXXX").string();
    return ::mkdtemp(pattern.data());
  }
  static void write(const Path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  std::string read(const Path& path) { return std::string(files_->readFile(path).text()); }
  // The errno that the work failed with, 0 when it did not.
  static int errorOf(const std::function<void()>& work) {
    try {
      work();
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    return 0;
  }
  static std::vector<std::string> namesIn(const Path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  static std::vector<std::uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

  std::shared_ptr<FileSystem> files_ = makeSystemFileSystem();
  Path root_;
};

}  // namespace pellam::testing_support
