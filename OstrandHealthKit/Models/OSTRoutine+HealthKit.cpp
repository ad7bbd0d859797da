#include <cmath>

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Models/OSTRoutine+HealthKit.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace {

using RoutineRecords = std::map<std::string, std::shared_ptr<OSTRoutine>>;

// The day's record, made on first use, marked as an aggregate of that day.
OSTRoutine& recordForDay(RoutineRecords& records, NSDate day) {
  const std::string key = routineKeyFromDate(day);
  auto& record = records[key];
  if (!record) record = std::make_shared<OSTRoutine>();
  setAggregateSource(*record);
  record->setActivityID(key);
  record->setTimestamp(day);
  return *record;
}

void addCategorySamples(RoutineRecords& records, NSDate day,
                        const std::vector<std::shared_ptr<const HKSample>>& samples) {
  int stood = 0;
  int idle = 0;
  double mindfulSeconds = 0;
  for (const auto& entry : samples) {
    const auto* sample = dynamic_cast<const HKCategorySample*>(entry.get());
    if (!sample || !sample->sampleType()) continue;
    const std::string& type = sample->sampleType()->identifier();
    if (type == HKCategoryTypeIdentifierAppleStandHour) {
      if (sample->value() == HKCategoryValueAppleStandHourStood) ++stood;
      if (sample->value() == HKCategoryValueAppleStandHourIdle) ++idle;
    } else if (type == HKCategoryTypeIdentifierMindfulSession) {
      mindfulSeconds += sample->endDate().timeIntervalSinceDate(sample->startDate());
    }
  }
  // Whole minutes; sessions of absurd length can overflow the sum or any integer.
  const double mindfulMinutes = std::trunc(mindfulSeconds / 60.0);
  const bool mindful = mindfulSeconds > 0 && fitsRecordInteger(mindfulMinutes);
  if (stood == 0 && idle == 0 && !mindful) return;

  OSTRoutine& record = recordForDay(records, day);
  if (stood > 0 || idle > 0) {
    record.setExtraValue(stood, "apple_stand_hours_stood");
    record.setExtraValue(idle, "apple_stand_hours_idle");
  }
  if (mindful) {
    record.setExtraValue(static_cast<long long>(mindfulMinutes), "apple_mindful_session_minutes");
  }
}

// The day's sum into its record. A sum the record cannot hold is left out as if the day had none,
// so a day with nothing else makes no record.
void addStatistics(RoutineRecords& records, NSDate day, const OSTTaggedStatistics& tagged) {
  if (!tagged.statistics || !tagged.statistics->sumQuantity()) return;
  const HKStatistics& statistics = *tagged.statistics;
  const HKQuantity::Pointer total = statistics.sumQuantity();
  const HKQuantity& sum = *total;
  if (!statistics.quantityType()) return;
  const HKQuantityType& type = *statistics.quantityType();
  const auto unit = OSTHealthKitSubscription::unitForQuantityTypeIdentifier(type.identifier());
  if (!unit || !sum.isCompatibleWithUnit(*unit)) return;
  if (tagged.source == OSTStatisticsSourceUserEntered) {
    // Kept unrounded, but its whole steps are subtracted below.
    const double steps = sum.doubleValueForUnit(*unit);
    if (fitsRecordInteger(std::trunc(steps))) {
      recordForDay(records, day).setExtraValue(steps, "user_entered_steps");
    }
  } else if (recordValueForQuantity(sum, type, *unit)) {
    setQuantity(recordForDay(records, day), sum, type, *unit);
  }
}

// Whole steps minus whole hand-entered steps; a missing value counts as 0. Left out when the
// difference does not fit an integer.
void setDeviceGeneratedSteps(OSTRoutine& record) {
  const NSAny steps = record.steps();
  const auto userEntered = record.extras().find("user_entered_steps");
  const auto total = steps.isNumber() ? recordIntegerValue(steps) : 0LL;
  const auto typedIn = userEntered != record.extras().end() && userEntered->second.isNumber()
                           ? recordIntegerValue(userEntered->second)
                           : 0LL;
  long long difference = 0;
  if (!total || !typedIn || __builtin_sub_overflow(*total, *typedIn, &difference)) return;
  record.setExtraValue(difference, "device_generated_steps");
}

}  // namespace

std::shared_ptr<const OSTHealthKitKeyPaths> routineHealthKitKeyPaths() {
  static auto* const keyPaths = new OSTCachedValue<OSTHealthKitKeyPaths>();
  return keyPaths->get([] {
    return OSTHealthKitKeyPaths{
        {HKQuantityTypeIdentifierStepCount, "steps"},
        {HKQuantityTypeIdentifierFlightsClimbed, "floors"},
        {HKQuantityTypeIdentifierDistanceWalkingRunning, "distance"},
        {HKQuantityTypeIdentifierActiveEnergyBurned, "caloriesBurned"},
        {HKQuantityTypeIdentifierBasalEnergyBurned, "extras.resting_calories"},
        {HKQuantityTypeIdentifierInhalerUsage, "extras.inhaler_usage"},
        {HKQuantityTypeIdentifierAppleExerciseTime, "activeDuration"},
        {HKQuantityTypeIdentifierPushCount, "extras.wheelchair_pushes"},
        {HKQuantityTypeIdentifierDistanceWheelchair, "extras.wheelchair_distance"},
    };
  });
}

std::vector<std::shared_ptr<OSTRoutine>> routineRecordsFromStatistics(
    const std::vector<OSTDayStatistics>& statistics,
    const std::vector<OSTDayCategorySamples>& categorySamples) {
  RoutineRecords records;
  for (const auto& days : categorySamples) {
    for (const auto& [day, samples] : days) addCategorySamples(records, day, samples);
  }
  for (const auto& days : statistics) {
    for (const auto& [day, tagged] : days) addStatistics(records, day, tagged);
  }
  std::vector<std::shared_ptr<OSTRoutine>> result;
  for (auto& [key, record] : records) {
    setDeviceGeneratedSteps(*record);
    result.push_back(std::move(record));
  }
  return result;
}

std::string routineKeyFromDate(NSDate date) {
  return dayRecordKey("routine", kHKAggregateBundleIdentifier, date);
}

void setAggregateSource(OSTRecord& record) {
  record.setOriginalSource(kHKAggregateSourceName);
  record.setSourcePeripheral(kHKAggregateBundleIdentifier);
  record.setIntermediarySource(kOSTIntermediarySourceAppleHealth);
  record.setValidated(false);
}
