#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSThread.h"
#include "Foundation/Platform/DispatchRuntime.h"
#include "support/EnvironmentFixture.h"

namespace {

using DispatchTest = testing_support::EnvironmentFixture;

dispatch_queue_t globalQueue() {
  return dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
}

// Counts blocks that are inside a critical stretch, remembering the most seen at once.
struct OverlapProbe {
  std::atomic<int> inside{0};
  std::atomic<int> most{0};
  void enter() {
    int now = ++inside;
    int seen = most.load();
    while (now > seen && !most.compare_exchange_weak(seen, now)) {
    }
  }
  void leave() { --inside; }
  // Runs `work` as a critical stretch.
  template <typename Work>
  void during(Work&& work) {
    enter();
    work();
    leave();
  }
};

// The main queue and a serial queue run one block at a time: each producer's blocks in the order
// it submitted them, never two at once, the main queue's on the main thread and no other's.
class OneAtATimeQueueTest : public DispatchTest, public ::testing::WithParamInterface<bool> {};

TEST_P(OneAtATimeQueueTest, KeepsEachProducersOrderAndNeverOverlaps) {
  const bool isMain = GetParam();
  auto queue =
      isMain ? dispatch_get_main_queue() : dispatch_queue_create("serial", DISPATCH_QUEUE_SERIAL);
  constexpr int kProducers = 8;
  constexpr int kBlocksEach = 200;
  OverlapProbe probe;
  std::atomic<int> onWrongThread{0};
  // Only the queue's blocks touch `order`, so a race here is the queue running in parallel.
  std::vector<std::pair<int, int>> order;
  for (int producer = 0; producer < kProducers; ++producer) {
    dispatch_async(globalQueue(), [&, producer] {
      for (int i = 0; i < kBlocksEach; ++i) {
        dispatch_async(queue, [&, producer, i] {
          probe.during([&] { order.emplace_back(producer, i); });
          if (NSThread::isMainThread() != isMain) ++onWrongThread;
        });
      }
    });
  }
  runUntilIdle();

  EXPECT_EQ(probe.most.load(), 1);
  EXPECT_EQ(onWrongThread.load(), 0);
  ASSERT_EQ(order.size(), static_cast<size_t>(kProducers * kBlocksEach));
  std::map<int, int> next;
  for (auto [producer, i] : order) EXPECT_EQ(i, next[producer]++) << "producer " << producer;
}

INSTANTIATE_TEST_SUITE_P(MainAndSerial, OneAtATimeQueueTest, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "Main" : "Serial"; });

TEST_F(DispatchTest, DrainRunsBlocksEnqueuedWhileDrainingAfterThoseAlreadyQueued) {
  std::vector<std::string> order;
  auto main = dispatch_get_main_queue();
  dispatch_async(main, [&] {
    order.push_back("a");
    dispatch_async(main, [&] { order.push_back("c"); });
  });
  dispatch_async(main, [&] { order.push_back("b"); });
  EXPECT_EQ(platform::DispatchRuntime::shared().drainMainQueue(), 3u);
  EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(platform::DispatchRuntime::shared().drainMainQueue(), 0u);
}

TEST_F(DispatchTest, ConcurrentQueueRunsBlocksAtTheSameTimeOnWorkers) {
  auto concurrent = dispatch_queue_create("concurrent", DISPATCH_QUEUE_CONCURRENT);
  constexpr int kBlocks = 4;
  // Each block waits for all the others to have started: only parallel execution finishes.
  std::latch started(kBlocks);
  std::atomic<int> onMain{0};
  for (int i = 0; i < kBlocks; ++i) {
    dispatch_async(concurrent, [&] {
      if (NSThread::isMainThread()) ++onMain;
      started.arrive_and_wait();
    });
  }
  runUntilIdle();
  EXPECT_EQ(onMain.load(), 0);
}

TEST_F(DispatchTest, RunUntilIdleFinishesAChainThatCrossesBetweenWorkersAndMain) {
  auto serial = dispatch_queue_create("chain", DISPATCH_QUEUE_SERIAL);
  std::vector<std::string> steps;  // each step happens-after the previous one
  auto step = [&steps] { steps.push_back(NSThread::isMainThread() ? "main" : "worker"); };
  auto main = dispatch_get_main_queue();
  dispatch_async(serial, [&] {
    step();
    dispatch_async(main, [&] {
      step();
      dispatch_async(globalQueue(), [&] {
        step();
        dispatch_async(main, step);
      });
    });
  });
  // Waiting for the workers alone leaves what they put on the main queue there.
  platform::DispatchRuntime::shared().waitForWorkers();
  EXPECT_EQ(steps, (std::vector<std::string>{"worker"}));
  runUntilIdle();
  EXPECT_EQ(steps, (std::vector<std::string>{"worker", "main", "worker", "main"}));
}

