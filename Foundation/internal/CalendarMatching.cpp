// The date search behind NSCalendar::nextDateAfterDate and its enumeration: walks local days in
// the search direction, skipping whole years and months that cannot match, and within a day
// tries the candidate wall-clock times in order, resolving each against the time zone's
// transitions.

#include <cstdlib>
#include <tuple>
#include <vector>

#include "Foundation/internal/CalendarEngine.h"
#include "Foundation/internal/ICUTime.h"

namespace foundation_internal {

namespace {

bool outside(long value, long low, long high) {
  return isSet(value) && (value < low || value > high);
}

// Components no date can have; found up front so the bounded search is not spent on them.
bool impossible(const NSDateComponents& c) {
  if (outside(c.era(), 0, 1) || outside(c.year(), 1, 5'000'000) || outside(c.month(), 1, 12) ||
      outside(c.day(), 1, 31) || outside(c.hour(), 0, 23) || outside(c.minute(), 0, 59) ||
      outside(c.second(), 0, 59) || outside(c.weekday(), 1, 7) ||
      outside(c.weekdayOrdinal(), 1, 5) || outside(c.quarter(), 1, 4) ||
      outside(c.weekOfMonth(), 1, 6) || outside(c.weekOfYear(), 1, 53) ||
      outside(c.yearForWeekOfYear(), -5'000'000, 5'000'000) || outside(c.nanosecond(), 0, 0)) {
    return true;
  }
  if (isSet(c.month()) && isSet(c.day())) {
    const long longest[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (c.day() > longest[c.month() - 1]) return true;
  }
  if (isSet(c.month()) && isSet(c.quarter()) && (c.month() - 1) / 3 + 1 != c.quarter()) {
    return true;
  }
  return false;
}

// The values one time unit takes in candidates: the set one, every value when a smaller unit is
// set (the unit is free), else 0.
std::vector<int> candidateValues(long value, bool smallerSet, int count) {
  if (isSet(value)) return {static_cast<int>(value)};
  if (!smallerSet) return {0};
  std::vector<int> all(count);
  for (int i = 0; i < count; ++i) all[i] = i;
  return all;
}

long positiveModulo(long value, long modulus) { return ((value % modulus) + modulus) % modulus; }

// The widest distance, in years, the search covers: the Gregorian calendar repeats every 400.
constexpr int kSearchYears = 400;

}  // namespace

struct CalendarEngine::DayFields {
  long era, year, extendedYear, month, day, weekday, weekdayOrdinal, weekOfMonth, weekOfYear,
      yearForWeekOfYear;
};

std::optional<CalendarEngine::DayFields> CalendarEngine::dayFields(Day& day) {
  civil_->clear();
  civil_->set(UCAL_EXTENDED_YEAR, day.extendedYear);
  civil_->set(UCAL_MONTH, day.month - 1);
  civil_->set(UCAL_DATE, day.day);
  UErrorCode status = U_ZERO_ERROR;
  auto get = [&](UCalendarDateFields field) -> long { return civil_->get(field, status); };
  DayFields fields{get(UCAL_ERA),
                   get(UCAL_YEAR),
                   get(UCAL_EXTENDED_YEAR),
                   get(UCAL_MONTH) + 1,
                   get(UCAL_DATE),
                   get(UCAL_DAY_OF_WEEK),
                   get(UCAL_DAY_OF_WEEK_IN_MONTH),
                   get(UCAL_WEEK_OF_MONTH),
                   get(UCAL_WEEK_OF_YEAR),
                   get(UCAL_YEAR_WOY)};
  if (U_FAILURE(status)) return std::nullopt;
  day = Day{static_cast<int>(fields.extendedYear), static_cast<int>(fields.month),
            static_cast<int>(fields.day)};
  return fields;
}

std::optional<CalendarEngine::Resolution> CalendarEngine::resolve(const Day& day, int hour,
                                                                  int minute, int second) {
  calendar_->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
  calendar_->setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
  setDayAndTime(day, hour, minute, second);
  const auto first = time();
  std::optional<Resolution> result;
  if (first) {
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(*first, status);
    const bool exists = calendar_->get(UCAL_EXTENDED_YEAR, status) == day.extendedYear &&
                        calendar_->get(UCAL_MONTH, status) + 1 == day.month &&
                        calendar_->get(UCAL_DATE, status) == day.day &&
                        calendar_->get(UCAL_HOUR_OF_DAY, status) == hour &&
                        calendar_->get(UCAL_MINUTE, status) == minute &&
                        calendar_->get(UCAL_SECOND, status) == second;
    std::optional<UDate> last = first;
    if (exists) {
      calendar_->setRepeatedWallTimeOption(UCAL_WALLTIME_LAST);
      setDayAndTime(day, hour, minute, second);
      last = time();
    }
    if (U_SUCCESS(status) && last) result = Resolution{exists, *first, *last};
  }
  restoreWallTimeRules();
  return result;
}

std::optional<UDate> CalendarEngine::choose(const Resolution& resolution, int minute, int second,
                                            NSCalendarOptions options, bool& exact) {
  exact = resolution.exists;
  if (resolution.exists) {
    return (options & NSCalendarMatchLast) ? resolution.last : resolution.first;
  }
  if (options & NSCalendarMatchStrictly) return std::nullopt;
  const UDate transition = resolution.first;  // the first moment after the skip
  if (options & NSCalendarMatchNextTime) return transition;

  // Keep the minutes and seconds, take the hour after the skip or the one before it.
  const long wanted = minute * 60L + second;
  auto minuteAndSecond = [&](UDate at) -> std::optional<long> {
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(at, status);
    const long value =
        calendar_->get(UCAL_MINUTE, status) * 60L + calendar_->get(UCAL_SECOND, status);
    if (U_FAILURE(status)) return std::nullopt;
    return value;
  };
  if (options & NSCalendarMatchNextTimePreservingSmallerUnits) {
    const auto after = minuteAndSecond(transition);
    if (!after) return std::nullopt;
    return transition + positiveModulo(wanted - *after, 3600) * 1000.0;
  }
  // Previous time: the wall clock just before the skip, one second before the transition.
  const auto before = minuteAndSecond(transition - 1000.0);
  if (!before) return std::nullopt;
  long back = positiveModulo(*before + 1 - wanted, 3600);
  if (back == 0) back = 3600;
  return transition - back * 1000.0;
}

std::optional<CalendarEngine::Match> CalendarEngine::nextMatch(NSDate after,
                                                               const NSDateComponents& c,
                                                               NSCalendarOptions options) {
  if (impossible(c)) return std::nullopt;
  const bool forward = !(options & NSCalendarSearchBackwards);
  const int step = forward ? 1 : -1;

  const SplitDate start = splitDate(after);
  const auto startDay = localDay(start.wholeMillis);
  if (!startDay) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  const long startWall = calendar_->get(UCAL_HOUR_OF_DAY, status) * 3600L +
                         calendar_->get(UCAL_MINUTE, status) * 60L +
                         calendar_->get(UCAL_SECOND, status);
  if (U_FAILURE(status)) return std::nullopt;

  const bool secondSet = isSet(c.second());
  const bool minuteSet = isSet(c.minute()) || secondSet;
  const std::vector<int> hours = candidateValues(c.hour(), minuteSet, 24);
  const std::vector<int> minutes = candidateValues(c.minute(), secondSet, 60);
  const std::vector<int> seconds = candidateValues(c.second(), false, 60);

  // A year the components name, as an extended year (1 BC is 0).
  const bool yearSet = isSet(c.year());
  const long targetYear = !yearSet ? 0 : (isSet(c.era()) && c.era() == 0) ? 1 - c.year() : c.year();

  Day day = *startDay;
  // Enough steps for every day of the bounded range plus the month skips.
  const int maxSteps = kSearchYears * 380;
  for (int i = 0; i < maxSteps; ++i) {
    const auto fields = dayFields(day);
    if (!fields) return std::nullopt;
    if (std::labs(fields->extendedYear - startDay->extendedYear) > kSearchYears) break;
    if (yearSet && fields->extendedYear != targetYear) {
      if (forward != (fields->extendedYear < targetYear)) break;  // the year is behind us
      day = forward ? Day{static_cast<int>(targetYear), 1, 1}
                    : Day{static_cast<int>(targetYear), 12, 31};
      continue;
    }
    const bool monthMatches = (!isSet(c.month()) || fields->month == c.month()) &&
                              (!isSet(c.quarter()) || (fields->month - 1) / 3 + 1 == c.quarter());
    if (!monthMatches) {
      day = forward ? Day{day.extendedYear, day.month + 1, 1} : Day{day.extendedYear, day.month, 0};
      continue;
    }
    auto matches = [](long wanted, long actual) { return !isSet(wanted) || wanted == actual; };
    if (!matches(c.era(), fields->era) || !matches(c.day(), fields->day) ||
        !matches(c.weekday(), fields->weekday) ||
        !matches(c.weekdayOrdinal(), fields->weekdayOrdinal) ||
        !matches(c.weekOfMonth(), fields->weekOfMonth) ||
        !matches(c.weekOfYear(), fields->weekOfYear) ||
        !matches(c.yearForWeekOfYear(), fields->yearForWeekOfYear)) {
      day.day += step;
      continue;
    }

    const bool firstDay = day.extendedYear == startDay->extendedYear &&
                          day.month == startDay->month && day.day == startDay->day;
    const size_t count = hours.size() * minutes.size() * seconds.size();
    for (size_t k = 0; k < count; ++k) {
      const size_t index = forward ? k : count - 1 - k;
      const int hour = hours[index / (minutes.size() * seconds.size())];
      const int minute = minutes[index / seconds.size() % minutes.size()];
      const int second = seconds[index % seconds.size()];
      // On the starting day, times far on the wrong side of the start cannot be beyond it
      // (three hours is more than any clock change).
      const long wall = hour * 3600L + minute * 60L + second;
      if (firstDay && (forward ? wall < startWall - 3 * 3600 : wall > startWall + 3 * 3600)) {
        continue;
      }
      const auto resolution = resolve(day, hour, minute, second);
      if (!resolution) return std::nullopt;
      bool exact = false;
      const auto millis = choose(*resolution, minute, second, options, exact);
      if (!millis) continue;
      if (!exact) {
        // A day the zone skipped entirely (clocks moved past all of it) has no stand-in time:
        // the next existing time belongs to a later day, which has its own match.
        const auto landed = localDay(*millis);
        if (!landed) return std::nullopt;
        if (std::tie(landed->extendedYear, landed->month, landed->day) >
            std::tie(day.extendedYear, day.month, day.day)) {
          continue;
        }
      }
      const NSDate candidate = joinDate(*millis, 0);
      if (forward ? candidate > after : candidate < after) return Match{candidate, exact};
    }
    day.day += step;
  }
  return std::nullopt;
}

std::optional<NSDate> CalendarEngine::settingTime(long hour, long minute, long second, NSDate date,
                                                  NSCalendarOptions options) {
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
    return std::nullopt;
  }
  const auto day = localDay(splitDate(date).wholeMillis);
  if (!day) return std::nullopt;
  const int h = static_cast<int>(hour);
  const int m = static_cast<int>(minute);
  const int s = static_cast<int>(second);
  if (!(options & kMatchOptions)) {
    setDayAndTime(*day, h, m, s);
    const auto millis = time();
    if (!millis) return std::nullopt;
    return joinDate(*millis, 0);
  }
  const auto resolution = resolve(*day, h, m, s);
  if (!resolution) return std::nullopt;
  bool exact = false;
  const auto millis = choose(*resolution, m, s, options, exact);
  if (!millis) return std::nullopt;
  return joinDate(*millis, 0);
}

}  // namespace foundation_internal
