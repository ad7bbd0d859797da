#pragma once

// The fixture of the end-to-end and heart-rate suites: a real engine on an empty session
// database, with an iPhone and an Apple Watch writing. Times are local wall-clock times in the
// process zone, so the expectations hold under any TZ.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "FetchTestSupport.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandCore/OSTRoutine.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "support/SyncFixture.h"

namespace end_to_end {

// A local date by its calendar fields, in the library's calendar.
inline NSDate local(long year, long month, long day, long hour = 0, long minute = 0) {
  NSDateComponents parts;
  parts.setYear(year);
  parts.setMonth(month);
  parts.setDay(day);
  parts.setHour(hour);
  parts.setMinute(minute);
  return *ost_gregorianCalendar()->dateFromComponents(parts);
}

// Bundle identifiers of the fixture's phone and watch (the Health app's device sources).
inline const std::string kPhone = "com.apple.health.5B3C2A10-6E1F-4C53-9D0B-7A1C2E3F4A5B";
inline const std::string kWatch = "com.apple.health.0D6E8F21-3B4A-4E7C-8A9D-1F2E3C4B5A69";

class SyncEndToEndFixture : public testing_support::SyncFixture {
 protected:
  // `hour`:`minute`:`second` local time, `dayOffset` days from the fixture's local day.
  static NSDate at(long dayOffset, long hour, long minute = 0, long second = 0) {
    return fetch_test::localTime(kStart, dayOffset, hour, minute, second);
  }

  // The clock moves on to `when`, then `source` saves.
  void saveAt(NSDate when, const std::shared_ptr<HKHealthStore>& source,
              std::vector<std::shared_ptr<const HKObject>> objects) {
    clock().set(when);
    ASSERT_EQ(save(source, std::move(objects)), nullptr);
  }

  static std::shared_ptr<const HKQuantitySample> measured(const std::string& identifier,
                                                          const char* unit, double value,
                                                          NSDate start, NSDate end,
                                                          HKMetadata metadata = nullptr) {
    return HKQuantitySample::quantitySampleWithType(
        HKObjectType::quantityTypeForIdentifier(identifier),
        HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value), start, end,
        std::move(metadata));
  }
  static std::shared_ptr<const HKQuantitySample> pulse(double bpm, NSDate when) {
    return measured(HKQuantityTypeIdentifierHeartRate, "count/min", bpm, when, when);
  }

  // Subscribes to every type of every subscription set.
  bool subscribeToEverySet() {
    OSTSampleTypeArray types;
    for (NSInteger set = 0; set <= 7; ++set) {
      const auto members = OSTHealthKitSubscription::sampleTypesForSubscriptionSet(set);
      types.insert(types.end(), members->begin(), members->end());
    }
    return subscribe(types);
  }
  // The outbox's records of one kind, oldest first.
  std::vector<std::shared_ptr<OSTRecord>> outboxOf(OSTRecordType kind) const {
    std::vector<std::shared_ptr<OSTRecord>> records;
    for (const auto& record : outbox()) {
      if (record->recordType() == kind) records.push_back(record);
    }
    return records;
  }
  std::map<std::string, std::shared_ptr<OSTRoutine>> routines() const {
    return fetch_test::recordsBy<OSTRoutine>(
        outbox(), [](const OSTRoutine& r) { return r.activityID().value_or(""); });
  }
  std::map<std::string, double> stepsByDay() const {
    std::map<std::string, double> totals;
    for (const auto& [key, routine] : routines()) totals[key] = routine->steps().doubleValue();
    return totals;
  }
  std::map<std::string, std::shared_ptr<OSTBiometrics>> biometrics() const {
    return fetch_test::recordsBy<OSTBiometrics>(
        outbox(), [](const OSTBiometrics& r) { return r.activityID().value_or(""); });
  }
  static void expectHeartRate(const OSTBiometrics& day, double min, double max, double average) {
    EXPECT_EQ(day.minHeartRate(), min);
    EXPECT_EQ(day.maxHeartRate(), max);
    EXPECT_EQ(day.averageHeartRate(), average);
  }

  static std::string routineKey(NSDate day) {
    return "routine-user-1-com.Apple.Health.AggregateRecord-" + fetch_test::dayText(day);
  }
  static std::string heartRateKey(const std::string& bundle, NSDate day) {
    return "heart-rate-user-1-" + bundle + "-" + fetch_test::dayText(day);
  }

  std::optional<NSDate> storedQueryDate(const OSTSampleTypePointer& type) const {
    const auto dates = queryDates(*session());
    const auto found = dates.find(type);
    return found == dates.end() ? std::nullopt : std::optional<NSDate>(found->second);
  }
  bool hasAnchor(const OSTSampleTypePointer& type) const {
    return anchorForKey(*session(), type) != nullptr;
  }

  const OSTSampleTypePointer steps = stepType();
  const OSTSampleTypePointer heartRate = sampleType(HKQuantityTypeIdentifierHeartRate);
  const OSTSampleTypePointer weight = sampleType(HKQuantityTypeIdentifierBodyMass);
};

}  // namespace end_to_end
