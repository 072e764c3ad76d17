#pragma once

#include <memory>
#include <string>

#include "foundation/uuid.h"

namespace pellam {

// Makes random identifiers. Any thread.
class UUIDGenerating {
 public:
  virtual ~UUIDGenerating() = default;
  // A fresh random UUID in its canonical upper-case form, 36 characters.
  [[nodiscard]] virtual std::string makeUUID() = 0;
};

[[nodiscard]] std::shared_ptr<UUIDGenerating> makeSystemUUIDGenerator();

}  // namespace pellam
