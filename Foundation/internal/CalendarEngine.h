#pragma once

// CalendarEngine: the unsynchronised core of NSCalendar, an ICU Gregorian calendar configured
// for Apple's rules (skipped local times move forward by the skip, repeated ones resolve to the
// earlier instant, weeks start on Sunday). Not thread-safe: NSCalendar owns one behind its
// mutex. Internal to Foundation; the operations mirror NSCalendar's and share its contract.

#include <unicode/gregocal.h>

#include <memory>
#include <optional>

#include "Foundation/NSCalendarUnit.h"
#include "Foundation/NSDate.h"
#include "Foundation/NSDateComponents.h"
#include "Foundation/NSTimeZone.h"

namespace foundation_internal {

inline bool isSet(long value) { return value != NSDateComponentUndefined; }

// The options that decide what a match on a skipped local time gives; operations that match
// take exactly one of them.
inline constexpr NSCalendarOptions kMatchOptions =
    NSCalendarMatchStrictly | NSCalendarMatchNextTimePreservingSmallerUnits |
    NSCalendarMatchPreviousTimePreservingSmallerUnits | NSCalendarMatchNextTime;

class CalendarEngine {
 public:
  struct Match {
    NSDate date;
    bool exact;
  };

  // nullptr when ICU cannot build the calendar.
  static std::unique_ptr<CalendarEngine> create(std::shared_ptr<NSTimeZone> zone);

  const std::shared_ptr<NSTimeZone>& timeZone() const { return zone_; }
  void setTimeZone(std::shared_ptr<NSTimeZone> zone);
  long firstWeekday() const;

  std::optional<NSDate> startOfDay(NSDate date);
  std::optional<NSDate> add(const NSDateComponents& components, NSDate date, bool wrap);
  NSDateComponents components(NSCalendarUnit mask, NSDate date);
  NSDateComponents difference(NSCalendarUnit mask, NSDate from, NSDate to);
  std::optional<NSDate> dateFromComponents(const NSDateComponents& components);
  bool sameDay(NSDate a, NSDate b);

  // nextDateAfterDate without the option check (NSCalendar checks).
  std::optional<Match> nextMatch(NSDate after, const NSDateComponents& components,
                                 NSCalendarOptions options);
  std::optional<NSDate> settingTime(long hour, long minute, long second, NSDate date,
                                    NSCalendarOptions options);

 private:
  // A local calendar day by its extended year (1 BC is 0), month 1-12 and day of month.
  struct Day {
    int extendedYear;
    int month;
    int day;
  };
  // How a wall-clock time on a given day maps to instants.
  struct Resolution {
    bool exists;  // false: the time falls in a skipped interval
    UDate first;  // the earlier instant, or the first moment after the skip
    UDate last;   // the later instant when repeated, else equal to `first`
  };
  struct DayFields;

  std::optional<Day> localDay(UDate millis);
  // Normalises `day` (day 0 is the last of the previous month...) and reads its fields.
  std::optional<DayFields> dayFields(Day& day);
  std::optional<Resolution> resolve(const Day& day, int hour, int minute, int second);
  std::optional<UDate> choose(const Resolution& resolution, int minute, int second,
                              NSCalendarOptions options, bool& exact);
  void setDayAndTime(const Day& day, int hour, int minute, int second);
  std::optional<UDate> time();

  CalendarEngine(std::unique_ptr<icu::GregorianCalendar> calendar,
                 std::unique_ptr<icu::GregorianCalendar> civil, std::shared_ptr<NSTimeZone> zone);
  // Puts the engine's own skipped and repeated wall-time rules back after a lookup that needed
  // others.
  void restoreWallTimeRules();

  std::unique_ptr<icu::GregorianCalendar> calendar_;  // in zone_
  // The same calendar in GMT, for the fields of a civil date (weekday, weeks...), which do not
  // depend on the zone; there every date exists, even one a zone skipped entirely.
  std::unique_ptr<icu::GregorianCalendar> civil_;
  std::shared_ptr<NSTimeZone> zone_;
};

}  // namespace foundation_internal
