// Values a record cannot hold, driven through the whole engine: HealthKit keeps whatever an app
// saved (unit bugs, imports, hand-typed entries), and a conversion that threw inside a HealthKit
// callback would end the host app at every launch. Each batch mixes ordinary samples with zero,
// negative, subnormal and huge values, values that overflow only once converted, counts past
// 2^53 and 2^63 and absurd workouts. Ordinary samples must all arrive; every record keeps what it
// can hold. An exception escaping the engine ends this test binary.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "Foundation/NSDictionary.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKWorkout.h"
#include "OstrandCore/OSTIntraDay.h"
#include "RecordTestSupport.h"
#include "SyncEndToEndSupport.h"

namespace end_to_end {
namespace {

constexpr double kHuge = std::numeric_limits<double>::max();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();

class ExtremeValuesTest : public SyncEndToEndFixture {
 protected:
  // Subscribed four days before noon today, the app gets every sample of the test at once: all
  // saved at 11:00, fetched by the wakes they cause and by the fetch at noon.
  void SetUp() override {
    SyncEndToEndFixture::SetUp();
    clock().set(at(-4, 17));
    engine->setProcessIntraday(true);
    ASSERT_TRUE(subscribeToEverySet());
  }

  void saveAllAndFetch(const std::shared_ptr<HKHealthStore>& source,
                       std::vector<std::shared_ptr<const HKObject>> objects) {
    saveAt(at(0, 11), source, std::move(objects));
    clock().set(at(0, 12));
    engine->fetchLatestData();
    runUntilIdle();
  }

  // Every number a stored record holds, properties, extras and intraday minutes alike.
  static void expectOnlyFiniteNumbers(const OSTRecord& record) {
    for (const auto& [name, value] : record.propertyValues()) {
      EXPECT_TRUE(!value.isNumber() || std::isfinite(value.doubleValue())) << name;
    }
    for (const auto& [key, value] : record.extras()) {
      EXPECT_TRUE(!value.isNumber() || std::isfinite(value.doubleValue())) << key;
    }
    if (const auto* series = dynamic_cast<const OSTIntraDay*>(&record)) {
      for (const auto& [start, minute] : series->values()) EXPECT_TRUE(std::isfinite(minute.value));
    }
  }

