// Filling records from single HealthKit objects: values arrive in the record's unit and scale,
// each record kind takes only what belongs to it, correlations end as one record, the source
// fields say who wrote the data, and what each kind makes of its own data (insulin, sleep,
// workouts and their active stretches, reproductive health, entries gated on iOS 11 and 13).

#include <gtest/gtest.h>

#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKWorkout.h"
#include "OstrandCore/OSTFormatter.h"
#include "OstrandCore/OSTNutrition.h"
#include "OstrandHealthKit/Categories/HKSource+Ostrand.h"
#include "OstrandHealthKit/Categories/HKWorkout+Ostrand.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "OstrandHealthKit/Models/OSTDiabetes+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"
#include "RecordTestSupport.h"
#include "support/SessionFixture.h"

namespace testing_support {
namespace {

class RecordConversionTest : public SessionFixture {
 protected:
  // A new record of the kind, filled from the object as the anchored fetch fills it.
  static std::shared_ptr<OSTRecord> convert(OSTRecordType kind, const HKSample& sample) {
    auto record = OSTRecord::newRecordWithType(kind);
    record->setTimestamp(sample.startDate());
    setHealthKitMetadata(*record, sample);
    record->setActivityID(sample.UUID().UUIDString());
    setHealthKitSample(*record, sample);
    return record;
  }
  // The same record filled from the object alone.
  static std::shared_ptr<OSTRecord> fill(OSTRecordType kind, const HKObject& object) {
    auto record = OSTRecord::newRecordWithType(kind);
    setHealthKitSample(*record, object);
    return record;
  }
  static HKWorkout::Pointer yoga() {
    return HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeYoga, at(0), at(30));
  }
  static HKQuantitySample::Pointer insulin(long reason) {
    return measurement(HKQuantityTypeIdentifierInsulinDelivery, 4, "IU", kStart,
                       metadata({{HKMetadataKeyInsulinDeliveryReason, reason}}));
  }
  static std::string iso(NSDate date) {
    return OSTFormatter::sharedFormatter()->ISO8601DateTimeFormatter()->stringFromDate(date);
  }
};

TEST_F(RecordConversionTest, ValuesArriveInTheRecordsUnitScaledAndRoundedAsRecordsExpect) {
  struct {
    OSTRecordType kind;
    const std::string& identifier;
    double value;
    const char* writtenUnit;
    const char* keyPath;
    double expected;  // worked out by hand
  } const cases[] = {
      {OSTRecordTypeWeight, HKQuantityTypeIdentifierBodyMass, 165, "lb", "weight", 74.8427410},
      {OSTRecordTypeWeight, HKQuantityTypeIdentifierHeight, 70, "in", "height", 177.8},
      {OSTRecordTypeWeight, HKQuantityTypeIdentifierBodyFatPercentage, 0.25, "%", "fatPercent", 25},
      {OSTRecordTypeWeight, HKQuantityTypeIdentifierBodyMassIndex, 22.6, "count", "bmi", 22.6},
      {OSTRecordTypeBiometrics, HKQuantityTypeIdentifierBodyTemperature, 98.6, "degF",
       "temperature", 37},
      {OSTRecordTypeBiometrics, HKQuantityTypeIdentifierOxygenSaturation, 0.973, "%", "spo2", 97.3},
      {OSTRecordTypeBiometrics, HKQuantityTypeIdentifierRespiratoryRate, 16.5, "count/min",
       "extras.respiratory_rate", 16.5},
      {OSTRecordTypeDiabetes, HKQuantityTypeIdentifierBloodGlucose, 5.5,
       "mmol<180.15588000005408>/L", "bloodGlucose", 99.085734},
      {OSTRecordTypeRoutine, HKQuantityTypeIdentifierStepCount, 1234.5, "count", "steps", 1235},
      {OSTRecordTypeRoutine, HKQuantityTypeIdentifierFlightsClimbed, 2.49, "count", "floors", 2},
      {OSTRecordTypeRoutine, HKQuantityTypeIdentifierActiveEnergyBurned, 418.4, "kJ",
       "caloriesBurned", 100},
      {OSTRecordTypeRoutine, HKQuantityTypeIdentifierAppleExerciseTime, 30, "min", "activeDuration",
       1800},
      {OSTRecordTypeNutrition, HKQuantityTypeIdentifierDietaryWater, 8, "fl_oz_us", "water",
       236.5882365},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.keyPath);
    const auto record = convert(c.kind, *measurement(c.identifier, c.value, c.writtenUnit, kStart));
    const NSAny value = valueAt(*record, c.keyPath);
    ASSERT_TRUE(value.isNumber());
    EXPECT_NEAR(value.doubleValue(), c.expected, 1e-6);
  }
}

