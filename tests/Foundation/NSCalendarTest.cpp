#include <gtest/gtest.h>

#include <vector>

#include "Foundation/NSCalendar.h"
#include "support/CalendarTestSupport.h"

namespace {

using calendar_test::calendarIn;
using calendar_test::text;
using calendar_test::utc;

struct ZoneCase {
  const char* zone;
  NSDate date;
  const char* expected;  // UTC
};

class StartOfDay : public ::testing::TestWithParam<ZoneCase> {};

TEST_P(StartOfDay, IsTheFirstMomentOfTheLocalDay) {
  const auto& c = GetParam();
  EXPECT_EQ(text(calendarIn(c.zone)->startOfDayForDate(c.date)), c.expected) << c.zone;
}

INSTANTIATE_TEST_SUITE_P(
    AcrossClockChanges, StartOfDay,
    ::testing::Values(
        // 23-hour and 25-hour days.
        ZoneCase{"America/New_York", utc(2024, 3, 10, 16), "2024-03-10 05:00:00"},
        ZoneCase{"America/New_York", utc(2024, 11, 3, 17), "2024-11-03 04:00:00"},
        ZoneCase{"Europe/London", utc(2024, 3, 31, 11), "2024-03-31 00:00:00"},
        ZoneCase{"Europe/London", utc(2024, 10, 27, 23, 30), "2024-10-26 23:00:00"},
        // Lord Howe moves half an hour, at 02:00.
        ZoneCase{"Australia/Lord_Howe", utc(2024, 10, 6, 1), "2024-10-05 13:30:00"},
        // Midnight skipped: the day starts at 01:00.
        ZoneCase{"America/Sao_Paulo", utc(2018, 11, 4, 14), "2018-11-04 03:00:00"},
        ZoneCase{"Asia/Beirut", utc(2024, 3, 31, 9), "2024-03-30 22:00:00"},
        ZoneCase{"America/Havana", utc(2024, 3, 10, 16), "2024-03-10 05:00:00"},
        // Before 1970 and before 2001.
        ZoneCase{"UTC", utc(1969, 12, 31, 23, 59, 59.5), "1969-12-31 00:00:00"}));

struct AddCase {
  const char* zone;
  NSCalendarUnit unit;
  long value;
  NSDate date;
  const char* expected;  // UTC
};

class AddingUnits : public ::testing::TestWithParam<AddCase> {};

TEST_P(AddingUnits, KeepWallTimeForDaysAndElapsedTimeForHours) {
  const auto& c = GetParam();
  EXPECT_EQ(text(calendarIn(c.zone)->dateByAddingUnit(c.unit, c.value, c.date, {})), c.expected)
      << c.zone;
}

constexpr NSCalendarUnit kDay = NSCalendarUnitDay, kHour = NSCalendarUnitHour;

INSTANTIATE_TEST_SUITE_P(
    AcrossClockChanges, AddingUnits,
    ::testing::Values(
        // 00:30 on 1 March, one day earlier.
        AddCase{"UTC", kDay, -1, utc(2024, 3, 1, 0, 30), "2024-02-29 00:30:00"},
        AddCase{"America/New_York", kDay, -1, utc(2023, 3, 1, 5, 30), "2023-02-28 05:30:00"},
        // 00:30 EDT back to 00:30 EST across the spring-forward night.
        AddCase{"America/New_York", kDay, -1, utc(2024, 3, 11, 4, 30), "2024-03-10 05:30:00"},
        AddCase{"Australia/Lord_Howe", kDay, -1, utc(2024, 10, 6, 1), "2024-10-05 01:30:00"},
        // Landing in the gap moves forward by its length: 02:30 -> 03:30.
        AddCase{"America/New_York", kDay, 1, utc(2024, 3, 9, 7, 30), "2024-03-10 07:30:00"},
        // Hours are elapsed time: 01:30 EST + 1 h is 03:30 EDT.
        AddCase{"America/New_York", kHour, 1, utc(2024, 3, 10, 6, 30), "2024-03-10 07:30:00"},
        AddCase{"UTC", NSCalendarUnitMonth, 1, utc(2024, 1, 31, 12), "2024-02-29 12:00:00"},
        AddCase{"UTC", NSCalendarUnitYear, 1, utc(2024, 2, 29), "2025-02-28 00:00:00"}));

TEST(NSCalendarArithmetic, KeepsFractionsAndRejectsWhatDoesNotFit) {
  auto calendar = calendarIn("America/New_York");
  const NSDate start = utc(2024, 3, 9, 15, 0, 0.25);
  EXPECT_EQ(calendar->dateByAddingUnit(NSCalendarUnitDay, 1, start, {}),
            start.dateByAddingTimeInterval(86400 - 3600));
  // A date before the reference date keeps its fraction too (floor, not truncation).
  const NSDate early = NSDate::dateWithTimeIntervalSinceReferenceDate(-0.75);
  EXPECT_EQ(calendar->dateByAddingUnit(NSCalendarUnitSecond, 2, early, {}),
            NSDate::dateWithTimeIntervalSinceReferenceDate(1.25));

  NSDateComponents nanos;
  nanos.setNanosecond(500'000'000);
  EXPECT_EQ(calendar->dateByAddingComponents(nanos, start, {}),
            start.dateByAddingTimeInterval(0.5));
  EXPECT_EQ(calendar->dateByAddingComponents(nanos, start.dateByAddingTimeInterval(0.5),
                                             NSCalendarWrapComponents),
            start);

  EXPECT_EQ(calendar->dateByAddingUnit(NSCalendarUnitDay, 1L << 40, start, {}), std::nullopt);
  EXPECT_EQ(calendar->dateByAddingUnit(NSCalendarUnitYear | NSCalendarUnitDay, 1, start, {}),
            std::nullopt);
  // Wrapping keeps the day within its month.
  EXPECT_EQ(text(calendarIn("UTC")->dateByAddingUnit(NSCalendarUnitDay, 1, utc(2024, 1, 31),
                                                     NSCalendarWrapComponents)),
            "2024-01-01 00:00:00");
}

TEST(NSCalendarComponents, DateFromComponentsResolvesGapsForwardAndRepeatsToTheEarlier) {
  struct Case {
    const char* zone;
    int year, month, day, hour, minute;
    const char* expected;
  } cases[] = {
      {"America/New_York", 2024, 3, 10, 2, 30, "2024-03-10 07:30:00"},     // gap: 03:30 EDT
      {"America/New_York", 2024, 11, 3, 1, 30, "2024-11-03 05:30:00"},     // repeated: EDT
      {"Australia/Lord_Howe", 2024, 10, 6, 2, 15, "2024-10-05 15:45:00"},  // gap: 02:45
      {"Australia/Lord_Howe", 2024, 4, 7, 1, 45, "2024-04-06 14:45:00"},   // repeated: +11
      {"America/Sao_Paulo", 2018, 11, 4, 0, 0, "2018-11-04 03:00:00"},
      {"UTC", 2024, 13, 1, 0, 0, "2025-01-01 00:00:00"},  // out-of-range values carry over
  };
  for (const auto& c : cases) {
    NSDateComponents parts;
    parts.setYear(c.year);
    parts.setMonth(c.month);
    parts.setDay(c.day);
    parts.setHour(c.hour);
    parts.setMinute(c.minute);
    EXPECT_EQ(text(calendarIn(c.zone)->dateFromComponents(parts)), c.expected) << c.zone;
  }
}

TEST(NSCalendarComponents, ComponentsOfADateAndTruncationToTheMinute) {
  auto calendar = calendarIn("America/New_York");
  const NSDate date = utc(2024, 3, 9, 15, 42, 59.8);  // 10:42:59.8 EST, a Saturday
  auto parts = calendar->components(static_cast<NSCalendarUnit>(124), date);  // Y M D h m
  EXPECT_EQ(parts.second(), NSDateComponentUndefined);
  parts.setSecond(0);
  EXPECT_EQ(text(calendar->dateFromComponents(parts)), "2024-03-09 15:42:00");

  EXPECT_EQ(calendar->component(NSCalendarUnitWeekday, date), 7);
  EXPECT_NEAR(calendar->component(NSCalendarUnitNanosecond, date), 800'000'000, 1000);
  EXPECT_EQ(calendar->firstWeekday(), 1);
  const auto withZone = calendar->components(
      NSCalendarUnitDay | NSCalendarUnitTimeZone | NSCalendarUnitCalendar, date);
  EXPECT_EQ(withZone.timeZone()->name(), "America/New_York");
  EXPECT_EQ(withZone.calendar(), calendar);

  // Negative and far dates do not slip by a second or a minute.
  auto utcCalendar = calendarIn("UTC");
  const auto before1970 = utcCalendar->components(
      NSCalendarUnitYear | NSCalendarUnitMinute | NSCalendarUnitSecond | NSCalendarUnitNanosecond,
      utc(1969, 12, 31, 23, 59, 59.5));
  EXPECT_EQ(before1970.minute(), 59);
  EXPECT_EQ(before1970.second(), 59);
  EXPECT_EQ(before1970.nanosecond(), 500'000'000);
  EXPECT_EQ(utcCalendar->component(NSCalendarUnitSecond, utc(2999, 12, 31, 23, 59, 59)), 59);

  // The components' own zone wins over the calendar's.
  NSDateComponents inTokyo;
  inTokyo.setYear(2024);
  inTokyo.setMonth(1);
  inTokyo.setDay(1);
  inTokyo.setTimeZone(NSTimeZone::timeZoneWithName("Asia/Tokyo"));
  EXPECT_EQ(text(calendar->dateFromComponents(inTokyo)), "2023-12-31 15:00:00");
  EXPECT_EQ(calendar->timeZone()->name(), "America/New_York");
}

TEST(NSCalendarComponents, DifferencesCountCalendarUnitsNotSeconds) {
  auto calendar = calendarIn("America/New_York");
  const NSDate from = utc(2024, 3, 9, 17);  // noon EST
  const NSDate to = utc(2024, 3, 10, 16);   // noon EDT, 23 hours later
  EXPECT_EQ(calendar->components(NSCalendarUnitDay, from, to).day(), 1);
  EXPECT_EQ(calendar->components(NSCalendarUnitHour, from, to).hour(), 23);

  const auto parts =
      calendar->components(NSCalendarUnitSecond | NSCalendarUnitNanosecond,
                           from.dateByAddingTimeInterval(0.7), from.dateByAddingTimeInterval(2.2));
  EXPECT_EQ(parts.second(), 1);
  EXPECT_NEAR(parts.nanosecond(), 500'000'000, 1000);

  const auto longer = calendar->components(
      NSCalendarUnitYear | NSCalendarUnitQuarter | NSCalendarUnitMonth | NSCalendarUnitDay,
      utc(2020, 1, 31, 17), utc(2024, 3, 9, 17));
  EXPECT_EQ(longer.year(), 4);
  EXPECT_EQ(longer.quarter(), 0);
  EXPECT_EQ(longer.month(), 1);
  EXPECT_EQ(longer.day(), 9);  // January 31 + 1 month is February 29, then 9 days
}

TEST(NSCalendarComponents, SameDayAndSettingTheTime) {
  auto calendar = calendarIn("America/New_York");
  EXPECT_TRUE(calendar->isDateInSameDayAsDate(utc(2024, 3, 10, 5), utc(2024, 3, 11, 3, 59)));
  EXPECT_FALSE(calendar->isDateInSameDayAsDate(utc(2024, 3, 10, 5), utc(2024, 3, 10, 4, 59)));

  const NSDate day = utc(2024, 3, 10, 16);
  EXPECT_EQ(text(calendar->dateBySettingHour(2, 30, 0, day, {})), "2024-03-10 07:30:00");
  EXPECT_EQ(calendar->dateBySettingHour(2, 30, 0, day, NSCalendarMatchStrictly), std::nullopt);
  EXPECT_EQ(calendar->dateBySettingHour(24, 0, 0, day, {}), std::nullopt);
  EXPECT_EQ(text(calendar->dateBySettingHour(23, 59, 59, day, {})), "2024-03-11 03:59:59");
}

TEST(NSCalendarFactory, OnlyGregorianAndTheSystemZone) {
  EXPECT_EQ(NSCalendar::calendarWithIdentifier("hebrew"), nullptr);
  auto calendar = NSCalendar::currentCalendar();
  ASSERT_NE(calendar, nullptr);
  EXPECT_EQ(calendar->calendarIdentifier(), "gregorian");
  EXPECT_FALSE(NSTimeZone::systemTimeZone()->name().empty());
  EXPECT_TRUE(calendar->timeZone()->isEqualToTimeZone(*NSTimeZone::systemTimeZone()));
  calendar->setTimeZone(NSTimeZone::timeZoneWithName("Asia/Tokyo"));
  calendar->setTimeZone(nullptr);
  EXPECT_TRUE(calendar->timeZone()->isEqualToTimeZone(*NSTimeZone::systemTimeZone()));
}

}  // namespace
