#include "Foundation/NSDateComponents.h"

template <class Self>
auto NSDateComponents::field(Self& self, NSCalendarUnit unit) -> decltype(&self.era_) {
  switch (unit) {
    case NSCalendarUnitEra:
      return &self.era_;
    case NSCalendarUnitYear:
      return &self.year_;
    case NSCalendarUnitMonth:
      return &self.month_;
    case NSCalendarUnitDay:
      return &self.day_;
    case NSCalendarUnitHour:
      return &self.hour_;
    case NSCalendarUnitMinute:
      return &self.minute_;
    case NSCalendarUnitSecond:
      return &self.second_;
    case NSCalendarUnitNanosecond:
      return &self.nanosecond_;
    case NSCalendarUnitWeekday:
      return &self.weekday_;
    case NSCalendarUnitWeekdayOrdinal:
      return &self.weekdayOrdinal_;
    case NSCalendarUnitQuarter:
      return &self.quarter_;
    case NSCalendarUnitWeekOfMonth:
      return &self.weekOfMonth_;
    case NSCalendarUnitWeekOfYear:
      return &self.weekOfYear_;
    case NSCalendarUnitYearForWeekOfYear:
      return &self.yearForWeekOfYear_;
    default:
      return nullptr;
  }
}

long NSDateComponents::valueForComponent(NSCalendarUnit unit) const {
  const long* value = field(*this, unit);
  return value ? *value : NSDateComponentUndefined;
}

void NSDateComponents::setValue(long value, NSCalendarUnit unit) {
  if (long* target = field(*this, unit)) *target = value;
}

bool NSDateComponents::operator==(const NSDateComponents& other) const {
  const bool sameZone =
      (!timeZone_ && !other.timeZone_) ||
      (timeZone_ && other.timeZone_ && timeZone_->isEqualToTimeZone(*other.timeZone_));
  return era_ == other.era_ && year_ == other.year_ && month_ == other.month_ &&
         day_ == other.day_ && hour_ == other.hour_ && minute_ == other.minute_ &&
         second_ == other.second_ && nanosecond_ == other.nanosecond_ &&
         weekday_ == other.weekday_ && weekdayOrdinal_ == other.weekdayOrdinal_ &&
         quarter_ == other.quarter_ && weekOfMonth_ == other.weekOfMonth_ &&
         weekOfYear_ == other.weekOfYear_ && yearForWeekOfYear_ == other.yearForWeekOfYear_ &&
         calendar_ == other.calendar_ && sameZone;
}
