#pragma once

// Helpers for the calendar suites: instants written as UTC wall times, calendars pinned to a
// zone so the process's TZ does not matter.

#include <chrono>
#include <memory>
#include <string>

#include "Foundation/NSCalendar.h"

namespace calendar_test {

inline NSDate utc(int y, unsigned mo, unsigned d, int h = 0, int mi = 0, double s = 0) {
  using namespace std::chrono;
  const auto days = sys_days{year{y} / month{mo} / day{d}}.time_since_epoch().count();
  return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(days) * 86400.0 + h * 3600 +
                                               mi * 60 + s);
}

inline std::shared_ptr<NSCalendar> calendarIn(const std::string& zone) {
  auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  calendar->setTimeZone(NSTimeZone::timeZoneWithName(zone));
  return calendar;
}

// "2024-03-10 05:00:00" in UTC, for readable expectations.
inline std::string text(const std::optional<NSDate>& date) {
  return date ? date->description().substr(0, 19) : "none";
}

}  // namespace calendar_test
