// Filling records from single HealthKit objects: values arrive in the record's unit whatever the
// writer used, counts and percentages are scaled and rounded as records expect, each record kind
// takes only what belongs to it, correlations end as one record, and the source fields say who
// wrote the data.

#include <gtest/gtest.h>

#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/UIKit/UIDevice.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandCore/OSTNutrition.h"
#include "OstrandHealthKit/Categories/HKSource+Ostrand.h"
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
};

struct UnitCase {
  const char* what;
  OSTRecordType kind;
  const std::string& identifier;
  double value;
  const char* writtenUnit;
  const char* keyPath;
  double expected;  // worked out by hand
};

TEST_F(RecordConversionTest, ValuesArriveInTheRecordsUnitScaledAndRoundedAsRecordsExpect) {
  const UnitCase cases[] = {
      {"weight in pounds", OSTRecordTypeWeight, HKQuantityTypeIdentifierBodyMass, 165, "lb",
       "weight", 165 * 0.45359237},
      {"lean mass in pounds", OSTRecordTypeWeight, HKQuantityTypeIdentifierLeanBodyMass, 130, "lb",
       "extras.lean_body_mass", 130 * 0.45359237},
      {"height in inches", OSTRecordTypeWeight, HKQuantityTypeIdentifierHeight, 70, "in", "height",
       177.8},
      {"body fat fraction", OSTRecordTypeWeight, HKQuantityTypeIdentifierBodyFatPercentage, 0.25,
       "%", "fatPercent", 25},
      {"body-mass index keeps its fraction", OSTRecordTypeWeight,
       HKQuantityTypeIdentifierBodyMassIndex, 22.6, "count", "bmi", 22.6},
      {"temperature in Fahrenheit", OSTRecordTypeBiometrics,
       HKQuantityTypeIdentifierBodyTemperature, 98.6, "degF", "temperature", 37},
      {"oxygen saturation fraction", OSTRecordTypeBiometrics,
       HKQuantityTypeIdentifierOxygenSaturation, 0.973, "%", "spo2", 97.3},
      {"respiratory rate is not a count", OSTRecordTypeBiometrics,
       HKQuantityTypeIdentifierRespiratoryRate, 16.5, "count/min", "extras.respiratory_rate", 16.5},
      {"glucose in mmol/L", OSTRecordTypeDiabetes, HKQuantityTypeIdentifierBloodGlucose, 5.5,
       "mmol<180.15588000005408>/L", "bloodGlucose", 5.5 * 18.015588000005408},
      {"steps, half away from zero", OSTRecordTypeRoutine, HKQuantityTypeIdentifierStepCount,
       1234.5, "count", "steps", 1235},
      {"floors, just below a half", OSTRecordTypeRoutine, HKQuantityTypeIdentifierFlightsClimbed,
       2.49, "count", "floors", 2},
      {"energy in kilojoules", OSTRecordTypeRoutine, HKQuantityTypeIdentifierActiveEnergyBurned,
       418.4, "kJ", "caloriesBurned", 100},
      {"exercise in minutes", OSTRecordTypeRoutine, HKQuantityTypeIdentifierAppleExerciseTime, 30,
       "min", "activeDuration", 1800},
      {"water in US fluid ounces", OSTRecordTypeNutrition, HKQuantityTypeIdentifierDietaryWater, 8,
       "fl_oz_us", "water", 236.5882365},
      {"sodium in grams", OSTRecordTypeNutrition, HKQuantityTypeIdentifierDietarySodium, 1.2, "g",
       "sodium", 1200},
      {"VO2 max spelt another way", OSTRecordTypeFitness, HKQuantityTypeIdentifierVO2Max, 45.5,
       "ml/(kg*min)", "extras.vo2_max", 45.5},
      {"NikeFuel is a count", OSTRecordTypeFitness, HKQuantityTypeIdentifierNikeFuel, 10.5, "count",
       "extras.nike_fuel", 11},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto record = convert(c.kind, *measurement(c.identifier, c.value, c.writtenUnit, kStart));
    const NSAny value = valueAt(*record, c.keyPath);
    ASSERT_TRUE(value.isNumber());
    EXPECT_NEAR(value.doubleValue(), c.expected, 1e-9 * std::max(1.0, c.expected));
  }
}

