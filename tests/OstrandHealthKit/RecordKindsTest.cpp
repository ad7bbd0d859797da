// What each record kind makes of its own HealthKit data: insulin types, sleep durations, workouts
// and their active stretches, reproductive-health observations, and the entries that exist only
// from iOS 11.0 and 13.0 on.

#include <gtest/gtest.h>

#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKWorkout.h"
#include "OstrandCore/OSTFormatter.h"
#include "OstrandHealthKit/Categories/HKWorkout+Ostrand.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "OstrandHealthKit/Models/OSTDiabetes+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"
#include "RecordTestSupport.h"
#include "support/SessionFixture.h"

namespace testing_support {
namespace {

class RecordKindsTest : public SessionFixture {
 protected:
  static std::shared_ptr<OSTRecord> convert(OSTRecordType kind, const HKObject& sample) {
    auto record = OSTRecord::newRecordWithType(kind);
    setHealthKitSample(*record, sample);
    return record;
  }
  static HKQuantitySample::Pointer insulin(long reason) {
    return measurement(HKQuantityTypeIdentifierInsulinDelivery, 4, "IU", kStart,
                       metadata({{HKMetadataKeyInsulinDeliveryReason, reason}}));
  }
  static std::string iso(NSDate date) {
    return OSTFormatter::sharedFormatter()->ISO8601DateTimeFormatter()->stringFromDate(date);
  }
};

TEST_F(RecordKindsTest, BeforeIOS11TheNewerTypesWriteNothingAfterItInsulinCarriesItsType) {
  const auto resting =
      measurement(HKQuantityTypeIdentifierRestingHeartRate, 52, "count/min", kStart);
  const auto waist = measurement(HKQuantityTypeIdentifierWaistCircumference, 32, "in", kStart);
  const auto vo2 = measurement(HKQuantityTypeIdentifierVO2Max, 40, "mL/(kg.min)", kStart);
  const auto bolus = insulin(HKInsulinDeliveryReasonBolus);
  {
    PlatformVersion iOS10({10, 3, 0});
    EXPECT_TRUE(isEmpty(*convert(OSTRecordTypeBiometrics, *resting)));
    EXPECT_TRUE(isEmpty(*convert(OSTRecordTypeWeight, *waist)));
    EXPECT_TRUE(isEmpty(*convert(OSTRecordTypeFitness, *vo2)));
    EXPECT_TRUE(isEmpty(*convert(OSTRecordTypeDiabetes, *bolus)));
  }
  PlatformVersion iOS11({11, 0, 0});
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeBiometrics, *resting), "restingHeartrate"), 52);
  EXPECT_DOUBLE_EQ(
      valueAt(*convert(OSTRecordTypeWeight, *waist), "extras.waist_circumference").doubleValue(),
      81.28);
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeFitness, *vo2), "extras.vo2_max"), 40);
  const auto delivered = convert(OSTRecordTypeDiabetes, *bolus);
  EXPECT_EQ(valueAt(*delivered, "insulin"), 4);
  EXPECT_EQ(valueAt(*delivered, "extras.insulin_type"), "bolus");
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeDiabetes, *insulin(HKInsulinDeliveryReasonBasal)),
                    "extras.insulin_type"),
            "basal");
  // A glucose reading carrying a delivery reason is still no insulin record.
  const auto glucose = convert(
      OSTRecordTypeDiabetes, *measurement(HKQuantityTypeIdentifierBloodGlucose, 90, "mg/dL", kStart,
                                          metadata({{HKMetadataKeyInsulinDeliveryReason, 2}})));
  EXPECT_EQ(valueAt(*glucose, "bloodGlucose"), 90);
  EXPECT_TRUE(glucose->extras().empty());
}

TEST_F(RecordKindsTest, APositiveOvulationTestIsNamedAfterTheLHSurgeFromIOS13) {
  const auto positive = categorySample(HKCategoryTypeIdentifierOvulationTestResult,
                                       HKCategoryValueOvulationTestResultPositive, at(0), at(0));
  const auto result = [&] {
    return valueAt(*convert(OSTRecordTypeBiometrics, *positive), "extras.ovulation_test_result");
  };
  {
    PlatformVersion iOS12({12, 4, 0});
    EXPECT_EQ(result(), "Positive");
  }
  PlatformVersion iOS13({13, 0, 0});
  EXPECT_EQ(result(), "Luteinizing Hormone Surge");
}

