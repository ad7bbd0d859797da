// The whole library at work, from an empty session database: an app subscribes to every
// subscription set, goes to the background while an iPhone and an Apple Watch write two days of
// data, is woken by HealthKit at most hourly per type, comes back to the foreground and is later
// relaunched. What the outbox holds is worked out by hand from the data in each test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "OstrandCore/OSTFitness.h"
#include "SyncEndToEndSupport.h"

namespace end_to_end {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

// 165 lb in kilograms (1 lb = 0.45359237 kg).
constexpr double kWeighingKg = 165 * 0.45359237;

class SyncEndToEndTest : public SyncEndToEndFixture {
 protected:
  // Yesterday 17:00 the app subscribes to everything and goes to the background; the devices
  // write until this morning; at noon the app comes to the foreground and fetches, as apps do.
  void liveThroughTwoDays() {
    clock().set(at(-1, 17));
    ASSERT_TRUE(subscribe(everySubscriptionSet()));
    setApplicationState(UIApplicationStateBackground);

    // Yesterday evening the watch records a run from 18:00 to 18:40, paused 18:10 to 18:15, and
    // the heart rate around it; the reading at 18:12 is taken during the pause.
    saveAt(at(-1, 18, 41), watch,
           {pulse(120, at(-1, 18, 5)), pulse(90, at(-1, 18, 12)), pulse(150, at(-1, 18, 30))});
    run = pausedRun(at(-1, 18), at(-1, 18, 40), 10, 5);
    saveAt(at(-1, 18, 45), watch, {run});

    // Both count 19:00 to 20:00; the phone alone counts 20:00 to 20:30.
    saveAt(at(-1, 20, 35), iPhone,
           {phoneSteps(600, at(-1, 19), at(-1, 20)), phoneSteps(300, at(-1, 20), at(-1, 20, 30))});
    saveAt(at(-1, 20, 40), watch, {watchSteps(500, at(-1, 19), at(-1, 20))});
    saveAt(at(-1, 21, 31), iPhone, {pulse(70, at(-1, 21)), pulse(80, at(-1, 21, 30))});

    // The night and the morning after.
    night = category(HKCategoryTypeIdentifierSleepAnalysis, HKCategoryValueSleepAnalysisAsleep,
                     at(-1, 23), at(0, 7));
    saveAt(at(0, 7, 5), watch, {night});
    reading = bloodPressure(124, 82, at(0, 7, 15));
    saveAt(
        at(0, 7, 20), iPhone,
        {measured(HKQuantityTypeIdentifierBodyMass, "lb", 165, at(0, 7, 10), at(0, 7, 10)), reading,
         category(
             HKCategoryTypeIdentifierMenstrualFlow, HKCategoryValueMenstrualFlowLight, at(0, 6),
             at(0, 7),
             NSDictionary::dictionaryWithDictionary({{HKMetadataKeyMenstrualCycleStart, false}}))});
    saveAt(
        at(0, 7, 40), iPhone,
        {measured(HKQuantityTypeIdentifierBloodGlucose, "mg/dL", 105, at(0, 7, 30), at(0, 7, 30)),
         insulin(4, at(0, 7, 35))});
    meal = HKCorrelation::correlationWithType(
        HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood), at(0, 7, 30),
        at(0, 7, 50),
        {measured(HKQuantityTypeIdentifierDietaryEnergyConsumed, "kcal", 500, at(0, 7, 30),
                  at(0, 7, 50)),
         measured(HKQuantityTypeIdentifierDietaryProtein, "g", 30, at(0, 7, 30), at(0, 7, 50))});
    saveAt(at(0, 8), iPhone, {meal});

    // Both count 08:00 to 09:00; the phone alone 09:00 to 09:15.
    saveAt(at(0, 9, 20), watch, {watchSteps(1000, at(0, 8), at(0, 9))});
    saveAt(at(0, 9, 22), iPhone,
           {phoneSteps(1200, at(0, 8), at(0, 9)), phoneSteps(200, at(0, 9), at(0, 9, 15))});
    saveAt(at(0, 9, 30), watch, {pulse(100, at(0, 9, 25))});

    clock().set(at(0, 12));
    setApplicationState(UIApplicationStateActive);
    engine->fetchLatestData();
    runUntilIdle();
  }

  std::shared_ptr<const HKWorkout> run;
  std::shared_ptr<const HKCorrelation> reading;
  std::shared_ptr<const HKCorrelation> meal;
  std::shared_ptr<const HKCategorySample> night;
};

