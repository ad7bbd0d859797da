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

TEST_F(RecordKindsTest, InsulinDeliveriesCarryTheirType) {
  const auto bolus = convert(OSTRecordTypeDiabetes, *insulin(HKInsulinDeliveryReasonBolus));
  EXPECT_EQ(valueAt(*bolus, "insulin"), 4);
  EXPECT_EQ(valueAt(*bolus, "extras.insulin_type"), "bolus");
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeDiabetes, *insulin(HKInsulinDeliveryReasonBasal)),
                    "extras.insulin_type"),
            "basal");
  const auto glucose = convert(
      OSTRecordTypeDiabetes, *measurement(HKQuantityTypeIdentifierBloodGlucose, 90, "mg/dL", kStart,
                                          metadata({{HKMetadataKeyInsulinDeliveryReason, 2}})));
  EXPECT_EQ(valueAt(*glucose, "bloodGlucose"), 90);
  EXPECT_TRUE(glucose->extras().empty());

  // Reasons HealthKit would not accept on a sample reach only the mapping.
  EXPECT_EQ(insulinTypeForDeliveryReason(NSAny()), std::nullopt);
  EXPECT_EQ(insulinTypeForDeliveryReason(3), std::nullopt);
  EXPECT_EQ(insulinTypeForDeliveryReason("bolus"), std::nullopt);
  EXPECT_EQ(insulinTypeForDeliveryReason(2.0), "bolus");
}

TEST_F(RecordKindsTest, BeforeIOS11TheNewerTypesWriteNothing) {
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
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeDiabetes, *bolus), "extras.insulin_type"), "bolus");
}

TEST_F(RecordKindsTest, OneSleepSampleGivesOneDurationAndNewerSleepStagesNone) {
  auto sleep = [&](long value) {
    return convert(OSTRecordTypeSleep,
                   *categorySample(HKCategoryTypeIdentifierSleepAnalysis, value, at(0), at(1)));
  };
  const auto inBed = sleep(HKCategoryValueSleepAnalysisInBed);
  EXPECT_EQ(valueAt(*inBed, "extras.in_bed"), 60);
  EXPECT_TRUE(inBed->valueForKey("totalSleep").isNil());
  EXPECT_EQ(valueAt(*sleep(HKCategoryValueSleepAnalysisAsleep), "totalSleep"), 60);
  const auto awake = sleep(HKCategoryValueSleepAnalysisAwake);
  EXPECT_EQ(valueAt(*awake, "awake"), 60);
  EXPECT_TRUE(awake->extras().empty());
  for (long stage : {HKCategoryValueSleepAnalysisAsleepCore, HKCategoryValueSleepAnalysisAsleepDeep,
                     HKCategoryValueSleepAnalysisAsleepREM}) {
    EXPECT_TRUE(isEmpty(*sleep(stage))) << "stage " << stage;
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
  EXPECT_EQ(valueAt(*record, "type"), "Running");
  EXPECT_NEAR(valueAt(*record, "distance").doubleValue(), 4828.032, 1e-9);
  EXPECT_NEAR(valueAt(*record, "calories").doubleValue(), 250, 1e-9);
  EXPECT_DOUBLE_EQ(valueAt(*record, "duration").doubleValue(), 35 * 60);
  EXPECT_EQ(valueAt(*record, "startTime"), at(0));
  EXPECT_TRUE(record->extras().empty());  // no strokes for a run

  const auto swim = [&](HKQuantity::Pointer strokes) {
    return convert(OSTRecordTypeFitness,
                   *HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeSwimming, at(0), at(30),
                                                       {}, nullptr, nullptr, std::move(strokes),
                                                       nullptr, nullptr));
  };
  const auto unreported = swim(nullptr);
  EXPECT_EQ(valueAt(*unreported, "extras.swimming_stroke_count"), 0);
  EXPECT_EQ(valueAt(*unreported, "distance"), 0);
  EXPECT_EQ(valueAt(*swim(HKQuantity::quantityWithUnit(HKUnit::countUnit(), 620.5)),
                    "extras.swimming_stroke_count"),
            621);
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeFitness, *HKWorkout::workoutWithActivityType(
                                                       HKWorkoutActivityTypeOther, at(0), at(5))),
                    "type"),
            "Workout");
}

struct IntervalCase {
  const char* what;
  std::vector<std::pair<HKWorkoutEventType, double>> events;  // type, minute
  std::vector<std::pair<double, double>> expected;            // start, end minutes
};