TEST_F(RecordKindsTest, OneSleepSampleGivesOneDurationAndNewerSleepStagesNone) {
  struct {
    long value;
    const char* keyPath;  // nullptr: nothing at all
  } const cases[] = {
      {HKCategoryValueSleepAnalysisInBed, "extras.in_bed"},
      {HKCategoryValueSleepAnalysisAsleep, "totalSleep"},
      {HKCategoryValueSleepAnalysisAwake, "awake"},
      {HKCategoryValueSleepAnalysisAsleepCore, nullptr},
      {HKCategoryValueSleepAnalysisAsleepREM, nullptr},
  };
  for (const auto& c : cases) {
    const auto record =
        convert(OSTRecordTypeSleep,
                *categorySample(HKCategoryTypeIdentifierSleepAnalysis, c.value, at(0), at(1)));
    if (!c.keyPath) {
      EXPECT_TRUE(isEmpty(*record)) << c.value;
      continue;
    }
    EXPECT_EQ(record->propertyValues().size() + record->extras().size(), 1U) << c.keyPath;
    EXPECT_EQ(valueAt(*record, c.keyPath), 60) << c.keyPath;
  }
}

TEST_F(RecordKindsTest, AWorkoutBecomesAFitnessRecordInMetresKilocaloriesAndActiveSeconds) {
  const auto run = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeRunning, at(0), at(40),
      {HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, at(10)),
       HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume, at(15))},
      HKQuantity::quantityWithUnit(HKUnit::unitFromString("kJ"), 1046),
      HKQuantity::quantityWithUnit(HKUnit::mileUnit(), 3), nullptr);
  const auto record = convert(OSTRecordTypeFitness, *run);
  EXPECT_NEAR(valueAt(*record, "distance").doubleValue(), 4828.032, 1e-9);
  EXPECT_NEAR(valueAt(*record, "calories").doubleValue(), 250, 1e-9);
  EXPECT_DOUBLE_EQ(valueAt(*record, "duration").doubleValue(), 35 * 60);
  EXPECT_EQ(valueAt(*record, "startTime"), at(0));
  EXPECT_TRUE(record->extras().empty());  // no strokes for a run

  const auto swim = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeSwimming, at(0), at(30), {}, nullptr, nullptr,
      HKQuantity::quantityWithUnit(HKUnit::countUnit(), 620.5), nullptr, nullptr);
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeFitness, *swim), "extras.swimming_stroke_count"), 621);
}

TEST_F(RecordKindsTest, WorkoutsAreCutIntoTheirActiveStretches) {
  using Events = std::vector<std::pair<HKWorkoutEventType, double>>;  // type, minute
  struct {
    const char* what;
    Events events;
    std::vector<std::pair<double, double>> expected;  // start, end minutes
  } const cases[] = {
      {"a second pause before the resume is skipped",
       {{HKWorkoutEventTypePause, 10},
        {HKWorkoutEventTypePause, 15},
        {HKWorkoutEventTypeResume, 20}},
       {{0, 10}, {20, 60}}},
      {"ends paused", {{HKWorkoutEventTypePause, 50}}, {{0, 50}}},
      {"laps, markers and motion pauses do not cut",
       {{HKWorkoutEventTypeLap, 5},
        {HKWorkoutEventTypeMarker, 10},
        {HKWorkoutEventTypeMotionPaused, 20},
        {HKWorkoutEventTypeMotionResumed, 25},
        {HKWorkoutEventTypePauseOrResumeRequest, 30}},
       {{0, 60}}},
  };
  for (const auto& c : cases) {
    HKWorkout::Events events;
    for (const auto& [type, minute] : c.events) {
      events.push_back(HKWorkoutEvent::workoutEventWithType(
          type, NSDateInterval(at(minute), type == HKWorkoutEventTypeLap ? 60 : 0), nullptr));
    }
    std::vector<OSTWorkoutInterval> expected;
    for (const auto& [start, end] : c.expected) expected.push_back({at(start), at(end)});
    EXPECT_EQ(workoutIntervals(*HKWorkout::workoutWithActivityType(
                  HKWorkoutActivityTypeCycling, at(0), at(60), events, nullptr, nullptr, nullptr)),
              expected)
        << c.what;
  }
}

TEST_F(RecordKindsTest, TheWorkoutFilterMatchesHeartRateOnlyWhileAWorkoutIsActive) {
  const auto paused = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeRunning, at(0), at(60),
      {HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, at(20)),
       HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume, at(40))},
      nullptr, nullptr, nullptr);
  const auto later =
      HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeYoga, at(120), at(150));
  const auto filter = predicateForWorkouts({paused, later});
  for (const auto& [minute, active] :
       std::vector<std::pair<double, bool>>{{10, true}, {30, false}, {90, false}, {130, true}}) {
    EXPECT_EQ(filter->evaluateWithObject(
                  *measurement(HKQuantityTypeIdentifierHeartRate, 100, "count/min", at(minute))),
              active)
        << minute;
  }
}

TEST_F(RecordKindsTest, MenstrualFlowIsNamedAndDated) {
  const auto flow = convert(
      OSTRecordTypeBiometrics,
      *categorySample(HKCategoryTypeIdentifierMenstrualFlow, HKCategoryValueMenstrualFlowNone,
                      at(0), at(600), metadata({{HKMetadataKeyMenstrualCycleStart, true}})));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow"), "None");
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow_start"), iso(at(0)));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow_end"), iso(at(600)));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_cycle_start"), true);
}

}  // namespace
}  // namespace testing_support
