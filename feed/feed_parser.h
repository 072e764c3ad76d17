#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "feed/feed_entry.h"
#include "pellam/bridged_error.h"

namespace pellam {

// Why there is no feed: what arrived is unreadable, or it is readable and holds no entries.
class OrvoUpdateFeedParserError : public PellamError {
 public:
  enum class Case { feedFailedToParse, feedNotFound };
  OrvoUpdateFeedParserError(Case errorCase) : case_(errorCase) {}  // NOLINT(google-explicit-constructor)

  [[nodiscard]] Case errorCase() const { return case_; }
  // The name of the case as it is spelled above.
  [[nodiscard]] std::string_view caseName() const;
  // For people, in English.
  [[nodiscard]] std::string_view description() const;
  [[nodiscard]] BridgedError bridged() const override;
  [[nodiscard]] const char* what() const noexcept override;

  friend bool operator==(const OrvoUpdateFeedParserError& left, const OrvoUpdateFeedParserError& right) {
    return left.case_ == right.case_;
  }

 private:
  Case case_;
};

// Turns the bytes of a feed into its entries. Stateless; any thread.
class OrvoUpdateFeedParser {
 public:
  // The entries in document order; never empty. The bytes are a property list in any form whose root is an
  // array of dictionaries; what the keys mean is not looked at. Throws OrvoUpdateFeedParserError:
  // feedNotFound without data, or when the root is anything but a non-empty array of dictionaries only,
  // feedFailedToParse when the bytes are no property list.
  [[nodiscard]] std::vector<FeedEntry> parseFeed(std::optional<std::span<const std::uint8_t>> data) const;
};

}  // namespace pellam

template <>
struct std::hash<pellam::OrvoUpdateFeedParserError> {
  std::size_t operator()(const pellam::OrvoUpdateFeedParserError& error) const noexcept {
    return static_cast<std::size_t>(error.errorCase());
  }
};