TEST_F(RecordConversionTest, EachRecordKindTakesOnlyWhatBelongsToIt) {
  const auto strokes =
      measurement(HKQuantityTypeIdentifierSwimmingStrokeCount, 40, "count", kStart);
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeFitness, *strokes), "extras.swimming_stroke_count"), 40);
  EXPECT_TRUE(convert(OSTRecordTypeRoutine, *strokes)->extras().empty());

  const auto asleep = categorySample(HKCategoryTypeIdentifierSleepAnalysis,
                                     HKCategoryValueSleepAnalysisAsleep, at(0), at(10));
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeSleep, *asleep), "totalSleep"), 600);
  EXPECT_TRUE(convert(OSTRecordTypeBiometrics, *asleep)->extras().empty());
  EXPECT_TRUE(convert(OSTRecordTypeBiometrics, *asleep)->valueForKey("minHeartRate").isNil());

  const auto mucus = categorySample(HKCategoryTypeIdentifierCervicalMucusQuality,
                                    HKCategoryValueCervicalMucusQualityWatery, at(0), at(0));
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeBiometrics, *mucus), "extras.cervical_mucus_quality"),
            "Watery");
  const auto sleepRecord = convert(OSTRecordTypeSleep, *mucus);
  EXPECT_TRUE(sleepRecord->extras().empty());
  EXPECT_TRUE(sleepRecord->valueForKey("totalSleep").isNil());

  const auto run = HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning, at(0), at(30));
  EXPECT_EQ(valueAt(*convert(OSTRecordTypeFitness, *run), "type"), "Running");
  auto routine = OSTRecord::newRecordWithType(OSTRecordTypeRoutine);
  setHealthKitSample(*routine, *run);
  EXPECT_TRUE(isEmpty(*routine));

  // Steps have no place in a weight record.
  auto weight = OSTRecord::newRecordWithType(OSTRecordTypeWeight);
  setHealthKitSample(*weight, *measurement(HKQuantityTypeIdentifierStepCount, 10, "count", kStart));
  EXPECT_TRUE(isEmpty(*weight));
}

TEST_F(RecordConversionTest, ABloodPressureReadingEndsAsOneRecordWithBothPressures) {
  const auto reading = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure), at(0),
      at(0),
      {measurement(HKQuantityTypeIdentifierBloodPressureSystolic, 16, "kPa", at(0)),
       measurement(HKQuantityTypeIdentifierBloodPressureDiastolic, 80, "mmHg", at(0))});
  const auto record = convert(OSTRecordTypeBiometrics, *reading);
  ASSERT_NE(std::dynamic_pointer_cast<OSTBiometrics>(record), nullptr);
  EXPECT_NEAR(valueAt(*record, "systolic").doubleValue(), 120.00984, 1e-5);  // 16 kPa
  EXPECT_DOUBLE_EQ(valueAt(*record, "diastolic").doubleValue(), 80);
  EXPECT_EQ(record->activityID(), reading->UUID().UUIDString());
}

TEST_F(RecordConversionTest, AMealEndsAsOneNutritionRecordWithEveryNutrient) {
  const auto meal = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood), at(0), at(20),
      {measurement(HKQuantityTypeIdentifierDietaryEnergyConsumed, 2092, "kJ", at(0)),
       measurement(HKQuantityTypeIdentifierDietaryProtein, 30, "g", at(0)),
       measurement(HKQuantityTypeIdentifierDietarySugar, 12500, "mg", at(0)),
       measurement(HKQuantityTypeIdentifierDietaryVitaminC, 0.045, "g", at(0))});
  const auto record = convert(OSTRecordTypeNutrition, *meal);
  ASSERT_NE(std::dynamic_pointer_cast<OSTNutrition>(record), nullptr);
  EXPECT_NEAR(valueAt(*record, "calories").doubleValue(), 500, 1e-9);
  EXPECT_DOUBLE_EQ(valueAt(*record, "protein").doubleValue(), 30);
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.sugar").doubleValue(), 12.5);
  EXPECT_NEAR(valueAt(*record, "extras.vitamin_c").doubleValue(), 45, 1e-9);
}

TEST_F(RecordConversionTest, HandEnteredDataIsNotValidated) {
  auto typedIn =
      convert(OSTRecordTypeWeight, *measurement(HKQuantityTypeIdentifierBodyMass, 70, "kg", kStart,
                                                metadata({{HKMetadataKeyWasUserEntered, true}})));
  EXPECT_EQ(typedIn->validated(), 0);
  EXPECT_STREQ(typedIn->validated().objCType(), "q");
  auto measured =
      convert(OSTRecordTypeWeight, *measurement(HKQuantityTypeIdentifierBodyMass, 70, "kg", kStart,
                                                metadata({{HKMetadataKeyWasUserEntered, false}})));
  EXPECT_EQ(measured->validated(), 1);
  auto unknown = OSTRecord::newRecordWithType(OSTRecordTypeWeight);
  unknown->setValidated(7);
  setHealthKitMetadata(*unknown, *measurement(HKQuantityTypeIdentifierBodyMass, 70, "kg", kStart));
  EXPECT_EQ(unknown->validated(), 7);
}

