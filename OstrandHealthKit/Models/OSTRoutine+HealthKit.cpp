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
  if (stood == 0 && idle == 0 && mindfulSeconds == 0) return;

  OSTRoutine& record = recordForDay(records, day);
  if (stood > 0 || idle > 0) {
    record.setExtraValue(stood, "apple_stand_hours_stood");
    record.setExtraValue(idle, "apple_stand_hours_idle");
  }
  if (mindfulSeconds > 0) {
    record.setExtraValue(static_cast<int>(mindfulSeconds / 60.0), "apple_mindful_session_minutes");
  }
}

void addStatistics(RoutineRecords& records, NSDate day, const OSTTaggedStatistics& tagged) {
  if (!tagged.statistics || !tagged.statistics->sumQuantity()) return;
  const HKStatistics& statistics = *tagged.statistics;
  OSTRoutine& record = recordForDay(records, day);
  if (!statistics.quantityType()) return;
  const auto unit = OSTHealthKitSubscription::unitForQuantityTypeIdentifier(
      statistics.quantityType()->identifier());
  if (!unit) return;
  if (tagged.source == OSTStatisticsSourceUserEntered) {
    if (statistics.sumQuantity()->isCompatibleWithUnit(*unit)) {
      record.setExtraValue(statistics.sumQuantity()->doubleValueForUnit(*unit),
                           "user_entered_steps");
    }
  } else {
    setQuantity(record, *statistics.sumQuantity(), *statistics.quantityType(), *unit);
  }
}

// Whole steps minus whole hand-entered steps; a missing value counts as 0.
void setDeviceGeneratedSteps(OSTRoutine& record) {
  const NSAny steps = record.steps();
  const auto userEntered = record.extras().find("user_entered_steps");
  const long long total = steps.isNumber() ? steps.integerValue() : 0;
  const long long typedIn = userEntered != record.extras().end() && userEntered->second.isNumber()
                                ? userEntered->second.integerValue()
                                : 0;
  record.setExtraValue(total - typedIn, "device_generated_steps");
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
