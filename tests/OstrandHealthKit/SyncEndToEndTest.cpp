// The whole library at work, from an empty session database: an app subscribes to every
// subscription set, goes to the background while an iPhone and an Apple Watch write two days of
// data, is woken by HealthKit, comes back to the foreground and is later relaunched. How each
// record is made is the per-fetch suites' concern; here each piece of data arrives once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Foundation/NSDictionary.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/HKWorkoutEvent.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "SyncEndToEndSupport.h"

namespace end_to_end {
namespace {

using ::testing::Pair;
using ::testing::UnorderedElementsAre;

class SyncEndToEndTest : public SyncEndToEndFixture {
 protected:
  // A correlation of two samples of 100 `unit` each.
  static std::shared_ptr<const HKCorrelation> pair(const std::string& kind,
                                                   const std::string& first,
                                                   const std::string& second, const char* unit,
                                                   NSDate when) {
    return HKCorrelation::correlationWithType(
        HKObjectType::correlationTypeForIdentifier(kind), when, when,
        {measured(first, unit, 100, when, when), measured(second, unit, 100, when, when)});
  }

  // Yesterday 17:00 the app subscribes to everything and goes to the background; the devices
  // write until this morning; at noon the app comes to the foreground and fetches.
  void liveThroughTwoDays() {
    clock().set(at(-1, 17));
    ASSERT_TRUE(subscribeToEverySet());
    UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
    runUntilIdle();

    // A run 18:00-18:40 paused 18:10-18:15, with a reading in the pause.
    saveAt(at(-1, 18, 41), watch,
           {pulse(120, at(-1, 18, 5)), pulse(90, at(-1, 18, 12)), pulse(150, at(-1, 18, 30))});
    run = HKWorkout::workoutWithActivityType(
        HKWorkoutActivityTypeRunning, at(-1, 18), at(-1, 18, 40),
        {HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, at(-1, 18, 10)),
         HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume, at(-1, 18, 15))},
        nullptr, nullptr, nullptr);
    saveAt(at(-1, 18, 45), watch, {run});
    // Both count 19:00 to 20:00; the phone alone 20:00 to 20:30.
    saveAt(at(-1, 20, 35), iPhone,
           {phoneSteps(600, at(-1, 19), at(-1, 20)), phoneSteps(300, at(-1, 20), at(-1, 20, 30))});
    saveAt(at(-1, 20, 40), watch, {watchSteps(500, at(-1, 19), at(-1, 20))});
    saveAt(at(-1, 21, 31), iPhone, {pulse(70, at(-1, 21))});

    night = HKCategorySample::categorySampleWithType(
        HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis),
        HKCategoryValueSleepAnalysisAsleep, at(-1, 23), at(0, 7));
    saveAt(at(0, 7, 5), watch, {night});
    saveAt(
        at(0, 7, 20), iPhone,
        {measured(HKQuantityTypeIdentifierBodyMass, "kg", 75, at(0, 7, 10), at(0, 7, 10)),
         pair(HKCorrelationTypeIdentifierBloodPressure,
              HKQuantityTypeIdentifierBloodPressureSystolic,
              HKQuantityTypeIdentifierBloodPressureDiastolic, "mmHg", at(0, 7, 15)),
         HKCategorySample::categorySampleWithType(
             HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierMenstrualFlow),
             HKCategoryValueMenstrualFlowLight, at(0, 6), at(0, 7),
             NSDictionary::dictionaryWithDictionary({{HKMetadataKeyMenstrualCycleStart, false}})),
         measured(HKQuantityTypeIdentifierBloodGlucose, "mg/dL", 105, at(0, 7), at(0, 7)),
         measured(HKQuantityTypeIdentifierInsulinDelivery, "IU", 4, at(0, 7), at(0, 7),
                  NSDictionary::dictionaryWithDictionary(
                      {{HKMetadataKeyInsulinDeliveryReason, HKInsulinDeliveryReasonBolus}})),
         pair(HKCorrelationTypeIdentifierFood, HKQuantityTypeIdentifierDietaryCarbohydrates,
              HKQuantityTypeIdentifierDietaryProtein, "g", at(0, 7, 15))});
    // Both count 08:00 to 09:00; the phone alone 09:00 to 09:15.
    saveAt(at(0, 9, 20), watch, {watchSteps(1000, at(0, 8), at(0, 9)), pulse(100, at(0, 9))});
    saveAt(at(0, 9, 22), iPhone,
           {phoneSteps(1200, at(0, 8), at(0, 9)), phoneSteps(200, at(0, 9), at(0, 9, 15))});

    clock().set(at(0, 12));
    UIApplication::sharedApplication()->setApplicationState(UIApplicationStateActive);
    runUntilIdle();
    engine->fetchLatestData();
    runUntilIdle();
  }

  std::shared_ptr<const HKWorkout> run;
  std::shared_ptr<const HKCategorySample> night;
};

