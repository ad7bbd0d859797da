#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSCalendar.h"
#include "support/CalendarTestSupport.h"
#include "support/EnvironmentFixture.h"

namespace {

using calendar_test::calendarIn;
using calendar_test::text;
using calendar_test::utc;

// Components with only the given fields set.
NSDateComponents fields(std::initializer_list<std::pair<NSCalendarUnit, long>> values) {
  NSDateComponents parts;
  for (const auto& [unit, value] : values) parts.setValue(value, unit);
  return parts;
}

constexpr NSCalendarUnit kYear = NSCalendarUnitYear, kMonth = NSCalendarUnitMonth,
                         kDay = NSCalendarUnitDay, kHour = NSCalendarUnitHour,
                         kMinute = NSCalendarUnitMinute;

NSDateComponents timeOfDay(long hour, long minute, long second) {
  return fields({{kHour, hour}, {kMinute, minute}, {NSCalendarUnitSecond, second}});
}

// The engine's day walk: the dates after `start` matching 00:00:01, until one is not before
// `end`. Each entry is the UTC instant, with "~" when it only stands in for a skipped time.
std::vector<std::string> walkDays(const std::string& zone, NSDate start, NSDate end) {
  std::vector<std::string> seen;
  calendarIn(zone)->enumerateDatesStartingAfterDate(
      start, timeOfDay(0, 0, 1), NSCalendarMatchNextTime,
      [&](std::optional<NSDate> date, bool exact, bool* stop) {
        if (!date || *date >= end) {
          *stop = true;
          return;
        }
        seen.push_back(text(date) + (exact ? "" : "~"));
      });
  return seen;
}

struct WalkCase {
  const char* zone;
  NSDate start;
  NSDate end;
  std::vector<std::string> expected;
};

class DayWalk : public ::testing::TestWithParam<WalkCase> {};

TEST_P(DayWalk, YieldsEachLocalDayOnce) {
  const auto& c = GetParam();
  EXPECT_EQ(walkDays(c.zone, c.start, c.end), c.expected) << c.zone;
}

INSTANTIATE_TEST_SUITE_P(
    AcrossClockChanges, DayWalk,
    ::testing::Values(
        WalkCase{"America/New_York",
                 utc(2024, 3, 8, 17),
                 utc(2024, 3, 12, 4, 0, 1),
                 {"2024-03-09 05:00:01", "2024-03-10 05:00:01", "2024-03-11 04:00:01"}},
        // The start itself is 00:00:01: it is not repeated; the end is exclusive.
        WalkCase{"America/New_York",
                 utc(2024, 11, 2, 4, 0, 1),
                 utc(2024, 11, 5, 5, 0, 1),
                 {"2024-11-03 04:00:01", "2024-11-04 05:00:01"}},
        // Half a second past 00:00:01 is past it.
        WalkCase{"UTC",
                 utc(2024, 2, 28, 0, 0, 1.5),
                 utc(2024, 3, 2),
                 {"2024-02-29 00:00:01", "2024-03-01 00:00:01"}},
        WalkCase{"Europe/London",
                 utc(2024, 10, 26, 12),
                 utc(2024, 10, 29),
                 {"2024-10-26 23:00:01", "2024-10-28 00:00:01"}},
        WalkCase{"Australia/Lord_Howe",
                 utc(2024, 10, 4, 12),
                 utc(2024, 10, 7),
                 {"2024-10-04 13:30:01", "2024-10-05 13:30:01", "2024-10-06 13:00:01"}},
        // São Paulo skips 00:00-01:00 on 4 November 2018: that day yields 01:00:00.
        WalkCase{"America/Sao_Paulo",
                 utc(2018, 11, 3, 3, 0, 1),
                 utc(2018, 11, 6),
                 {"2018-11-04 03:00:00~", "2018-11-05 02:00:01"}},
        // Apia skipped 30 December 2011 entirely: no stand-in for it, 31 December once.
        WalkCase{"Pacific/Apia",
                 utc(2011, 12, 28, 11),
                 utc(2011, 12, 31, 10),
                 {"2011-12-29 10:00:01", "2011-12-30 10:00:01"}}));

// The first two dates after `start` matching `parts`, as the enumeration yields them.
std::vector<std::string> firstTwo(const std::string& zone, NSDate start,
                                  const NSDateComponents& parts, NSCalendarOptions options) {
  std::vector<std::string> seen;
  calendarIn(zone)->enumerateDatesStartingAfterDate(
      start, parts, options, [&](std::optional<NSDate> date, bool, bool* stop) {
        seen.push_back(text(date));
        *stop = seen.size() == 2;
      });
  return seen;
}

TEST(NSCalendarEnumeration, RepeatedTimeMatchesOnceFirstOrLast) {
  const auto parts = fields({{kHour, 1}, {kMinute, 30}});
  EXPECT_EQ(firstTwo("America/New_York", utc(2024, 11, 2, 12), parts, NSCalendarMatchNextTime),
            (std::vector<std::string>{"2024-11-03 05:30:00", "2024-11-04 06:30:00"}));
  EXPECT_EQ(firstTwo("America/New_York", utc(2024, 11, 2, 12), parts,
                     NSCalendarMatchNextTime | NSCalendarMatchLast),
            (std::vector<std::string>{"2024-11-03 06:30:00", "2024-11-04 06:30:00"}));
}

TEST(NSCalendarEnumeration, SkippedTimesFollowTheMatchOption) {
  auto calendar = calendarIn("America/New_York");
  const auto parts = timeOfDay(2, 30, 0);
  const NSDate before = utc(2024, 3, 9, 12);
  EXPECT_EQ(text(calendar->nextDateAfterDate(before, parts, NSCalendarMatchNextTime)),
            "2024-03-10 07:00:00");
  EXPECT_EQ(text(calendar->nextDateAfterDate(before, parts,
                                             NSCalendarMatchNextTimePreservingSmallerUnits)),
            "2024-03-10 07:30:00");
  EXPECT_EQ(text(calendar->nextDateAfterDate(before, parts,
                                             NSCalendarMatchPreviousTimePreservingSmallerUnits)),
            "2024-03-10 06:30:00");
  EXPECT_EQ(text(calendar->nextDateAfterDate(before, parts, NSCalendarMatchStrictly)),
            "2024-03-11 06:30:00");
  // Lord Howe's half-hour gap: 02:15 preserving minutes is 03:15, the hour after the gap.
  EXPECT_EQ(text(calendarIn("Australia/Lord_Howe")
                     ->nextDateAfterDate(utc(2024, 10, 5), timeOfDay(2, 15, 0),
                                         NSCalendarMatchNextTimePreservingSmallerUnits)),
            "2024-10-05 16:15:00");
}

TEST(NSCalendarEnumeration, FindsCalendarFieldsAndSearchesBackwards) {
  auto calendar = calendarIn("UTC");
  const auto leapDay = fields({{kMonth, 2}, {kDay, 29}});
  EXPECT_EQ(text(calendar->nextDateAfterDate(utc(2024, 3, 1), leapDay, NSCalendarMatchStrictly)),
            "2028-02-29 00:00:00");
  EXPECT_EQ(text(calendar->nextDateAfterDate(utc(2024, 3, 1), leapDay,
                                             NSCalendarMatchStrictly | NSCalendarSearchBackwards)),
            "2024-02-29 00:00:00");

  EXPECT_EQ(text(calendar->nextDateAfterDate(utc(2024, 3, 9, 23, 30), fields({{kMinute, 30}}),
                                             NSCalendarMatchNextTime | NSCalendarSearchBackwards)),
            "2024-03-09 22:30:00");
  const auto year = fields({{kYear, 2030}});
  EXPECT_EQ(text(calendar->nextDateAfterDate(utc(2024, 3, 9), year, NSCalendarMatchNextTime)),
            "2030-01-01 00:00:00");
  EXPECT_EQ(calendar->nextDateAfterDate(utc(2031, 3, 9), year, NSCalendarMatchNextTime),
            std::nullopt);
}

TEST(NSCalendarEnumeration, ComponentsThatNeverMatchEndWithoutACall) {
  auto calendar = calendarIn("UTC");
  EXPECT_EQ(firstTwo("UTC", utc(2024, 1, 31), fields({{kDay, 31}}), NSCalendarMatchNextTime),
            (std::vector<std::string>{"2024-03-31 00:00:00", "2024-05-31 00:00:00"}));

  const NSDateComponents nevers[] = {
      fields({{kMonth, 13}}), fields({{kMonth, 2}, {kDay, 30}}),
      // July in week one: no range check rules it out, the bounded search ends it.
      fields({{NSCalendarUnitWeekday, 2}, {NSCalendarUnitWeekOfYear, 1}, {kMonth, 7}}),
      // The 31st in week one of its month: every day of the bounded range is looked at.
      fields({{kDay, 31}, {NSCalendarUnitWeekOfMonth, 1}})};
  for (const auto& never : nevers) {
    int calls = 0;
    calendar->enumerateDatesStartingAfterDate(utc(2024, 1, 1), never, NSCalendarMatchNextTime,
                                              [&](std::optional<NSDate>, bool, bool*) { ++calls; });
    EXPECT_EQ(calls, 0);
  }
}

TEST(NSCalendarEnumeration, RequiresExactlyOneMatchOption) {
  auto calendar = calendarIn("UTC");
  const auto parts = timeOfDay(0, 0, 1);
  EXPECT_THROW(calendar->nextDateAfterDate(utc(2024, 1, 1), parts, {}), std::invalid_argument);
  EXPECT_THROW(calendar->nextDateAfterDate(utc(2024, 1, 1), parts,
                                           NSCalendarMatchStrictly | NSCalendarMatchNextTime),
               std::invalid_argument);
}

// Statistics buckets are computed on HealthKit's worker threads with one shared calendar.
using NSCalendarThreads = testing_support::EnvironmentFixture;

TEST_F(NSCalendarThreads, OneCalendarServesSeveralWorkers) {
  auto calendar = calendarIn("America/New_York");
  std::vector<std::vector<std::string>> results(4);
  auto workers = dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
  for (size_t t = 0; t < results.size(); ++t) {
    dispatch_async(workers, [&, t] {
      NSDate date = utc(2024, 3, 8, 17);
      for (int i = 0; i < 50; ++i) {
        auto start = calendar->startOfDayForDate(date);
        date = *calendar->dateByAddingUnit(NSCalendarUnitDay, 1, date, {});
        if (i % 10 == 0) results[t].push_back(text(start));
        if (t == 0) calendar->setTimeZone(NSTimeZone::timeZoneWithName("America/New_York"));
      }
    });
  }
  runUntilIdle();
  for (const auto& result : results) EXPECT_EQ(result, results[0]);
  EXPECT_EQ(results[0].front(), "2024-03-08 05:00:00");
}

}  // namespace
