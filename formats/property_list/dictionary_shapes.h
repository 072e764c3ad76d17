#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "pellam/property_list_value.h"

namespace pellam::property_list {

// The keys of one dictionary as the document orders them, and where each stands among them in their own
// order.
struct DictionaryShape {
  std::vector<std::string> documentKeys;
  std::shared_ptr<const PropertyListDictionary::Keys> orderedKeys;
  std::vector<std::size_t> places;  // of the first, second... key of the document; empty: as they come
};

// Puts dictionaries together whose keys come one by one. Mostly a dictionary has the keys of the one before
// it: then nothing is sorted, and both share their keys.
class DictionaryShapes {
 public:
  // The keys of one dictionary while it is read. Others, nested in it, may be read meanwhile.
  class Keys {
   public:
    explicit Keys(std::shared_ptr<const DictionaryShape> expected) : expected_(std::move(expected)) {}

    void add(std::string_view key) {
      if (expected_ && count_ < expected_->documentKeys.size() && expected_->documentKeys[count_] == key) {
        ++count_;
        return;
      }
      if (expected_) {
        const auto& known = expected_->documentKeys;
        own_.assign(known.begin(), known.begin() + static_cast<std::ptrdiff_t>(count_));
        expected_.reset();
      }
      own_.emplace_back(key);
    }

   private:
    friend class DictionaryShapes;
    std::shared_ptr<const DictionaryShape> expected_;  // null once a key was another one
    std::size_t count_ = 0;                            // of the expected keys that came
    std::vector<std::string> own_;
  };

  [[nodiscard]] Keys begin() const { return Keys(latest_); }
  [[nodiscard]] std::size_t expectedSize() const { return latest_ ? latest_->documentKeys.size() : 0; }
  // One value for each key, in the order of the document; of equal keys the last one stays.
  [[nodiscard]] PropertyListDictionary dictionary(Keys keys, std::vector<PropertyListValue> values);

 private:
  std::shared_ptr<const DictionaryShape> latest_;
};

}  // namespace pellam::property_list
