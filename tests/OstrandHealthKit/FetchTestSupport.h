#pragma once

// Helpers for the fetch suites: local wall-clock times on the fixture's day in whatever zone the
// process runs, and a guard that puts the library's calendar and the device's statistics
// calendar in one named zone for a test's lifetime (so a daylight-saving day is the same day
// under every TZ the suites run with).

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSTimeZone.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "OstrandCore/OSTRecord.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "support/FaultInjectingStore.h"
#include "support/LogCapture.h"

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

// Starts `session` again for `user` on the database at `path`, behind a store whose next
// submission to the outbox fails as a full disk would.
inline void restartWithFailingSubmission(OSTSession& session, const std::string& user,
                                         const std::string& path) {
  auto faults = std::make_shared<testing_support::FaultInjectingStore::Faults>();
  faults->failAddToOutbox = 1;
  ASSERT_EQ(session.startSession(user, std::make_unique<testing_support::FaultInjectingStore>(
                                           std::make_unique<OSTSQLiteStore>(path), faults)),
            nullptr);
}

// The level of the first captured line that starts with `prefix`, if there is one.
inline std::optional<int> levelOfLine(const testing_support::LogCapture& log,
                                      const std::string& prefix) {
  const auto lines = log.lines();
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].starts_with(prefix)) return log.levels()[i];
  }
  return std::nullopt;
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
