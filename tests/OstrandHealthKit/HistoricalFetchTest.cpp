// The historical fetch on an engine whose three fetch paths are fakes: they record how they were
// called and report chosen counts (the routine path on the main queue, the others from worker
// threads, as the real paths do). Checks the sets and their errors, the permission asked, the
// day ranges on fixed dates (across daylight-saving changes when TZ is America/New_York) and the
// merged result.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSThread.h"
#include "HealthKit/HKError.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "support/SessionFixture.h"

namespace testing_support {
namespace {

NSDate local(long year, long month, long day) {
  NSDateComponents parts;
  parts.setYear(year);
  parts.setMonth(month);
  parts.setDay(day);
  return *ost_gregorianCalendar()->dateFromComponents(parts);
}

// Records the fetches the historical fetch starts and answers them: routine {4: 30} on the main
// queue, each sample type {its record kind: 2} and intraday day i of the week {8: i + 1} on a
// worker queue. Authorization goes to HealthKit unless the test scripts an answer. Called on the
// main thread only.
class FakePathsEngine : public OSTHealthKitManager {
 public:
  struct Call {
    std::string method;
    std::string typeIdentifier;  // the sample fetch's
    std::size_t typeCount = 0;   // the routine fetch's
    std::optional<NSDate> fromDate, toDate;
    std::shared_ptr<const NSPredicate> predicate;
    bool historical = false;
  };

  using OSTHealthKitManager::OSTHealthKitManager;

  void authorizeSubscriptions(const HKSampleTypeSet& types,
                              OSTAuthorizationCompletion completion) override {
    authorizationRequests.push_back(types);
    if (!scriptedAnswer) return OSTHealthKitManager::authorizeSubscriptions(types, completion);
    onWorker([completion, answer = *scriptedAnswer] { completion(answer.first, answer.second); });
  }
  void fetchRoutineForSampleTypes(const HKSampleTypeSet& types, NSDate fromDate, NSDate toDate,
                                  bool historical, OSTFetchCompletion completion) override {
    calls.push_back({"routine", "", types.size(), fromDate, toDate, nullptr, historical});
    dispatch_async(dispatch_get_main_queue(), [completion] {
      completion({{OSTRecordTypeRoutine, 30}});
    });
  }
  void fetchSampleType(const OSTSampleTypePointer& type,
                       std::shared_ptr<const NSPredicate> predicate, std::optional<NSDate> endDate,
                       bool historical, std::shared_ptr<const HKQueryAnchor> anchor,
                       OSTFetchCompletion completion) override {
    EXPECT_EQ(anchor, nullptr);
    EXPECT_EQ(endDate, std::nullopt);
    calls.push_back({"sample", type->identifier(), 0, {}, {}, predicate, historical});
    const auto kind = OSTHealthKitSubscription::recordTypeForSampleType(*type);
    onWorker([completion, kind] { completion({{kind, 2}}); });
  }
  void fetchIntradayForStepsFromDate(NSDate fromDate, NSDate toDate, bool historical,
                                     OSTFetchCompletion completion) override {
    const NSUInteger count = ++intradayCalls;
    calls.push_back({"intraday", "", 0, fromDate, toDate, nullptr, historical});
    onWorker([completion, count] { completion({{OSTRecordTypeIntraday, count}}); });
  }

  std::optional<std::pair<bool, std::shared_ptr<const NSError>>> scriptedAnswer;
  std::vector<HKSampleTypeSet> authorizationRequests;
  std::vector<Call> calls;

 private:
  static void onWorker(std::function<void()> block) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), std::move(block));
  }
  NSUInteger intradayCalls = 0;
};

class HistoricalFetchTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    engine = std::make_shared<FakePathsEngine>(session());
    clock().set(local(2024, 3, 15).dateByAddingTimeInterval(10 * 3600));
  }
  void TearDown() override {
    SessionFixture::TearDown();
    engine.reset();
  }

  struct Outcome {
    int calls = 0;
    bool onMainThread = false;
    std::optional<OSTFetchResult> result;
    std::shared_ptr<const NSError> error;
  };

  // Starts the fetch; the outcome fills in as the completion runs.
  std::shared_ptr<Outcome> start(const std::vector<NSInteger>& sets) {
    auto outcome = std::make_shared<Outcome>();
    engine->fetchHistoricalSets(sets, [outcome](auto result, auto error) {
      ++outcome->calls;
      outcome->onMainThread = NSThread::isMainThread();
      outcome->result = std::move(result);
      outcome->error = std::move(error);
    });
    return outcome;
  }

  static HKSampleTypeSet historicalTypes(OSTHealthKitHistoricalSet set) {
    const auto types = OSTHealthKitSubscription::sampleTypesForHistoricalSet(set);
    return {types->begin(), types->end()};
  }

  static void expectOwnError(const Outcome& outcome, const std::string& message) {
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_EQ(outcome.result, std::nullopt);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->domain(), "kOSTHealthKitErrorDomain");
    EXPECT_EQ(outcome.error->code(), 0);
    EXPECT_EQ(outcome.error->localizedDescription(), message);
  }

  std::shared_ptr<FakePathsEngine> engine;
};

