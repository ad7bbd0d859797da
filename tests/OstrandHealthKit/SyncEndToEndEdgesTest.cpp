// The whole library at its edges, from an empty session database with an iPhone and an Apple
// Watch writing: a historical fetch of all three sets, a read permission the user refused, a
// locked iPhone, and days around the New York daylight-saving change.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HealthKit/HKWorkout.h"
#include "OstrandCore/OSTIntraDay.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "SyncEndToEndSupport.h"

namespace end_to_end {
namespace {

using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

using SyncEndToEndEdgesTest = SyncEndToEndFixture;

TEST_F(SyncEndToEndEdgesTest, HistoricalSetsFetchSixMonthsOfDaysWorkoutsAndTheLastWeekByMinute) {
  clock().set(local(2024, 3, 15, 10));
  engine->setProcessIntraday(true);
  const auto run = [](NSDate end) {
    return HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning,
                                              end.dateByAddingTimeInterval(-3600), end);
  };
  const auto inRange = run(local(2023, 9, 15, 1));
  // Workouts ending from 15 September 00:00 up to, not including, 15 March 00:00.
  ASSERT_EQ(save(watch, {watchSteps(11, local(2023, 9, 14, 23, 50), local(2023, 9, 14, 23, 55)),
                         watchSteps(5, local(2024, 3, 8), local(2024, 3, 8, 0, 1)),
                         run(local(2023, 9, 14, 23)), inRange, run(local(2024, 3, 15))}),
            nullptr);
  ASSERT_EQ(save(iPhone, {phoneSteps(13, local(2023, 9, 13, 10), local(2023, 9, 13, 10, 10)),
                          phoneSteps(7, local(2024, 3, 7, 23, 58), local(2024, 3, 7, 23, 59)),
                          phoneSteps(19, local(2024, 3, 15, 9), local(2024, 3, 15, 9, 10))}),
            nullptr);
  std::optional<OSTFetchResult> result;
  // The routine set named twice is fetched once.
  engine->fetchHistoricalSets({0, 1, 2, 0}, [&](auto fetched, auto) { result = fetched; });
  runUntilIdle();

  // Day totals from the day before the range's first; minutes for the seven days 8 to 14 March.
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(routineKey(local(2023, 9, 14)), 11),
                                                 Pair(routineKey(local(2024, 3, 7)), 7),
                                                 Pair(routineKey(local(2024, 3, 8)), 5)));
  const auto fitness = outboxOf(OSTRecordTypeFitness);
  ASSERT_EQ(fitness.size(), 1U);
  EXPECT_EQ(fitness[0]->activityID(), inRange->UUID().UUIDString());
  EXPECT_EQ(result,
            (OSTFetchResult{
                {OSTRecordTypeRoutine, 3}, {OSTRecordTypeFitness, 1}, {OSTRecordTypeIntraday, 1}}));
  // Nothing is subscribed or remembered.
  EXPECT_THAT(queryDates(*session()), IsEmpty());
  EXPECT_EQ(routineFetchTimestamp(*session()), std::nullopt);
}

// A refused read and a locked phone both leave every read empty: nothing is submitted and no
// anchor stored, yet the positions move as after any fetch. Unlocked, day totals come back, as
// every routine fetch starts a day before the last; the weighing does not.
class SyncEndToEndUnreadableTest : public SyncEndToEndFixture,
                                   public ::testing::WithParamInterface<bool> {};

