#pragma once

#include <memory>
#include <optional>

#include "host/update_settings.h"
#include "pellam/key_value_storing.h"
#include "platform/clock.h"

namespace pellam {

// When the next automatic check is due. What it decides is kept in the settings, so that neither a restart
// nor an application that is started every minute makes checks more frequent. A check made by hand counts
// like an automatic one. Not thread-safe.
class AutomaticCheckSchedule {
 public:
  AutomaticCheckSchedule(std::shared_ptr<PellamKeyValueStoring> store,
                         std::shared_ptr<UpdateSettings> settings)
      : store_(std::move(store)), settings_(std::move(settings)) {}

  // Who says when the next check is: the feed, or nobody.
  enum class Interval { stated, usual };

  // Now, when there was no check yet, or when the last one lies in the future: then the clock was set back.
  [[nodiscard]] Date nextCheckDate(Date now) const;

  // A check has come to a decision. Usually the next one is a day later.
  void noteCheck(Date now, Interval interval);
  // A check has failed: the next one comes after a quarter of an hour, after each further failure after twice
  // the time, up to four hours; never earlier than it was due anyway.
  void noteFailure(Date now);
  // The user wants to be reminded: a check comes no later than the reminder is due, but not within the hour.
  void noteReminder(Date now);

 private:
  void noteAttempt(Date now);

  std::shared_ptr<PellamKeyValueStoring> store_;
  std::shared_ptr<UpdateSettings> settings_;
  int failures_ = 0;  // in a row
  std::optional<Date> notBefore_;
};

}  // namespace pellam
