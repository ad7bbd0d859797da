// The engine's control path through the simulator: what a subscription change stores, asks
// HealthKit for and starts, and what survives a relaunch. Fetches are recorded, not run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>

#include "Foundation/Dispatch.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "support/EngineFixture.h"
#include "support/LogCapture.h"
#include "support/SystemLogCapture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

const auto& kSteps = HKQuantityTypeIdentifierStepCount;
const auto& kHeartRate = HKQuantityTypeIdentifierHeartRate;
const auto& kWeight = HKQuantityTypeIdentifierBodyMass;
const auto& kEnergy = HKQuantityTypeIdentifierActiveEnergyBurned;
const auto& kSystolic = HKQuantityTypeIdentifierBloodPressureSystolic;
const auto& kDiastolic = HKQuantityTypeIdentifierBloodPressureDiastolic;
const auto& kBloodPressure = HKCorrelationTypeIdentifierBloodPressure;
const auto& kSleep = HKCategoryTypeIdentifierSleepAnalysis;

class SubscriptionControlTest : public testing_support::EngineFixture {
 protected:
  OSTSession& current() { return *session(); }

  NSDate startOfDay(NSDate date) const { return *calendar->startOfDayForDate(date); }
  NSDate yesterdayStart() const {
    return startOfDay(*calendar->dateByAddingUnit(NSCalendarUnitDay, -1, NSDate::date(), {}));
  }

  // A long-running anchored query of the type, held as the sample fetch holds one.
  std::shared_ptr<HKAnchoredObjectQuery> holdAnchoredQuery(const std::string& identifier) {
    auto query = std::make_shared<HKAnchoredObjectQuery>(sampleType(identifier), nullptr, nullptr,
                                                         HKObjectQueryNoLimit,
                                                         [](auto, auto, auto, auto, auto) {});
    query->setUpdateHandler([](auto, auto, auto, auto, auto) {});
    engine->store()->executeQuery(query);
    (*engine->anchorQueries())[sampleType(identifier)] = query;
    return query;
  }

  // Another app saves a weight sample, waking the weight observer.
  void saveWeight() {
    const auto type = HKObjectType::quantityTypeForIdentifier(kWeight);
    ASSERT_EQ(save(iPhone, {quantitySample(type, 70, NSDate::date(), NSDate::date())}), nullptr);
  }

  const std::shared_ptr<NSCalendar> calendar =
      NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
};

TEST_F(SubscriptionControlTest, FirstQueryDatesPerKindOfType) {
  clock().advance(1234.5);  // not on a minute: routine dates are the moment itself
  setRoutineQueryTimestamp(current(), NSDate::date());
  EXPECT_TRUE(subscribe({sampleType(kWeight)}));
  // Without a daily-activity type the routine timestamps go.
  EXPECT_EQ(routineQueryTimestamp(current()), std::nullopt);

  EXPECT_TRUE(subscribe({sampleType(kWeight), sampleType(kHeartRate), sampleType(kSteps)}));
  EXPECT_EQ(queryDateForKey(current(), sampleType(kHeartRate)), yesterdayStart());
  EXPECT_EQ(queryDateForKey(current(), sampleType(kSteps)), NSDate::date());
  EXPECT_EQ(queryDateForKey(current(), sampleType(kWeight)), startOfDay(NSDate::date()));
  for (const auto& timestamp :
       {routineQueryTimestamp(current()), routineFetchTimestamp(current()),
        intradayStepsQueryTimestamp(current()), intradayStepsFetchTimestamp(current())}) {
    EXPECT_EQ(timestamp, yesterdayStart());
  }
  // Observers fire once on execution: each type reaches its own kind of fetch.
  EXPECT_THAT(engine->fetchNames(),
              ::testing::IsSupersetOf(std::vector<std::string>{
                  "fetchLatestRoutine", "fetchLatestIntraDaySteps", "fetchHeartRateSamplesFromDate",
                  "fetchSampleType " + kWeight}));
}

