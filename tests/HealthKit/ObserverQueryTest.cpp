#include <gtest/gtest.h>

#include <atomic>

#include "HealthKit/HKError.h"
#include "HealthKit/HKObserverQuery.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "support/HealthKitFixture.h"

namespace testing_support {
namespace {

class ObserverQueryTest : public HealthKitFixture {
 protected:
  void SetUp() override {
    HealthKitFixture::SetUp();
    device->setObserverQueriesFireOnExecute(false);
  }

  // Runs an observer of steps that calls its completion handler when `complete` says so.
  void observe(bool complete = true) {
    store->executeQuery(std::make_shared<HKObserverQuery>(
        stepType(), nullptr, [this, complete](auto, auto done, auto error) {
          EXPECT_EQ(error, nullptr);
          ++calls;
          if (complete) done();
        }));
    runUntilIdle();
  }

  std::shared_ptr<const NSError> enableBackgroundDelivery(
      const std::shared_ptr<const HKObjectType>& type, HKUpdateFrequency frequency) {
    std::shared_ptr<const NSError> result;
    bool succeeded = false;
    store->enableBackgroundDeliveryForType(type, frequency, [&](bool success, auto error) {
      succeeded = success;
      result = error;
    });
    runUntilIdle();
    EXPECT_EQ(succeeded, result == nullptr);
    return result;
  }

  std::atomic<int> calls{0};
};

TEST_F(ObserverQueryTest, FiresOnSavesAndDeletesInTheForeground) {
  authorize({stepType()}, {stepType()});
  observe();
  auto sample = quantitySample(stepType(), 5, at(0), at(1));
  ASSERT_EQ(save(store, {sample}), nullptr);
  EXPECT_EQ(calls, 1);
  ASSERT_EQ(remove(store, {sample}), nullptr);
  EXPECT_EQ(calls, 2);
  // Another type changes nothing for this observer.
  auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  ASSERT_EQ(save(iPhone, {quantitySample(heartRate, 60, at(0), at(0))}), nullptr);
  EXPECT_EQ(calls, 2);
  auto invocations = device->observerInvocations();
  ASSERT_EQ(invocations.size(), 2u);
  EXPECT_TRUE(invocations[0].completionHandlerCalled);
  EXPECT_FALSE(invocations[0].inBackground);
}

TEST_F(ObserverQueryTest, InTheBackgroundOnlyTypesWithBackgroundDeliveryWakeTheApp) {
  authorize({}, {stepType()});
  observe(false);
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  EXPECT_EQ(calls, 0);

  EXPECT_EQ(enableBackgroundDelivery(stepType(), HKUpdateFrequencyHourly), nullptr);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*stepType()), HKUpdateFrequencyHourly);
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(1), at(2))}), nullptr);
  EXPECT_EQ(calls, 1);
  auto invocations = device->observerInvocations();
  ASSERT_EQ(invocations.size(), 1u);
  EXPECT_TRUE(invocations[0].inBackground);
  EXPECT_FALSE(invocations[0].completionHandlerCalled);  // this app never answered

  bool disabled = false;
  store->disableAllBackgroundDeliveryWithCompletion(
      [&](bool success, auto) { disabled = success; });
  runUntilIdle();
  EXPECT_TRUE(disabled);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*stepType()), std::nullopt);
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(2), at(3))}), nullptr);
  EXPECT_EQ(calls, 1);
}

TEST_F(ObserverQueryTest, ChangesHeldBackWhileSuspendedArriveOnceWhenTheAppBecomesActive) {
  authorize({}, {stepType()});
  observe();
  auto app = UIApplication::sharedApplication();
  app->setApplicationState(UIApplicationStateBackground);
  app->setApplicationState(UIApplicationStateActive);
  runUntilIdle();
  EXPECT_EQ(calls, 0);  // nothing changed meanwhile

  app->setApplicationState(UIApplicationStateBackground);
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(1), at(2))}), nullptr);
  EXPECT_EQ(calls, 0);
  app->setApplicationState(UIApplicationStateInactive);
  runUntilIdle();
  EXPECT_EQ(calls, 0);  // not yet running in the foreground
  app->setApplicationState(UIApplicationStateActive);
  runUntilIdle();
  EXPECT_EQ(calls, 1);
  app->setApplicationState(UIApplicationStateBackground);
  app->setApplicationState(UIApplicationStateActive);
  runUntilIdle();
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(device->observerInvocations().back().inBackground);
}

TEST_F(ObserverQueryTest, AnAppThatNeverAnswersStopsBeingWoken) {
  authorize({}, {stepType()});
  observe(false);
  ASSERT_EQ(enableBackgroundDelivery(stepType(), HKUpdateFrequencyImmediate), nullptr);
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  for (int i = 0; i < 4; ++i) ASSERT_EQ(save(iPhone, {phoneSteps(1, at(i), at(i + 1))}), nullptr);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*stepType()), std::nullopt);
}

TEST_F(ObserverQueryTest, NeverFiresForDataTheAppMayNotRead) {
  device->user().setReadAllowed(stepType(), false);
  authorize({stepType()}, {stepType()});
  observe();
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  EXPECT_EQ(calls, 0);
  ASSERT_EQ(save(store, {quantitySample(stepType(), 1, at(0), at(1))}), nullptr);
  EXPECT_EQ(calls, 1);  // its own data it sees
}

