#include "formats/signing/resource_seal.h"

#include <algorithm>

#include "platform/property_list.h"

namespace pellam::codesign {

namespace {

// How the platform's tool reads this seal: files count by default, finder files and Info.plist do not, code
// in its own folders is sealed by its own signature.
PropertyListDictionary rules() {
  const auto weighted = [](const char* key, double weight) {
    return PropertyListValue(PropertyListDictionary{{key, true}, {"weight", weight}});
  };
  return {
      {"^.*", true},
      {"^(.*/)?\\.DS_Store$", weighted("omit", 2000)},
      {"^Info\\.plist$", weighted("omit", 20)},
      {"^(Frameworks|SharedFrameworks|PlugIns|Plug-ins|XPCServices|Helpers|MacOS|Library|Applications)/",
       weighted("nested", 10)},
  };
}

template <std::size_t size>
std::optional<std::array<std::uint8_t, size>> bytesOf(const PropertyListValue* value) {
  if (value == nullptr || value->data() == nullptr || value->data()->size() != size) return std::nullopt;
  std::array<std::uint8_t, size> bytes{};
  std::copy(value->data()->begin(), value->data()->end(), bytes.begin());
  return bytes;
}

std::optional<SealedItem> itemOf(const PropertyListValue& value) {
  const PropertyListDictionary* entry = value.dictionary();
  if (entry == nullptr) return std::nullopt;
  SealedItem item;
  if (entry->size() == 1 && entry->contains("hash2")) {
    item.file = bytesOf<32>(entry->find("hash2"));
    if (item.file) return item;
  } else if (entry->size() == 1 && entry->findString("symlink") != nullptr) {
    item.linkTarget = *entry->findString("symlink");
    return item;
  } else if (entry->size() == 2 && entry->findString("requirement") != nullptr) {
    const auto hash = bytesOf<20>(entry->find("cdhash"));
    if (!hash) return std::nullopt;
    item.nestedCode = SealedItem::NestedCode{*hash, *entry->findString("requirement")};
    return item;
  }
  return std::nullopt;
}

PropertyListData dataOf(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace

std::size_t ResourceSeal::ruleCount() { return rules().size(); }

std::string ResourceSeal::encoded() const {
  std::vector<PropertyListDictionary::Entry> entries;
  entries.reserve(items.size());
  for (const auto& [path, item] : items) {
    PropertyListDictionary entry;
    if (item.file) entry.set("hash2", dataOf(*item.file));
    if (item.linkTarget) entry.set("symlink", *item.linkTarget);
    if (item.nestedCode) {
      entry.set("cdhash", dataOf(item.nestedCode->hash));
      entry.set("requirement", item.nestedCode->requirement);
    }
    entries.emplace_back(path, PropertyListValue(std::move(entry)));
  }
  return writeXMLPropertyList(PropertyListValue(
      PropertyListDictionary{{"files2", PropertyListDictionary(std::move(entries))}, {"rules2", rules()}}));
}

std::optional<ResourceSeal> ResourceSeal::decode(std::span<const std::uint8_t> bytes) {
  PropertyListValue value;
  try {
    value = readPropertyList(bytes);
  } catch (const PropertyListReadError&) {
    return std::nullopt;
  }
  const PropertyListDictionary* root = value.dictionary();
  if (root == nullptr || root->size() != 2) return std::nullopt;
  const PropertyListValue* files = root->find("files2");
  const PropertyListValue* givenRules = root->find("rules2");
  if (files == nullptr || files->dictionary() == nullptr || givenRules == nullptr ||
      *givenRules != PropertyListValue(rules())) {
    return std::nullopt;
  }
  ResourceSeal seal;
  for (const auto& [path, entry] : *files->dictionary()) {
    std::optional<SealedItem> item = itemOf(entry);
    if (!item) return std::nullopt;
    seal.items.emplace_hint(seal.items.end(), path, *std::move(item));
  }
  return seal;
}

}  // namespace pellam::codesign
