#include "Foundation/NSDateComponents.h"

long* NSDateComponents::field(NSCalendarUnit unit) {
  switch (unit) {
    case NSCalendarUnitEra: return &era_;
    case NSCalendarUnitYear: return &year_;
    case NSCalendarUnitMonth: return &month_;
    case NSCalendarUnitDay: return &day_;
    case NSCalendarUnitHour: return &hour_;
    case NSCalendarUnitMinute: return &minute_;
    case NSCalendarUnitSecond: return &second_;
    case NSCalendarUnitNanosecond: return &nanosecond_;
    case NSCalendarUnitWeekday: return &weekday_;
    case NSCalendarUnitWeekdayOrdinal: return &weekdayOrdinal_;
    case NSCalendarUnitQuarter: return &quarter_;
    case NSCalendarUnitWeekOfMonth: return &weekOfMonth_;
    case NSCalendarUnitWeekOfYear: return &weekOfYear_;
    case NSCalendarUnitYearForWeekOfYear: return &yearForWeekOfYear_;
    default: return nullptr;
  }
}

long NSDateComponents::valueForComponent(NSCalendarUnit unit) const {
  const long* value = const_cast<NSDateComponents*>(this)->field(unit);
  return value ? *value : NSDateComponentUndefined;
}

void NSDateComponents::setValue(long value, NSCalendarUnit unit) {
  if (long* target = field(unit)) *target = value;
}

bool NSDateComponents::operator==(const NSDateComponents& other) const {
  const bool sameZone = (!timeZone_ && !other.timeZone_) ||
                        (timeZone_ && other.timeZone_ && timeZone_->isEqualToTimeZone(*other.timeZone_));
  return era_ == other.era_ && year_ == other.year_ && month_ == other.month_ &&
         day_ == other.day_ && hour_ == other.hour_ && minute_ == other.minute_ &&
         second_ == other.second_ && nanosecond_ == other.nanosecond_ &&
         weekday_ == other.weekday_ && weekdayOrdinal_ == other.weekdayOrdinal_ &&
         quarter_ == other.quarter_ && weekOfMonth_ == other.weekOfMonth_ &&
         weekOfYear_ == other.weekOfYear_ && yearForWeekOfYear_ == other.yearForWeekOfYear_ &&
         calendar_ == other.calendar_ && sameZone;
}
