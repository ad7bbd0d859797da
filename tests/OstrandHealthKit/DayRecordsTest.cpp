// The day summaries: one routine record per user and calendar day from the routine fetch's
// statistics and category samples, and one heart-rate record per user, source and day. Days are
// the process time zone's calendar days, so the keys are checked on dates near midnight.

#include <gtest/gtest.h>

#include <mutex>
#include <set>

#include "Foundation/Dispatch.h"
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
  static OSTTaggedStatistics sum(const std::string& identifier, double value, const char* unit,
                                 NSDate dayStart, NSInteger source = OSTStatisticsSourceAll) {
    HKStatistics::Values merged;
    merged.sum = HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value);
    return {std::make_shared<const HKStatistics>(
                HKObjectType::quantityTypeForIdentifier(identifier), dayStart,
                minutesInto(dayStart, 24 * 60), merged, std::vector<HKStatistics::SourceValues>{}),
            source};
  }
  static std::shared_ptr<const HKSample> standHour(long value, NSDate dayStart, int hour) {
    return categorySample(HKCategoryTypeIdentifierAppleStandHour, value,
                          minutesInto(dayStart, hour * 60), minutesInto(dayStart, hour * 60 + 60));
  }
  static std::shared_ptr<const HKSample> mindful(double seconds, NSDate dayStart) {
    return categorySample(HKCategoryTypeIdentifierMindfulSession, HKCategoryValueNotApplicable,
                          minutesInto(dayStart, 600), minutesInto(dayStart, 600 + seconds / 60));
  }
  template <class Record>
  static std::map<std::string, std::shared_ptr<Record>> byKey(
      const std::vector<std::shared_ptr<Record>>& records) {
    std::map<std::string, std::shared_ptr<Record>> keyed;
    for (const auto& record : records) keyed[*record->activityID()] = record;
    return keyed;
  }
};

TEST_F(DayRecordsTest, DayKeysFollowTheLocalCalendarDay) {
  const std::string key = "routine-user-1-com.Apple.Health.AggregateRecord-2024-3-7";
  EXPECT_EQ(routineKeyFromDate(minutesInto(day(0), 30)), key);
  EXPECT_EQ(routineKeyFromDate(minutesInto(day(0), 23 * 60 + 30)), key);
  EXPECT_EQ(routineKeyFromDate(minutesInto(day(0), -30)),
            "routine-user-1-com.Apple.Health.AggregateRecord-2024-3-6");
  const auto watchSource = HKSource::sourceWithName("Apple Watch", "com.apple.health.W1");
  EXPECT_EQ(heartRateKeyFromDate(minutesInto(day(3), 22 * 60 + 30), *watchSource),
            "heart-rate-user-1-com.apple.health.W1-2024-3-10");

  session()->endSession();
  EXPECT_EQ(routineKeyFromDate(day(0)), "routine-(null)-com.Apple.Health.AggregateRecord-2024-3-7");
}

