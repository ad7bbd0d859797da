#pragma once

// IntervalGrid: the time intervals of a statistics-collection query.
//
// Interval k starts at the anchor date plus k times the interval components, added in the
// calendar (so one-day intervals keep their wall-clock start across daylight-saving changes and
// are 23 or 25 hours long on those days, and one-month intervals follow the months). k may be
// negative: the intervals extend from the anchor in both directions. Components made only of
// hours, minutes, seconds and nanoseconds are elapsed time, computed without the calendar.
//
// Immutable after construction; thread-safe (the calendar is).

#include <memory>
#include <optional>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSDate.h"
#include "Foundation/NSDateComponents.h"

namespace platform::healthkit {

class IntervalGrid {
 public:
  // Throws std::invalid_argument when the components are empty, not all positive, or use units
  // other than year, quarter, month, week of year or month (a week), day, hour, minute, second
  // and nanosecond.
  IntervalGrid(NSDate anchor, const NSDateComponents& interval,
               std::shared_ptr<NSCalendar> calendar);

  NSDate startOfInterval(long index) const;
  // The interval that contains `date`: start <= date < start of the next one.
  long indexContaining(NSDate date) const;
  // The same search, reading each start it needs from `startOf(index)`, which must return
  // exactly startOfInterval(index): lets a caller that keeps the starts skip the calendar and
  // still get the very index indexContaining(date) gives.
  template <class StartOf>
  long indexContaining(NSDate date, StartOf&& startOf) const {
    long index = estimatedIndex(date);
    while (startOf(index) > date) --index;
    while (startOf(index + 1) <= date) ++index;
    return index;
  }
  // An index at or near the one containing `date`, from the intervals' nominal length.
  long estimatedIndex(NSDate date) const;
  // True when interval starts are elapsed time from the anchor, computed without the calendar.
  bool isElapsedTime() const { return fixedSeconds_.has_value(); }

 private:
  NSDate anchor_;
  NSDateComponents interval_;
  std::shared_ptr<NSCalendar> calendar_;
  double nominalSeconds_ = 0;           // rough length, to find an index quickly
  std::optional<double> fixedSeconds_;  // exact length when no calendar unit is involved
};

}  // namespace platform::healthkit
