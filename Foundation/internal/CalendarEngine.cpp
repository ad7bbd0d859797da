#include "Foundation/internal/CalendarEngine.h"

#include <unicode/locid.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "Foundation/internal/ICUTime.h"

namespace foundation_internal {

namespace {

bool fitsInt32(long value) {
  return value >= std::numeric_limits<int32_t>::min() &&
         value <= std::numeric_limits<int32_t>::max();
}

}  // namespace

std::unique_ptr<CalendarEngine> CalendarEngine::create(std::shared_ptr<NSTimeZone> zone) {
  UErrorCode status = U_ZERO_ERROR;
  // en_US: weeks start on Sunday and week 1 is the week that holds January 1, whatever locale
  // the process runs in.
  const icu::Locale locale("en_US");
  auto calendar = std::make_unique<icu::GregorianCalendar>(icuZone(*zone), locale, status);
  auto civil = std::make_unique<icu::GregorianCalendar>(*icu::TimeZone::getGMT(), locale, status);
  if (U_FAILURE(status)) return nullptr;
  return std::unique_ptr<CalendarEngine>(
      new CalendarEngine(std::move(calendar), std::move(civil), std::move(zone)));
}

CalendarEngine::CalendarEngine(std::unique_ptr<icu::GregorianCalendar> calendar,
                               std::unique_ptr<icu::GregorianCalendar> civil,
                               std::shared_ptr<NSTimeZone> zone)
    : calendar_(std::move(calendar)), civil_(std::move(civil)), zone_(std::move(zone)) {
  calendar_->setLenient(true);
  civil_->setLenient(true);
  restoreWallTimeRules();
}

void CalendarEngine::restoreWallTimeRules() {
  // ICU's defaults differ: it resolves a repeated time to the later instant.
  calendar_->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
  calendar_->setSkippedWallTimeOption(UCAL_WALLTIME_LAST);  // forward by the skipped length
}

void CalendarEngine::setTimeZone(std::shared_ptr<NSTimeZone> zone) {
  calendar_->setTimeZone(icuZone(*zone));
  zone_ = std::move(zone);
}

long CalendarEngine::firstWeekday() const { return calendar_->getFirstDayOfWeek(); }

std::optional<UDate> CalendarEngine::time() {
  UErrorCode status = U_ZERO_ERROR;
  const UDate millis = calendar_->getTime(status);
  if (U_FAILURE(status)) return std::nullopt;
  return millis;
}

void CalendarEngine::setDayAndTime(const Day& day, int hour, int minute, int second) {
  calendar_->clear();
  calendar_->set(UCAL_EXTENDED_YEAR, day.extendedYear);
  calendar_->set(UCAL_MONTH, day.month - 1);
  calendar_->set(UCAL_DATE, day.day);
  calendar_->set(UCAL_HOUR_OF_DAY, hour);
  calendar_->set(UCAL_MINUTE, minute);
  calendar_->set(UCAL_SECOND, second);
  calendar_->set(UCAL_MILLISECOND, 0);
}

std::optional<CalendarEngine::Day> CalendarEngine::localDay(UDate millis) {
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(millis, status);
  Day day{calendar_->get(UCAL_EXTENDED_YEAR, status), calendar_->get(UCAL_MONTH, status) + 1,
          calendar_->get(UCAL_DATE, status)};
  if (U_FAILURE(status)) return std::nullopt;
  return day;
}

std::optional<NSDate> CalendarEngine::startOfDay(NSDate date) {
  const auto day = localDay(splitDate(date).wholeMillis);
  if (!day) return std::nullopt;
  setDayAndTime(*day, 0, 0, 0);
  const auto millis = time();
  if (!millis) return std::nullopt;
  return joinDate(*millis, 0);
}

bool CalendarEngine::sameDay(NSDate a, NSDate b) {
  const auto first = localDay(splitDate(a).wholeMillis);
  const auto second = localDay(splitDate(b).wholeMillis);
  return first && second && first->extendedYear == second->extendedYear &&
         first->month == second->month && first->day == second->day;
}

std::optional<NSDate> CalendarEngine::add(const NSDateComponents& components, NSDate date,
                                          bool wrap) {
  struct Step {
    long value;
    UCalendarDateFields field;
    long factor;
  };
  // Largest unit first, so "one month and one day after January 31" is March 1 (or February 29).
  const Step steps[] = {
      {components.era(), UCAL_ERA, 1},
      {components.year(), UCAL_YEAR, 1},
      {components.yearForWeekOfYear(), UCAL_YEAR_WOY, 1},
      {components.quarter(), UCAL_MONTH, 3},
      {components.month(), UCAL_MONTH, 1},
      {components.weekOfYear(), UCAL_WEEK_OF_YEAR, 1},
      {components.weekOfMonth(), UCAL_WEEK_OF_MONTH, 1},
      {components.day(), UCAL_DATE, 1},
      {components.weekday(), UCAL_DAY_OF_WEEK, 1},
      {components.weekdayOrdinal(), UCAL_DAY_OF_WEEK_IN_MONTH, 1},
      {components.hour(), UCAL_HOUR_OF_DAY, 1},
      {components.minute(), UCAL_MINUTE, 1},
      {components.second(), UCAL_SECOND, 1},
  };
  const SplitDate start = splitDate(date);
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(start.wholeMillis, status);
  if (U_FAILURE(status)) return std::nullopt;
  for (const Step& step : steps) {
    if (!isSet(step.value) || step.value == 0) continue;
    if (!fitsInt32(step.value) || !fitsInt32(step.value * step.factor)) return std::nullopt;
    const auto amount = static_cast<int32_t>(step.value * step.factor);
    if (wrap) {
      calendar_->roll(step.field, amount, status);
    } else {
      calendar_->add(step.field, amount, status);
    }
    if (U_FAILURE(status)) return std::nullopt;
  }
  const auto millis = time();
  if (!millis) return std::nullopt;
  double fraction = start.fraction;
  if (isSet(components.nanosecond())) {
    fraction += static_cast<double>(components.nanosecond()) / 1e9;
    if (wrap) {
      fraction = std::fmod(fraction, 1.0);
      if (fraction < 0) fraction += 1.0;
    }
  }
  return joinDate(*millis, fraction);
}

NSDateComponents CalendarEngine::components(NSCalendarUnit mask, NSDate date) {
  const SplitDate split = splitDate(date);
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(split.wholeMillis, status);
  auto get = [&](UCalendarDateFields field) -> long { return calendar_->get(field, status); };
  struct Field {
    NSCalendarUnit unit;
    long value;
  };
  const long month = get(UCAL_MONTH) + 1;
  const Field fields[] = {
      {NSCalendarUnitEra, get(UCAL_ERA)},
      {NSCalendarUnitYear, get(UCAL_YEAR)},
      {NSCalendarUnitMonth, month},
      {NSCalendarUnitDay, get(UCAL_DATE)},
      {NSCalendarUnitHour, get(UCAL_HOUR_OF_DAY)},
      {NSCalendarUnitMinute, get(UCAL_MINUTE)},
      {NSCalendarUnitSecond, get(UCAL_SECOND)},
      {NSCalendarUnitWeekday, get(UCAL_DAY_OF_WEEK)},
      {NSCalendarUnitWeekdayOrdinal, get(UCAL_DAY_OF_WEEK_IN_MONTH)},
      {NSCalendarUnitQuarter, (month - 1) / 3 + 1},
      {NSCalendarUnitWeekOfMonth, get(UCAL_WEEK_OF_MONTH)},
      {NSCalendarUnitWeekOfYear, get(UCAL_WEEK_OF_YEAR)},
      {NSCalendarUnitYearForWeekOfYear, get(UCAL_YEAR_WOY)},
      {NSCalendarUnitNanosecond, std::min(999'999'999L, std::lround(split.fraction * 1e9))},
  };
  NSDateComponents out;
  if (U_FAILURE(status)) return out;
  for (const Field& field : fields) {
    if (mask & field.unit) out.setValue(field.value, field.unit);
  }
  if (mask & NSCalendarUnitTimeZone) out.setTimeZone(zone_);
  return out;
}

NSDateComponents CalendarEngine::difference(NSCalendarUnit mask, NSDate from, NSDate to) {
  // Measure from the whole second of `from` to `to` shifted by the same fraction, so that
  // 0.7 s -> 2.2 s is one whole second and 500 ms, not two seconds.
  const SplitDate start = splitDate(from);
  const UDate target = (to.timeIntervalSinceReferenceDate() - start.fraction +
                        NSDate::kTimeIntervalBetween1970AndReferenceDate) *
                       1000.0;
  struct Field {
    NSCalendarUnit unit;
    UCalendarDateFields field;
  };
  const Field fields[] = {
      {NSCalendarUnitEra, UCAL_ERA},
      {NSCalendarUnitYear, UCAL_YEAR},
      {NSCalendarUnitYearForWeekOfYear, UCAL_YEAR_WOY},
      {NSCalendarUnitQuarter, UCAL_MONTH},
      {NSCalendarUnitMonth, UCAL_MONTH},
      {NSCalendarUnitWeekOfYear, UCAL_WEEK_OF_YEAR},
      {NSCalendarUnitWeekOfMonth, UCAL_WEEK_OF_YEAR},
      {NSCalendarUnitDay, UCAL_DATE},
      {NSCalendarUnitHour, UCAL_HOUR_OF_DAY},
      {NSCalendarUnitMinute, UCAL_MINUTE},
      {NSCalendarUnitSecond, UCAL_SECOND},
  };
  NSDateComponents out;
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(start.wholeMillis, status);
  for (const Field& field : fields) {
    if (!(mask & field.unit)) continue;
    if (field.unit == NSCalendarUnitQuarter) {
      // ICU has no quarter field: count the months, keep whole quarters of them.
      const UDate before = calendar_->getTime(status);
      const long quarters = calendar_->fieldDifference(target, UCAL_MONTH, status) / 3;
      calendar_->setTime(before, status);
      calendar_->add(UCAL_MONTH, static_cast<int32_t>(quarters * 3), status);
      out.setQuarter(quarters);
    } else {
      out.setValue(calendar_->fieldDifference(target, field.field, status), field.unit);
    }
  }
  if (mask & NSCalendarUnitNanosecond) {
    const UDate reached = calendar_->getTime(status);
    out.setNanosecond(std::lround((target - reached) * 1e6));
  }
  if (U_FAILURE(status)) return NSDateComponents{};
  if (mask & NSCalendarUnitTimeZone) out.setTimeZone(zone_);
  return out;
}

std::optional<NSDate> CalendarEngine::dateFromComponents(const NSDateComponents& components) {
  const long fields[] = {
      components.era(),         components.year(),       components.month(),
      components.day(),         components.hour(),       components.minute(),
      components.second(),      components.weekday(),    components.weekdayOrdinal(),
      components.weekOfMonth(), components.weekOfYear(), components.yearForWeekOfYear()};
  for (long value : fields) {
    if (isSet(value) && !fitsInt32(value)) return std::nullopt;
  }
  // The components' own time zone wins over the calendar's for this one conversion.
  const bool otherZone = components.timeZone() && components.timeZone() != zone_;
  if (otherZone) calendar_->setTimeZone(icuZone(*components.timeZone()));

  auto set = [&](UCalendarDateFields field, long value) {
    if (isSet(value)) calendar_->set(field, static_cast<int32_t>(value));
  };
  calendar_->clear();
  set(UCAL_ERA, components.era());
  // ICU resolves competing fields by which was set last: the week-based year wins only when a
  // week of the year is given.
  const bool weekBased = isSet(components.weekOfYear());
  if (!isSet(components.year()) && !isSet(components.yearForWeekOfYear())) {
    calendar_->set(UCAL_YEAR, 1);
  }
  if (weekBased) set(UCAL_YEAR, components.year());
  set(UCAL_YEAR_WOY, components.yearForWeekOfYear());
  if (!weekBased) set(UCAL_YEAR, components.year());
  if (isSet(components.month())) set(UCAL_MONTH, components.month() - 1);
  set(UCAL_WEEK_OF_YEAR, components.weekOfYear());
  set(UCAL_WEEK_OF_MONTH, components.weekOfMonth());
  set(UCAL_DAY_OF_WEEK_IN_MONTH, components.weekdayOrdinal());
  set(UCAL_DAY_OF_WEEK, components.weekday());
  set(UCAL_DATE, components.day());
  set(UCAL_HOUR_OF_DAY, components.hour());
  set(UCAL_MINUTE, components.minute());
  set(UCAL_SECOND, components.second());
  calendar_->set(UCAL_MILLISECOND, 0);
  const auto millis = time();

  if (otherZone) calendar_->setTimeZone(icuZone(*zone_));
  if (!millis) return std::nullopt;
  const double fraction =
      isSet(components.nanosecond()) ? static_cast<double>(components.nanosecond()) / 1e9 : 0.0;
  return joinDate(*millis, fraction);
}

}  // namespace foundation_internal
