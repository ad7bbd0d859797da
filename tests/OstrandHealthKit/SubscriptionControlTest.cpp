// The engine's control path through the simulator: what a subscription change stores, asks
// HealthKit for and starts, and what survives a relaunch. Fetches are recorded, not run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "support/EngineFixture.h"
#include "support/LogCapture.h"
#include "support/SystemLogCapture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

const auto& kSteps = HKQuantityTypeIdentifierStepCount;
const auto& kHeartRate = HKQuantityTypeIdentifierHeartRate;
const auto& kWeight = HKQuantityTypeIdentifierBodyMass;
const auto& kSystolic = HKQuantityTypeIdentifierBloodPressureSystolic;
const auto& kDiastolic = HKQuantityTypeIdentifierBloodPressureDiastolic;
const auto& kBloodPressure = HKCorrelationTypeIdentifierBloodPressure;
const auto& kSleep = HKCategoryTypeIdentifierSleepAnalysis;

class SubscriptionControlTest : public testing_support::EngineFixture {
 protected:
  OSTSession& current() { return *session(); }
  NSDate startOfDay(NSDate date) const { return *calendar->startOfDayForDate(date); }
  // A long-running anchored query of the type, held as the sample fetch holds one.
  void holdAnchoredQuery(const OSTSampleTypePointer& type) {
    auto query = std::make_shared<HKAnchoredObjectQuery>(
        type, nullptr, nullptr, HKObjectQueryNoLimit, [](auto, auto, auto, auto, auto) {});
    query->setUpdateHandler([](auto, auto, auto, auto, auto) {});
    engine->store()->executeQuery(query);
    (*engine->anchorQueries())[type] = query;
  }

  const std::shared_ptr<NSCalendar> calendar =
      NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
};

TEST_F(SubscriptionControlTest, FirstQueryDatesPerKindOfTypeAndResubscribing) {
  clock().advance(1234.5);  // not on a minute: routine dates are the moment itself
  EXPECT_TRUE(subscribe({sampleType(kWeight), sampleType(kHeartRate), sampleType(kSteps)}));
  const NSDate yesterday =
      startOfDay(*calendar->dateByAddingUnit(NSCalendarUnitDay, -1, NSDate::date(), {}));
  EXPECT_EQ(queryDateForKey(current(), sampleType(kHeartRate)), yesterday);
  EXPECT_EQ(queryDateForKey(current(), sampleType(kSteps)), NSDate::date());
  EXPECT_EQ(queryDateForKey(current(), sampleType(kWeight)), startOfDay(NSDate::date()));
  for (const auto& timestamp :
       {routineQueryTimestamp(current()), routineFetchTimestamp(current()),
        intradayStepsQueryTimestamp(current()), intradayStepsFetchTimestamp(current())}) {
    EXPECT_EQ(timestamp, yesterday);
  }
  // Kept while subscribed; dropped and subscribed again, the old anchor must not skip the gap.
  ASSERT_EQ(setAnchor(current(), HKQueryAnchor::anchorFromValue(5), sampleType(kWeight)), nullptr);
  clock().advance(2 * 86400);
  EXPECT_TRUE(subscribe({sampleType(kWeight), sampleType(kSleep)}));
  EXPECT_NE(anchorForKey(current(), sampleType(kWeight)), nullptr);
  EXPECT_TRUE(subscribe({sampleType(kSleep)}));
  EXPECT_EQ(routineQueryTimestamp(current()), std::nullopt);  // no daily-activity type left
  EXPECT_TRUE(subscribe({sampleType(kSleep), sampleType(kWeight)}));
  EXPECT_EQ(anchorForKey(current(), sampleType(kWeight)), nullptr);
  EXPECT_EQ(queryDateForKey(current(), sampleType(kWeight)), startOfDay(NSDate::date()));
}

TEST_F(SubscriptionControlTest, RelaunchRebuildsOneObserverPerSubscribedType) {
  EXPECT_TRUE(subscribe({sampleType(kWeight), sampleType(kSteps), sampleType(kSleep)}));
  device->stopAllQueries();  // the process dies; the subscriptions live on in the database
  restartSession();
  engine = makeEngine();
  EXPECT_EQ(subscribedIdentifiers(), (std::set<std::string>{kWeight, kSteps, kSleep}));
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
  authorize({}, {sampleType(kSystolic), sampleType(kDiastolic)});
  EXPECT_EQ(device->user().promptCount(), 1U);  // both decided in the one prompt
  EXPECT_EQ(device->backgroundDeliveryFrequency(*sampleType(kSystolic)), HKUpdateFrequencyHourly);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*sampleType(kDiastolic)), HKUpdateFrequencyHourly);
  // HealthKit refuses background delivery for the correlation itself.
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

TEST_F(SubscriptionControlTest, IdentifierStringsNameTypesAndAnUnknownOneChangesNothing) {
  engine->setSubscriptionsFromIdentifiers({"HKWorkoutType", kSleep}, nullptr);
  runUntilIdle();
  EXPECT_EQ(subscribedIdentifiers(), (std::set<std::string>{HKWorkoutTypeIdentifier, kSleep}));
  EXPECT_THROW(
      engine->setSubscriptionsFromIdentifiers({kWeight, "HKWorkoutTypeIdentifier"}, nullptr),
      std::invalid_argument);
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
}

TEST_F(SubscriptionControlTest,
       ObserverLeavesARunningQueryInTheForegroundAndReplacesItInTheBackground) {
  device->setObserverQueriesFireOnExecute(false);
  EXPECT_TRUE(subscribe({sampleType(kWeight)}));
  holdAnchoredQuery(sampleType(kWeight));
  ASSERT_EQ(device->runningQueryCount(), 2U);
  const auto saveWeight = [this] {
    ASSERT_EQ(save(iPhone, {quantitySample(HKObjectType::quantityTypeForIdentifier(kWeight), 70,
                                           NSDate::date(), NSDate::date())}),
              nullptr);
  };

  saveWeight();
  EXPECT_THAT(engine->fetchNames(), IsEmpty());  // the running query delivers it
  EXPECT_EQ(engine->anchorQueries()->size(), 1U);

  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  saveWeight();
  EXPECT_THAT(engine->fetchNames(),
              ElementsAre("predicateForType " + kWeight, "fetchSampleType " + kWeight));
  EXPECT_TRUE(engine->anchorQueries()->empty());
  EXPECT_EQ(device->runningQueryCount(), 1U);
  const auto invocations = device->observerInvocations();
  ASSERT_EQ(invocations.size(), 2U);
  EXPECT_TRUE(invocations[1].inBackground && invocations[1].completionHandlerCalled);
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(SubscriptionControlTest, EndingTheSessionStopsEverythingAndKeepsIntradayTimestamps) {
  EXPECT_TRUE(subscribe({sampleType(kSteps), sampleType(kWeight), sampleType(kHeartRate)}));
  holdAnchoredQuery(sampleType(kWeight));
  const auto intradayQuery = intradayStepsQueryTimestamp(current());
  ASSERT_NE(intradayQuery, std::nullopt);

  endHealthKitSession(current(), *engine);
  runUntilIdle();

  EXPECT_EQ(device->runningQueryCount(), 0U);
  EXPECT_THAT(subscribedIdentifiers(), IsEmpty());
  EXPECT_EQ(routineQueryTimestamp(current()), std::nullopt);
  EXPECT_EQ(intradayStepsQueryTimestamp(current()), intradayQuery);
  EXPECT_EQ(intradayStepsFetchTimestamp(current()), intradayQuery);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*sampleType(kWeight)), std::nullopt);
}

}  // namespace
