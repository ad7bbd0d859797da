#pragma once

// The fixture of the end-to-end suites: a real engine on an empty session database, used the way
// an app uses it (subscribe, background, wakes, foreground, fetchLatestData, relaunch), with the
// fixture's iPhone and Apple Watch writing data as they would over a day or two. Times are local
// wall-clock times in whatever zone the process runs, so the expectations hold under any TZ.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "FetchTestSupport.h"
#include "Foundation/NSDictionary.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/HKWorkoutEvent.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandCore/OSTRoutine.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "support/SyncFixture.h"

namespace end_to_end {

// Bundle identifiers of the fixture's phone and watch (the Health app's device sources).
inline const std::string kPhone = "com.apple.health.5B3C2A10-6E1F-4C53-9D0B-7A1C2E3F4A5B";
inline const std::string kWatch = "com.apple.health.0D6E8F21-3B4A-4E7C-8A9D-1F2E3C4B5A69";

class SyncEndToEndFixture : public testing_support::SyncFixture {
 protected:
  // `hour`:`minute`:`second` local time, `dayOffset` days from the fixture's local day.
  static NSDate at(long dayOffset, long hour, long minute = 0, long second = 0) {
    return fetch_test::localTime(kStart, dayOffset, hour, minute, second);
  }
  // A local date by its calendar fields.
  static NSDate local(long year, long month, long day, long hour = 0, long minute = 0) {
    NSDateComponents parts;
    parts.setYear(year);
    parts.setMonth(month);
    parts.setDay(day);
    parts.setHour(hour);
    parts.setMinute(minute);
    return *ost_gregorianCalendar()->dateFromComponents(parts);
  }

  // Every type of the eight subscription sets, in set order, as an app passes them.
  static OSTSampleTypeArray everySubscriptionSet() {
    OSTSampleTypeArray types;
    for (NSInteger set = 0; set <= 7; ++set) {
      const auto members = OSTHealthKitSubscription::sampleTypesForSubscriptionSet(set);
      types.insert(types.end(), members->begin(), members->end());
    }
    return types;
  }

  // The clock moves on to `when` (never back), then `source` saves.
  void saveAt(NSDate when, const std::shared_ptr<HKHealthStore>& source,
              std::vector<std::shared_ptr<const HKObject>> objects) {
    ASSERT_GE(when.timeIntervalSinceDate(NSDate::date()), 0) << "the clock only moves on";
    clock().set(when);
    ASSERT_EQ(save(source, std::move(objects)), nullptr);
  }

  static void setApplicationState(UIApplicationState state) {
    UIApplication::sharedApplication()->setApplicationState(state);
    runUntilIdle();
  }

  // --- What the devices write ---

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
  static std::shared_ptr<const HKCategorySample> category(const std::string& identifier, long value,
                                                          NSDate start, NSDate end,
                                                          HKMetadata metadata = nullptr) {
    return HKCategorySample::categorySampleWithType(
        HKObjectType::categoryTypeForIdentifier(identifier), value, start, end,
        std::move(metadata));
  }
  static std::shared_ptr<const HKCorrelation> bloodPressure(double systolic, double diastolic,
                                                            NSDate when) {
    return HKCorrelation::correlationWithType(
        HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure), when,
        when,
        {measured(HKQuantityTypeIdentifierBloodPressureSystolic, "mmHg", systolic, when, when),
         measured(HKQuantityTypeIdentifierBloodPressureDiastolic, "mmHg", diastolic, when, when)});
  }
  static std::shared_ptr<const HKQuantitySample> insulin(double units, NSDate when) {
    return measured(HKQuantityTypeIdentifierInsulinDelivery, "IU", units, when, when,
                    NSDictionary::dictionaryWithDictionary(
                        {{HKMetadataKeyInsulinDeliveryReason, HKInsulinDeliveryReasonBolus}}));
  }
  // A run with a pause: active from `start` for `beforePause` minutes, paused for `pause`
  // minutes, then active again up to `end`.
  static std::shared_ptr<const HKWorkout> pausedRun(NSDate start, NSDate end, double beforePause,
                                                    double pause) {
    const NSDate paused = start.dateByAddingTimeInterval(beforePause * 60);
    return HKWorkout::workoutWithActivityType(
        HKWorkoutActivityTypeRunning, start, end,
        {HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, paused),
         HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume,
                                              paused.dateByAddingTimeInterval(pause * 60))},
        nullptr, nullptr, nullptr);
  }

  // --- What the outbox holds ---

  // Activity identifiers of the outbox's records, oldest first (a record without one counts as
  // "").
  std::vector<std::string> activityIDs() const {
    std::vector<std::string> ids;
    for (const auto& record : outbox()) ids.push_back(record->activityID().value_or(""));
    return ids;
  }
  // The outbox's records of one kind, oldest first.
  std::vector<std::shared_ptr<OSTRecord>> outboxOf(OSTRecordType kind) const {
    std::vector<std::shared_ptr<OSTRecord>> records;
    for (const auto& record : outbox()) {
      if (record->recordType() == kind) records.push_back(record);
    }
    return records;
  }
  // Steps per routine day key.
  std::map<std::string, double> stepsByDay() const {
    std::map<std::string, double> totals;
    for (const auto& [key, routine] : fetch_test::recordsBy<OSTRoutine>(
             outbox(), [](const OSTRoutine& r) { return r.activityID().value_or(""); })) {
      totals[key] = routine->steps().doubleValue();
    }
    return totals;
  }
  // The outbox's biometrics records by activity identifier.
  std::map<std::string, std::shared_ptr<OSTBiometrics>> biometrics() const {
    return fetch_test::recordsBy<OSTBiometrics>(
        outbox(), [](const OSTBiometrics& r) { return r.activityID().value_or(""); });
  }

  static std::string routineKey(NSDate day) {
    return "routine-user-1-com.Apple.Health.AggregateRecord-" + fetch_test::dayText(day);
  }
  static std::string heartRateKey(const std::string& bundle, NSDate day) {
    return "heart-rate-user-1-" + bundle + "-" + fetch_test::dayText(day);
  }

  // The type's stored query date, if it has one.
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
  const OSTSampleTypePointer workouts = sampleType(HKWorkoutTypeIdentifier);
};

}  // namespace end_to_end
