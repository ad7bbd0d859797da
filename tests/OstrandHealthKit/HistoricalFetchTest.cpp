// The historical fetch on an engine whose three fetch paths are fakes that record how they were
// called and report chosen counts: the sets and their errors, the permission asked, the day
// ranges on fixed dates (across daylight-saving changes when TZ is America/New_York) and the
// merged result. The real paths and their records are the end-to-end suites' concern.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSThread.h"
#include "HealthKit/HKError.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "SyncEndToEndSupport.h"
#include "support/SessionFixture.h"

namespace testing_support {
namespace {

using end_to_end::local;

// Records the fetches the historical fetch starts and answers them: routine {4: 30} on the main
// queue, each intraday day {8: 1} on a worker queue. Authorization goes to HealthKit unless the
// test scripts an answer.
class FakePathsEngine : public OSTHealthKitManager {
 public:
  struct Call {
    std::size_t routineTypes = 0;  // 0 for an intraday day
    NSDate fromDate, toDate;
  };
  using OSTHealthKitManager::OSTHealthKitManager;

  void authorizeSubscriptions(const HKSampleTypeSet& types,
                              OSTAuthorizationCompletion completion) override {
    authorizationRequests.push_back(types);
    if (!scriptedAnswer) return OSTHealthKitManager::authorizeSubscriptions(types, completion);
    dispatch_async(
        dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0),
        [completion, answer = *scriptedAnswer] { completion(answer.first, answer.second); });
  }
  void fetchRoutineForSampleTypes(const HKSampleTypeSet& types, NSDate fromDate, NSDate toDate,
                                  bool, OSTFetchCompletion completion) override {
    calls.push_back({types.size(), fromDate, toDate});
    dispatch_async(dispatch_get_main_queue(), [completion] {
      completion({{OSTRecordTypeRoutine, 30}});
    });
  }
  void fetchIntradayForStepsFromDate(NSDate fromDate, NSDate toDate, bool,
                                     OSTFetchCompletion completion) override {
    calls.push_back({0, fromDate, toDate});
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), [completion] {
      completion({{OSTRecordTypeIntraday, 1}});
    });
  }

  std::optional<std::pair<bool, std::shared_ptr<const NSError>>> scriptedAnswer;
  std::vector<HKSampleTypeSet> authorizationRequests;
  std::vector<Call> calls;
};

class HistoricalFetchTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    engine = std::make_shared<FakePathsEngine>(session());
    clock().set(local(2024, 3, 15, 10));
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
  EXPECT_EQ(cancelled->error->code(), HKErrorUserCanceled);
  EXPECT_TRUE(cancelled->onMainThread);
  EXPECT_TRUE(engine->calls.empty());
}

TEST_F(HistoricalFetchTest, IntradayOffAsksForStepsAndFinishesWithNothing) {
  const auto outcome = start({2});
  EXPECT_EQ(outcome->calls, 0);  // only after HealthKit has answered
  runUntilIdle();
  ASSERT_EQ(engine->authorizationRequests.size(), 1U);
  EXPECT_EQ(
      engine->authorizationRequests[0],
      HKSampleTypeSet{HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount)});
  EXPECT_TRUE(engine->calls.empty());
  EXPECT_EQ(outcome->error, nullptr);
  EXPECT_EQ(outcome->result, OSTFetchResult{});
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

// Seven whole days before today, midnight to midnight: run on 15 March the week holds 10 March
// (23 hours in New York), run on 7 November it holds 3 November (25).
class HistoricalIntradayDaysTest : public HistoricalFetchTest,
                                   public ::testing::WithParamInterface<std::pair<long, long>> {};

TEST_P(HistoricalIntradayDaysTest, TheSevenDaysBeforeTodayMidnightToMidnight) {
  const auto [month, today] = GetParam();
  clock().set(local(2024, month, today, 9));
  engine->setProcessIntraday(true);
  const auto outcome = start({2});
  runUntilIdle();
  EXPECT_EQ(outcome->result, (OSTFetchResult{{OSTRecordTypeIntraday, 7}}));  // the days add up
  ASSERT_EQ(engine->calls.size(), 7U);
  for (long day = 0; day < 7; ++day) {
    EXPECT_EQ(engine->calls[day].fromDate, local(2024, month, today - 7 + day)) << day;
    EXPECT_EQ(engine->calls[day].toDate, local(2024, month, today - 6 + day)) << day;
  }
}

INSTANTIATE_TEST_SUITE_P(DaylightSaving, HistoricalIntradayDaysTest,
                         ::testing::Values(std::pair{3L, 15L}, std::pair{11L, 7L}));

TEST_F(HistoricalFetchTest, APathThatNeverReportsLeavesTheTaskToExpire) {
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

}  // namespace
}  // namespace testing_support
