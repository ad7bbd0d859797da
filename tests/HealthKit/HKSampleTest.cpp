#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>
#include <string>

#include "Foundation/NSPredicate.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKDeletedObject.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/internal/HKObjectAccess.h"
#include "support/EnvironmentFixture.h"

namespace {

class HKSampleTest : public testing_support::EnvironmentFixture {
 protected:
  static std::shared_ptr<const HKQuantityType> quantityType(const std::string& id) {
    return HKObjectType::quantityTypeForIdentifier(id);
  }
  static HKQuantity::Pointer quantity(const char* unit, double value) {
    return HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value);
  }
  static HKQuantitySample::Pointer make(const std::string& id, const char* unit, double value,
                                        NSDate start = kStart, NSDate end = kStart,
                                        HKMetadata extra = nullptr) {
    return HKQuantitySample::quantitySampleWithType(quantityType(id), quantity(unit, value), start,
                                                    end, std::move(extra));
  }
  static HKQuantitySample::Pointer pressure(const std::string& id, double mmHg) {
    return make(id, "mmHg", mmHg, kStart, later(1));
  }
  // A half-hour workout from kStart.
  static HKWorkout::Pointer workout(HKWorkoutActivityType type, HKWorkout::Events events = {},
                                    HKQuantity::Pointer distance = nullptr) {
    return HKWorkout::workoutWithActivityType(type, kStart, later(30), std::move(events), nullptr,
                                              std::move(distance), nullptr);
  }
  static NSDate later(double minutes) { return kStart.dateByAddingTimeInterval(60 * minutes); }
  static HKMetadata metadata(NSDictionary::Storage entries) {
    return NSDictionary::dictionaryWithDictionary(std::move(entries));
  }
  static std::string errorOf(const std::function<void()>& build) {
    try {
      build();
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "no error";
  }
};

TEST_F(HKSampleTest, FactoriesRejectWhatHealthKitRejects) {
  auto sleep = HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis);
  auto flow = HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierMenstrualFlow);
  auto bloodPressure =
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure);
  auto food = HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood);
  auto systolic = pressure(HKQuantityTypeIdentifierBloodPressureSystolic, 120);
  auto heartRate = make(HKQuantityTypeIdentifierHeartRate, "count/min", 60);
  const auto& steps = HKQuantityTypeIdentifierStepCount;
  const auto& mass = HKQuantityTypeIdentifierBodyMass;
  const auto& insulin = HKQuantityTypeIdentifierInsulinDelivery;
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[&] { make(steps, "count", 5, later(1), kStart); },
       "HKQuantitySample: the end date 2024-03-09 17:00:00.000 +0000 is before the start date "
       "2024-03-09 17:01:00.000 +0000"},
      {[&] { make(mass, "count/min", 72); },
       "HKQuantitySample: 72 count/min is not compatible with HKQuantityTypeIdentifierBodyMass"},
      {[&] { make(mass, "kg", NAN); },
       "HKQuantitySample: the quantity must be a finite number, not nan kg"},
      {[&] { make(insulin, "IU", 4); },
       "HKQuantitySample: HKQuantityTypeIdentifierInsulinDelivery samples require the metadata "
       "key HKInsulinDeliveryReason"},
      {[&] {
         make(insulin, "IU", 4, kStart, kStart,
              metadata({{HKMetadataKeyInsulinDeliveryReason, 3}}));
       },
       "HKQuantitySample: metadata value for HKInsulinDeliveryReason must be an "
       "HKInsulinDeliveryReason, not 3"},
      {[&] {
         make(steps, "count", 4, kStart, kStart, metadata({{HKMetadataKeyWasUserEntered, "yes"}}));
       },
       "HKQuantitySample: metadata value for HKWasUserEntered must be a boolean number, not yes"},
      {[&] {
         make(steps, "count", 4, kStart, kStart,
              metadata({{HKMetadataKeyWeatherTemperature, quantity("%", 0.5)}}));
       },
       "HKQuantitySample: metadata value for HKWeatherTemperature must be a temperature, not "
       "50 %"},
      {[&] { HKCategorySample::categorySampleWithType(sleep, 6, kStart, later(1)); },
       "HKCategorySample: 6 is not a valid value for HKCategoryTypeIdentifierSleepAnalysis"},
      {[&] {
         HKCategorySample::categorySampleWithType(flow, HKCategoryValueMenstrualFlowLight, kStart,
                                                  later(1));
       },
       "HKCategorySample: HKCategoryTypeIdentifierMenstrualFlow samples require the metadata key "
       "HKMenstrualCycleStart"},
      {[&] {
         HKCorrelation::correlationWithType(bloodPressure, kStart, later(1), {systolic, heartRate});
       },
       "HKCorrelation: HKCorrelationTypeIdentifierBloodPressure may not contain "
       "HKQuantityTypeIdentifierHeartRate"},
      {[&] { HKCorrelation::correlationWithType(bloodPressure, kStart, later(1), {systolic}); },
       "HKCorrelation: HKCorrelationTypeIdentifierBloodPressure needs one systolic and one "
       "diastolic blood pressure sample"},
      {[&] { HKCorrelation::correlationWithType(food, kStart, later(1), {systolic}); },
       "HKCorrelation: HKCorrelationTypeIdentifierFood may not contain "
       "HKQuantityTypeIdentifierBloodPressureSystolic"},
      {[&] { workout(HKWorkoutActivityTypeRunning, {}, quantity("kg", 5)); },
       "HKWorkout: totalDistance 5 kg is not a length"},
      {[&] { workout(static_cast<HKWorkoutActivityType>(81)); },
       "HKWorkout: 81 is not a workout activity type"},
      {[&] {
         workout(HKWorkoutActivityTypeRunning,
                 {HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, later(31))});
       },
       "HKWorkout: the event <HKWorkoutEvent: type:1, 2024-03-09 17:31:00.000 +0000 +0.000000s> "
       "lies outside the workout"},
      {[&] {
         HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, NSDateInterval(kStart, 5.0),
                                              nullptr);
       },
       "HKWorkoutEvent: only laps and segments may have a duration"},
  };
  for (const auto& [make, message] : cases) EXPECT_EQ(errorOf(make), message);
}