TEST_F(SubscriptionControlTest, ResubscribingKeepsPositionsAndANewSubscriptionStartsOver) {
  EXPECT_TRUE(subscribe({sampleType(kWeight)}));
  const NSDate weightDate = queryDateForKey(current(), sampleType(kWeight));
  ASSERT_EQ(setAnchor(current(), HKQueryAnchor::anchorFromValue(5), sampleType(kWeight)), nullptr);
  clock().advance(2 * 86400);

  EXPECT_TRUE(subscribe({sampleType(kWeight), sampleType(kSleep)}));
  EXPECT_EQ(queryDateForKey(current(), sampleType(kWeight)), weightDate);
  EXPECT_NE(anchorForKey(current(), sampleType(kWeight)), nullptr);

  // Dropped, then subscribed again: the old anchor must not skip what came in between.
  EXPECT_TRUE(subscribe({sampleType(kSleep)}));
  EXPECT_NE(anchorForKey(current(), sampleType(kWeight)), nullptr);
  EXPECT_TRUE(subscribe({sampleType(kSleep), sampleType(kWeight)}));
  EXPECT_EQ(anchorForKey(current(), sampleType(kWeight)), nullptr);
  EXPECT_EQ(queryDateForKey(current(), sampleType(kWeight)), startOfDay(NSDate::date()));
}

TEST_F(SubscriptionControlTest, RelaunchRebuildsOneObserverPerSubscribedType) {
  EXPECT_TRUE(subscribe({sampleType(kWeight), sampleType(kSteps), sampleType(kSleep)}));
  const std::set<std::string> subscribed{kWeight, kSteps, kSleep};
  ASSERT_EQ(subscribedIdentifiers(), subscribed);

  // The process dies: its queries go; the subscriptions live on in the database.
  device->stopAllQueries();
  restartSession();
  engine = makeEngine();
  EXPECT_EQ(subscribedIdentifiers(), subscribed);
  engine->observeCurrentSubscriptions();
  engine->observeCurrentSubscriptions();
  runUntilIdle();

  EXPECT_THAT(observedIdentifiers(), UnorderedElementsAre(kWeight, kSteps, kSleep));
  EXPECT_EQ(engine->routineAnchorQueries()->size(), 1U);  // steps' routine listener
  EXPECT_EQ(device->runningQueryCount(), 4U);
}

TEST_F(SubscriptionControlTest, BloodPressureIsAuthorizedAsItsTwoQuantityTypes) {
  testing_support::SystemLogCapture systemLog;
  EXPECT_TRUE(subscribe({sampleType(kBloodPressure)}));

  EXPECT_EQ(subscribedIdentifiers(),
            (std::set<std::string>{kBloodPressure, kSystolic, kDiastolic}));
  EXPECT_EQ(queryDateForKey(current(), sampleType(kSystolic)), startOfDay(NSDate::date()));
  // Both were decided in the one prompt: asking again shows none.
  EXPECT_EQ(device->user().promptCount(), 1U);
  authorize({}, {sampleType(kSystolic), sampleType(kDiastolic)});
  EXPECT_EQ(device->user().promptCount(), 1U);
  // HealthKit wakes the app for the quantity types; the correlation it refuses, in the log.
  EXPECT_EQ(device->backgroundDeliveryFrequency(*sampleType(kSystolic)), HKUpdateFrequencyHourly);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*sampleType(kDiastolic)), HKUpdateFrequencyHourly);
  EXPECT_THAT(systemLog.messages(),
              ElementsAre(StartsWith("Error enabling background delivery: ")));
}

TEST_F(SubscriptionControlTest, FoodAloneEndsEverySubscription) {
  EXPECT_TRUE(subscribe({sampleType(kWeight)}));
  ASSERT_EQ(setAnchor(current(), HKQueryAnchor::anchorFromValue(5), sampleType(kWeight)), nullptr);

  bool completed = false;
  engine->setSubscriptions({sampleType(HKCorrelationTypeIdentifierFood)},
                           [&completed] { completed = true; });
  EXPECT_TRUE(completed);  // at once: there was nothing to authorize
  runUntilIdle();

  EXPECT_THAT(subscribedIdentifiers(), IsEmpty());
  EXPECT_TRUE(current().sessionData()->anchors().empty());
  EXPECT_EQ(device->user().promptCount(), 1U);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*sampleType(kWeight)), std::nullopt);
}

