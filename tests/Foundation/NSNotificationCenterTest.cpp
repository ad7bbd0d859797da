#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/Platform/DispatchRuntime.h"
#include "Foundation/NSNotificationCenter.h"

namespace {

class NSNotificationCenterTest : public ::testing::Test {
 protected:
  NSNotificationCenter center;
  std::vector<std::string> calls;

  NSNotificationCenter::Block record(std::string label) {
    return [this, label](const std::shared_ptr<const NSNotification>& note) {
      calls.push_back(label + ":" + note->name());
    };
  }
};

TEST_F(NSNotificationCenterTest, DeliversInRegistrationOrderFilteredByNameAndSender) {
  auto sender = NSDictionary::dictionary();
  auto other = NSDictionary::dictionary();  // equal contents, different sender
  center.addObserverForName("saved", nullptr, record("any-sender"));
  center.addObserverForName("", nullptr, record("all"));
  center.addObserverForName("saved", sender, record("from-sender"));

  auto info = NSDictionary::dictionaryWithDictionary({{"count", 3}});
  std::shared_ptr<const NSNotification> received;
  center.addObserverForName(
      "saved", nullptr,
      [&](const std::shared_ptr<const NSNotification>& note) { received = note; });

  center.postNotificationName("saved", sender, info);
  center.postNotificationName("saved", other);
  center.postNotificationName("deleted");
  EXPECT_EQ(calls, (std::vector<std::string>{"any-sender:saved", "all:saved", "from-sender:saved",
                                             "any-sender:saved", "all:saved", "all:deleted"}));
  ASSERT_TRUE(received);
  EXPECT_EQ(received->object(), other);
  EXPECT_EQ(received->userInfo(), nullptr);
}

TEST_F(NSNotificationCenterTest, BlocksMayRemoveObserversAndPostWithoutDeadlock) {
  std::shared_ptr<const NSObject> self, later;
  self = center.addObserverForName("tick", nullptr, [&](const auto&) {
    calls.push_back("once");
    center.removeObserver(self);
    center.removeObserver(later);  // removed by an earlier block of the same post: not called
    center.postNotificationName("tock");
  });
  later = center.addObserverForName("tick", nullptr, record("later"));
  center.addObserverForName("tock", nullptr, record("nested"));

  center.postNotificationName("tick");
  center.postNotificationName("tick");
  center.removeObserver(nullptr);
  EXPECT_EQ(calls, (std::vector<std::string>{"once", "nested:tock"}));
}

TEST_F(NSNotificationCenterTest, ConcurrentPostsAndRemovalsAreSafe) {
  std::atomic<int> delivered{0};
  std::atomic<int> afterRemoval{0};
  std::atomic<bool> removed{false};
  auto counting = center.addObserverForName("n", nullptr, [&](const auto&) { ++delivered; });
  auto removable = center.addObserverForName("n", nullptr, [&](const auto&) {
    if (removed) ++afterRemoval;
  });
  auto group = dispatch_group_create();
  auto queue = dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
  for (int i = 0; i < 8; ++i) {
    dispatch_group_async(group, queue, [&] {
      for (int j = 0; j < 100; ++j) {
        auto token = center.addObserverForName("n", nullptr, [](const auto&) {});
        center.postNotificationName("n");
        center.removeObserver(token);
      }
    });
  }
  platform::DispatchRuntime::shared().runUntilIdle();
  EXPECT_EQ(delivered.load(), 800);

  center.removeObserver(removable);
  removed = true;
  center.postNotificationName("n");
  EXPECT_EQ(afterRemoval.load(), 0);
  EXPECT_EQ(delivered.load(), 801);
  center.removeObserver(counting);
}

}  // namespace