TEST_F(HKSampleTest, PredicatesReadSamplesThroughHealthKitsKeyPaths) {
  auto steps = make(HKQuantityTypeIdentifierStepCount, "count", 120, kStart, later(10),
                    metadata({{HKMetadataKeyWasUserEntered, true}}));
  auto weight = make(HKQuantityTypeIdentifierBodyMass, "lb", 154);
  auto asleep = HKCategorySample::categorySampleWithType(
      HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis),
      HKCategoryValueSleepAnalysisAsleepREM, kStart, later(90));
  auto swim = HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeSwimming, kStart, later(30));
  auto reading = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure), kStart,
      later(1),
      {pressure(HKQuantityTypeIdentifierBloodPressureSystolic, 120),
       pressure(HKQuantityTypeIdentifierBloodPressureDiastolic, 80)});

  auto matches = [](const std::string& format, std::vector<NSAny> arguments,
                    const NSObject& object) {
    return NSPredicate::predicateWithFormat(format, std::move(arguments))
        ->evaluateWithObject(object);
  };
  // The engine's window: starts at or after the start, before the end.
  const std::string window = "%K >= %@ AND %K < %@";
  EXPECT_TRUE(matches(window, {"startDate", kStart, "startDate", later(1)}, *steps));
  EXPECT_FALSE(matches(window, {"endDate", kStart, "endDate", later(10)}, *steps));
  EXPECT_TRUE(matches("metadata.HKWasUserEntered == %@", {true}, *steps));
  EXPECT_TRUE(matches("metadata.HKWasUserEntered == nil", {}, *weight));
  EXPECT_TRUE(matches("%K == nil", {"correlation"}, *steps));
  EXPECT_TRUE(matches("%K != nil", {"correlation"}, *reading->objects().front()));
  EXPECT_TRUE(matches("quantity > %@", {quantity("kg", 69)}, *weight));  // 154 lb = 69.85 kg
  EXPECT_FALSE(matches("quantity > %@", {quantity("kg", 70)}, *weight));
  EXPECT_TRUE(
      matches("value == %@", {static_cast<long>(HKCategoryValueSleepAnalysisAsleepREM)}, *asleep));
  EXPECT_TRUE(matches("workoutActivityType == %@", {46}, *swim));
  EXPECT_TRUE(matches("source == %@", {HKSource::defaultSource()}, *steps));
  EXPECT_TRUE(matches("UUID == %@", {steps->UUID().UUIDString()}, *steps));
  EXPECT_EQ(steps->valueForKeyPath("sampleType.identifier").stringValue(),
            HKQuantityTypeIdentifierStepCount);
}

TEST_F(HKSampleTest, CorrelationsHoldTheirOwnCopiesAndPassOnTheirSource) {
  auto systolic = pressure(HKQuantityTypeIdentifierBloodPressureSystolic, 120);
  auto diastolic = pressure(HKQuantityTypeIdentifierBloodPressureDiastolic, 80);
  auto reading = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure), kStart,
      later(1), {systolic, diastolic, systolic});
  ASSERT_EQ(reading->objects().size(), 2u);
  EXPECT_TRUE(reading->objects()[0]->isEqual(*systolic));  // same UUID
  auto diastolics =
      reading->objectsForType(*quantityType(HKQuantityTypeIdentifierBloodPressureDiastolic));
  ASSERT_EQ(diastolics.size(), 1u);
  EXPECT_EQ(diastolics[0]->valueForKey("correlation").object(), reading);
  EXPECT_TRUE(systolic->valueForKey("correlation").isNil());  // the original stays unlinked

  auto watch = HKSourceRevision::sourceRevisionWithSource(
      HKSource::sourceWithName("Apple Watch", "com.apple.health.watch"), "10.2");
  auto saved = HKObjectAccess::copyWithSourceRevision(*reading, watch);
  EXPECT_TRUE(saved->isEqual(*reading));
  EXPECT_EQ(saved->source()->bundleIdentifier(), "com.apple.health.watch");
  EXPECT_EQ(reading->source()->bundleIdentifier(), "com.ostrand.health");
  for (const auto& member : saved->objects()) {
    EXPECT_EQ(member->sourceRevision(), watch);
    EXPECT_EQ(member->valueForKey("correlation").object(), saved);
  }
}

