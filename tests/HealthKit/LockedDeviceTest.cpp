#include <gtest/gtest.h>

#include <atomic>

#include "HealthKit/HKError.h"
#include "HealthKit/HKStatisticsCollectionQuery.h"
#include "QueryFixture.h"

namespace testing_support {
namespace {

// While the iPhone is locked its health data cannot be read: reads fail with HealthKit's
// "database inaccessible" error, and work again once it is unlocked.
class LockedDeviceTest : public QueryFixture {
 protected:
  void SetUp() override {
    QueryFixture::SetUp();
    device->setObserverQueriesFireOnExecute(false);
    authorize({stepType()}, {stepType()});
  }

  static void expectInaccessible(const std::shared_ptr<const NSError>& error) {
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain(), "com.apple.healthkit");
    EXPECT_EQ(error->code(), 6);  // HKErrorDatabaseInaccessible, as apps compare it
    EXPECT_EQ(error->localizedDescription(), "Protected health data is inaccessible");
  }
};

TEST_F(LockedDeviceTest, AnchoredQueryFailsWhileLockedAndANewOneGetsTheDataAfterUnlock) {
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  device->lock();
  Batch locked = fetch();
  ASSERT_TRUE(locked.called);
  expectInaccessible(locked.error);
  EXPECT_TRUE(locked.added.empty());
  EXPECT_EQ(locked.anchor, nullptr);
  EXPECT_EQ(device->runningQueryCount(), 0u);

  device->unlock();
  Batch unlocked = fetch();
  EXPECT_EQ(unlocked.error, nullptr);
  EXPECT_EQ(unlocked.added.size(), 1u);
  EXPECT_NE(unlocked.anchor, nullptr);
}

TEST_F(LockedDeviceTest, SampleAndStatisticsCollectionQueriesFailWhileLocked) {
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  device->lock();

  std::shared_ptr<const NSError> sampleError;
  EXPECT_TRUE(samples(stepType(), nullptr, HKObjectQueryNoLimit, {}, &sampleError).empty());
  expectInaccessible(sampleError);

  // Long-running (it has an update handler), yet it ends with the error.
  NSDateComponents hour;
  hour.setValue(1, NSCalendarUnitHour);
  auto statistics = std::make_shared<HKStatisticsCollectionQuery>(
      stepType(), nullptr, HKStatisticsOptionCumulativeSum, at(0), hour);
  std::shared_ptr<const NSError> statisticsError;
  bool collectionDelivered = true;
  statistics->setInitialResultsHandler([&](auto, auto collection, auto error) {
    collectionDelivered = collection != nullptr;
    statisticsError = error;
  });
  statistics->setStatisticsUpdateHandler([](auto, auto, auto, auto) {});
  store->executeQuery(statistics);
  runUntilIdle();

  EXPECT_FALSE(collectionDelivered);
  expectInaccessible(statisticsError);
  EXPECT_EQ(device->runningQueryCount(), 0u);
}

// Saves go through while locked (the iPhone keeps them for the store) and observers hear of
// them; the running anchored query's update fails and, after unlock, the next update brings
// what it missed. Deleting needs the database and fails.
TEST_F(LockedDeviceTest, SavesAndObserversWorkWhileLockedUpdatesCatchUpAfterUnlock) {
  std::atomic<int> observerCalls{0};
  store->executeQuery(countingObserver(observerCalls));
  std::vector<std::shared_ptr<const NSError>> updateErrors;
  std::vector<std::size_t> updateSizes;
  auto anchored = std::make_shared<HKAnchoredObjectQuery>(
      stepType(), nullptr, nullptr, HKObjectQueryNoLimit, [](auto, auto, auto, auto, auto) {});
  anchored->setUpdateHandler([&](auto, auto added, auto, auto, auto error) {
    updateErrors.push_back(error);
    updateSizes.push_back(added.size());
  });
  store->executeQuery(anchored);
  runUntilIdle();

  device->lock();
  auto mine = quantitySample(stepType(), 5, at(0), at(1));
  EXPECT_EQ(save(store, {mine}), nullptr);
  EXPECT_EQ(observerCalls, 1);
  ASSERT_EQ(updateErrors.size(), 1u);
  expectInaccessible(updateErrors[0]);
  expectInaccessible(remove(store, {mine}));

  device->unlock();
  EXPECT_EQ(save(iPhone, {phoneSteps(10, at(1), at(2))}), nullptr);
  EXPECT_EQ(observerCalls, 2);
  ASSERT_EQ(updateErrors.size(), 2u);
  EXPECT_EQ(updateErrors[1], nullptr);
  EXPECT_EQ(updateSizes[1], 2u);  // the sample saved while locked, and the new one
}

}  // namespace
}  // namespace testing_support