TEST_F(DayRecordsTest, ARoutineDayTotalsEverySourceAndSeparatesHandEnteredSteps) {
  const auto records = byKey(routineRecordsFromStatistics(
      {{{day(0), sum(HKQuantityTypeIdentifierStepCount, 10000.4, "count", day(0))},
        {day(2), sum(HKQuantityTypeIdentifierStepCount, 0.5, "count", day(2))}},
       {{day(0), sum(HKQuantityTypeIdentifierStepCount, 1500.7, "count", day(0),
                     OSTStatisticsSourceUserEntered)},
        {day(2), sum(HKQuantityTypeIdentifierStepCount, 1500.7, "count", day(2),
                     OSTStatisticsSourceUserEntered)}},
       {{day(0), sum(HKQuantityTypeIdentifierDistanceWalkingRunning, 5, "km", day(0))},
        {day(3), {}}}},
      {{{day(0),
         {standHour(0, day(0), 9), standHour(0, day(0), 10), standHour(0, day(0), 11),
          standHour(1, day(0), 12), standHour(1, day(0), 13), mindful(60, day(0)),
          mindful(59, day(0))}},
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
  EXPECT_EQ(first.originalSource(), kHKAggregateSourceName);
  EXPECT_EQ(first.sourcePeripheral(), kHKAggregateBundleIdentifier);
  EXPECT_EQ(first.validated(), false);

  const auto& mindfulOnly = *records.at(routineKeyFromDate(day(1)));
  EXPECT_EQ(valueAt(mindfulOnly, "extras.apple_mindful_session_minutes"), 0);
  EXPECT_EQ(valueAt(mindfulOnly, "extras.device_generated_steps"), 0);
  EXPECT_TRUE(valueAt(mindfulOnly, "extras.apple_stand_hours_stood").isNil());

  // Half a step rounds up to one; more typed in than counted is not clamped.
  EXPECT_EQ(valueAt(*records.at(routineKeyFromDate(day(2))), "extras.device_generated_steps"),
            1 - 1500);

  EXPECT_TRUE(routineRecordsFromStatistics({}, {}).empty());
}

TEST_F(DayRecordsTest, OneHeartRateRecordPerSourceAndDay) {
  const auto watchSource = HKSource::sourceWithName("Apple Watch", "com.apple.health.W1");
  const auto strap = HKSource::sourceWithName("Polar", "com.polar.beat");
  const auto bpm = [](double value) {
    return HKQuantity::quantityWithUnit(HKUnit::unitFromString("count/min"), value);
  };
  HKStatistics::Values all;
  const auto statistics = std::make_shared<const HKStatistics>(
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate), day(0), day(1),
      all,
      std::vector<HKStatistics::SourceValues>{
          {watchSource, {nullptr, bpm(71.25), bpm(48), bpm(150)}},
          {strap,
           {nullptr, HKQuantity::quantityWithUnit(HKUnit::unitFromString("count/s"), 1.5), bpm(80),
            bpm(120)}},
          {HKSource::sourceWithName("Scale", "com.example.scale"),
           {nullptr, nullptr, bpm(60), bpm(70)}}});
  std::vector<std::shared_ptr<const HKSample>> samples;
  {
    WritingAs watchApp("Apple Watch", "com.apple.health.W1");
    samples.push_back(measurement(HKQuantityTypeIdentifierRestingHeartRate, 55, "count/min",
                                  minutesInto(day(0), 8 * 60)));
    samples.push_back(measurement(HKQuantityTypeIdentifierRestingHeartRate, 52, "count/min",
                                  minutesInto(day(0), 9 * 60)));
    samples.push_back(measurement(HKQuantityTypeIdentifierWalkingHeartRateAverage, 98, "count/min",
                                  minutesInto(day(1), 8 * 60)));
  }
  const auto records = byKey(heartRateRecordsFromStatistics({{{day(0), statistics}}}, samples));
  ASSERT_EQ(records.size(), 3U);  // the watch on two days and the strap; the scale lacks an average

  const auto& watchDay = *records.at("heart-rate-user-1-com.apple.health.W1-2024-3-7");
  EXPECT_EQ(watchDay.restingHeartrate(), 52);  // the later sample
  EXPECT_EQ(watchDay.minHeartRate(), 48);
  EXPECT_EQ(watchDay.maxHeartRate(), 150);
  EXPECT_EQ(watchDay.averageHeartRate(), 71.25);  // not rounded
  EXPECT_EQ(watchDay.timestamp(), day(0));
  EXPECT_EQ(watchDay.sourcePeripheral(), "com.apple.health.W1");

  const auto& strapDay = *records.at("heart-rate-user-1-com.polar.beat-2024-3-7");
  EXPECT_DOUBLE_EQ(strapDay.averageHeartRate().doubleValue(), 90);
  EXPECT_TRUE(strapDay.restingHeartrate().isNil());

  const auto& nextDay = *records.at("heart-rate-user-1-com.apple.health.W1-2024-3-8");
  EXPECT_EQ(valueAt(nextDay, "extras.apple_walking_heartrate_average"), 98);
  EXPECT_EQ(nextDay.timestamp(), minutesInto(day(1), 8 * 60));

  EXPECT_TRUE(heartRateRecordsFromStatistics({}, {}).empty());
}

TEST_F(DayRecordsTest, TablesBuiltFromSeveralThreadsAtOnceAreOneTable) {
  OSTResetCachedValuesForTesting();
  std::mutex mutex;  // guards seen
  std::set<const void*> seen;
  for (int i = 0; i < 8; ++i) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), [&] {
      for (auto kind : {OSTRecordTypeBiometrics, OSTRecordTypeDiabetes, OSTRecordTypeWeight,
                        OSTRecordTypeRoutine, OSTRecordTypeNutrition, OSTRecordTypeFitness}) {
        const auto table = healthKitKeyPaths(kind);
        std::lock_guard lock(mutex);
        seen.insert(table.get());
      }
      auto record = OSTRecord::newRecordWithType(OSTRecordTypeRoutine);
      setHealthKitSample(*record,
                         *measurement(HKQuantityTypeIdentifierStepCount, 2.5, "count", kStart));
      std::lock_guard lock(mutex);
      EXPECT_EQ(valueAt(*record, "steps"), 3);
    });
  }
  runUntilIdle();
  EXPECT_EQ(seen.size(), 6U);
}

}  // namespace
}  // namespace testing_support
