#include "formats/property_list/dictionary_shapes.h"

#include <algorithm>
#include <numeric>

namespace pellam::property_list {

namespace {

// Null when two keys are equal.
std::shared_ptr<const DictionaryShape> shapeOf(const std::vector<std::string>& keys) {
  std::vector<std::size_t> order(keys.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(),
            [&](std::size_t left, std::size_t right) { return keys[left] < keys[right]; });
  const auto isEqual = [&](std::size_t left, std::size_t right) { return keys[left] == keys[right]; };
  if (std::adjacent_find(order.begin(), order.end(), isEqual) != order.end()) return nullptr;

  auto shape = std::make_shared<DictionaryShape>();
  shape->documentKeys = keys;
  PropertyListDictionary::Keys ordered;
  ordered.reserve(keys.size());
  for (const std::size_t index : order) ordered.push_back(keys[index]);
  shape->orderedKeys = std::make_shared<const PropertyListDictionary::Keys>(std::move(ordered));
  if (!std::is_sorted(order.begin(), order.end())) {
    shape->places.resize(keys.size());
    for (std::size_t place = 0; place < order.size(); ++place) shape->places[order[place]] = place;
  }
  return shape;
}

}  // namespace

PropertyListDictionary DictionaryShapes::dictionary(Keys keys, std::vector<PropertyListValue> values) {
  std::shared_ptr<const DictionaryShape> shape = std::move(keys.expected_);
  if (shape && keys.count_ < shape->documentKeys.size()) {
    const auto& known = shape->documentKeys;
    keys.own_.assign(known.begin(), known.begin() + static_cast<std::ptrdiff_t>(keys.count_));
    shape.reset();
  }
  if (!shape) {
    if (values.empty()) return {};
    shape = shapeOf(keys.own_);
    if (!shape) {
      std::vector<PropertyListDictionary::Entry> entries;
      entries.reserve(values.size());
      for (std::size_t index = 0; index < values.size(); ++index) {
        entries.emplace_back(std::move(keys.own_[index]), std::move(values[index]));
      }
      return PropertyListDictionary(std::move(entries));
    }
  }
  latest_ = shape;
  if (shape->places.empty()) return {shape->orderedKeys, std::move(values)};
  std::vector<PropertyListValue> ordered(values.size());
  for (std::size_t index = 0; index < values.size(); ++index) {
    ordered[shape->places[index]] = std::move(values[index]);
  }
  return {shape->orderedKeys, std::move(ordered)};
}

}  // namespace pellam::property_list