TEST_F(RecordKindsTest, WorkoutsAreCutIntoTheirActiveStretches) {
  const IntervalCase cases[] = {
      {"no events", {}, {{0, 60}}},
      {"pause and resume",
       {{HKWorkoutEventTypePause, 10}, {HKWorkoutEventTypeResume, 20}},
       {{0, 10}, {20, 60}}},
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
      {"two pauses",
       {{HKWorkoutEventTypePause, 10},
        {HKWorkoutEventTypeResume, 20},
        {HKWorkoutEventTypePause, 30},
        {HKWorkoutEventTypeResume, 40}},
       {{0, 10}, {20, 30}, {40, 60}}},
  };
  for (const auto& c : cases) {
    HKWorkout::Events events;
    for (const auto& [type, minute] : c.events) {
      events.push_back(HKWorkoutEvent::workoutEventWithType(
          type, NSDateInterval(at(minute), type == HKWorkoutEventTypeLap ? 60 : 0), nullptr));
    }
    const auto workout = HKWorkout::workoutWithActivityType(
        HKWorkoutActivityTypeCycling, at(0), at(60), events, nullptr, nullptr, nullptr);
    std::vector<OSTWorkoutInterval> expected;
    for (const auto& [start, end] : c.expected) expected.push_back({at(start), at(end)});
    EXPECT_EQ(workoutIntervals(*workout), expected) << c.what;
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
  auto heartRateAt = [](double minute) {
    return measurement(HKQuantityTypeIdentifierHeartRate, 100, "count/min", at(minute));
  };
  EXPECT_TRUE(filter->evaluateWithObject(*heartRateAt(10)));
  EXPECT_FALSE(filter->evaluateWithObject(*heartRateAt(30)));  // paused
  EXPECT_TRUE(filter->evaluateWithObject(*heartRateAt(50)));
  EXPECT_FALSE(filter->evaluateWithObject(*heartRateAt(90)));  // between workouts
  EXPECT_TRUE(filter->evaluateWithObject(*heartRateAt(130)));
  EXPECT_FALSE(predicateForWorkouts({})->evaluateWithObject(*heartRateAt(10)));
}

TEST_F(RecordKindsTest, ReproductiveHealthObservationsAreNamedAndDated) {
  const auto flow = convert(
      OSTRecordTypeBiometrics,
      *categorySample(HKCategoryTypeIdentifierMenstrualFlow, HKCategoryValueMenstrualFlowNone,
                      at(0), at(600), metadata({{HKMetadataKeyMenstrualCycleStart, true}})));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow"), "None");
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow_start"), iso(at(0)));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow_end"), iso(at(600)));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_cycle_start"), true);

  const auto activity = [&](HKMetadata extra) {
    return convert(OSTRecordTypeBiometrics,
                   *categorySample(HKCategoryTypeIdentifierSexualActivity,
                                   HKCategoryValueNotApplicable, at(5), at(5), std::move(extra)));
  };
  const auto unprotectedUnknown = activity(nullptr);
  EXPECT_EQ(unprotectedUnknown->extras().size(), 1U);
  EXPECT_EQ(valueAt(*unprotectedUnknown, "extras.sexual_activity_date"), iso(at(5)));
  EXPECT_EQ(valueAt(*activity(metadata({{HKMetadataKeySexualActivityProtectionUsed, false}})),
                    "extras.sexual_activity_protection_used"),
            false);
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeBiometrics,
                             *categorySample(HKCategoryTypeIdentifierIntermenstrualBleeding,
                                             HKCategoryValueNotApplicable, at(7), at(7))),
                    "extras.intermenstrual_bleeding"),
            iso(at(7)));
  EXPECT_EQ(
      valueAt(*convert(OSTRecordTypeBiometrics,
                       *categorySample(HKCategoryTypeIdentifierCervicalMucusQuality,
                                       HKCategoryValueCervicalMucusQualityEggWhite, at(0), at(0))),
              "extras.cervical_mucus_quality"),
      "Egg White");

  // Values HealthKit would not accept on a sample reach only the mappings; the fallbacks differ.
  EXPECT_EQ(cervicalMucusQualityString(0), "");
  EXPECT_EQ(cervicalMucusQualityString(6), "");
  EXPECT_EQ(menstrualFlowString(0), "");
  EXPECT_EQ(ovulationTestResultString(0), "Unknown");
  EXPECT_EQ(ovulationTestResultString(5), "Unknown");
  EXPECT_EQ(ovulationTestResultString(3), "Indeterminate");
}

TEST_F(RecordKindsTest, APositiveOvulationTestIsNamedAfterTheLHSurgeFromIOS13) {
  const auto positive = categorySample(HKCategoryTypeIdentifierOvulationTestResult,
                                       HKCategoryValueOvulationTestResultPositive, at(0), at(0));
  {
    PlatformVersion iOS12({12, 4, 0});
    EXPECT_EQ(valueAt(*convert(OSTRecordTypeBiometrics, *positive), "extras.ovulation_test_result"),
              "Positive");
  }
  PlatformVersion iOS13({13, 0, 0});
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeBiometrics, *positive), "extras.ovulation_test_result"),
            "Luteinizing Hormone Surge");
}

}  // namespace
}  // namespace testing_support
