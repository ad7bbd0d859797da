// The whole library at its edges, from an empty session database with an iPhone and an Apple
// Watch writing: a historical fetch of all three sets on a fixed date and its three errors, a
// read permission the user refused, a locked iPhone, and days around the New York
// daylight-saving change. Expectations are worked out by hand from the data in each test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "OstrandCore/OSTIntraDay.h"
#include "SyncEndToEndSupport.h"

namespace end_to_end {
namespace {

using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

class SyncEndToEndEdgesTest : public SyncEndToEndFixture {
 protected:
  struct Outcome {
    int calls = 0;
    std::optional<OSTFetchResult> result;
    std::shared_ptr<const NSError> error;
  };
  std::shared_ptr<Outcome> fetchHistorical(const std::vector<NSInteger>& sets) {
    auto outcome = std::make_shared<Outcome>();
    engine->fetchHistoricalSets(sets, [outcome](auto result, auto error) {
      ++outcome->calls;
      outcome->result = std::move(result);
      outcome->error = std::move(error);
    });
    return outcome;
  }
  static void expectError(const Outcome& outcome, const std::string& message) {
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_EQ(outcome.result, std::nullopt);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->domain(), kOSTHealthKitErrorDomain);
    EXPECT_EQ(outcome.error->code(), 0);
    EXPECT_EQ(outcome.error->localizedDescription(), message);
  }
  static std::shared_ptr<const HKWorkout> runFrom(NSDate start, NSDate end) {
    return HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning, start, end);
  }
};

TEST_F(SyncEndToEndEdgesTest, HistoricalSetsFetchSixMonthsOfDaysWorkoutsAndTheLastWeekByMinute) {
  // Run on 15 March 2024 at 10:00: six months back is 15 September 2023 00:00.
  clock().set(local(2024, 3, 15, 10));
  engine->setProcessIntraday(true);
  const auto inOldRange = runFrom(local(2023, 9, 15, 7), local(2023, 9, 15, 8));
  const auto lastEvening = runFrom(local(2024, 3, 14, 18), local(2024, 3, 14, 19));
  ASSERT_EQ(
      save(watch, {watchSteps(11, local(2023, 9, 14, 23, 50), local(2023, 9, 14, 23, 55)),
                   watchSteps(5, local(2024, 3, 8), local(2024, 3, 8, 0, 1)),
                   watchSteps(500, local(2024, 3, 14, 10), local(2024, 3, 14, 11)),
                   // Ends 23:00 on 14 September: before the workouts' window.
                   runFrom(local(2023, 9, 14, 22), local(2023, 9, 14, 23)), inOldRange, lastEvening,
                   // Today's: after the window.
                   runFrom(local(2024, 3, 15, 8), local(2024, 3, 15, 9))}),
      nullptr);
  ASSERT_EQ(save(iPhone, {phoneSteps(13, local(2023, 9, 13, 10), local(2023, 9, 13, 10, 10)),
                          phoneSteps(7, local(2024, 3, 7, 23, 58), local(2024, 3, 7, 23, 59)),
                          phoneSteps(600, local(2024, 3, 14, 10), local(2024, 3, 14, 11)),
                          phoneSteps(19, local(2024, 3, 15, 9), local(2024, 3, 15, 9, 10))}),
            nullptr);

  const auto outcome = fetchHistorical({0, 1, 2});
  runUntilIdle();

  // Routine days run from 14 September (the day before the range's first) to 14 March: 11 on
  // 14 September, 7 on 7 March, 5 on 8 March, and on 14 March the watch's 500 for the hour both
  // counted. 13 September is before them, today after them.
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(routineKey(local(2023, 9, 14)), 11),
                                                 Pair(routineKey(local(2024, 3, 7)), 7),
                                                 Pair(routineKey(local(2024, 3, 8)), 5),
                                                 Pair(routineKey(local(2024, 3, 14)), 500)));
  // Workouts ending from 15 September 00:00 up to 15 March 00:00: two of four.
  const auto fitness = outboxOf(OSTRecordTypeFitness);
  std::set<std::string> runs;
  for (const auto& record : fitness) runs.insert(record->activityID().value_or(""));
  EXPECT_EQ(runs, (std::set<std::string>{inOldRange->UUID().UUIDString(),
                                         lastEvening->UUID().UUIDString()}));
  // Minute by minute, the seven days 8 to 14 March, one record per source and day: the watch on
  // 8 March (5 steps at 00:00; 7 March 23:58 is outside), watch and phone on 14 March.
  std::map<std::pair<std::string, double>, std::shared_ptr<OSTIntraDay>> intraday;
  for (const auto& record : outboxOf(OSTRecordTypeIntraday)) {
    const auto day = std::dynamic_pointer_cast<OSTIntraDay>(record);
    ASSERT_NE(day, nullptr);
    intraday[{day->deviceSource().value_or(""), day->start()->timeIntervalSince1970()}] = day;
  }
  ASSERT_EQ(intraday.size(), 3U);
  const auto& eighth = *intraday.at({kWatch, local(2024, 3, 8).timeIntervalSince1970()});
  EXPECT_EQ(eighth.end(), local(2024, 3, 9));
  ASSERT_EQ(eighth.values().size(), 1U);
  EXPECT_EQ(eighth.values().begin()->second.value, 5);
  const auto& phone14 = *intraday.at({kPhone, local(2024, 3, 14).timeIntervalSince1970()});
  EXPECT_EQ(phone14.values().size(), 60U);  // 600 steps over 60 minutes: 10 a minute
  EXPECT_EQ(phone14.values().begin()->second.value, 10);
  EXPECT_EQ(intraday.count({kWatch, local(2024, 3, 14).timeIntervalSince1970()}), 1U);

  // The merged result counts what each path submitted.
  EXPECT_EQ(outcome->calls, 1);
  EXPECT_EQ(outcome->error, nullptr);
  EXPECT_EQ(outcome->result,
            (OSTFetchResult{
                {OSTRecordTypeRoutine, 4}, {OSTRecordTypeFitness, 2}, {OSTRecordTypeIntraday, 3}}));
  EXPECT_THAT(outboxCounts(),
              UnorderedElementsAre(Pair(OSTRecordTypeRoutine, 4U), Pair(OSTRecordTypeFitness, 2U),
                                   Pair(OSTRecordTypeIntraday, 3U)));
  // Nothing is subscribed or remembered, but for the intraday fetch's own timestamp.
  EXPECT_THAT(queryDates(*session()), IsEmpty());
  EXPECT_EQ(routineFetchTimestamp(*session()), std::nullopt);
  EXPECT_EQ(routineQueryTimestamp(*session()), std::nullopt);
  EXPECT_NE(intradayStepsFetchTimestamp(*session()), std::nullopt);
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