TEST_F(RecordConversionTest, WatchWorkoutsAndClockSleepAreValidatedAndTheDeviceNameWins) {
  const auto watchDevice =
      HKDevice::deviceWithName("Sam's Watch", "Apple Inc.", "Watch", std::nullopt, std::nullopt,
                               std::nullopt, std::nullopt, std::nullopt);
  {
    WritingAs watchApp("Sam's Apple Watch", "com.apple.health.8A1B2C3D");
    auto plain = convert(OSTRecordTypeFitness, *HKWorkout::workoutWithActivityType(
                                                   HKWorkoutActivityTypeYoga, at(0), at(30)));
    EXPECT_EQ(plain->originalSource(), kOSTOriginalSourceAppleWatch);
    EXPECT_EQ(plain->validated(), true);
    EXPECT_STREQ(plain->validated().objCType(), "B");
    EXPECT_EQ(plain->sourcePeripheral(), "com.apple.health.8A1B2C3D");
    auto withDevice =
        convert(OSTRecordTypeFitness,
                *HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeYoga, at(0), at(30), {},
                                                    nullptr, nullptr, watchDevice, nullptr));
    EXPECT_EQ(withDevice->originalSource(), "Sam's Watch");
    EXPECT_EQ(withDevice->validated(), true);
  }
  {
    // The Health app's own identifier is not a watch's: the prefix needs its trailing dot.
    WritingAs healthApp("Health", "com.apple.health");
    auto record = convert(OSTRecordTypeFitness, *HKWorkout::workoutWithActivityType(
                                                    HKWorkoutActivityTypeYoga, at(0), at(30)));
    EXPECT_EQ(record->originalSource(), "Apple Health");
    EXPECT_TRUE(record->validated().isNil());
  }
  {
    WritingAs clockApp("Clock", "COM.Apple.MobileTimer");
    auto record = convert(OSTRecordTypeSleep,
                          *categorySample(HKCategoryTypeIdentifierSleepAnalysis,
                                          HKCategoryValueSleepAnalysisInBed, at(0), at(60)));
    EXPECT_EQ(record->validated(), true);
    EXPECT_EQ(record->intermediarySource(), kOSTIntermediarySourceAppleHealth);
  }
}

TEST_F(RecordConversionTest, SourceNamesBecomeDeviceKindsAndTheRunningDeviceItsModel) {
  EXPECT_EQ(sanitizedNameForSourceName("John's iPhone"), "iPhone");
  EXPECT_EQ(sanitizedNameForSourceName("My Apple Watch"), "Apple Watch");
  EXPECT_EQ(sanitizedNameForSourceName("IPOD TOUCH 2"), "iPod touch");
  EXPECT_EQ(sanitizedNameForSourceName("AppleWatch"), "AppleWatch");
  EXPECT_EQ(sanitizedNameForSourceName("iPhone and Apple Watch"), "iPhone");
  EXPECT_EQ(sanitizedNameForSourceName("Withings"), "Withings");

  UIDevice::currentDevice()->setName("Sam's phone");
  UIDevice::currentDevice()->setModel("iPhone");
  auto record = OSTRecord::newRecordWithType(OSTRecordTypeWeight);
  setHealthKitSource(*record, *HKSource::sourceWithName("Sam's phone", "com.example.scale"));
  EXPECT_EQ(record->originalSource(), "iPhone");
  EXPECT_EQ(record->sourcePeripheral(), "com.example.scale");
  setHealthKitSource(*record, *HKSource::sourceWithName("sam's phone", "com.example.scale"));
  EXPECT_EQ(record->originalSource(), "sam's phone");  // the comparison is case-sensitive
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

  EXPECT_EQ(weatherConditionString(0), "None");
  EXPECT_EQ(weatherConditionString(28), "Unknown");
  EXPECT_EQ(weatherConditionString(-1), "Unknown");
}

TEST_F(RecordConversionTest, WorkoutHeartRateIsAveragedRoundedAndKeepsItsExtremes) {
  auto record = OSTRecord::newRecordWithType(OSTRecordTypeFitness);
  // 1.35 beats per second is 81 per minute.
  addHeartRateSamples(*record,
                      {measurement(HKQuantityTypeIdentifierHeartRate, 60, "count/min", at(1)),
                       measurement(HKQuantityTypeIdentifierHeartRate, 70, "count/min", at(2)),
                       measurement(HKQuantityTypeIdentifierHeartRate, 1.35, "count/s", at(3))});
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.avg_heart_rate").doubleValue(), 70);  // 70.33
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.min_heart_rate").doubleValue(), 60);
  EXPECT_NEAR(valueAt(*record, "extras.max_heart_rate").doubleValue(), 81, 1e-9);

  addHeartRateSamples(*record,
                      {measurement(HKQuantityTypeIdentifierHeartRate, 60, "count/min", at(1)),
                       measurement(HKQuantityTypeIdentifierHeartRate, 61, "count/min", at(2))});
  EXPECT_DOUBLE_EQ(valueAt(*record, "extras.avg_heart_rate").doubleValue(), 61);  // 60.5

  auto untouched = OSTRecord::newRecordWithType(OSTRecordTypeFitness);
  addHeartRateSamples(*untouched, {});
  EXPECT_TRUE(isEmpty(*untouched));
}

}  // namespace
}  // namespace testing_support