TEST_F(ObserverQueryTest, BackgroundDeliveryRefusesCorrelationsAndUnknownFrequencies) {
  auto food = HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood);
  auto error = enableBackgroundDelivery(food, HKUpdateFrequencyHourly);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), HKErrorInvalidArgument);
  EXPECT_NE(enableBackgroundDelivery(stepType(), static_cast<HKUpdateFrequency>(9)), nullptr);
  EXPECT_EQ(device->backgroundDeliveryFrequency(*food), std::nullopt);
}

// Hourly delivery: a burst of changes in the background wakes the app once in the hour; the
// rest wait for the next wake, which comes with the first change an hour later.
TEST_F(ObserverQueryTest, AThousandSavesInOneHourInTheBackgroundWakeTheAppOnce) {
  authorize({}, {stepType()});
  observe();
  ASSERT_EQ(enableBackgroundDelivery(stepType(), HKUpdateFrequencyHourly), nullptr);
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(save(iPhone, {phoneSteps(1, at(i), at(i + 1))}), nullptr);
    clock().advance(3);  // 1000 saves over 50 minutes
  }
  EXPECT_EQ(calls, 1);
  clock().advance(10 * 60);  // an hour after the first save
  ASSERT_EQ(save(iPhone, {phoneSteps(1, at(1000), at(1001))}), nullptr);
  EXPECT_EQ(calls, 2);
  ASSERT_EQ(save(iPhone, {phoneSteps(1, at(1001), at(1002))}), nullptr);
  EXPECT_EQ(calls, 2);
  // Coming back to the foreground delivers what was held back, without waiting for the hour.
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateActive);
  runUntilIdle();
  EXPECT_EQ(calls, 3);
  const auto invocations = device->observerInvocations();
  ASSERT_EQ(invocations.size(), 3u);
  EXPECT_TRUE(invocations[1].inBackground);
  EXPECT_FALSE(invocations[2].inBackground);
}

// Each frequency's period, measured on the environment's clock, and counted per type: one
// change right at the start wakes the app, the next one a second before the period is over
// waits, and the one when the period is over wakes it again.
TEST_F(ObserverQueryTest, BackgroundWakesFollowEachTypesFrequency) {
  struct Case {
    const std::string& identifier;
    HKUpdateFrequency frequency;
    NSTimeInterval period;
  };
  const std::vector<Case> cases = {
      {HKQuantityTypeIdentifierStepCount, HKUpdateFrequencyImmediate, 0},
      {HKQuantityTypeIdentifierHeartRate, HKUpdateFrequencyHourly, 60 * 60},
      {HKQuantityTypeIdentifierActiveEnergyBurned, HKUpdateFrequencyDaily, 24 * 60 * 60},
      {HKQuantityTypeIdentifierBodyMass, HKUpdateFrequencyWeekly, 7 * 24 * 60 * 60},
  };
  HKObjectTypeSet types;
  for (const auto& c : cases) types.insert(HKObjectType::quantityTypeForIdentifier(c.identifier));
  authorize({}, types);
  for (const auto& c : cases) {
    auto type = HKObjectType::quantityTypeForIdentifier(c.identifier);
    calls = 0;
    auto query = std::make_shared<HKObserverQuery>(type, nullptr, [this](auto, auto done, auto) {
      ++calls;
      done();
    });
    store->executeQuery(query);
    ASSERT_EQ(enableBackgroundDelivery(type, c.frequency), nullptr);
    UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
    ASSERT_EQ(save(iPhone, {quantitySample(type, 1, at(0), at(1))}), nullptr);
    EXPECT_EQ(calls, 1) << c.identifier;
    if (c.period > 0) clock().advance(c.period - 1);
    ASSERT_EQ(save(iPhone, {quantitySample(type, 2, at(1), at(2))}), nullptr);
    EXPECT_EQ(calls, c.period > 0 ? 1 : 2) << c.identifier;
    clock().advance(1);
    ASSERT_EQ(save(iPhone, {quantitySample(type, 3, at(2), at(3))}), nullptr);
    EXPECT_EQ(calls, c.period > 0 ? 2 : 3) << c.identifier;
    store->stopQuery(query);
    UIApplication::sharedApplication()->setApplicationState(UIApplicationStateActive);
    runUntilIdle();
  }
}

// Two observer queries of one type are both called in the wake that one change brings.
TEST_F(ObserverQueryTest, ObserversOfOneTypeShareAWake) {
  authorize({}, {stepType()});
  observe();
  observe();
  ASSERT_EQ(enableBackgroundDelivery(stepType(), HKUpdateFrequencyHourly), nullptr);
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  ASSERT_EQ(save(iPhone, {phoneSteps(1, at(0), at(1))}), nullptr);
  EXPECT_EQ(calls, 2);
  ASSERT_EQ(save(iPhone, {phoneSteps(1, at(1), at(2))}), nullptr);
  EXPECT_EQ(calls, 2);
}

TEST_F(ObserverQueryTest, FiresOnceOnExecutionAsAnIPhoneDoes) {
  device->setObserverQueriesFireOnExecute(true);
  observe();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace testing_support