TEST_F(DispatchTest, SyncWaitsForTheBlockAndPassesItsExceptionBack) {
  auto serial = dispatch_queue_create("sync", DISPATCH_QUEUE_SERIAL);
  bool ranOnWorker = false;
  dispatch_sync(serial, [&] { ranOnWorker = !NSThread::isMainThread(); });
  EXPECT_TRUE(ranOnWorker);
  EXPECT_THROW(dispatch_sync(serial, [] { throw std::runtime_error("inside"); }),
               std::runtime_error);

  // A worker may wait for the main queue; it finishes once the main thread drains.
  std::atomic<bool> ranOnMain{false};
  dispatch_async(serial, [&] {
    dispatch_sync(dispatch_get_main_queue(), [&] { ranOnMain = NSThread::isMainThread(); });
  });
  runUntilIdle();
  EXPECT_TRUE(ranOnMain.load());
}

TEST_F(DispatchTest, DetectableMisuseFailsLoudly) {
  auto serial = dispatch_queue_create("self", DISPATCH_QUEUE_SERIAL);
  auto& runtime = platform::DispatchRuntime::shared();
  auto throwsLogicError = [](const dispatch_block_t& misuse) {
    try {
      misuse();
    } catch (const std::logic_error&) {
      return true;
    }
    return false;
  };
  bool selfSync = false, drainOffMain = false, nestedRun = false;

  EXPECT_TRUE(throwsLogicError([] { dispatch_sync(dispatch_get_main_queue(), [] {}); }));
  dispatch_sync(serial, [&] {
    selfSync = throwsLogicError([&] { dispatch_sync(serial, [] {}); });
    drainOffMain = throwsLogicError([&] { runtime.drainMainQueue(); });
  });
  dispatch_async(dispatch_get_main_queue(),
                 [&] { nestedRun = throwsLogicError([&] { runtime.runUntilIdle(); }); });
  runUntilIdle();
  EXPECT_TRUE(selfSync);
  EXPECT_TRUE(drainOffMain);
  EXPECT_TRUE(nestedRun);

  EXPECT_THROW(dispatch_async(nullptr, [] {}), std::invalid_argument);
  EXPECT_THROW(dispatch_async(serial, dispatch_block_t{}), std::invalid_argument);
  EXPECT_THROW(dispatch_get_global_queue(7, 0), std::invalid_argument);
  EXPECT_THROW(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 1),
               std::invalid_argument);
}

TEST_F(DispatchTest, GroupNotifiesOnceAfterTheLastLeaveAndNotBefore) {
  auto group = dispatch_group_create();
  int notified = 0;
  int secondNotified = 0;
  dispatch_group_enter(group);
  dispatch_group_enter(group);
  dispatch_group_notify(group, dispatch_get_main_queue(), [&] { ++notified; });
  dispatch_group_notify(group, dispatch_get_main_queue(), [&] { ++secondNotified; });

  dispatch_async(globalQueue(), [group] { dispatch_group_leave(group); });
  runUntilIdle();
  EXPECT_EQ(notified, 0);

  dispatch_async(globalQueue(), [group] { dispatch_group_leave(group); });
  runUntilIdle();
  EXPECT_EQ(notified, 1);
  EXPECT_EQ(secondNotified, 1);

  // A later round does not run the blocks of the first one again.
  dispatch_group_enter(group);
  dispatch_group_leave(group);
  runUntilIdle();
  EXPECT_EQ(notified, 1);

  // Notifying a group already at zero submits the block; it is not called in place.
  dispatch_group_notify(group, dispatch_get_main_queue(), [&] { ++notified; });
  EXPECT_EQ(notified, 1);
  runUntilIdle();
  EXPECT_EQ(notified, 2);
  EXPECT_THROW(dispatch_group_leave(group), std::logic_error);
}

TEST_F(DispatchTest, GroupAsyncJoinsAFanOutOfWorkerBlocks) {
  auto group = dispatch_group_create();
  std::atomic<int> done{0};
  int seenAtNotify = -1;
  for (int i = 0; i < 50; ++i) dispatch_group_async(group, globalQueue(), [&] { ++done; });
  dispatch_group_notify(group, dispatch_get_main_queue(), [&] { seenAtNotify = done.load(); });
  runUntilIdle();
  EXPECT_EQ(seenAtNotify, 50);
}

// Exit with work still queued and a worker waiting on the main queue: static destruction drops
// the unstarted blocks, wakes the waiting worker and joins the pool, neither hanging nor crashing.
TEST(DispatchExitTest, ProcessExitWithPendingWorkNeitherHangsNorCrashes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        auto serial = dispatch_queue_create("exit", DISPATCH_QUEUE_SERIAL);
        std::latch waiting(1);
        dispatch_async(serial, [&waiting] {
          waiting.count_down();
          dispatch_sync(dispatch_get_main_queue(), [] {});
        });
        for (int i = 0; i < 100; ++i) dispatch_async(serial, [] {});
        dispatch_async(dispatch_get_main_queue(), [] {});
        waiting.wait();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