// --- Refused before anything is asked ---

struct RefusedSets {
  std::vector<NSInteger> sets;
  std::string message;
};

class HistoricalSetsRefusedTest : public HistoricalFetchTest,
                                  public ::testing::WithParamInterface<RefusedSets> {};

TEST_P(HistoricalSetsRefusedTest, TheErrorComesAtOnceAndNothingIsAskedOrFetched) {
  const auto outcome = start(GetParam().sets);
  expectOwnError(*outcome, GetParam().message);  // before this returned
  runUntilIdle();
  EXPECT_EQ(outcome->calls, 1);
  EXPECT_TRUE(engine->authorizationRequests.empty());
  EXPECT_TRUE(engine->calls.empty());
  EXPECT_EQ(device->user().promptCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Sets, HistoricalSetsRefusedTest,
    ::testing::Values(RefusedSets{{}, "Historical sets not specified"},
                      RefusedSets{{3}, "Invalid historical set specified"},
                      RefusedSets{{-1}, "Invalid historical set specified"},
                      // Set 1 is valid, but the bad set after it stops the whole request.
                      RefusedSets{{1, 5}, "Invalid historical set specified"}));

// --- Permission ---

TEST_F(HistoricalFetchTest, RefusedPermissionFetchesNothingAndReportsWhy) {
  engine->scriptedAnswer = std::pair{false, nullptr};
  const auto withoutError = start({0});
  runUntilIdle();
  expectOwnError(*withoutError, "User cancelled authorization for Health sample types");
  EXPECT_TRUE(withoutError->onMainThread);

  // HealthKit's own error is passed on as it came.
  engine->scriptedAnswer.reset();
  device->user().cancelNextPrompt();
  const auto cancelled = start({0});
  runUntilIdle();
  EXPECT_EQ(cancelled->result, std::nullopt);
  ASSERT_NE(cancelled->error, nullptr);
  EXPECT_EQ(cancelled->error->domain(), HKErrorDomain);
  EXPECT_EQ(cancelled->error->code(), HKErrorUserCanceled);
  EXPECT_TRUE(cancelled->onMainThread);

  EXPECT_TRUE(engine->calls.empty());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(HistoricalFetchTest, IntradayOffAsksForStepsAndFinishesAtOnceWithNothing) {
  const auto outcome = start({2});
  EXPECT_EQ(outcome->calls, 0);  // only after HealthKit has answered
  runUntilIdle();

  ASSERT_EQ(engine->authorizationRequests.size(), 1U);
  EXPECT_EQ(
      engine->authorizationRequests[0],
      HKSampleTypeSet{HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount)});
  EXPECT_TRUE(engine->calls.empty());
  EXPECT_EQ(outcome->calls, 1);
  EXPECT_TRUE(outcome->onMainThread);
  EXPECT_EQ(outcome->error, nullptr);
  EXPECT_EQ(outcome->result, OSTFetchResult{});
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

// --- The paths and their ranges ---

TEST_F(HistoricalFetchTest, RoutineSetNamedTwiceRunsOneFetchOverSixMonthsUpToToday) {
  const auto outcome = start({0, 0});
  runUntilIdle();

  ASSERT_EQ(engine->calls.size(), 1U);
  const auto& routine = engine->calls[0];
  EXPECT_EQ(routine.method, "routine");
  EXPECT_EQ(routine.typeCount, historicalTypes(OSTHealthKitHistoricalSetRoutine).size());
  EXPECT_EQ(routine.fromDate, local(2023, 9, 15));  // run on 15 March
  EXPECT_EQ(routine.toDate, local(2024, 3, 15));
  EXPECT_TRUE(routine.historical);
  ASSERT_EQ(engine->authorizationRequests.size(), 1U);
  EXPECT_EQ(engine->authorizationRequests[0], historicalTypes(OSTHealthKitHistoricalSetRoutine));
  EXPECT_EQ(outcome->result, (OSTFetchResult{{OSTRecordTypeRoutine, 30}}));
}

TEST_F(HistoricalFetchTest, AllThreeSetsRunTogetherAndTheirCountsAreMerged) {
  engine->setProcessIntraday(true);
  const auto outcome = start({2, 1, 0});
  runUntilIdle();

  const auto fitness =
      *OSTHealthKitSubscription::sampleTypesForHistoricalSet(OSTHealthKitHistoricalSetFitness);
  std::vector<std::string> expected{"routine"};
  for (const auto& type : fitness) expected.push_back("sample " + type->identifier());
  for (int day = 0; day < 7; ++day) expected.push_back("intraday");
  std::vector<std::string> started;
  for (const auto& call : engine->calls) {
    started.push_back(call.typeIdentifier.empty() ? call.method
                                                  : call.method + " " + call.typeIdentifier);
    EXPECT_TRUE(call.historical);
  }
  EXPECT_EQ(started, expected);

  // Workouts whose end lies from 15 September 00:00 up to, not including, 15 March 00:00.
  const auto& predicate = *engine->calls[1].predicate;
  EXPECT_EQ(predicate.format(), "%K >= %@ AND %K < %@");
  EXPECT_EQ(predicate.arguments(),
            (std::vector<NSAny>{"endDate", local(2023, 9, 15), "endDate", local(2024, 3, 15)}));

  EXPECT_EQ(outcome->error, nullptr);
  EXPECT_EQ(outcome->result, (OSTFetchResult{{OSTRecordTypeRoutine, 30},
                                             {OSTRecordTypeFitness, 2 * fitness.size()},
                                             {OSTRecordTypeIntraday, 1 + 2 + 3 + 4 + 5 + 6 + 7}}));
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

// Seven whole days before today, each from its 00:00 to the next day's 00:00: run on 15 March
// the week holds 10 March (23 hours in New York), run on 7 November it holds 3 November (25).
class HistoricalIntradayDaysTest : public HistoricalFetchTest,
                                   public ::testing::WithParamInterface<std::pair<long, long>> {};

TEST_P(HistoricalIntradayDaysTest, TheSevenDaysBeforeTodayMidnightToMidnight) {
  const auto [month, today] = GetParam();
  clock().set(local(2024, month, today).dateByAddingTimeInterval(9 * 3600));
  engine->setProcessIntraday(true);
  start({2});
  runUntilIdle();

  ASSERT_EQ(engine->calls.size(), 7U);
  for (long day = 0; day < 7; ++day) {
    EXPECT_EQ(engine->calls[day].fromDate, local(2024, month, today - 7 + day)) << day;
    EXPECT_EQ(engine->calls[day].toDate, local(2024, month, today - 6 + day)) << day;
  }
}

INSTANTIATE_TEST_SUITE_P(DaylightSaving, HistoricalIntradayDaysTest,
                         ::testing::Values(std::pair{3L, 15L}, std::pair{11L, 7L}));

TEST_F(HistoricalFetchTest, APathThatNeverReportsLeavesTheTaskToExpire) {
  // A sample fetch whose completion never comes: the final step waits for it.
  class SilentSampleEngine : public FakePathsEngine {
   public:
    using FakePathsEngine::FakePathsEngine;
    void fetchSampleType(const OSTSampleTypePointer&, std::shared_ptr<const NSPredicate>,
                         std::optional<NSDate>, bool, std::shared_ptr<const HKQueryAnchor>,
                         OSTFetchCompletion) override {}
  };
  engine = std::make_shared<SilentSampleEngine>(session());
  const auto outcome = start({1});
  runUntilIdle();
  EXPECT_EQ(outcome->calls, 0);
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 1U);
  UIApplication::sharedApplication()->expireBackgroundTasks();
  runUntilIdle();
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

// --- Merging ---

TEST(HistoricalMergeTest, CountsOfAKindAddUpAndOtherKindsStay) {
  OSTFetchResult result{{OSTRecordTypeRoutine, 2}, {OSTRecordTypeBiometrics, 5}};
  OSTHealthKitManager::mergeHistoricalPartialResults({{OSTRecordTypeRoutine, 3}}, result);
  EXPECT_EQ(result, (OSTFetchResult{{OSTRecordTypeRoutine, 5}, {OSTRecordTypeBiometrics, 5}}));

  OSTFetchResult empty;
  OSTHealthKitManager::mergeHistoricalPartialResults({{OSTRecordTypeIntraday, 0}}, empty);
  EXPECT_EQ(empty, (OSTFetchResult{{OSTRecordTypeIntraday, 0}}));
}

}  // namespace
}  // namespace testing_support
