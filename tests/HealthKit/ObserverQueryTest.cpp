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

TEST_F(ObserverQueryTest, FiresOnceOnExecutionAsAnIPhoneDoes) {
  device->setObserverQueriesFireOnExecute(true);
  observe();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace testing_support
