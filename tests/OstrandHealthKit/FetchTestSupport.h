#pragma once

// Helpers for the fetch suites: local wall-clock times on the fixture's day in whatever zone the
// process runs, and a guard that puts the library's calendar and the device's statistics
// calendar in one named zone for a test's lifetime (so a daylight-saving day is the same day
// under every TZ the suites run with).

#include <memory>
#include <string>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSTimeZone.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"

namespace fetch_test {

// `hour`:`minute`:`second` local time, `dayOffset` days after the local day of `day`.
inline NSDate localTime(NSDate day, long dayOffset, long hour, long minute = 0, long second = 0) {
  const auto calendar = ost_gregorianCalendar();
  const NSDate shifted = *calendar->dateByAddingUnit(NSCalendarUnitDay, dayOffset, day, {});
  return *calendar->dateBySettingHour(hour, minute, second, shifted, {});
}

// The local calendar day of a date, as "year-month-day" without zero padding: the tail of a
// routine record's activity identifier.
inline std::string dayText(NSDate date) {
  const auto parts = ost_gregorianCalendar()->components(
      NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay, date);
  return std::to_string(parts.year()) + "-" + std::to_string(parts.month()) + "-" +
         std::to_string(parts.day());
}

// Days are reckoned in `zone` while it lives, by the library and by HealthKit's statistics.
class ScopedTimeZone {
 public:
  ScopedTimeZone(const std::string& zone, platform::SimulatedHealthDevice& device)
      : device_(device) {
    const auto timeZone = NSTimeZone::timeZoneWithName(zone);
    ost_gregorianCalendar()->setTimeZone(timeZone);
    device_.setTimeZone(timeZone);
  }
  ~ScopedTimeZone() {
    ost_gregorianCalendar()->setTimeZone(nullptr);
    device_.setTimeZone(nullptr);
  }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  platform::SimulatedHealthDevice& device_;
};

}  // namespace fetch_test
