#pragma once

// IntervalStarts: the starts of an IntervalGrid's intervals, each computed at most once, and the
// search for the interval a date falls in answered from them. computeStatistics uses one per
// computation to place thousands of samples without a calendar addition for each.
//
// Starts of calendar intervals (days, weeks, months...) within the stretch of time given at
// construction are kept in a table by interval index, so a lookup there is a few array reads;
// starts outside it are kept in a map. Elapsed-time intervals are plain arithmetic and are
// computed each time. Every start is exactly IntervalGrid::startOfInterval's, and
// indexContaining runs IntervalGrid's own search over them, so results are the grid's own.
//
// Not thread-safe: one per computation, on one thread.

#include <map>
#include <vector>

#include "HealthKit/internal/IntervalGrid.h"

namespace platform::healthkit {

class IntervalStarts {
 public:
  // `from` and `to`, in seconds since the reference date, bound the dates most lookups are for.
  IntervalStarts(const IntervalGrid& grid, double from, double to);

  // The start of interval `index`, in seconds since the reference date.
  double operator()(long index);
  NSDate date(long index) { return NSDate::dateWithTimeIntervalSinceReferenceDate((*this)(index)); }
  // The interval that contains `date` (seconds since the reference date).
  long indexContaining(double date);

 private:
  double computed(long index) const;

  const IntervalGrid& grid_;
  long first_ = 0;             // the index table_[0] holds
  std::vector<double> table_;  // NaN until computed
  std::map<long, double> outside_;
};

}  // namespace platform::healthkit
