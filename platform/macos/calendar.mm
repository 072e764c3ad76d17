#include "platform/calendar.h"

#include <cmath>
#include <limits>

#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

NSTimeZone* zoneNamed(const std::string& identifier) {
  if (identifier.empty()) return NSTimeZone.systemTimeZone;
  NSTimeZone* zone = [NSTimeZone timeZoneWithName:macos::stringFrom(identifier)];
  return zone != nil ? zone : [NSTimeZone timeZoneForSecondsFromGMT:0];
}

}  // namespace

std::optional<Date> Calendar::addingDays(Date date, std::int64_t days) const {
  constexpr std::int64_t limit = std::numeric_limits<std::int32_t>::max();
  if (days > limit || days < -limit) return std::nullopt;
  NSCalendar* calendar = [NSCalendar.currentCalendar copy];
  calendar.timeZone = zoneNamed(timeZone_);
  NSDate* moved = [calendar dateByAddingUnit:NSCalendarUnitDay
                                       value:static_cast<NSInteger>(days)
                                      toDate:macos::dateFrom(date)
                                     options:0];
  // Dates beyond the calendar's years are no dates.
  if (moved == nil || std::abs(moved.timeIntervalSince1970) > 9e12) return std::nullopt;
  return macos::dateOf(moved);
}

std::optional<Date> Calendar::parseDay(std::string_view text) const {
  NSDateFormatter* formatter = [[NSDateFormatter alloc] init];
  formatter.locale = [NSLocale localeWithLocaleIdentifier:@"en_US"];
  formatter.dateFormat = @"yyyy-MM-dd";
  formatter.timeZone = zoneNamed(timeZone_);
  NSDate* day = [formatter dateFromString:macos::stringFrom(text)];
  if (day == nil) return std::nullopt;
  return macos::dateOf(day);
}

}  // namespace pellam
