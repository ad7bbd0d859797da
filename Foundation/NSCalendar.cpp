#include "Foundation/NSCalendar.h"

#include <bit>
#include <stdexcept>

#include "Foundation/internal/CalendarEngine.h"

using foundation_internal::CalendarEngine;
using foundation_internal::kMatchOptions;

namespace {

void requireOneMatchOption(NSCalendarOptions options, const char* operation) {
  if (std::popcount(static_cast<std::uint64_t>(options & kMatchOptions)) != 1) {
    throw std::invalid_argument(
        std::string(operation) +
        ": options must hold exactly one of NSCalendarMatchStrictly, "
        "NSCalendarMatchNextTimePreservingSmallerUnits, "
        "NSCalendarMatchPreviousTimePreservingSmallerUnits and NSCalendarMatchNextTime");
  }
}

}  // namespace

NSCalendar::NSCalendar() = default;
NSCalendar::~NSCalendar() = default;

std::shared_ptr<NSCalendar> NSCalendar::calendarWithIdentifier(const std::string& identifier) {
  if (identifier != NSCalendarIdentifierGregorian) return nullptr;
  auto engine = CalendarEngine::create(NSTimeZone::systemTimeZone());
  if (!engine) return nullptr;
  std::shared_ptr<NSCalendar> calendar(new NSCalendar());
  calendar->engine_ = std::move(engine);
  return calendar;
}

std::shared_ptr<NSCalendar> NSCalendar::currentCalendar() {
  return calendarWithIdentifier(NSCalendarIdentifierGregorian);
}

std::shared_ptr<NSTimeZone> NSCalendar::timeZone() const {
  std::lock_guard lock(engineMutex_);
  return engine_->timeZone();
}

void NSCalendar::setTimeZone(std::shared_ptr<NSTimeZone> zone) {
  if (!zone) zone = NSTimeZone::systemTimeZone();
  std::lock_guard lock(engineMutex_);
  engine_->setTimeZone(std::move(zone));
}

long NSCalendar::firstWeekday() const {
  std::lock_guard lock(engineMutex_);
  return engine_->firstWeekday();
}

std::optional<NSDate> NSCalendar::startOfDayForDate(NSDate date) const {
  std::lock_guard lock(engineMutex_);
  return engine_->startOfDay(date);
}

std::optional<NSDate> NSCalendar::dateByAddingUnit(NSCalendarUnit unit, long value, NSDate date,
                                                   NSCalendarOptions options) const {
  NSDateComponents components;
  components.setValue(value, unit);
  if (components.valueForComponent(unit) == NSDateComponentUndefined) return std::nullopt;
  return dateByAddingComponents(components, date, options);
}

std::optional<NSDate> NSCalendar::dateByAddingComponents(const NSDateComponents& components,
                                                         NSDate date,
                                                         NSCalendarOptions options) const {
  std::lock_guard lock(engineMutex_);
  return engine_->add(components, date, (options & NSCalendarWrapComponents) != 0);
}

NSDateComponents NSCalendar::components(NSCalendarUnit unitMask, NSDate date) const {
  NSDateComponents result;
  {
    std::lock_guard lock(engineMutex_);
    result = engine_->components(unitMask, date);
  }
  if (unitMask & NSCalendarUnitCalendar) {
    result.setCalendar(std::const_pointer_cast<NSCalendar>(shared_from_this()));
  }
  return result;
}

long NSCalendar::component(NSCalendarUnit unit, NSDate date) const {
  return components(unit, date).valueForComponent(unit);
}

NSDateComponents NSCalendar::components(NSCalendarUnit unitMask, NSDate fromDate,
                                        NSDate toDate) const {
  NSDateComponents result;
  {
    std::lock_guard lock(engineMutex_);
    result = engine_->difference(unitMask, fromDate, toDate);
  }
  if (unitMask & NSCalendarUnitCalendar) {
    result.setCalendar(std::const_pointer_cast<NSCalendar>(shared_from_this()));
  }
  return result;
}

std::optional<NSDate> NSCalendar::dateFromComponents(const NSDateComponents& components) const {
  std::lock_guard lock(engineMutex_);
  return engine_->dateFromComponents(components);
}

std::optional<NSDate> NSCalendar::nextDateAfterDate(NSDate date, const NSDateComponents& components,
                                                    NSCalendarOptions options) const {
  requireOneMatchOption(options, "nextDateAfterDate");
  std::lock_guard lock(engineMutex_);
  const auto match = engine_->nextMatch(date, components, options);
  if (!match) return std::nullopt;
  return match->date;
}

void NSCalendar::enumerateDatesStartingAfterDate(NSDate start, const NSDateComponents& components,
                                                 NSCalendarOptions options,
                                                 const EnumerationBlock& block) const {
  requireOneMatchOption(options, "enumerateDatesStartingAfterDate");
  if (!block) return;
  NSDate after = start;
  for (;;) {
    std::optional<CalendarEngine::Match> match;
    {
      std::lock_guard lock(engineMutex_);
      match = engine_->nextMatch(after, components, options);
    }
    // Each match lies strictly beyond the previous one, so the walk always moves on; it ends
    // where the bounded search finds nothing more.
    if (!match) return;
    bool stop = false;
    block(match->date, match->exact, &stop);
    if (stop) return;
    after = match->date;
  }
}

bool NSCalendar::isDateInSameDayAsDate(NSDate a, NSDate b) const {
  std::lock_guard lock(engineMutex_);
  return engine_->sameDay(a, b);
}

std::optional<NSDate> NSCalendar::dateBySettingHour(long hour, long minute, long second,
                                                    NSDate date, NSCalendarOptions options) const {
  std::lock_guard lock(engineMutex_);
  return engine_->settingTime(hour, minute, second, date, options);
}
