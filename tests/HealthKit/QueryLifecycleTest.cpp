#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "Foundation/Dispatch.h"
#include "Foundation/NSThread.h"
#include "QueryFixture.h"

namespace testing_support {
namespace {

class QueryLifecycleTest : public QueryFixture {
 protected:
  void SetUp() override {
    QueryFixture::SetUp();
    authorize({stepType()}, {stepType()});
  }
};

TEST_F(QueryLifecycleTest, AQueryRunsOnceAndItsHandlersNeverOnTheMainThread) {
  std::atomic<int> calls{0};
  std::atomic<bool> onMain{false};
  auto query = std::make_shared<HKObserverQuery>(stepType(), nullptr, [&](auto, auto done, auto) {
    onMain = onMain || NSThread::isMainThread();
    ++calls;
    done();
  });
  store->executeQuery(query);
  EXPECT_THROW(store->executeQuery(query), std::invalid_argument);
  runUntilIdle();
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  EXPECT_EQ(calls, 2);  // once on execution, once for the save
  EXPECT_FALSE(onMain);
  store->stopQuery(query);
  store->stopQuery(query);  // harmless
  EXPECT_THROW(store->executeQuery(query), std::invalid_argument);
}

TEST_F(QueryLifecycleTest, AHandlerMayStopItsOwnQuery) {
  std::atomic<int> calls{0};
  std::shared_ptr<HKHealthStore> host = store;
  auto query = std::make_shared<HKAnchoredObjectQuery>(
      stepType(), nullptr, nullptr, HKObjectQueryNoLimit, [](auto, auto, auto, auto, auto) {});
  query->setUpdateHandler([&calls, host](auto self, auto, auto, auto, auto) {
    ++calls;
    host->stopQuery(self);  // from inside: must not deadlock
  });
  store->executeQuery(query);
  runUntilIdle();
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(1), at(2))}), nullptr);
  EXPECT_EQ(calls, 1);
}

// Saves keep arriving from other threads while the test thread stops the queries, once handlers
// are being delivered: after stopQuery has returned no handler may run, not even one already
// queued on a worker.
TEST_F(QueryLifecycleTest, NoHandlerRunsAfterStopReturnsWhileSavesRace) {
  std::mutex mutex;  // guards delivered
  std::condition_variable deliveredChanged;
  int delivered = 0;
  std::atomic<bool> stopped{false};
  std::atomic<int> lateCalls{0};
  auto count = [&] {
    if (stopped) ++lateCalls;
    std::lock_guard<std::mutex> lock(mutex);
    ++delivered;
    deliveredChanged.notify_all();
  };
  device->setObserverQueriesFireOnExecute(false);
  auto observer =
      std::make_shared<HKObserverQuery>(stepType(), nullptr, [&](auto, auto done, auto) {
        count();
        done();
      });
  auto anchored = std::make_shared<HKAnchoredObjectQuery>(
      stepType(), nullptr, nullptr, HKObjectQueryNoLimit, [](auto, auto, auto, auto, auto) {});
  anchored->setUpdateHandler([&](auto, auto, auto, auto, auto) { count(); });
  store->executeQuery(observer);
  store->executeQuery(anchored);
  runUntilIdle();

  auto phone = iPhone;
  for (int writer = 0; writer < 4; ++writer) {
    dispatch_async(
        dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), [this, phone, writer] {
          for (int i = 0; i < 50; ++i) {
            const NSDate start = at(writer * 100 + i);
            phone->saveObject(phoneSteps(1, start, start.dateByAddingTimeInterval(60)), nullptr);
          }
        });
  }
  {
    // Not a sleep: waits until the handlers are in full flow.
    std::unique_lock<std::mutex> lock(mutex);
    deliveredChanged.wait(lock, [&] { return delivered >= 6; });
  }
  store->stopQuery(observer);
  store->stopQuery(anchored);
  stopped = true;
  runUntilIdle();
  EXPECT_EQ(lateCalls, 0);
  EXPECT_EQ(device->runningQueryCount(), 0u);
}

TEST_F(QueryLifecycleTest, QueriesOfAnEarlierDeviceNeverSeeANewDevicesData) {
  std::atomic<int> calls{0};
  device->setObserverQueriesFireOnExecute(false);
  store->executeQuery(countingObserver(calls));
  runUntilIdle();
  // The next test's device: a new database, and HKHealthStore() now uses it.
  auto next = platform::SimulatedHealthDevice::create();
  platform::SimulatedHealthDevice::setCurrent(next);
  auto nextStore = std::make_shared<HKHealthStore>();
  EXPECT_EQ(nextStore->simulatedDevice(), next);
  nextStore->requestAuthorizationToShareTypes({stepType()}, {}, nullptr);
  runUntilIdle();
  ASSERT_EQ(save(nextStore, {quantitySample(stepType(), 3, at(0), at(1))}), nullptr);
  EXPECT_EQ(calls, 0);
  platform::SimulatedHealthDevice::setCurrent(device);
}

}  // namespace
}  // namespace testing_support
