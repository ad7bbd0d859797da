#pragma once

// NSDateComponents: a date or a duration expressed in calendar units (year, month, day, hour...)
// rather than as an instant. NSCalendar produces them from dates, builds dates from them, adds
// them to dates and matches dates against them. A value type (copy freely; thread-safe as any
// value); every field is NSDateComponentUndefined until set.
//
//   NSDateComponents parts;
//   parts.setHour(0);
//   parts.setMinute(0);
//   parts.setSecond(1);
//   calendar->nextDateAfterDate(now, parts, NSCalendarMatchNextTime);

#include <climits>
#include <memory>

#include "Foundation/NSCalendarUnit.h"
#include "Foundation/NSTimeZone.h"

class NSCalendar;

// The value of a field that is not set.
inline constexpr long NSDateComponentUndefined = LONG_MAX;

class NSDateComponents {
 public:
  long era() const { return era_; }
  void setEra(long v) { era_ = v; }
  long year() const { return year_; }
  void setYear(long v) { year_ = v; }
  long month() const { return month_; }
  void setMonth(long v) { month_ = v; }
  long day() const { return day_; }
  void setDay(long v) { day_ = v; }
  long hour() const { return hour_; }
  void setHour(long v) { hour_ = v; }
  long minute() const { return minute_; }
  void setMinute(long v) { minute_ = v; }
  long second() const { return second_; }
  void setSecond(long v) { second_ = v; }
  long nanosecond() const { return nanosecond_; }
  void setNanosecond(long v) { nanosecond_ = v; }
  // 1 is Sunday, 7 Saturday.
  long weekday() const { return weekday_; }
  void setWeekday(long v) { weekday_ = v; }
  // Which occurrence of the weekday in the month: 2 with weekday 3 is "the second Tuesday".
  long weekdayOrdinal() const { return weekdayOrdinal_; }
  void setWeekdayOrdinal(long v) { weekdayOrdinal_ = v; }
  long quarter() const { return quarter_; }
  void setQuarter(long v) { quarter_ = v; }
  long weekOfMonth() const { return weekOfMonth_; }
  void setWeekOfMonth(long v) { weekOfMonth_ = v; }
  long weekOfYear() const { return weekOfYear_; }
  void setWeekOfYear(long v) { weekOfYear_ = v; }
  long yearForWeekOfYear() const { return yearForWeekOfYear_; }
  void setYearForWeekOfYear(long v) { yearForWeekOfYear_ = v; }

  // The calendar and the time zone these components are in, when known (nullptr otherwise).
  // NSCalendar::dateFromComponents uses the time zone in place of its own when it is set.
  const std::shared_ptr<NSCalendar>& calendar() const { return calendar_; }
  void setCalendar(std::shared_ptr<NSCalendar> calendar) { calendar_ = std::move(calendar); }
  const std::shared_ptr<NSTimeZone>& timeZone() const { return timeZone_; }
  void setTimeZone(std::shared_ptr<NSTimeZone> zone) { timeZone_ = std::move(zone); }

  // The field of one unit (exactly one bit of the mask); NSDateComponentUndefined for a unit
  // that has no field (Calendar, TimeZone) or a mask of several units.
  long valueForComponent(NSCalendarUnit unit) const;
  // Sets the field of one unit; a mask that is not exactly one field's unit is ignored.
  void setValue(long value, NSCalendarUnit unit);

  // Equal when every field is equal, the time zones have the same name (or are both unset) and
  // the calendars are the same object (or both unset).
  bool operator==(const NSDateComponents& other) const;

 private:
  // The member holding a unit's field, nullptr for anything but one field's unit.
  template <class Self>
  static auto field(Self& self, NSCalendarUnit unit) -> decltype(&self.era_);

  long era_ = NSDateComponentUndefined;
  long year_ = NSDateComponentUndefined;
  long month_ = NSDateComponentUndefined;
  long day_ = NSDateComponentUndefined;
  long hour_ = NSDateComponentUndefined;
  long minute_ = NSDateComponentUndefined;
  long second_ = NSDateComponentUndefined;
  long nanosecond_ = NSDateComponentUndefined;
  long weekday_ = NSDateComponentUndefined;
  long weekdayOrdinal_ = NSDateComponentUndefined;
  long quarter_ = NSDateComponentUndefined;
  long weekOfMonth_ = NSDateComponentUndefined;
  long weekOfYear_ = NSDateComponentUndefined;
  long yearForWeekOfYear_ = NSDateComponentUndefined;
  std::shared_ptr<NSCalendar> calendar_;
  std::shared_ptr<NSTimeZone> timeZone_;
};