TEST_F(SubscriptionControlTest, IdentifierStringsNameTypes) {
  bool completed = false;
  engine->setSubscriptionsFromIdentifiers({"HKWorkoutType", kSteps, kSleep, kBloodPressure},
                                          [&completed] { completed = true; });
  runUntilIdle();
  EXPECT_TRUE(completed);
  EXPECT_EQ(subscribedIdentifiers(),
            (std::set<std::string>{HKWorkoutTypeIdentifier, kSteps, kSleep, kBloodPressure,
                                   kSystolic, kDiastolic}));

  // The workout type goes by "HKWorkoutType" only; an unknown name changes nothing at all.
  for (const std::string unknown : {"HKWorkoutTypeIdentifier", "HKQuantityTypeIdentifierNoSuch"}) {
    EXPECT_THROW(engine->setSubscriptionsFromIdentifiers({kWeight, unknown}, nullptr),
                 std::invalid_argument);
  }
  runUntilIdle();
  EXPECT_FALSE(subscribedIdentifiers().contains(kWeight));
  EXPECT_EQ(device->user().promptCount(), 1U);
}

TEST_F(SubscriptionControlTest, RefusedAuthorizationIsLoggedAndChangesNothing) {
  EXPECT_TRUE(subscribe({sampleType(kSleep)}));
  testing_support::LogCapture log;
  testing_support::SystemLogCapture systemLog;
  const auto error = NSError::errorWithDomain(
      "com.apple.healthkit", 5,
      NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, "Not available"}}));
  device->user().failNextPrompt(error);

  EXPECT_TRUE(subscribe({sampleType(kWeight)}));

  EXPECT_THAT(systemLog.messages(),
              ElementsAre("HealthKit Authorization Error: " + error->description()));
  EXPECT_THAT(log.lines(), ElementsAre("setSubscriptions Healthkit subscription failed: "
                                       "Not available"));
  EXPECT_THAT(log.levels(), ElementsAre(2));
  EXPECT_EQ(subscribedIdentifiers(), std::set<std::string>{kSleep});
  EXPECT_THAT(observedIdentifiers(), ElementsAre(kSleep));

  EXPECT_TRUE(subscribe({sampleType(kWeight)}));
  EXPECT_THAT(log.lines().back(),
              StartsWith("setSubscriptions Healthkit subscription request succeeded: "));
  EXPECT_THAT(log.lines().back(), HasSubstr(kWeight));
}

