#include "platform/identifiers.h"

#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

class SystemUUIDGenerator final : public UUIDGenerating {
 public:
  std::string makeUUID() override { return macos::textOf([NSUUID UUID].UUIDString); }
};

}  // namespace

std::shared_ptr<UUIDGenerating> makeSystemUUIDGenerator() { return std::make_shared<SystemUUIDGenerator>(); }

}  // namespace pellam
