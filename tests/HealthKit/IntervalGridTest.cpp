#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include "HealthKit/internal/IntervalGrid.h"
#include "HealthKit/internal/IntervalStarts.h"

namespace platform::healthkit {
namespace {

std::shared_ptr<NSCalendar> calendarIn(const char* zone) {
  auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  calendar->setTimeZone(NSTimeZone::timeZoneWithName(zone));
  return calendar;
}

NSDate utc(double secondsSince1970) {
  return NSDate::dateWithTimeIntervalSince1970(secondsSince1970);
}

NSDateComponents components(NSCalendarUnit unit, long value) {
  NSDateComponents parts;
  parts.setValue(value, unit);
  return parts;
}

TEST(IntervalGrid, DaysFollowTheCalendarAcrossDaylightSaving) {
  // 2024-03-09 00:00 EST; New York moves to EDT on 2024-03-10 at 02:00.
  const NSDate anchor = utc(1709960400);
  IntervalGrid days(anchor, components(NSCalendarUnitDay, 1), calendarIn("America/New_York"));
  EXPECT_EQ(days.startOfInterval(1), utc(1709960400 + 86400));             // 03-10 00:00 EST
  EXPECT_EQ(days.startOfInterval(2), utc(1709960400 + 2 * 86400 - 3600));  // 03-11 00:00 EDT
  EXPECT_EQ(days.startOfInterval(-1), utc(1709960400 - 86400));
  // 03-10 23:30 EDT lies in the 23-hour day, 03-11 00:00 EDT starts the next.
  EXPECT_EQ(days.indexContaining(utc(1709960400 + 2 * 86400 - 3600 - 1800)), 1);
  EXPECT_EQ(days.indexContaining(utc(1709960400 + 2 * 86400 - 3600)), 2);
  EXPECT_EQ(days.indexContaining(anchor.dateByAddingTimeInterval(-1)), -1);
}

TEST(IntervalGrid, MinutesAreElapsedTimeFromAnAnchorWithSeconds) {
  const NSDate anchor = utc(1710062437);  // xx:20:37
  IntervalGrid minutes(anchor, components(NSCalendarUnitMinute, 1),
                       calendarIn("Australia/Lord_Howe"));
  EXPECT_EQ(minutes.startOfInterval(3), anchor.dateByAddingTimeInterval(180));
  EXPECT_EQ(minutes.indexContaining(anchor.dateByAddingTimeInterval(59.999)), 0);
  EXPECT_EQ(minutes.indexContaining(anchor.dateByAddingTimeInterval(60)), 1);
  EXPECT_EQ(minutes.indexContaining(anchor.dateByAddingTimeInterval(-0.5)), -1);
}

TEST(IntervalGrid, MonthsFromTheThirtyFirstClampAndRecover) {
  auto calendar = calendarIn("UTC");
  const NSDate january31 = utc(1706659200);  // 2024-01-31 00:00 UTC
  IntervalGrid months(january31, components(NSCalendarUnitMonth, 1), calendar);
  EXPECT_EQ(months.startOfInterval(1), utc(1709164800));  // 2024-02-29
  EXPECT_EQ(months.startOfInterval(2), utc(1711843200));  // 2024-03-31
  EXPECT_EQ(months.indexContaining(utc(1711843200 - 1)), 1);
  // A week is seven calendar days.
  IntervalGrid weeks(january31, components(NSCalendarUnitWeekOfYear, 1), calendar);
  EXPECT_EQ(weeks.startOfInterval(1), utc(1706659200 + 7 * 86400));
}

// Kept starts must place every date exactly as the calendar does, within the stretch they were
// kept for and around it, for anchors off midnight and dates on either side of the anchor.
TEST(IntervalGrid, KeptStartsFindTheCalendarsIntervalsAcrossDaylightSaving) {
  // Each zone's two changes of 2024 (Lord Howe shifts by 30 minutes).
  const std::pair<const char*, std::vector<double>> zones[] = {
      {"America/New_York", {1710054000, 1730613600}},
      {"Australia/Lord_Howe", {1712415600, 1728142200}}};
  const std::pair<NSCalendarUnit, long> lengths[] = {
      {NSCalendarUnitMinute, 1}, {NSCalendarUnitMinute, 15}, {NSCalendarUnitHour, 1},
      {NSCalendarUnitDay, 1},    {NSCalendarUnitDay, 2},     {NSCalendarUnitWeekOfYear, 1},
      {NSCalendarUnitMonth, 1}};
  std::mt19937 random(20240407);
  auto within = [&](double from, double to) {
    return from + (to - from) * static_cast<double>(random() % 1000001) / 1e6;
  };
  for (const auto& [zone, changes] : zones) {
    for (const double change : changes) {
      for (const auto& [unit, value] : lengths) {
        const double from = change - within(0, 3) * 86400;
        const double to = change + within(0, 3) * 86400;
        const IntervalGrid grid(utc(within(change - 80 * 86400, change + 80 * 86400)),
                                components(unit, value), calendarIn(zone));
        IntervalStarts starts(grid, from - NSDate::kTimeIntervalBetween1970AndReferenceDate,
                              to - NSDate::kTimeIntervalBetween1970AndReferenceDate);
        for (int round = 0; round < 40; ++round) {
          NSDate date = utc(within(from - 8 * 86400, to + 8 * 86400));
          if (round % 2) date = grid.startOfInterval(grid.indexContaining(date));
          const long index = starts.indexContaining(date.timeIntervalSinceReferenceDate());
          ASSERT_EQ(index, grid.indexContaining(date)) << zone << " " << date;
          EXPECT_EQ(starts.date(index), grid.startOfInterval(index)) << zone << " " << date;
          EXPECT_EQ(starts.date(index + 1), grid.startOfInterval(index + 1)) << zone << " " << date;
        }
      }
    }
  }
}

TEST(IntervalGrid, RejectsIntervalsThatCannotTile) {
  auto calendar = calendarIn("UTC");
  EXPECT_THROW(IntervalGrid(NSDate(), NSDateComponents(), calendar), std::invalid_argument);
  EXPECT_THROW(IntervalGrid(NSDate(), components(NSCalendarUnitDay, -1), calendar),
               std::invalid_argument);
  EXPECT_THROW(IntervalGrid(NSDate(), components(NSCalendarUnitWeekday, 2), calendar),
               std::invalid_argument);
}

}  // namespace
}  // namespace platform::healthkit
