#pragma once

// NSCalendar: the Gregorian calendar in a time zone. It turns instants (NSDate) into calendar
// dates (NSDateComponents) and back, does calendar arithmetic ("one day later", "the start of
// the day") and finds the dates that match given components. The sync engine uses it to walk
// days and HealthKit's statistics queries use it to cut time into buckets.
//
// A shared reference (std::shared_ptr), thread-safe: any thread may use one calendar, even
// while another changes its time zone. The engine (ICU's Gregorian calendar, first weekday
// Sunday) is guarded by a mutex; enumeration calls its block with that mutex released, so the
// block may use the calendar.
//
// Rules every operation follows:
// - Days are not assumed to last 86,400 seconds. Adding days, weeks, months or years keeps the
//   local wall-clock time; adding hours, minutes or seconds adds elapsed time.
// - A local time that does not exist (skipped when clocks go forward) is moved forward by the
//   length of the skip: 02:30 on a day whose clocks jump from 02:00 to 03:00 becomes 03:30, and
//   midnight on a day that starts at 01:00 becomes 01:00.
// - A local time that exists twice (repeated when clocks go back) is the earlier of the two
//   instants.
// - Fractions of a second are kept by arithmetic (adding a day to 10:00:00.25 gives 10:00:00.25
//   the next day); the calendar fields themselves are whole seconds.
// - Operations that cannot give a result (ICU reports an error, a value does not fit the
//   engine's 32-bit fields, a date outside the calendar's range, nothing matches) return
//   std::nullopt, or components with every field unset.
//
//   auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
//   calendar->setTimeZone(NSTimeZone::timeZoneWithName("America/New_York"));
//   NSDate midnight = *calendar->startOfDayForDate(NSDate::date());
//   std::optional<NSDate> yesterday =
//       calendar->dateByAddingUnit(NSCalendarUnitDay, -1, midnight, NSCalendarOptions{});

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Foundation/NSCalendarUnit.h"
#include "Foundation/NSDate.h"
#include "Foundation/NSDateComponents.h"
#include "Foundation/NSTimeZone.h"

namespace foundation_internal {
class CalendarEngine;
}

inline const std::string NSCalendarIdentifierGregorian = "gregorian";

class NSCalendar : public std::enable_shared_from_this<NSCalendar> {
 public:
  // Called once per matching date: `date` is the match, `exactMatch` false when the date only
  // stands in for a time the day does not have; set *stop to true to end the enumeration.
  using EnumerationBlock =
      std::function<void(std::optional<NSDate> date, bool exactMatch, bool* stop)>;

  // A new calendar in the system time zone; nullptr for any identifier but Gregorian.
  static std::shared_ptr<NSCalendar> calendarWithIdentifier(const std::string& identifier);
  // A new Gregorian calendar in the system time zone.
  static std::shared_ptr<NSCalendar> currentCalendar();

  ~NSCalendar();
  NSCalendar(const NSCalendar&) = delete;
  NSCalendar& operator=(const NSCalendar&) = delete;

  const std::string& calendarIdentifier() const { return NSCalendarIdentifierGregorian; }
  std::shared_ptr<NSTimeZone> timeZone() const;
  // nullptr puts the calendar back in the system time zone.
  void setTimeZone(std::shared_ptr<NSTimeZone> zone);
  // 1 (Sunday).
  long firstWeekday() const;

  // The first moment of the local day that contains `date` (01:00 where the day's midnight is
  // skipped).
  std::optional<NSDate> startOfDayForDate(NSDate date) const;

  // `date` moved by `value` of one unit (exactly one bit of the mask). With
  // NSCalendarWrapComponents the unit wraps within the next larger one instead of carrying
  // ("January 31 plus one day" becomes January 1).
  std::optional<NSDate> dateByAddingUnit(NSCalendarUnit unit, long value, NSDate date,
                                         NSCalendarOptions options) const;
  // `date` moved by every set field of `components`, largest unit first (era, year, quarter,
  // month, weeks, day, weekday, hour, minute, second, nanosecond); weekday counts days and
  // weekdayOrdinal weeks. The nanoseconds are added to the date's fraction of a second.
  std::optional<NSDate> dateByAddingComponents(const NSDateComponents& components, NSDate date,
                                               NSCalendarOptions options) const;