TEST_F(RecordConversionTest, EachRecordKindTakesOnlyWhatBelongsToIt) {
  struct {
    std::shared_ptr<const HKObject> object;
    OSTRecordType kind, otherKind;
    const char* keyPath;
    NSAny expected;
  } const cases[] = {
      {measurement(HKQuantityTypeIdentifierSwimmingStrokeCount, 40, "count", kStart),
       OSTRecordTypeFitness, OSTRecordTypeRoutine, "extras.swimming_stroke_count", 40},
      {categorySample(HKCategoryTypeIdentifierSleepAnalysis, HKCategoryValueSleepAnalysisAsleep,
                      at(0), at(10)),
       OSTRecordTypeSleep, OSTRecordTypeBiometrics, "totalSleep", 600},
      {categorySample(HKCategoryTypeIdentifierCervicalMucusQuality,
                      HKCategoryValueCervicalMucusQualityWatery, at(0), at(0)),
       OSTRecordTypeBiometrics, OSTRecordTypeSleep, "extras.cervical_mucus_quality", "Watery"},
      {HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning, at(0), at(30)),
       OSTRecordTypeFitness, OSTRecordTypeRoutine, "type", "Running"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.keyPath);
    EXPECT_EQ(valueAt(*fill(c.kind, *c.object), c.keyPath), c.expected);
    EXPECT_TRUE(isEmpty(*fill(c.otherKind, *c.object)));
  }
}

TEST_F(RecordConversionTest, AMealEndsAsOneNutritionRecordWithEveryNutrient) {
  const auto meal = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood), at(0), at(20),
      {measurement(HKQuantityTypeIdentifierDietaryEnergyConsumed, 2092, "kJ", at(0)),
       measurement(HKQuantityTypeIdentifierDietaryProtein, 30, "g", at(0)),
       measurement(HKQuantityTypeIdentifierDietarySugar, 12500, "mg", at(0))});
  const auto record = convert(OSTRecordTypeNutrition, *meal);
  ASSERT_NE(std::dynamic_pointer_cast<OSTNutrition>(record), nullptr);
  EXPECT_NEAR(valueAt(*record, "calories").doubleValue(), 500, 1e-9);
  EXPECT_DOUBLE_EQ(valueAt(*record, "protein").doubleValue(), 30);
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.sugar").doubleValue(), 12.5);
}

TEST_F(RecordConversionTest, HandEnteredDataIsNotValidatedAndWatchDataIs) {
  const auto weighed = [&](bool typedIn) {
    return convert(OSTRecordTypeWeight,
                   *measurement(HKQuantityTypeIdentifierBodyMass, 70, "kg", kStart,
                                metadata({{HKMetadataKeyWasUserEntered, typedIn}})));
  };
  EXPECT_EQ(weighed(true)->validated(), 0);
  EXPECT_EQ(weighed(false)->validated(), 1);
  {
    WritingAs watchApp("Sam's Apple Watch", "com.apple.health.8A1B2C3D");
    const auto workout = convert(OSTRecordTypeFitness, *yoga());
    EXPECT_EQ(workout->originalSource(), kOSTOriginalSourceAppleWatch);
    EXPECT_EQ(workout->validated(), true);
  }
  // The Health app's own identifier is not a watch's: the prefix needs its trailing dot.
  WritingAs healthApp("Health", "com.apple.health");
  EXPECT_TRUE(convert(OSTRecordTypeFitness, *yoga())->validated().isNil());
}

