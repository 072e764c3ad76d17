#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "platform/identifiers.h"

namespace pellam {

namespace {

class SystemUUIDGenerator final : public UUIDGenerating {
 public:
  std::string makeUUID() override {
    std::array<std::uint8_t, 16> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
      throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
      if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
      text += "0123456789ABCDEF"[bytes[index] >> 4];
      text += "0123456789ABCDEF"[bytes[index] & 0x0F];
    }
    return text;
  }
};

}  // namespace

std::shared_ptr<UUIDGenerating> makeSystemUUIDGenerator() { return std::make_shared<SystemUUIDGenerator>(); }

}  // namespace pellam
