#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/signing/digest.h"

namespace pellam::codesign {

// What the seal says about one item. Exactly one of the three is present.
struct SealedItem {
  struct NestedCode {
    CodeHash hash{};
    std::string requirement;
    friend bool operator==(const NestedCode&, const NestedCode&) = default;
  };
  std::optional<Digest> file;
  std::optional<std::string> linkTarget;
  std::optional<NestedCode> nestedCode;

  friend bool operator==(const SealedItem&, const SealedItem&) = default;
};

// The contents of _CodeSignature/CodeResources: every item of the bundle, by its path below Contents, and the
// rules by which they were chosen. There is one fixed set of rules; a seal with others is not accepted.
struct ResourceSeal {
  std::map<std::string, SealedItem> items;

  [[nodiscard]] static std::size_t ruleCount();
  [[nodiscard]] std::string encoded() const;  // an XML property list
  // Nothing for bytes that are no seal of this kind.
  [[nodiscard]] static std::optional<ResourceSeal> decode(std::span<const std::uint8_t> bytes);
};

}  // namespace pellam::codesign