// HealthKit answers "no" without saying why.
class RefusingEngine : public OSTHealthKitManager {
 public:
  using OSTHealthKitManager::OSTHealthKitManager;
  void authorizeSubscriptions(const HKSampleTypeSet&,
                              OSTAuthorizationCompletion completion) override {
    completion(false, nullptr);
  }
};

TEST_F(SyncEndToEndEdgesTest, HistoricalFetchErrorsSayWhatWentWrong) {
  ASSERT_EQ(save(watch, {watchSteps(100, at(-1, 10), at(-1, 11))}), nullptr);
  expectError(*fetchHistorical({}), "Historical sets not specified");
  expectError(*fetchHistorical({0, 3}), "Invalid historical set specified");
  engine = std::make_shared<RefusingEngine>(session());
  const auto refused = fetchHistorical({0});
  runUntilIdle();
  expectError(*refused, "User cancelled authorization for Health sample types");
  EXPECT_THAT(outbox(), IsEmpty());
}

TEST_F(SyncEndToEndEdgesTest, RefusedReadPermissionShowsNoDataAndFetchesMoveOnAsUsual) {
  clock().set(at(0, 12));
  for (const auto& type : {steps, heartRate, weight}) device->user().setReadAllowed(type, false);
  ASSERT_EQ(save(watch, {watchSteps(100, at(-1, 10), at(-1, 11)), pulse(60, at(-1, 10))}), nullptr);
  // HealthKit does not tell an app what it may not read: the subscription succeeds.
  ASSERT_TRUE(subscribe({steps, heartRate, weight}));
  saveAt(at(0, 12, 2), iPhone,
         {measured(HKQuantityTypeIdentifierBodyMass, "kg", 70, at(0, 12, 1), at(0, 12, 1)),
          phoneSteps(50, at(0, 11), at(0, 12))});

  clock().set(at(0, 12, 5, 20));
  engine->fetchLatestData();
  runUntilIdle();

  // Every read came back empty, so nothing is submitted and no anchor stored; the positions
  // move as after any empty fetch.
  EXPECT_THAT(outbox(), IsEmpty());
  EXPECT_FALSE(hasAnchor(weight));
  EXPECT_EQ(storedQueryDate(weight), at(0, 12, 5));
  EXPECT_EQ(storedQueryDate(heartRate), at(0, 0));
  EXPECT_EQ(routineFetchTimestamp(*session()), NSDate::date());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

// On a locked iPhone every read fails. The fetches submit nothing, yet as documented the sample
// fetch's and the heart-rate fetch's query dates move to the end of the failed fetch: a reading
// that ended before then is not fetched by a type without an anchor, and yesterday's heart rate
// is not summarised. Day totals come back, as every routine fetch starts a day before the last.
TEST_F(SyncEndToEndEdgesTest, LockedDeviceSubmitsNothingAndStillMovesTheQueryDates) {
  clock().set(at(0, 12));
  ASSERT_EQ(save(watch, {watchSteps(100, at(-1, 10), at(-1, 11)), pulse(60, at(-1, 10)),
                         watchSteps(40, at(0, 9), at(0, 10))}),
            nullptr);
  device->lock();
  ASSERT_TRUE(subscribe({steps, heartRate, weight}));
  saveAt(at(0, 12, 2), iPhone,
         {measured(HKQuantityTypeIdentifierBodyMass, "kg", 70, at(0, 12, 1), at(0, 12, 1))});
  clock().set(at(0, 12, 4, 10));
  engine->fetchLatestData();
  runUntilIdle();

  EXPECT_THAT(outbox(), IsEmpty());
  EXPECT_FALSE(hasAnchor(weight));
  EXPECT_EQ(storedQueryDate(weight), at(0, 12, 4));
  EXPECT_EQ(storedQueryDate(heartRate), at(0, 0));
  EXPECT_EQ(routineFetchTimestamp(*session()), NSDate::date());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);

  device->unlock();
  clock().set(at(0, 12, 10));
  engine->fetchLatestData();
  runUntilIdle();
  // Yesterday 100 and today 40 come back; the weighing at 12:01 and yesterday's heart rate do
  // not.
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(routineKey(at(-1, 0)), 100),
                                                 Pair(routineKey(at(0, 0)), 40)));
  EXPECT_THAT(outboxCounts(), UnorderedElementsAre(Pair(OSTRecordTypeRoutine, 2U)));
}

