#include "HealthKit/internal/IntervalGrid.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace platform::healthkit {

namespace {

// How each accepted unit is added: as `factor` of `addAs`, `seconds` long nominally.
struct UnitLength {
  NSCalendarUnit unit;
  NSCalendarUnit addAs;
  long factor;
  double seconds;
  bool calendarDependent;
};

constexpr UnitLength kUnits[] = {
    {NSCalendarUnitYear, NSCalendarUnitYear, 1, 365.2425 * 86400, true},
    {NSCalendarUnitQuarter, NSCalendarUnitMonth, 3, 365.2425 * 86400 / 4, true},
    {NSCalendarUnitMonth, NSCalendarUnitMonth, 1, 365.2425 * 86400 / 12, true},
    {NSCalendarUnitWeekOfYear, NSCalendarUnitDay, 7, 7 * 86400, true},
    {NSCalendarUnitWeekOfMonth, NSCalendarUnitDay, 7, 7 * 86400, true},
    {NSCalendarUnitDay, NSCalendarUnitDay, 1, 86400, true},
    {NSCalendarUnitHour, NSCalendarUnitHour, 1, 3600, false},
    {NSCalendarUnitMinute, NSCalendarUnitMinute, 1, 60, false},
    {NSCalendarUnitSecond, NSCalendarUnitSecond, 1, 1, false},
    {NSCalendarUnitNanosecond, NSCalendarUnitNanosecond, 1, 1e-9, false},
};

constexpr NSCalendarUnit kUnsupported[] = {NSCalendarUnitEra, NSCalendarUnitWeekday,
                                           NSCalendarUnitWeekdayOrdinal,
                                           NSCalendarUnitYearForWeekOfYear};

long valueOrZero(const NSDateComponents& components, NSCalendarUnit unit) {
  const long value = components.valueForComponent(unit);
  return value == NSDateComponentUndefined ? 0 : value;
}

}  // namespace

IntervalGrid::IntervalGrid(NSDate anchor, const NSDateComponents& interval,
                           std::shared_ptr<NSCalendar> calendar)
    : anchor_(anchor), calendar_(std::move(calendar)) {
  for (NSCalendarUnit unit : kUnsupported) {
    if (interval.valueForComponent(unit) != NSDateComponentUndefined) {
      throw std::invalid_argument(
          "HKStatisticsCollectionQuery: intervalComponents may only use year, quarter, month, "
          "week, day, hour, minute, second and nanosecond");
    }
  }
  bool calendarDependent = false;
  bool any = false;
  for (const UnitLength& unit : kUnits) {
    const long value = interval.valueForComponent(unit.unit);
    if (value == NSDateComponentUndefined || value == 0) continue;
    if (value < 0) {
      throw std::invalid_argument(
          "HKStatisticsCollectionQuery: intervalComponents must be "
          "positive, got " +
          std::to_string(value));
    }
    any = true;
    interval_.setValue(valueOrZero(interval_, unit.addAs) + value * unit.factor, unit.addAs);
    nominalSeconds_ += static_cast<double>(value) * unit.seconds;
    calendarDependent = calendarDependent || unit.calendarDependent;
  }
  if (!any) {
    throw std::invalid_argument("HKStatisticsCollectionQuery: intervalComponents are empty");
  }
  if (!calendarDependent) fixedSeconds_ = nominalSeconds_;
}

NSDate IntervalGrid::startOfInterval(long index) const {
  if (fixedSeconds_) return anchor_.dateByAddingTimeInterval(*fixedSeconds_ * index);
  NSDateComponents scaled;
  for (const UnitLength& unit : kUnits) {
    const long value = interval_.valueForComponent(unit.unit);
    if (unit.addAs == unit.unit && value != NSDateComponentUndefined) {
      scaled.setValue(value * index, unit.unit);
    }
  }
  std::optional<NSDate> start =
      calendar_->dateByAddingComponents(scaled, anchor_, NSCalendarOptions{});
  if (!start) {
    // Only dates far outside any realistic range make the calendar fail.
    throw std::invalid_argument("HKStatisticsCollectionQuery: interval " + std::to_string(index) +
                                " from the anchor date cannot be computed");
  }
  return *start;
}

long IntervalGrid::indexContaining(NSDate date) const {
  return indexContaining(date, [this](long index) { return startOfInterval(index); });
}

long IntervalGrid::estimatedIndex(NSDate date) const {
  return static_cast<long>(std::floor(date.timeIntervalSinceDate(anchor_) / nominalSeconds_));
}

}  // namespace platform::healthkit