  // The fields of `unitMask` for `date` in the calendar's time zone (Calendar and TimeZone bits
  // fill in those references). Quarter is (month - 1) / 3 + 1.
  NSDateComponents components(NSCalendarUnit unitMask, NSDate date) const;
  // One field of `date`; NSDateComponentUndefined for a unit that is not one field.
  long component(NSCalendarUnit unit, NSDate date) const;
  // The difference from `fromDate` to `toDate` in the units of `unitMask`, each unit taking
  // what the larger ones leave (negative when `toDate` is earlier). Era, year,
  // yearForWeekOfYear, quarter, month, weekOfYear/weekOfMonth (as whole weeks), day, hour,
  // minute, second and nanosecond are filled in; weekday and weekdayOrdinal stay unset.
  NSDateComponents components(NSCalendarUnit unitMask, NSDate fromDate, NSDate toDate) const;

  // The instant the components name, in their own time zone when they carry one, else in the
  // calendar's. Unset fields take their smallest value (year 1 of the current era, January, the
  // 1st, 00:00:00); out-of-range values carry over (month 13 is January of the next year).
  // Quarter is ignored. Nanoseconds are added as a fraction of a second.
  std::optional<NSDate> dateFromComponents(const NSDateComponents& components) const;

  // The first date after `date` (before it with NSCalendarSearchBackwards) whose local fields
  // equal every set field of `components`; unset units smaller than the smallest set one are
  // their minimum (matching hour 0 means 00:00:00), larger ones are free. Era, year, month, day,
  // weekday, weekdayOrdinal, quarter, weekOfMonth, weekOfYear, yearForWeekOfYear, hour, minute
  // and second take part; matches are whole seconds, so a nanosecond other than 0 never matches.
  //
  // `options` must hold exactly one of NSCalendarMatchStrictly,
  // NSCalendarMatchNextTimePreservingSmallerUnits,
  // NSCalendarMatchPreviousTimePreservingSmallerUnits and NSCalendarMatchNextTime (else
  // std::invalid_argument). They decide what a day whose matching time is skipped by a clock change
  // gives: nothing (strictly, the search goes on), the next hour with the same minutes and seconds
  // (03:30 for 02:30), the previous one (01:30), or the first moment after the skip (03:00). A time
  // that is repeated matches once: its earlier instant, or its later one with NSCalendarMatchLast.
  //
  // The search is bounded (400 years, the Gregorian cycle): components no date can have give
  // std::nullopt.
  std::optional<NSDate> nextDateAfterDate(NSDate date, const NSDateComponents& components,
                                          NSCalendarOptions options) const;
  // Calls `block` synchronously with each successive result of nextDateAfterDate from `start`,
  // ascending (descending with NSCalendarSearchBackwards), until the block sets *stop or no
  // further date matches. Never calls the block when nothing matches. Throws
  // std::invalid_argument as nextDateAfterDate does.
  void enumerateDatesStartingAfterDate(NSDate start, const NSDateComponents& components,
                                       NSCalendarOptions options,
                                       const EnumerationBlock& block) const;

  // Whether both dates fall on the same local day.
  bool isDateInSameDayAsDate(NSDate a, NSDate b) const;

  // The date on the same local day as `date` at hour:minute:second (no fraction). Out-of-range
  // values give std::nullopt. A time the day skips follows `options` as nextDateAfterDate does
  // (nullopt when matching strictly); with none of those options the rules above apply.
  std::optional<NSDate> dateBySettingHour(long hour, long minute, long second, NSDate date,
                                          NSCalendarOptions options) const;

 private:
  NSCalendar();

  mutable std::mutex engineMutex_;  // guards engine_ (ICU calendars are not thread-safe)
  std::unique_ptr<foundation_internal::CalendarEngine> engine_;
};
