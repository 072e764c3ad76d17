#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace pellam::testing_support {

// A vendor's own authority and the identities it issues, made with the openssl program: DIR/ca.pem, and per
// identity DIR/<name>.pem and DIR/<name>.key.
class SigningAuthority {
 public:
  explicit SigningAuthority(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_);
    run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout ca.key -out "
        "ca.pem "
        "-subj '/CN=Test Authority' -days 30");
  }

  // The subject is everything behind the common name, for example "/OU=TEAM".
  void issue(const std::string& name, const std::string& subject, int days = 20,
             const std::string& usage = "codeSigning") const {
    std::ofstream(folder_ / "extensions")
        << "extendedKeyUsage=" << usage << "\nkeyUsage=digitalSignature\nbasicConstraints=CA:FALSE\n";
    run("openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout " + name +
        ".key -out " + name + ".csr -subj '/CN=Developer " + name + subject + "'");
    run("openssl x509 -req -in " + name + ".csr -CA ca.pem -CAkey ca.key -CAcreateserial -days " +
        std::to_string(days) + " -extfile extensions -out " + name + ".pem");
  }

  [[nodiscard]] std::filesystem::path anchors() const { return folder_ / "ca.pem"; }
  [[nodiscard]] std::filesystem::path certificate(const std::string& name) const {
    return folder_ / (name + ".pem");
  }
  [[nodiscard]] std::filesystem::path key(const std::string& name) const { return folder_ / (name + ".key"); }

 private:
  void run(const std::string& command) const {
    const std::string line = "cd '" + folder_.string() + "' && " + command + " >log 2>&1";
    if (std::system(line.c_str()) != 0) throw std::runtime_error("failed: " + command);
  }

  std::filesystem::path folder_;
};

}  // namespace pellam::testing_support