TEST_F(SyncEndToEndTest, ADayAndANightInTheBackgroundEndInTheOutboxOnceEach) {
  liveThroughTwoDays();

  // Biometrics: yesterday's heart rate per source, the pressure reading, the flow; today's heart
  // rate waits for tomorrow, and the parts of a correlation are no records of their own.
  EXPECT_THAT(outboxCounts(),
              UnorderedElementsAre(Pair(OSTRecordTypeBiometrics, 4U),
                                   Pair(OSTRecordTypeDiabetes, 2U), Pair(OSTRecordTypeWeight, 1U),
                                   Pair(OSTRecordTypeRoutine, 2U), Pair(OSTRecordTypeNutrition, 1U),
                                   Pair(OSTRecordTypeFitness, 1U), Pair(OSTRecordTypeSleep, 1U)));
  // The watch's count stands for an hour both counted; the phone's own minutes add to it.
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(routineKey(at(-1, 0)), 800),
                                                 Pair(routineKey(at(0, 0)), 1200)));
  // The run's heart rate leaves out the reading of the pause.
  const auto fitness = outboxOf(OSTRecordTypeFitness);
  ASSERT_EQ(fitness.size(), 1U);
  EXPECT_EQ(fitness[0]->activityID(), run->UUID().UUIDString());
  EXPECT_EQ(fitness[0]->extras().at("avg_heart_rate").doubleValue(), 135);

  const auto wakes = device->observerInvocations();
  EXPECT_TRUE(std::any_of(wakes.begin(), wakes.end(), [](const auto& wake) {
    return wake.inBackground && wake.typeIdentifier == HKWorkoutTypeIdentifier;
  }));
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(SyncEndToEndTest, AfterARelaunchOnlyWhatIsNewIsSubmittedAndPositionsMove) {
  liveThroughTwoDays();
  const auto sleepType = sampleType(HKCategoryTypeIdentifierSleepAnalysis);
  const auto sleepAnchor = anchorForKey(*session(), sleepType);
  ASSERT_NE(sleepAnchor, nullptr);
  std::multiset<std::string> expected;
  for (const auto& record : outbox()) expected.insert(record->activityID().value_or(""));

  // The app is killed and launched again at 13:00.
  device->stopAllQueries();
  runUntilIdle();
  clock().set(at(0, 13));
  restartSession();
  engine = std::make_shared<OSTHealthKitManager>(session());
  engine->observeCurrentSubscriptions();
  runUntilIdle();

  // A second run, a new weighing, 300 more steps today, and last night's sleep deleted.
  const auto secondRun =
      HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning, at(0, 13), at(0, 13, 30));
  const auto weighing =
      measured(HKQuantityTypeIdentifierBodyMass, "kg", 74.5, at(0, 13, 40), at(0, 13, 40));
  saveAt(at(0, 13, 45), watch, {secondRun, weighing, watchSteps(300, at(0, 13), at(0, 13, 30))});
  clock().set(at(0, 14));
  ASSERT_EQ(remove(watch, {night}), nullptr);
  clock().set(at(0, 14, 30, 30));
  engine->fetchLatestData();
  runUntilIdle();

  // Two new records; today's routine record is sent again under its day key.
  expected.insert({secondRun->UUID().UUIDString(), weighing->UUID().UUIDString()});
  std::multiset<std::string> after;
  for (const auto& record : outbox()) after.insert(record->activityID().value_or(""));
  EXPECT_EQ(after, expected);
  EXPECT_EQ(stepsByDay().at(routineKey(at(0, 0))), 1500);

  // Anchors only for types that had records, and a deletion alone does not move one; query
  // dates move with every fetch.
  EXPECT_EQ(*anchorForKey(*session(), sleepType), *sleepAnchor);
  EXPECT_FALSE(hasAnchor(sampleType(HKQuantityTypeIdentifierHeight)));
  EXPECT_EQ(storedQueryDate(sampleType(HKQuantityTypeIdentifierHeight)), at(0, 14, 30));
  EXPECT_EQ(storedQueryDate(heartRate), at(0, 0));
}

}  // namespace
}  // namespace end_to_end