  // The number at a key path ("weight", "extras.vo2_max"), or nullopt when the record has none.
  static std::optional<double> number(const OSTRecord& record, const std::string& keyPath) {
    const NSAny value = testing_support::valueAt(record, keyPath);
    return value.isNumber() ? std::optional<double>(value.doubleValue()) : std::nullopt;
  }
  // The number is there and equal to `expected` but for rounding, or missing when that is nullopt.
  static void expectNumber(const OSTRecord& record, const std::string& keyPath,
                           std::optional<double> expected) {
    const auto actual = number(record, keyPath);
    if (expected && actual) {
      EXPECT_DOUBLE_EQ(*actual, *expected) << keyPath;
    } else {
      EXPECT_EQ(actual, expected) << keyPath;
    }
  }
};

// One record per sample, whatever it held: its source, time and identifier at least, so the
// sample is accounted for and the type's anchor moves past it.
TEST_F(ExtremeValuesTest, EverySampleMakesItsRecordWithTheMembersItCanHold) {
  struct Case {
    const std::string& identifier;
    const char* unit;
    double value;
    const char* keyPath;
    std::optional<double> expected;  // nullopt: the record cannot hold it
  };
  const Case cases[] = {
      // Ordinary values, exact between prefixed units.
      {HKQuantityTypeIdentifierDietaryWater, "L", 0.5, "water", 500},
      {HKQuantityTypeIdentifierBodyMass, "kg", 75, "weight", 75},
      {HKQuantityTypeIdentifierBloodGlucose, "mg/dL", 105, "bloodGlucose", 105},
      {HKQuantityTypeIdentifierOxygenSaturation, "%", 0.97, "spo2", 97},
      // Overflowing only once converted, or once made a percentage.
      {HKQuantityTypeIdentifierDietaryWater, "L", 1e307, "water", std::nullopt},
      {HKQuantityTypeIdentifierBodyMass, "st", 1e308, "weight", std::nullopt},
      {HKQuantityTypeIdentifierBloodGlucose, "mmol<180.15588000005408>/L", 1e307, "bloodGlucose",
       std::nullopt},
      {HKQuantityTypeIdentifierDistanceCycling, "km", 1e306, "extras.cycling_distance",
       std::nullopt},
      {HKQuantityTypeIdentifierBodyFatPercentage, "%", 1e307, "fatPercent", std::nullopt},
      // Held: absurd but finite, zero, negative, subnormal.
      {HKQuantityTypeIdentifierBodyMass, "kg", 7000, "weight", 7000},
      {HKQuantityTypeIdentifierBodyMass, "lb", 1e308, "weight", 4.5359237e307},
      {HKQuantityTypeIdentifierInsulinDelivery, "IU", kHuge, "insulin", kHuge},
      {HKQuantityTypeIdentifierBodyTemperature, "degF", 1e308, "temperature", 1e308 / 1.8},
      {HKQuantityTypeIdentifierBodyTemperature, "degC", 0, "temperature", 0},
      {HKQuantityTypeIdentifierBodyMassIndex, "count", -3.5, "bmi", -3.5},
      {HKQuantityTypeIdentifierDietaryProtein, "g", kTiny, "protein", kTiny},
      {HKQuantityTypeIdentifierDietaryProtein, "kg", kTiny, "protein", 1000 * kTiny},
      // Counts are whole numbers: past 2^53 they are held, past 2^63 they are not.
      {HKQuantityTypeIdentifierNikeFuel, "count", 0x1p60, "extras.nike_fuel", 0x1p60},
      {HKQuantityTypeIdentifierNikeFuel, "count", 1e19, "extras.nike_fuel", std::nullopt},
      {HKQuantityTypeIdentifierNikeFuel, "count", -1e19, "extras.nike_fuel", std::nullopt},
  };
  const auto insulinReason = NSDictionary::dictionaryWithDictionary(
      {{HKMetadataKeyInsulinDeliveryReason, HKInsulinDeliveryReasonBasal}});
  std::vector<std::shared_ptr<const HKObject>> objects;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    const NSDate when = at(0, 9, static_cast<long>(i));
    objects.push_back(measured(
        c.identifier, c.unit, c.value, when, when,
        c.identifier == HKQuantityTypeIdentifierInsulinDelivery ? insulinReason : nullptr));
  }
  // A blood pressure whose systolic value overflows in mmHg; a run 1e308 km long, with a heart rate
  // too fast to hold; a workout lasting 1e300 s that burnt 1e308 Cal (1e308 kcal, held); a swim of
  // 2^63 strokes; a night of no length.
  const auto run = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeRunning, at(0, 8), at(0, 8, 30), {},
      HKQuantity::quantityWithUnit(HKUnit::kilocalorieUnit(), 300),
      HKQuantity::quantityWithUnit(HKUnit::unitFromString("km"), 1e308), nullptr);
  const auto endless = HKWorkout::workoutWithActivityTypeAndDuration(
      HKWorkoutActivityTypeYoga, at(0, 6), at(0, 7), 1e300,
      HKQuantity::quantityWithUnit(HKUnit::largeCalorieUnit(), 1e308), nullptr, nullptr);
  const auto swim = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeSwimming, at(0, 5), at(0, 5, 30), {}, nullptr, nullptr,
      HKQuantity::quantityWithUnit(HKUnit::countUnit(), 0x1p63), nullptr, nullptr);
  const auto night = HKCategorySample::categorySampleWithType(
      HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis),
      HKCategoryValueSleepAnalysisAsleep, at(0, 4), at(0, 4));
  const auto pressure = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure),
      at(0, 7), at(0, 7),
      {measured(HKQuantityTypeIdentifierBloodPressureSystolic, "atm", 1e308, at(0, 7), at(0, 7)),
       measured(HKQuantityTypeIdentifierBloodPressureDiastolic, "mmHg", 80, at(0, 7), at(0, 7))});
  objects.insert(objects.end(), {pressure, run, endless, swim, night, pulse(150, at(0, 8, 10)),
                                 measured(HKQuantityTypeIdentifierHeartRate, "count/s", kHuge,
                                          at(0, 8, 20), at(0, 8, 20))});
  saveAllAndFetch(iPhone, objects);

  std::map<std::string, std::shared_ptr<OSTRecord>> byID;
  for (const auto& record : outbox()) {
    expectOnlyFiniteNumbers(*record);
    byID[record->activityID().value_or("")] = record;
  }
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(std::string(cases[i].keyPath) + " " + std::to_string(i));
    const auto found = byID.find(objects[i]->UUID().UUIDString());
    ASSERT_NE(found, byID.end());
    expectNumber(*found->second, cases[i].keyPath, cases[i].expected);
  }
  const auto& pressureRecord = *byID.at(pressure->UUID().UUIDString());
  EXPECT_EQ(number(pressureRecord, "systolic"), std::nullopt);
  EXPECT_EQ(number(pressureRecord, "diastolic"), 80);
  const auto& ranRecord = *byID.at(run->UUID().UUIDString());
  EXPECT_EQ(number(ranRecord, "distance"), std::nullopt);
  EXPECT_EQ(number(ranRecord, "calories"), 300);
  EXPECT_EQ(number(ranRecord, "extras.max_heart_rate"), 150);
  const auto& endlessRecord = *byID.at(endless->UUID().UUIDString());
  EXPECT_EQ(number(endlessRecord, "duration"), 1e300);
  EXPECT_DOUBLE_EQ(*number(endlessRecord, "calories"), 1e308);
  EXPECT_EQ(number(*byID.at(swim->UUID().UUIDString()), "extras.swimming_stroke_count"),
            std::nullopt);
  EXPECT_EQ(number(*byID.at(night->UUID().UUIDString()), "totalSleep"), 0);
  for (const auto& type : {weight, sampleType(HKWorkoutTypeIdentifier)}) {
    EXPECT_TRUE(hasAnchor(type)) << type->identifier();
  }
}

