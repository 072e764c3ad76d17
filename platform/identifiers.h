#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace pellam {

// Makes random identifiers. Any thread.
class UUIDGenerating {
 public:
  virtual ~UUIDGenerating() = default;
  // A fresh random UUID in its canonical upper-case form, 36 characters.
  [[nodiscard]] virtual std::string makeUUID() = 0;
};

// True for the canonical 36-character form, in either letter case.
[[nodiscard]] bool isUUID(std::string_view text);

[[nodiscard]] std::shared_ptr<UUIDGenerating> makeSystemUUIDGenerator();

}  // namespace pellam
