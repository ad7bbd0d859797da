// Filling records from single HealthKit objects: values arrive in the record's unit and scale,
// each record kind takes only what belongs to it, correlations end as one record, and the source
// fields say who wrote the data.

#include <gtest/gtest.h>

#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKWorkout.h"
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
  static HKWorkout::Pointer yoga() {
    return HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeYoga, at(0), at(30));
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
    auto record = OSTRecord::newRecordWithType(c.kind);
    setHealthKitSample(*record, *c.object);
    EXPECT_EQ(valueAt(*record, c.keyPath), c.expected);
    auto other = OSTRecord::newRecordWithType(c.otherKind);
    setHealthKitSample(*other, *c.object);
    EXPECT_TRUE(isEmpty(*other));
  }
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
      {"iPhone's Apple Watch", "iPhone"},            // tried first
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

}  // namespace
}  // namespace testing_support