// A person's device names reduce to their kind; worked out by hand from the three patterns
// (/iPhone/, /Apple.+Watch/, /iPod.+touch/, no case, "." not across a line break).
TEST(SourceNames, DeviceNamesReduceToTheirKind) {
  const std::pair<const char*, const char*> cases[] = {
      {"John's iPhone", "iPhone"},
      {"IPHONE 15 PRO", "iPhone"},
      {"Sam\u2019s Apple\u00a0Watch", "Apple Watch"},  // a two-byte space between the words
      {"apple watch ultra", "Apple Watch"},
      {"AppleWatch", "AppleWatch"},  // nothing between the words
      {"Watch by Apple", "Watch by Apple"},
      {"Apple\nWatch", "Apple\nWatch"},
      {"Apple TV\nMy Apple Watch", "Apple Watch"},  // the second line holds it
      {"iPhone's Apple Watch", "iPhone"},           // tried first
      {"Kid's iPod touch", "iPod touch"},
      {"Withings", "Withings"},
      {"", ""},
  };
  for (const auto& [name, expected] : cases) {
    EXPECT_EQ(sanitizedNameForSourceName(name), expected) << name;
  }
}

TEST_F(RecordConversionTest, WeatherKeepsCelsiusAndHumidityAsAFraction) {
  const auto sample = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeHiking, at(0), at(60), {}, nullptr, nullptr,
      metadata({{HKMetadataKeyWeatherCondition, HKWeatherConditionTornado},
                {HKMetadataKeyWeatherTemperature,
                 HKQuantity::quantityWithUnit(HKUnit::degreeFahrenheitUnit(), 68)},
                {HKMetadataKeyWeatherHumidity,
                 HKQuantity::quantityWithUnit(HKUnit::percentUnit(), 0.45)}}));
  const auto record = convert(OSTRecordTypeFitness, *sample);
  EXPECT_EQ(valueAt(*record, "extras.weather_condition"), "Tornado");
  EXPECT_NEAR(valueAt(*record, "extras.weather_temperature").doubleValue(), 20, 1e-9);
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.weather_humidity").doubleValue(), 0.45);
}

TEST_F(RecordConversionTest, WorkoutHeartRateIsAveragedRoundedAndKeepsItsExtremes) {
  const auto bpm = [](double value, const char* unit, double minute) {
    return measurement(HKQuantityTypeIdentifierHeartRate, value, unit, at(minute));
  };
  auto record = OSTRecord::newRecordWithType(OSTRecordTypeFitness);
  // 1.35 beats per second is 81 per minute.
  addHeartRateSamples(*record,
                      {bpm(60, "count/min", 1), bpm(70, "count/min", 2), bpm(1.35, "count/s", 3)});
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.avg_heart_rate").doubleValue(), 70);  // 70.33
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.min_heart_rate").doubleValue(), 60);
  EXPECT_NEAR(valueAt(*record, "extras.max_heart_rate").doubleValue(), 81, 1e-9);
  addHeartRateSamples(*record, {bpm(60, "count/min", 1), bpm(61, "count/min", 2)});
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.avg_heart_rate").doubleValue(), 61);  // 60.5
}

TEST_F(RecordConversionTest, BeforeIOS11TheNewerTypesWriteNothingAfterItInsulinCarriesItsType) {
  const auto resting =
      measurement(HKQuantityTypeIdentifierRestingHeartRate, 52, "count/min", kStart);
  const auto waist = measurement(HKQuantityTypeIdentifierWaistCircumference, 32, "in", kStart);
  const auto vo2 = measurement(HKQuantityTypeIdentifierVO2Max, 40, "mL/(kg.min)", kStart);
  const auto bolus = insulin(HKInsulinDeliveryReasonBolus);
  {
    PlatformVersion iOS10({10, 3, 0});
    EXPECT_TRUE(isEmpty(*fill(OSTRecordTypeBiometrics, *resting)));
    EXPECT_TRUE(isEmpty(*fill(OSTRecordTypeWeight, *waist)));
    EXPECT_TRUE(isEmpty(*fill(OSTRecordTypeFitness, *vo2)));
    EXPECT_TRUE(isEmpty(*fill(OSTRecordTypeDiabetes, *bolus)));
  }
  PlatformVersion iOS11({11, 0, 0});
  EXPECT_EQ(valueAt(*fill(OSTRecordTypeBiometrics, *resting), "restingHeartrate"), 52);
  EXPECT_DOUBLE_EQ(
      valueAt(*fill(OSTRecordTypeWeight, *waist), "extras.waist_circumference").doubleValue(),
      81.28);
  EXPECT_EQ(valueAt(*fill(OSTRecordTypeFitness, *vo2), "extras.vo2_max"), 40);
  const auto delivered = fill(OSTRecordTypeDiabetes, *bolus);
  EXPECT_EQ(valueAt(*delivered, "insulin"), 4);
  EXPECT_EQ(valueAt(*delivered, "extras.insulin_type"), "bolus");
  EXPECT_EQ(valueAt(*fill(OSTRecordTypeDiabetes, *insulin(HKInsulinDeliveryReasonBasal)),
                    "extras.insulin_type"),
            "basal");
  // A glucose reading carrying a delivery reason is still no insulin record.
  const auto glucose = fill(OSTRecordTypeDiabetes,
                            *measurement(HKQuantityTypeIdentifierBloodGlucose, 90, "mg/dL", kStart,
                                         metadata({{HKMetadataKeyInsulinDeliveryReason, 2}})));
  EXPECT_EQ(valueAt(*glucose, "bloodGlucose"), 90);
  EXPECT_TRUE(glucose->extras().empty());
}