// New York's 10 March 2024 has 23 hours. Readings at 00:30 and 23:30 of each day around it must
// land in their own day's routine and heart-rate records, whatever zone the process runs in.
TEST_F(SyncEndToEndEdgesTest, DaysAcrossTheDaylightSavingChangeKeepTheirOwnData) {
  const fetch_test::ScopedTimeZone newYork("America/New_York", *device);
  clock().set(local(2024, 3, 11, 12));
  ASSERT_EQ(
      save(watch, {watchSteps(10, local(2024, 3, 9, 23, 30), local(2024, 3, 9, 23, 40)),
                   watchSteps(20, local(2024, 3, 10, 0, 30), local(2024, 3, 10, 0, 40)),
                   watchSteps(30, local(2024, 3, 10, 23, 30), local(2024, 3, 10, 23, 40)),
                   watchSteps(40, local(2024, 3, 11, 0, 30), local(2024, 3, 11, 0, 40)),
                   pulse(200, local(2024, 3, 9, 23, 30)), pulse(50, local(2024, 3, 10, 0, 30)),
                   pulse(70, local(2024, 3, 10, 23, 30)), pulse(300, local(2024, 3, 11, 0, 30))}),
      nullptr);

  // Subscribed on 11 March: day totals from 9 March on (the day before yesterday's), heart rate
  // for yesterday, 10 March, only.
  ASSERT_TRUE(subscribe({steps, heartRate}));
  clock().advance(120);
  engine->fetchLatestData();
  runUntilIdle();

  EXPECT_THAT(
      stepsByDay(),
      UnorderedElementsAre(Pair("routine-user-1-com.Apple.Health.AggregateRecord-2024-3-9", 10),
                           Pair("routine-user-1-com.Apple.Health.AggregateRecord-2024-3-10", 50),
                           Pair("routine-user-1-com.Apple.Health.AggregateRecord-2024-3-11", 40)));
  const auto records = biometrics();
  ASSERT_EQ(records.size(), 1U);
  const auto& day = *records.at("heart-rate-user-1-" + kWatch + "-2024-3-10");
  EXPECT_EQ(day.minHeartRate(), 50);
  EXPECT_EQ(day.maxHeartRate(), 70);
  EXPECT_EQ(day.averageHeartRate(), 60);
  EXPECT_EQ(storedQueryDate(heartRate), local(2024, 3, 11));
}

}  // namespace
}  // namespace end_to_end