TEST_F(HKSampleTest, WorkoutDurationLeavesOutPauses) {
  using Event = HKWorkoutEvent;
  auto run = HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeRunning, kStart, later(60),
      {Event::workoutEventWithType(HKWorkoutEventTypeResume, later(15)),
       Event::workoutEventWithType(HKWorkoutEventTypePause, later(10)),
       Event::workoutEventWithType(HKWorkoutEventTypeLap, NSDateInterval(later(20), 300.0),
                                   nullptr),
       Event::workoutEventWithType(HKWorkoutEventTypeMotionPaused, later(40)),
       Event::workoutEventWithType(HKWorkoutEventTypePause, later(45)),  // already paused
       Event::workoutEventWithType(HKWorkoutEventTypeMotionResumed, later(50)),
       Event::workoutEventWithType(HKWorkoutEventTypePause, later(55))},  // never resumed
      HKQuantity::quantityWithUnit(HKUnit::kilocalorieUnit(), 320), quantity("km", 8), nullptr);
  EXPECT_DOUBLE_EQ(run->duration(), 60 * (60 - 5 - 10 - 5));
  ASSERT_EQ(run->workoutEvents().size(), 7u);
  EXPECT_EQ(run->workoutEvents().front()->type(), HKWorkoutEventTypePause);
  EXPECT_EQ(run->sampleType(), HKObjectType::workoutType());
  EXPECT_DOUBLE_EQ(run->totalDistance()->doubleValueForUnit(*HKUnit::meterUnit()), 8000);
  EXPECT_EQ(run->totalSwimmingStrokeCount(), nullptr);

  auto imported = HKWorkout::workoutWithActivityTypeAndDuration(
      HKWorkoutActivityTypeOther, kStart, later(60), 1800, nullptr, nullptr, nullptr);
  EXPECT_DOUBLE_EQ(imported->duration(), 1800);
}

TEST_F(HKSampleTest, DevicesDescribeThemselvesAsHealthKitDoes) {
  auto watch = HKDevice::deviceWithName("Apple Watch", "Apple Inc.", "Watch", "Watch6,7",
                                        std::nullopt, "10.2", std::nullopt, std::nullopt);
  const std::string text = watch->description();
  EXPECT_EQ(text.substr(text.find('>')),
            ">, name:Apple Watch, manufacturer:Apple Inc., model:Watch, hardware:Watch6,7, "
            "software:10.2>");
  EXPECT_TRUE(
      watch->isEqual(*HKDevice::deviceWithName("Apple Watch", "Apple Inc.", "Watch", "Watch6,7",
                                               std::nullopt, "10.2", std::nullopt, std::nullopt)));
  EXPECT_TRUE(watch->valueForKey("firmwareVersion").isNil());
  EXPECT_EQ(HKDevice::localDevice()->softwareVersion(), "17.0");
}

TEST_F(HKSampleTest, ObjectsAreIdentifiedByUUIDAndWrittenByTheDefaultSource) {
  auto first = pressure(HKQuantityTypeIdentifierBloodPressureSystolic, 120);
  auto second = pressure(HKQuantityTypeIdentifierBloodPressureSystolic, 120);
  EXPECT_FALSE(first->isEqual(*second));
  auto imported = HKObjectAccess::copyWithUUID(*second, first->UUID());
  EXPECT_TRUE(imported->isEqual(*first));
  EXPECT_EQ(imported->hash(), first->hash());
  EXPECT_DOUBLE_EQ(imported->quantity()->doubleValueForUnit(*HKUnit::millimeterOfMercuryUnit()),
                   120);
  EXPECT_EQ(first->sourceRevision()->operatingSystemVersion().majorVersion, 17);
  EXPECT_TRUE(first->valueForKeyPath("metadata.HKWasUserEntered").isNil());

  {
    // Restored however the block ends, so later tests write as the default source again.
    struct DefaultSourceScope {
      explicit DefaultSourceScope(HKSource::Pointer source) {
        HKSource::setDefaultSource(std::move(source));
      }
      ~DefaultSourceScope() { HKSource::setDefaultSource(nullptr); }
    } other(HKSource::sourceWithName("Other", "com.example.other"));
    EXPECT_TRUE(pressure(HKQuantityTypeIdentifierBloodPressureSystolic, 1)
                    ->source()
                    ->isEqual(*HKSource::sourceWithName("Renamed", "com.example.other")));
  }
  EXPECT_EQ(HKSource::defaultSource()->name(), "Ostrand");

  auto deleted = HKDeletedObject::deletedObjectWithUUID(
      first->UUID(), metadata({{HKMetadataKeySyncIdentifier, "meal-7"}}));
  EXPECT_EQ(deleted->valueForKey("UUID").stringValue(), first->UUID().UUIDString());
  EXPECT_EQ(deleted->valueForKeyPath("metadata.HKMetadataKeySyncIdentifier").stringValue(),
            "meal-7");
}

}  // namespace
