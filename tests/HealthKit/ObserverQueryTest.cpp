#include <gtest/gtest.h>

#include <atomic>

#include "HealthKit/HKError.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "QueryFixture.h"

namespace testing_support {
namespace {

class ObserverQueryTest : public QueryFixture {
 protected:
  void SetUp() override {
    QueryFixture::SetUp();
    device->setObserverQueriesFireOnExecute(false);
  }

  // Runs an observer of steps that calls its completion handler when `complete` says so.
  void observe(bool complete = true) {
    store->executeQuery(countingObserver(calls, complete));
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
  ASSERT_EQ(save(iPhone, {quantitySample(heartRateType(), 60, at(0), at(0))}), nullptr);
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

// Each frequency's period, measured on the environment's clock, and counted per type: the first
// change wakes the app; changes later in the period, up to a second before it is over, wait; the
// one when the period is over wakes it again. What is still held back arrives as soon as the app
// comes to the foreground.
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
  auto app = UIApplication::sharedApplication();
  for (const auto& c : cases) {
    auto type = HKObjectType::quantityTypeForIdentifier(c.identifier);
    calls = 0;
    auto query = std::make_shared<HKObserverQuery>(type, nullptr, [this](auto, auto done, auto) {
      ++calls;
      done();
    });
    store->executeQuery(query);
    ASSERT_EQ(enableBackgroundDelivery(type, c.frequency), nullptr);
    app->setApplicationState(UIApplicationStateBackground);
    int minute = 0;
    auto callsAfterSaveIn = [&](NSTimeInterval wait) {
      if (c.period > 0) clock().advance(wait);
      ++minute;
      EXPECT_EQ(save(iPhone, {quantitySample(type, 1, at(minute), at(minute + 1))}), nullptr);
      return calls.load();
    };
    const bool held = c.period > 0;
    EXPECT_EQ(callsAfterSaveIn(0), 1) << c.identifier;
    EXPECT_EQ(callsAfterSaveIn(c.period / 2), held ? 1 : 2) << c.identifier;
    EXPECT_EQ(callsAfterSaveIn(c.period / 2 - 1), held ? 1 : 3) << c.identifier;
    EXPECT_EQ(callsAfterSaveIn(1), held ? 2 : 4) << c.identifier;
    EXPECT_EQ(callsAfterSaveIn(0), held ? 2 : 5) << c.identifier;
    app->setApplicationState(UIApplicationStateActive);
    runUntilIdle();
    EXPECT_EQ(calls, held ? 3 : 5) << c.identifier;
    store->stopQuery(query);
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

}  // namespace
}  // namespace testing_support
