#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/Guarded.h"
#include "support/EnvironmentFixture.h"

namespace {

using GuardedTest = testing_support::EnvironmentFixture;

TEST_F(GuardedTest, AppendsFromManyWorkersLoseNothing) {
  platform::Guarded<std::vector<int>> results;
  auto queue = dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
  for (int i = 0; i < 200; ++i) {
    dispatch_async(queue,
                   [&results, i] { results.withLock([i](auto& list) { list.push_back(i); }); });
  }
  runUntilIdle();
  EXPECT_EQ(results.withLock([](const auto& list) { return list.size(); }), 200u);
  EXPECT_EQ(results.snapshot().size(), 200u);
}

TEST_F(GuardedTest, HoldingTwoLocksIsRefusedAndTheFirstIsReleasedAfterwards) {
  platform::Guarded<int> first(1);
  platform::Guarded<int> second(2);
  EXPECT_THROW(first.withLock([&](int&) { return second.snapshot(); }), std::logic_error);
  EXPECT_THROW(first.withLock([&](int&) { return first.snapshot(); }), std::logic_error);
  // Both locks are free again.
  EXPECT_EQ(first.snapshot() + second.snapshot(), 3);
}

}  // namespace
