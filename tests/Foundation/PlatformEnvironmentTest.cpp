#include <gtest/gtest.h>

#include "Foundation/NSProcessInfo.h"
#include "support/EnvironmentFixture.h"

namespace {

using PlatformEnvironmentTest = testing_support::EnvironmentFixture;

TEST_F(PlatformEnvironmentTest, CurrentMomentFollowsTheInjectedClock) {
  EXPECT_EQ(NSDate::date(), kStart);
  clock().advance(61.5);
  EXPECT_EQ(NSDate::date().timeIntervalSinceDate(kStart), 61.5);
  EXPECT_EQ(NSDate::date().description(), "2024-03-09 17:01:01.500 +0000");
}

TEST_F(PlatformEnvironmentTest, OperatingSystemGatesCompareEveryComponent) {
  auto& info = NSProcessInfo::processInfo();
  platform::Environment::shared().setOperatingSystemVersion({10, 3, 1});
  EXPECT_FALSE(info.isOperatingSystemAtLeastVersion({11, 0, 0}));
  EXPECT_TRUE(info.isOperatingSystemAtLeastVersion({10, 3, 0}));
  platform::Environment::shared().setOperatingSystemVersion({11, 0, 0});
  EXPECT_TRUE(info.isOperatingSystemAtLeastVersion({11, 0, 0}));
  EXPECT_FALSE(info.isOperatingSystemAtLeastVersion({13, 0, 0}));
}

TEST(PlatformEnvironmentDefaults, ResetRestoresIos17AndTheSystemClock) {
  platform::Environment::shared().setOperatingSystemVersion({10, 0, 0});
  platform::Environment::shared().reset();
  EXPECT_TRUE(NSProcessInfo::processInfo().isOperatingSystemAtLeastVersion({17, 0, 0}));
  EXPECT_GT(NSDate::date(), NSDate::dateWithTimeIntervalSince1970(1.7e9));
}

}  // namespace
