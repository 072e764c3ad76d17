#include "host/automatic_check_schedule.h"

#include <algorithm>
#include <optional>

#include "host/update_check.h"

namespace pellam {

namespace {
constexpr const char* lastCheckKey = "PellamUpdateLastCheckDate";
constexpr std::chrono::minutes firstRetryDelay{15};
constexpr int mostDoublings = 4;
constexpr std::chrono::hours longestPause{4};  // a later one was set by a clock that was ahead
constexpr std::int64_t mostReminderHours = 24 * 365;
}  // namespace

Date AutomaticCheckSchedule::nextCheckDate(Date now) const {
  const std::optional<Date> next = settings_->nextFetchDate();
  const std::optional<PropertyListValue> last = store_->objectForKey(lastCheckKey);
  const bool isClockSetBack = last && last->date() != nullptr && *last->date() > now;
  const Date due = !next || isClockSetBack ? now : *next;
  // Holds even where nothing can be stored: one check must never lead straight to the next.
  const bool isPausing = notBefore_ && *notBefore_ - now <= longestPause;
  return isPausing ? std::max(due, *notBefore_) : due;
}

void AutomaticCheckSchedule::noteAttempt(Date now) { store_->set(now, lastCheckKey); }

void AutomaticCheckSchedule::noteCheck(Date now, Interval interval) {
  failures_ = 0;
  noteAttempt(now);
  notBefore_ = now + std::chrono::seconds(UpdateCheck::minimumRefetchIntervalSeconds);
  if (interval == Interval::usual) {
    settings_->setNextFetchDate(now + std::chrono::seconds(UpdateCheck::defaultRefetchIntervalSeconds));
  }
}

void AutomaticCheckSchedule::noteFailure(Date now) {
  const Date due = nextCheckDate(now);
  const Date retry = now + firstRetryDelay * (1 << std::min(failures_, mostDoublings));
  ++failures_;
  noteAttempt(now);
  notBefore_ = retry;
  if (due < retry) settings_->setNextFetchDate(retry);
}

void AutomaticCheckSchedule::noteReminder(Date now) {
  const std::int64_t hours =
      std::clamp<std::int64_t>(settings_->checkUpdatesAfterHours(), 1, mostReminderHours);
  const Date reminder = now + std::chrono::hours(hours);
  const std::optional<Date> next = settings_->nextFetchDate();
  if (!next || *next > reminder) settings_->setNextFetchDate(reminder);
}

}  // namespace pellam
