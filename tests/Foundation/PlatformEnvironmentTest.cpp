#include <gtest/gtest.h>

#include "Foundation/NSCalendar.h"
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

// A zone given to the environment decides where every new calendar's days start, whatever TZ
// says; reset() gives the process's zone back.
TEST_F(PlatformEnvironmentTest, TheDeviceZoneSetsDayBoundariesUntilReset) {
  const auto process = NSTimeZone::systemTimeZone()->name();
  platform::Environment::shared().setTimeZone(NSTimeZone::timeZoneWithName("Asia/Kolkata"));
  EXPECT_EQ(NSTimeZone::systemTimeZone()->name(), "Asia/Kolkata");
  // kStart is 17:00 UTC, 22:30 in Kolkata: the day began at 18:30 UTC the evening before.
  EXPECT_EQ(NSCalendar::currentCalendar()->startOfDayForDate(kStart)->description(),
            "2024-03-08 18:30:00.000 +0000");
  platform::Environment::shared().reset();
  EXPECT_EQ(NSTimeZone::systemTimeZone()->name(), process);
}

TEST(PlatformEnvironmentDefaults, ResetRestoresIos17AndTheSystemClock) {
  platform::Environment::shared().setOperatingSystemVersion({10, 0, 0});
  platform::Environment::shared().reset();
  EXPECT_TRUE(NSProcessInfo::processInfo().isOperatingSystemAtLeastVersion({17, 0, 0}));
  EXPECT_GT(NSDate::date(), NSDate::dateWithTimeIntervalSince1970(1.7e9));
}

}  // namespace
