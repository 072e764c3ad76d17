#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

#include "pellam/bridged_error.h"

namespace [[gnu::visibility("default")]] pellam {

// Why there is no feed: what arrived is unreadable, or it is readable and holds no entries.
//
// For example:
//
//     const OrvoUpdateFeedParserError error(OrvoUpdateFeedParserError::Case::feedNotFound);
//     assert(error.caseName() == "feedNotFound");
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

}  // namespace pellam

template <>
struct std::hash<pellam::OrvoUpdateFeedParserError> {
  std::size_t operator()(const pellam::OrvoUpdateFeedParserError& error) const noexcept {
    return static_cast<std::size_t>(error.errorCase());
  }
};
