// The day summaries: one routine record per user and calendar day, and one heart-rate record per
// user, source and day. Days are the process time zone's calendar days, so the keys are checked on
// dates near midnight.

#include <gtest/gtest.h>

#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRoutine+HealthKit.h"
#include "RecordTestSupport.h"
#include "support/SessionFixture.h"

namespace testing_support {
namespace {

class DayRecordsTest : public SessionFixture {
 protected:
  // Local midnight of 7 March 2024 and the days after it. 10 March is 23 hours long in New York.
  static NSDate day(long offset) {
    NSDateComponents parts;
    parts.setYear(2024);
    parts.setMonth(3);
    parts.setDay(7 + offset);
    return *ost_gregorianCalendar()->dateFromComponents(parts);
  }
  static NSDate minutesInto(NSDate dayStart, double minutes) {
    return dayStart.dateByAddingTimeInterval(minutes * 60);
  }
  static OSTTaggedStatistics sum(double value, NSDate dayStart,
                                 NSInteger source = OSTStatisticsSourceAll,
                                 const std::string& identifier = HKQuantityTypeIdentifierStepCount,
                                 const char* unit = "count") {
    HKStatistics::Values merged;
    merged.sum = HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value);
    return {std::make_shared<const HKStatistics>(
                HKObjectType::quantityTypeForIdentifier(identifier), dayStart,
                minutesInto(dayStart, 24 * 60), merged, std::vector<HKStatistics::SourceValues>{}),
            source};
  }
  static std::shared_ptr<const HKSample> standHour(long value, int hour) {
    return categorySample(HKCategoryTypeIdentifierAppleStandHour, value,
                          minutesInto(day(0), hour * 60), minutesInto(day(0), hour * 60 + 60));
  }
  template <class Record>
  static std::map<std::string, std::shared_ptr<Record>> byKey(
      const std::vector<std::shared_ptr<Record>>& records) {
    std::map<std::string, std::shared_ptr<Record>> keyed;
    for (const auto& record : records) keyed[*record->activityID()] = record;
    return keyed;
  }
};

// The day keys near midnight are looked up by the fetch and end-to-end suites; a session that
// has ended still gives a key, with no user in it.
TEST_F(DayRecordsTest, DayKeysWithoutAUser) {
  EXPECT_EQ(routineKeyFromDate(day(0)), "routine-user-1-com.Apple.Health.AggregateRecord-2024-3-7");
  session()->endSession();
  EXPECT_EQ(routineKeyFromDate(day(0)), "routine-(null)-com.Apple.Health.AggregateRecord-2024-3-7");
}

TEST_F(DayRecordsTest, ARoutineDayTotalsEverySourceAndSeparatesHandEnteredSteps) {
  const auto mindful = [](double seconds, NSDate dayStart) -> std::shared_ptr<const HKSample> {
    return categorySample(HKCategoryTypeIdentifierMindfulSession, HKCategoryValueNotApplicable,
                          minutesInto(dayStart, 600), minutesInto(dayStart, 600 + seconds / 60));
  };
  const auto userEntered = OSTStatisticsSourceUserEntered;
  const auto records = byKey(routineRecordsFromStatistics(
      {{{day(0), sum(10000.4, day(0))}, {day(2), sum(0.5, day(2))}},
       {{day(0), sum(1500.7, day(0), userEntered)}, {day(2), sum(1500.7, day(2), userEntered)}},
       {{day(0), sum(5, day(0), OSTStatisticsSourceAll,
                     HKQuantityTypeIdentifierDistanceWalkingRunning, "km")},
        {day(3), {}}}},
      {{{day(0),
         {standHour(0, 9), standHour(0, 10), standHour(0, 11), standHour(1, 12), standHour(1, 13),
          mindful(60, day(0)), mindful(59, day(0))}},
        {day(1), {mindful(59, day(1))}},
        {day(4), {mindful(0, day(4))}}}}));
  ASSERT_EQ(records.size(), 3U);  // days 3 and 4 carry nothing

  const auto& first = *records.at(routineKeyFromDate(day(0)));
  EXPECT_EQ(first.steps(), 10000);
  EXPECT_EQ(valueAt(first, "extras.user_entered_steps"), 1500.7);
  EXPECT_EQ(valueAt(first, "extras.device_generated_steps"), 8500);
  EXPECT_EQ(first.distance(), 5000);
  EXPECT_EQ(valueAt(first, "extras.apple_stand_hours_stood"), 3);
  EXPECT_EQ(valueAt(first, "extras.apple_stand_hours_idle"), 2);
  EXPECT_EQ(valueAt(first, "extras.apple_mindful_session_minutes"), 1);  // 119 s
  EXPECT_EQ(first.timestamp(), day(0));
  EXPECT_EQ(first.validated(), false);

  const auto& mindfulOnly = *records.at(routineKeyFromDate(day(1)));
  EXPECT_EQ(valueAt(mindfulOnly, "extras.apple_mindful_session_minutes"), 0);
  EXPECT_EQ(valueAt(mindfulOnly, "extras.device_generated_steps"), 0);

  // Half a step rounds up to one; more typed in than counted is not clamped.
  EXPECT_EQ(valueAt(*records.at(routineKeyFromDate(day(2))), "extras.device_generated_steps"),
            1 - 1500);
}

TEST_F(DayRecordsTest, OneHeartRateRecordPerSourceAndDay) {
  const auto watchSource = HKSource::sourceWithName("Apple Watch", "com.apple.health.W1");
  const auto bpm = [](double value, const char* unit = "count/min") {
    return HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value);
  };
  const auto statistics = std::make_shared<const HKStatistics>(
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate), day(0), day(1),
      HKStatistics::Values{},
      std::vector<HKStatistics::SourceValues>{
          {watchSource, {nullptr, bpm(71.25), bpm(48), bpm(150)}},
          {HKSource::sourceWithName("Polar", "com.polar.beat"),
           {nullptr, bpm(1.5, "count/s"), bpm(80), bpm(120)}},
          {HKSource::sourceWithName("Scale", "com.example.scale"),
           {nullptr, nullptr, bpm(60), bpm(70)}}});
  const auto perMinute = [](const std::string& identifier, double value, NSDate when) {
    WritingAs watchApp("Apple Watch", "com.apple.health.W1");
    return std::shared_ptr<const HKSample>(measurement(identifier, value, "count/min", when));
  };
  const std::vector samples = {
      perMinute(HKQuantityTypeIdentifierRestingHeartRate, 55, minutesInto(day(0), 8 * 60)),
      perMinute(HKQuantityTypeIdentifierRestingHeartRate, 52, minutesInto(day(0), 9 * 60)),
      perMinute(HKQuantityTypeIdentifierWalkingHeartRateAverage, 98, minutesInto(day(1), 8 * 60))};
  const auto records = byKey(heartRateRecordsFromStatistics({{{day(0), statistics}}}, samples));
  ASSERT_EQ(records.size(), 3U);  // the watch on two days and the strap; the scale lacks an average

  const auto& watchDay = *records.at("heart-rate-user-1-com.apple.health.W1-2024-3-7");
  EXPECT_EQ(watchDay.restingHeartrate(), 52);  // the later sample
  EXPECT_EQ(watchDay.minHeartRate(), 48);
  EXPECT_EQ(watchDay.maxHeartRate(), 150);
  EXPECT_EQ(watchDay.averageHeartRate(), 71.25);  // not rounded
  EXPECT_EQ(watchDay.timestamp(), day(0));

  const auto& strapDay = *records.at("heart-rate-user-1-com.polar.beat-2024-3-7");
  EXPECT_DOUBLE_EQ(strapDay.averageHeartRate().doubleValue(), 90);
  EXPECT_TRUE(strapDay.restingHeartrate().isNil());

  const auto& nextDay = *records.at("heart-rate-user-1-com.apple.health.W1-2024-3-8");
  EXPECT_EQ(valueAt(nextDay, "extras.apple_walking_heartrate_average"), 98);
  EXPECT_EQ(nextDay.timestamp(), minutesInto(day(1), 8 * 60));
}

}  // namespace
}  // namespace testing_support
