#pragma once

// NSDateInterval: a stretch of time from a start date lasting a non-negative duration.
//
// A value type, like NSDate; thread-safe as any immutable value. Constructing one that ends
// before it starts throws std::invalid_argument, as Foundation raises.
//
//   NSDateInterval lap(start, 90);                // 90 seconds from start
//   lap.endDate() == start.dateByAddingTimeInterval(90);

#include <stdexcept>

#include "Foundation/NSDate.h"

class NSDateInterval {
 public:
  // A zero-length interval at the reference date.
  NSDateInterval() = default;
  NSDateInterval(NSDate startDate, NSTimeInterval duration)
      : startDate_(startDate), duration_(duration) {
    if (!(duration >= 0)) {
      throw std::invalid_argument("NSDateInterval: duration must not be negative");
    }
  }
  NSDateInterval(NSDate startDate, NSDate endDate)
      : NSDateInterval(startDate, endDate.timeIntervalSinceDate(startDate)) {}

  NSDate startDate() const { return startDate_; }
  NSDate endDate() const { return startDate_.dateByAddingTimeInterval(duration_); }
  NSTimeInterval duration() const { return duration_; }
  // Whether `date` lies in the interval, both ends included.
  bool containsDate(NSDate date) const { return date >= startDate_ && date <= endDate(); }

  bool operator==(const NSDateInterval&) const = default;

 private:
  NSDate startDate_;
  NSTimeInterval duration_ = 0;
};
