#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace pellam::testing_support {

// A fresh folder that is removed with everything in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string pattern = (parent / "pellam-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = std::filesystem::canonical(pattern);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& name) const {
    return path_ / name;
  }

  // Writes a file below the folder, with the folders above it.
  std::filesystem::path write(const std::filesystem::path& name, const std::string& text) const {
    std::filesystem::path file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }
  [[nodiscard]] static std::string read(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace pellam::testing_support
