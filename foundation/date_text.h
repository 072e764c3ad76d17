#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "pellam/date.h"

namespace pellam {

// The instant in ISO 8601, in UTC with whole seconds: "2026-11-22T20:35:41Z". A fraction is dropped towards
// the past.
[[nodiscard]] std::string iso8601Text(Date date);

// Reads "YYYY-MM-DDThh:mm:ssZ" (a fraction of up to six digits is accepted) in the proleptic Gregorian
// calendar, years 1 to 9999. Anything else, an impossible day or time included, gives nothing.
[[nodiscard]] std::optional<Date> parseISO8601(std::string_view text);

}  // namespace pellam