TEST_P(SyncEndToEndUnreadableTest, NothingIsSubmittedAndThePositionsMoveOn) {
  const bool locked = GetParam();
  clock().set(at(0, 12));
  ASSERT_EQ(save(watch, {watchSteps(100, at(-1, 10), at(-1, 11)),
                         watchSteps(40, at(0, 9), at(0, 10)), pulse(60, at(-1, 10))}),
            nullptr);
  if (locked) device->lock();
  for (const auto& type : {steps, heartRate, weight}) device->user().setReadAllowed(type, locked);
  ASSERT_TRUE(subscribe({steps, heartRate, weight}));  // HealthKit does not tell what is refused
  saveAt(at(0, 12, 2), iPhone,
         {measured(HKQuantityTypeIdentifierBodyMass, "kg", 70, at(0, 12, 1), at(0, 12, 1))});
  clock().set(at(0, 12, 5, 20));
  engine->fetchLatestData();
  runUntilIdle();

  EXPECT_THAT(outbox(), IsEmpty());
  EXPECT_FALSE(hasAnchor(weight));
  EXPECT_EQ(storedQueryDate(weight), at(0, 12, 5));
  EXPECT_EQ(routineFetchTimestamp(*session()), NSDate::date());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
  if (!locked) return;

  device->unlock();
  clock().set(at(0, 12, 10));
  engine->fetchLatestData();
  runUntilIdle();
  EXPECT_THAT(outboxCounts(), UnorderedElementsAre(Pair(OSTRecordTypeRoutine, 2U)));
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(routineKey(at(-1, 0)), 100),
                                                 Pair(routineKey(at(0, 0)), 40)));
}

INSTANTIATE_TEST_SUITE_P(RefusedOrLocked, SyncEndToEndUnreadableTest, ::testing::Bool());

// New York's 10 March 2024 has 23 hours: readings at 00:30 and 23:30 of each day around it land
// in their own day's routine and heart-rate records.
TEST_F(SyncEndToEndEdgesTest, DaysAcrossTheDaylightSavingChangeKeepTheirOwnData) {
  const fetch_test::ScopedTimeZone newYork("America/New_York", *device);
  clock().set(local(2024, 3, 11, 12));
  std::vector<std::shared_ptr<const HKObject>> samples;
  const double counts[] = {10, 20, 30, 40}, pulses[] = {200, 50, 70, 300};
  for (int i = 0; i < 4; ++i) {  // 9 March 23:30, 10 March 00:30 and 23:30, 11 March 00:30
    const NSDate when = local(2024, 3, 9 + (i + 1) / 2, i % 2 ? 0 : 23, 30);
    samples.push_back(watchSteps(counts[i], when, when.dateByAddingTimeInterval(600)));
    samples.push_back(pulse(pulses[i], when));
  }
  ASSERT_EQ(save(watch, samples), nullptr);
  // Subscribed on 11 March: day totals from 9 March on, heart rate for 10 March only.
  ASSERT_TRUE(subscribe({steps, heartRate}));
  clock().advance(120);
  engine->fetchLatestData();
  runUntilIdle();

  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(routineKey(local(2024, 3, 9)), 10),
                                                 Pair(routineKey(local(2024, 3, 10)), 50),
                                                 Pair(routineKey(local(2024, 3, 11)), 40)));
  const auto records = biometrics();
  ASSERT_EQ(records.size(), 1U);
  expectHeartRate(*records.at(heartRateKey(kWatch, local(2024, 3, 10))), 50, 70, 60);
}


// The host sends its whole list again when the user adds weight: steps stay subscribed, and the
// minute steps walked after that still reach the outbox.
TEST_F(SyncEndToEndEdgesTest, MinuteStepsGoOnAfterTheListIsSentAgain) {
  clock().set(at(0, 9));
  engine->setProcessIntraday(true);
  ASSERT_TRUE(subscribe({steps}));
  clock().set(at(0, 10));
  ASSERT_TRUE(subscribe({steps, weight}));
  saveAt(at(0, 11, 5), iPhone, {phoneSteps(30, at(0, 11), at(0, 11, 1))});
  runUntilIdle();

  double walked = 0;
  for (const auto& record : outboxOf(OSTRecordTypeIntraday)) {
    for (const auto& [start, value] : dynamic_cast<const OSTIntraDay&>(*record).values()) {
      if (start >= at(0, 11) && start < at(0, 11, 1)) walked += value.value;
    }
  }
  EXPECT_EQ(walked, 30);
}

}  // namespace
}  // namespace end_to_end