// Day totals, heart-rate days and minutes: what overflows is left out of its day, the rest of
// the day and every other day arrive.
TEST_F(ExtremeValuesTest, DaySummariesLeaveOutWhatTheyCannotHold) {
  const auto userEntered =
      NSDictionary::dictionaryWithDictionary({{HKMetadataKeyWasUserEntered, true}});
  const auto energy = [&](double kcal, NSDate when) {
    return measured(HKQuantityTypeIdentifierActiveEnergyBurned, "kcal", kcal, when,
                    when.dateByAddingTimeInterval(60));
  };
  const auto beat = [&](const char* unit, double value, NSDate when) {
    return measured(HKQuantityTypeIdentifierHeartRate, unit, value, when, when);
  };
  saveAllAndFetch(
      iPhone,
      {// Four days ago, only a heart rate too fast to hold in count/min.
       beat("count/s", kHuge, at(-4, 19)),
       // Three days ago: ordinary steps and heart rate; energy whose day sum overflows.
       phoneSteps(500, at(-3, 9), at(-3, 10)), energy(kHuge, at(-3, 11)), energy(kHuge, at(-3, 12)),
       pulse(60, at(-3, 13)), pulse(64, at(-3, 14)),
       // Two days ago: 10^19 steps (past 2^63) and 10 typed in; heart rates absurd but held.
       phoneSteps(1e19, at(-2, 9), at(-2, 9, 1)),
       measured(HKQuantityTypeIdentifierStepCount, "count", 10, at(-2, 10), at(-2, 11),
                userEntered),
       beat("count/min", 70, at(-2, 12)), beat("count/min", 1e300, at(-2, 13)),
       // Yesterday: 9 * 10^18 steps (past 2^53, held); a heart rate whose maximum and mean
       // overflow in count/min.
       phoneSteps(9e18, at(-1, 9), at(-1, 9, 1)), beat("count/s", kHuge, at(-1, 12)),
       beat("count/min", 60, at(-1, 13)),
       // This morning: one minute whose two counts overflow together, one ordinary minute.
       phoneSteps(kHuge, at(0, 9), at(0, 9, 1)), phoneSteps(kHuge, at(0, 9), at(0, 9, 1)),
       phoneSteps(42, at(0, 10), at(0, 10, 1))});

  for (const auto& record : outbox()) expectOnlyFiniteNumbers(*record);
  const auto days = routines();
  struct RoutineDay {
    long day;
    std::optional<double> steps, calories, userEnteredSteps, deviceSteps;
  };
  const RoutineDay routineDays[] = {
      {-3, 500, std::nullopt, std::nullopt, 500},
      {-2, std::nullopt, std::nullopt, 10, -10},
      {-1, 9e18, std::nullopt, std::nullopt, 9e18},
  };
  for (const auto& expected : routineDays) {
    SCOPED_TRACE(expected.day);
    const auto found = days.find(routineKey(at(expected.day, 0)));
    ASSERT_NE(found, days.end());
    expectNumber(*found->second, "steps", expected.steps);
    expectNumber(*found->second, "caloriesBurned", expected.calories);
    expectNumber(*found->second, "extras.user_entered_steps", expected.userEnteredSteps);
    expectNumber(*found->second, "extras.device_generated_steps", expected.deviceSteps);
  }
  // Today's total of the overflowing minute is left out too; the day keeps nothing else.
  EXPECT_FALSE(days.contains(routineKey(at(0, 0))));

  struct HeartRateDay {
    const std::string& source;
    long day;
    std::optional<double> minimum, maximum, average;
  };
  const HeartRateDay heartRateDays[] = {
      {kPhone, -3, 60, 64, 62},
      {kPhone, -2, 70, 1e300, 5e299},
      {kPhone, -1, 60, std::nullopt, std::nullopt},
  };
  const auto summaries = biometrics();
  for (const auto& expected : heartRateDays) {
    SCOPED_TRACE(expected.source + " " + std::to_string(expected.day));
    const auto found = summaries.find(heartRateKey(expected.source, at(expected.day, 0)));
    ASSERT_NE(found, summaries.end());
    expectNumber(*found->second, "minHeartRate", expected.minimum);
    expectNumber(*found->second, "maxHeartRate", expected.maximum);
    expectNumber(*found->second, "averageHeartRate", expected.average);
  }
  // None of the three values of four days ago could be held: no record for that day.
  EXPECT_FALSE(summaries.contains(heartRateKey(kPhone, at(-4, 0))));

  // The phone's minutes: the overflowing one is left out, the ordinary one arrives.
  std::map<NSDate, double> minutes;
  for (const auto& record : outboxOf(OSTRecordTypeIntraday)) {
    for (const auto& [start, minute] : static_cast<const OSTIntraDay&>(*record).values()) {
      minutes[start] = minute.value;
    }
  }
  EXPECT_FALSE(minutes.contains(at(0, 9)));
  EXPECT_EQ(minutes.at(at(0, 10)), 42);
}

}  // namespace
}  // namespace end_to_end
