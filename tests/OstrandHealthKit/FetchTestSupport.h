#pragma once

// Helpers for the fetch suites: local times in whatever zone the process runs, day keys, records
// by key, and a guard that puts the library's and the device's calendars in one named zone.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSTimeZone.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "OstrandCore/OSTRecord.h"
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

// The records of class `Record` among `records`, under `key(record)`.
template <class Record, class Key>
std::map<std::string, std::shared_ptr<Record>> recordsBy(
    const std::vector<std::shared_ptr<OSTRecord>>& records, Key key) {
  std::map<std::string, std::shared_ptr<Record>> byKey;
  for (const auto& record : records) {
    if (auto typed = std::dynamic_pointer_cast<Record>(record)) byKey[key(*typed)] = typed;
  }
  return byKey;
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