TEST_F(SubscriptionControlTest,
       ObserverLeavesARunningQueryInTheForegroundAndReplacesItInTheBackground) {
  device->setObserverQueriesFireOnExecute(false);
  EXPECT_TRUE(subscribe({sampleType(kWeight)}));
  holdAnchoredQuery(kWeight);
  ASSERT_EQ(device->runningQueryCount(), 2U);

  saveWeight();
  EXPECT_THAT(engine->fetchNames(), IsEmpty());  // the running query delivers it
  EXPECT_EQ(engine->anchorQueries()->size(), 1U);

  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  saveWeight();
  EXPECT_THAT(engine->fetchNames(),
              ElementsAre("predicateForType " + kWeight, "fetchSampleType " + kWeight));
  EXPECT_TRUE(engine->anchorQueries()->empty());
  EXPECT_EQ(device->runningQueryCount(), 1U);
  // HealthKit was answered each time, and the background task is over.
  const auto invocations = device->observerInvocations();
  ASSERT_EQ(invocations.size(), 2U);
  EXPECT_TRUE(invocations[1].inBackground && invocations[1].completionHandlerCalled);
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(SubscriptionControlTest, EachKindOfTypeReachesItsFetch) {
  device->setObserverQueriesFireOnExecute(false);
  EXPECT_TRUE(subscribe({sampleType(kHeartRate), sampleType(kWeight)}));
  ASSERT_EQ(setAnchor(current(), HKQueryAnchor::anchorFromValue(9), sampleType(kWeight)), nullptr);

  engine->fetchUpdatedDataForSampleType(sampleType(kEnergy));
  engine->fetchUpdatedDataForSampleType(sampleType(kSteps));
  engine->fetchUpdatedDataForSampleType(sampleType(kHeartRate));
  engine->fetchUpdatedDataForSampleType(sampleType(kWeight));
  EXPECT_THAT(engine->fetchNames(),
              ElementsAre("fetchLatestRoutine", "fetchLatestRoutine", "fetchLatestIntraDaySteps",
                          "fetchHeartRateSamplesFromDate", "predicateForType " + kWeight,
                          "fetchSampleType " + kWeight));
  const auto fetches = engine->fetches();
  EXPECT_EQ(fetches[3].fromDate, yesterdayStart());
  EXPECT_EQ(fetches[3].toDate, startOfDay(NSDate::date()));
  EXPECT_EQ(fetches[4].fromDate, startOfDay(NSDate::date()));
  EXPECT_TRUE(fetches[5].anchor->isEqual(*HKQueryAnchor::anchorFromValue(9)));

  // Heart rate is fetched in whole past days only.
  engine->clearFetches();
  ASSERT_EQ(setQueryDate(current(), NSDate::date(), sampleType(kHeartRate)), nullptr);
  engine->fetchUpdatedDataForSampleType(sampleType(kHeartRate));
  EXPECT_THAT(engine->fetchNames(), IsEmpty());
}

TEST_F(SubscriptionControlTest, FetchLatestDataReplacesEachRunningQueryBeforeFetchingIt) {
  EXPECT_TRUE(engine->subscriptions().empty());
  engine->fetchLatestData();
  EXPECT_THAT(engine->fetchNames(), IsEmpty());

  device->setObserverQueriesFireOnExecute(false);
  EXPECT_TRUE(subscribe({sampleType(kWeight), sampleType(kSleep)}));
  holdAnchoredQuery(kWeight);
  holdAnchoredQuery(kSleep);
  engine->fetchLatestData();

  // Stop and fetch type by type: the first fetch still sees the other type's query held.
  std::vector<std::pair<std::string, std::size_t>> fetched;
  for (const auto& fetch : engine->fetches()) {
    if (fetch.method == "fetchSampleType")
      fetched.emplace_back(fetch.typeIdentifier, fetch.heldAnchorQueries);
  }
  EXPECT_THAT(fetched, UnorderedElementsAre(::testing::Pair(::testing::_, 1U),
                                            ::testing::Pair(::testing::_, 0U)));
  EXPECT_TRUE(engine->anchorQueries()->empty());
}

TEST_F(SubscriptionControlTest, RoutineListenerRunsOnceAndTriggersTheRoutineFetches) {
  authorize({}, {stepType()});
  engine->listenToRoutineSampleType(sampleType(kSteps));
  engine->listenToRoutineSampleType(sampleType(kSteps));
  runUntilIdle();
  EXPECT_EQ(device->runningQueryCount(), 1U);
  EXPECT_THAT(engine->fetchNames(), ElementsAre("fetchLatestRoutine", "fetchLatestIntraDaySteps"));

  engine->clearFetches();
  ASSERT_EQ(save(iPhone, {phoneSteps(40, NSDate::date(), NSDate::date())}), nullptr);
  EXPECT_THAT(engine->fetchNames(), ElementsAre("fetchLatestRoutine", "fetchLatestIntraDaySteps"));
}

TEST_F(SubscriptionControlTest, EndingTheSessionStopsEverythingAndKeepsIntradayTimestamps) {
  EXPECT_TRUE(subscribe({sampleType(kSteps), sampleType(kWeight), sampleType(kHeartRate)}));
  holdAnchoredQuery(kWeight);
  const auto intradayQuery = intradayStepsQueryTimestamp(current());
  ASSERT_NE(intradayQuery, std::nullopt);

  endHealthKitSession(current(), *engine);
  runUntilIdle();

  EXPECT_EQ(device->runningQueryCount(), 0U);
  EXPECT_THAT(subscribedIdentifiers(), IsEmpty());
  EXPECT_EQ(routineQueryTimestamp(current()), std::nullopt);
  EXPECT_EQ(routineFetchTimestamp(current()), std::nullopt);
  EXPECT_EQ(intradayStepsQueryTimestamp(current()), intradayQuery);
  EXPECT_EQ(intradayStepsFetchTimestamp(current()), intradayQuery);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*sampleType(kWeight)), std::nullopt);
}

TEST_F(SubscriptionControlTest, ConcurrentFirstCallsShareOneEngine) {
  std::mutex mutex;
  std::vector<std::shared_ptr<OSTHealthKitManager>> seen;
  for (int i = 0; i < 8; ++i) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), [&] {
      auto instance = OSTHealthKitManager::sharedInstance();
      std::lock_guard lock(mutex);
      seen.push_back(std::move(instance));
    });
  }
  runUntilIdle();
  ASSERT_EQ(seen.size(), 8U);
  for (const auto& instance : seen) EXPECT_EQ(instance, OSTHealthKitManager::sharedInstance());
  EXPECT_EQ(seen.front()->session(), OSTSession::sharedInstance());
  EXPECT_FALSE(seen.front()->processIntraday());
}

}  // namespace