TEST_F(SyncEndToEndTest, ADayAndANightInTheBackgroundEndInTheOutboxOnceEach) {
  liveThroughTwoDays();

  // Biometrics: yesterday's heart rate once per source (watch, phone), the blood-pressure
  // reading, the menstrual flow = 4. Diabetes: glucose and insulin = 2. Routine: yesterday and
  // today = 2. One each of weight, meal, workout and sleep. Today's heart rate waits for
  // tomorrow; the meal's nutrients and the pressures inside the reading are no records of their
  // own.
  EXPECT_THAT(outboxCounts(),
              UnorderedElementsAre(Pair(OSTRecordTypeBiometrics, 4U),
                                   Pair(OSTRecordTypeDiabetes, 2U), Pair(OSTRecordTypeWeight, 1U),
                                   Pair(OSTRecordTypeRoutine, 2U), Pair(OSTRecordTypeNutrition, 1U),
                                   Pair(OSTRecordTypeFitness, 1U), Pair(OSTRecordTypeSleep, 1U)));

  // Yesterday: the watch's 500 for 19:00-20:00 stand for that hour (not 500 + 600), plus the
  // phone's 300 = 800. Today: the watch's 1000 for 08:00-09:00 plus the phone's 200 = 1200.
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(routineKey(at(-1, 0)), 800),
                                                 Pair(routineKey(at(0, 0)), 1200)));

  // The run: active 18:00-18:10 and 18:15-18:40, 35 minutes. Its heart rate is 120 (18:05) and
  // 150 (18:30); the 90 of the pause is not: average 135, minimum 120, maximum 150.
  const auto fitness = outboxOf(OSTRecordTypeFitness);
  ASSERT_EQ(fitness.size(), 1U);
  EXPECT_EQ(fitness[0]->activityID(), run->UUID().UUIDString());
  EXPECT_EQ(fitness[0]->valueForKey("duration").doubleValue(), 35 * 60);
  const auto& extras = fitness[0]->extras();
  ASSERT_TRUE(extras.contains("avg_heart_rate"));
  EXPECT_EQ(extras.at("avg_heart_rate").doubleValue(), 135);
  EXPECT_EQ(extras.at("min_heart_rate").doubleValue(), 120);
  EXPECT_EQ(extras.at("max_heart_rate").doubleValue(), 150);

  // Yesterday's heart rate per source: the watch 120, 90, 150 (average 120); the phone 70, 80
  // (average 75). Today's 100 is not summarised while today runs.
  const auto records = biometrics();
  const auto& watchDay = *records.at(heartRateKey(kWatch, at(-1, 0)));
  EXPECT_EQ(watchDay.minHeartRate(), 90);
  EXPECT_EQ(watchDay.maxHeartRate(), 150);
  EXPECT_EQ(watchDay.averageHeartRate(), 120);
  const auto& phoneDay = *records.at(heartRateKey(kPhone, at(-1, 0)));
  EXPECT_EQ(phoneDay.minHeartRate(), 70);
  EXPECT_EQ(phoneDay.maxHeartRate(), 80);
  EXPECT_EQ(phoneDay.averageHeartRate(), 75);

  // One record for the reading, with both pressures.
  const auto& pressure = *records.at(reading->UUID().UUIDString());
  EXPECT_EQ(pressure.systolic(), 124);
  EXPECT_EQ(pressure.diastolic(), 82);

  const auto weights = outboxOf(OSTRecordTypeWeight);
  ASSERT_EQ(weights.size(), 1U);
  EXPECT_NEAR(weights[0]->valueForKey("weight").doubleValue(), kWeighingKg, 1e-9);  // 74.84 kg

  const auto meals = outboxOf(OSTRecordTypeNutrition);
  ASSERT_EQ(meals.size(), 1U);
  EXPECT_EQ(meals[0]->activityID(), meal->UUID().UUIDString());
  EXPECT_NEAR(meals[0]->valueForKey("calories").doubleValue(), 500, 1e-9);
  EXPECT_NEAR(meals[0]->valueForKey("protein").doubleValue(), 30, 1e-9);

  // The night: 23:00 to 07:00 asleep.
  const auto nights = outboxOf(OSTRecordTypeSleep);
  ASSERT_EQ(nights.size(), 1U);
  EXPECT_EQ(nights[0]->valueForKey("totalSleep").doubleValue(), 8 * 3600);

  // HealthKit woke the app in the background, and every fetch ended its background task.
  const auto wakes = device->observerInvocations();
  EXPECT_TRUE(std::any_of(wakes.begin(), wakes.end(), [](const auto& wake) {
    return wake.inBackground && wake.typeIdentifier == HKWorkoutTypeIdentifier;
  }));
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(SyncEndToEndTest, AfterARelaunchOnlyWhatIsNewIsSubmittedAndPositionsMove) {
  liveThroughTwoDays();
  const auto before = activityIDs();
  const auto sleepAnchor =
      anchorForKey(*session(), sampleType(HKCategoryTypeIdentifierSleepAnalysis));
  ASSERT_NE(sleepAnchor, nullptr);

  // The app is killed (its queries end with it) and launched again at 13:00.
  device->stopAllQueries();
  runUntilIdle();
  clock().set(at(0, 13));
  restartSession();
  engine = std::make_shared<OSTHealthKitManager>(session());
  engine->observeCurrentSubscriptions();
  runUntilIdle();

  // A second run at 13:00-13:30 with a reading at 13:10, a new weighing, 300 more steps from the
  // watch today, and last night's sleep deleted.
  saveAt(at(0, 13, 31), watch, {pulse(110, at(0, 13, 10))});
  const auto secondRun =
      HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning, at(0, 13), at(0, 13, 30));
  saveAt(at(0, 13, 35), watch, {secondRun});
  const auto weighing =
      measured(HKQuantityTypeIdentifierBodyMass, "kg", 74.5, at(0, 13, 40), at(0, 13, 40));
  saveAt(at(0, 13, 45), iPhone, {weighing, watchSteps(300, at(0, 13), at(0, 13, 30))});
  clock().set(at(0, 14));
  ASSERT_EQ(remove(watch, {night}), nullptr);

  clock().set(at(0, 14, 30, 30));
  engine->fetchLatestData();
  runUntilIdle();

  // Exactly two new records: the run and the weighing. Today's routine record is sent again
  // under its day key, in place of the earlier one: 1200 + 300 = 1500.
  const auto after = activityIDs();
  std::vector<std::string> expected = before;
  expected.push_back(secondRun->UUID().UUIDString());
  expected.push_back(weighing->UUID().UUIDString());
  EXPECT_THAT(std::multiset<std::string>(after.begin(), after.end()),
              ::testing::ContainerEq(std::multiset<std::string>(expected.begin(), expected.end())));
  EXPECT_EQ(stepsByDay().at(routineKey(at(0, 0))), 1500);
  EXPECT_EQ(outboxOf(OSTRecordTypeSleep).size(), 1U);  // a deletion is not sent
  const auto fitness = outboxOf(OSTRecordTypeFitness);
  ASSERT_EQ(fitness.size(), 2U);
  EXPECT_EQ(fitness[1]->extras().at("avg_heart_rate").doubleValue(), 110);

  // Anchors are stored for the types that had records and only for them.
  for (const std::string& identifier :
       {HKQuantityTypeIdentifierBodyMass, HKWorkoutTypeIdentifier,
        HKCorrelationTypeIdentifierBloodPressure, HKCategoryTypeIdentifierSleepAnalysis,
        HKCategoryTypeIdentifierMenstrualFlow, HKQuantityTypeIdentifierBloodGlucose,
        HKQuantityTypeIdentifierInsulinDelivery, HKCorrelationTypeIdentifierFood}) {
    EXPECT_TRUE(hasAnchor(sampleType(identifier))) << identifier;
  }
  for (const std::string& identifier :
       {HKQuantityTypeIdentifierHeight, HKQuantityTypeIdentifierBloodPressureSystolic,
        HKQuantityTypeIdentifierDietaryProtein, HKQuantityTypeIdentifierHeartRate,
        HKQuantityTypeIdentifierStepCount}) {
    EXPECT_FALSE(hasAnchor(sampleType(identifier))) << identifier;
  }
  // Query dates of the sample-fetched types: the whole minute of the fetch, records or not.
  for (const std::string& identifier :
       {HKQuantityTypeIdentifierBodyMass, HKWorkoutTypeIdentifier,
        HKCategoryTypeIdentifierSleepAnalysis, HKQuantityTypeIdentifierHeight,
        HKCorrelationTypeIdentifierFood}) {
    EXPECT_EQ(storedQueryDate(sampleType(identifier)), at(0, 14, 30)) << identifier;
  }
  // Heart rate is summarised up to today's start; daily activity keeps its own timestamps.
  EXPECT_EQ(*anchorForKey(*session(), sampleType(HKCategoryTypeIdentifierSleepAnalysis)),
            *sleepAnchor);  // a deletion alone does not move it
  EXPECT_EQ(storedQueryDate(heartRate), at(0, 0));
  EXPECT_EQ(routineFetchTimestamp(*session()), NSDate::date());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

}  // namespace
}  // namespace end_to_end
