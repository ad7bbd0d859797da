#include <gtest/gtest.h>

#include "Foundation/NSDateComponents.h"
#include "Foundation/NSTimeZone.h"
#include "support/CalendarTestSupport.h"

namespace {

using calendar_test::utc;

TEST(NSTimeZone, NamedZonesFollowTheirRules) {
  auto york = NSTimeZone::timeZoneWithName("America/New_York");
  ASSERT_NE(york, nullptr);
  EXPECT_EQ(york->name(), "America/New_York");
  EXPECT_EQ(york->secondsFromGMTForDate(utc(2024, 3, 10, 6, 59, 59)), -5 * 3600);
  EXPECT_EQ(york->secondsFromGMTForDate(utc(2024, 3, 10, 7)), -4 * 3600);
  EXPECT_FALSE(york->isDaylightSavingTimeForDate(utc(2024, 1, 1)));
  auto howe = NSTimeZone::timeZoneWithName("Australia/Lord_Howe");
  EXPECT_EQ(howe->secondsFromGMTForDate(utc(2024, 1, 1)), 11 * 3600);
  EXPECT_EQ(howe->secondsFromGMTForDate(utc(2024, 7, 1)), 10 * 3600 + 1800);

  EXPECT_EQ(NSTimeZone::timeZoneWithName("Mars/Olympus_Mons"), nullptr);
}

TEST(NSTimeZone, FixedOffsets) {
  auto india = NSTimeZone::timeZoneForSecondsFromGMT(5 * 3600 + 1800);
  EXPECT_EQ(india->name(), "GMT+0530");
  EXPECT_EQ(india->secondsFromGMTForDate(utc(2024, 7, 1)), 19800);
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(-3600)->name(), "GMT-0100");
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(19 * 3600), nullptr);
}

TEST(NSDateComponents, FieldsByUnitAndEquality) {
  NSDateComponents a;
  EXPECT_EQ(a.day(), NSDateComponentUndefined);
  a.setValue(5, NSCalendarUnitDay);
  a.setValue(7, NSCalendarUnitYear | NSCalendarUnitDay);  // not one field: ignored
  EXPECT_EQ(a.day(), 5);
  EXPECT_EQ(a.valueForComponent(NSCalendarUnitTimeZone), NSDateComponentUndefined);

  NSDateComponents b;
  b.setDay(5);
  EXPECT_EQ(a, b);
  b.setTimeZone(NSTimeZone::timeZoneWithName("UTC"));
  EXPECT_FALSE(a == b);
  a.setTimeZone(NSTimeZone::timeZoneWithName("UTC"));
  EXPECT_EQ(a, b);
}

}  // namespace