TEST_F(RecordConversionTest, APositiveOvulationTestIsNamedAfterTheLHSurgeFromIOS13) {
  const auto positive = categorySample(HKCategoryTypeIdentifierOvulationTestResult,
                                       HKCategoryValueOvulationTestResultPositive, at(0), at(0));
  const auto result = [&] {
    return valueAt(*fill(OSTRecordTypeBiometrics, *positive), "extras.ovulation_test_result");
  };
  {
    PlatformVersion iOS12({12, 4, 0});
    EXPECT_EQ(result(), "Positive");
  }
  PlatformVersion iOS13({13, 0, 0});
  EXPECT_EQ(result(), "Luteinizing Hormone Surge");
}

TEST_F(RecordConversionTest, OneSleepSampleGivesOneDurationAndNewerSleepStagesNone) {
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
        fill(OSTRecordTypeSleep,
             *categorySample(HKCategoryTypeIdentifierSleepAnalysis, c.value, at(0), at(1)));
    if (!c.keyPath) {
      EXPECT_TRUE(isEmpty(*record)) << c.value;
      continue;
    }
    EXPECT_EQ(record->propertyValues().size() + record->extras().size(), 1U) << c.keyPath;
    EXPECT_EQ(valueAt(*record, c.keyPath), 60) << c.keyPath;
  }
}

TEST_F(RecordConversionTest, AWorkoutBecomesAFitnessRecordInMetresKilocaloriesAndActiveSeconds) {
  const auto run = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeRunning, at(0), at(40),
      {HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, at(10)),
       HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume, at(15))},
      HKQuantity::quantityWithUnit(HKUnit::unitFromString("kJ"), 1046),
      HKQuantity::quantityWithUnit(HKUnit::mileUnit(), 3), nullptr);
  const auto record = fill(OSTRecordTypeFitness, *run);
  EXPECT_NEAR(valueAt(*record, "distance").doubleValue(), 4828.032, 1e-9);
  EXPECT_NEAR(valueAt(*record, "calories").doubleValue(), 250, 1e-9);
  EXPECT_DOUBLE_EQ(valueAt(*record, "duration").doubleValue(), 35 * 60);
  EXPECT_EQ(valueAt(*record, "startTime"), at(0));
  EXPECT_TRUE(record->extras().empty());  // no strokes for a run

  const auto swim = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeSwimming, at(0), at(30), {}, nullptr, nullptr,
      HKQuantity::quantityWithUnit(HKUnit::countUnit(), 620.5), nullptr, nullptr);
  EXPECT_EQ(valueAt(*fill(OSTRecordTypeFitness, *swim), "extras.swimming_stroke_count"), 621);
}

TEST_F(RecordConversionTest, WorkoutsAreCutIntoTheirActiveStretches) {
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

TEST_F(RecordConversionTest, TheWorkoutFilterMatchesHeartRateOnlyWhileAWorkoutIsActive) {
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

TEST_F(RecordConversionTest, MenstrualFlowIsNamedAndDated) {
  const auto flow =
      fill(OSTRecordTypeBiometrics,
           *categorySample(HKCategoryTypeIdentifierMenstrualFlow, HKCategoryValueMenstrualFlowNone,
                           at(0), at(600), metadata({{HKMetadataKeyMenstrualCycleStart, true}})));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow"), "None");
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow_start"), iso(at(0)));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_flow_end"), iso(at(600)));
  EXPECT_EQ(valueAt(*flow, "extras.menstrual_cycle_start"), true);
}

}  // namespace
}  // namespace testing_support
