// The heart-rate summary fetch through the simulator: which days are summarised, one record per
// source and day, which queries run on which platform, how the query dates move (also when a
// query fails) and what is announced. Days are the process time zone's calendar days; the
// daylight-saving cases bite when TZ is America/New_York.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "Foundation/Platform/PlatformEnvironment.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "support/NotificationCapture.h"
#include "support/SyncFixture.h"

namespace testing_support {
namespace {

// Local wall-clock time in the library's calendar.
NSDate local(long year, long month, long day, long hour = 0, long minute = 0) {
  NSDateComponents parts;
  parts.setYear(year);
  parts.setMonth(month);
  parts.setDay(day);
  parts.setHour(hour);
  parts.setMinute(minute);
  return *ost_gregorianCalendar()->dateFromComponents(parts);
}

class HeartRateFetchTest : public SyncFixture {
 protected:
  static constexpr char kWatchBundle[] = "com.apple.health.0D6E8F21-3B4A-4E7C-8A9D-1F2E3C4B5A69";
  static constexpr char kPhoneBundle[] = "com.apple.health.5B3C2A10-6E1F-4C53-9D0B-7A1C2E3F4A5B";

  void SetUp() override {
    SyncFixture::SetUp();
    // The app may read all three types; the query-date keys alone say what is subscribed, so
    // no observer starts a fetch of its own.
    authorize({}, {heartRate, resting, walking});
  }

  void subscribeWithoutObserving(const OSTSampleTypeArray& types) {
    OSTQueryDateDictionary dates;
    for (const auto& type : types) dates[type] = local(2024, 1, 1);
    ASSERT_EQ(setQueryDates(*session(), dates), nullptr);
  }

  // A one-minute reading ending at `end`.
  static std::shared_ptr<const HKQuantitySample> bpm(const OSTSampleTypePointer& type, double value,
                                                     NSDate end) {
    return quantitySample(std::static_pointer_cast<const HKQuantityType>(type), value,
                          end.dateByAddingTimeInterval(-60), end);
  }

  void fetch(NSDate from, NSDate to) {
    engine->fetchHeartRateSamplesFromDate(from, to);
    runUntilIdle();
  }

  // The outbox's biometrics records by activity identifier.
  std::map<std::string, std::shared_ptr<OSTBiometrics>> recordsByKey() const {
    std::map<std::string, std::shared_ptr<OSTBiometrics>> records;
    for (const auto& record : outbox()) {
      auto biometrics = std::dynamic_pointer_cast<OSTBiometrics>(record);
      EXPECT_NE(biometrics, nullptr);
      if (biometrics) records[*biometrics->activityID()] = biometrics;
    }
    return records;
  }

  static std::string key(const char* bundle, long year, long month, long day) {
    return "heart-rate-user-1-" + std::string(bundle) + "-" + std::to_string(year) + "-" +
           std::to_string(month) + "-" + std::to_string(day);
  }

  std::optional<NSDate> storedQueryDate(const OSTSampleTypePointer& type) const {
    const auto dates = queryDates(*session());
    const auto found = dates.find(type);
    return found == dates.end() ? std::nullopt : std::optional<NSDate>(found->second);
  }

  static void expectMinMaxAverage(const OSTBiometrics& record, double min, double max,
                                  double average) {
    EXPECT_EQ(record.minHeartRate(), min);
    EXPECT_EQ(record.maxHeartRate(), max);
    EXPECT_EQ(record.averageHeartRate(), average);
  }

  const OSTSampleTypePointer heartRate = sampleType(HKQuantityTypeIdentifierHeartRate);
  const OSTSampleTypePointer resting = sampleType(HKQuantityTypeIdentifierRestingHeartRate);
  const OSTSampleTypePointer walking = sampleType(HKQuantityTypeIdentifierWalkingHeartRateAverage);
};

TEST_F(HeartRateFetchTest, SummarisesEachWholeDayFromFromDatesDayOnePerSource) {
  subscribeWithoutObserving({heartRate});
  clock().set(local(2024, 3, 12, 9));
  // Day D is 9 March; fromDate is 15:00 on D, toDate the start of D+3.
  ASSERT_EQ(save(watch,
                 {bpm(heartRate, 40, local(2024, 3, 8, 23, 59)),  // the day before D
                  bpm(heartRate, 60, local(2024, 3, 9, 8)),       // D, before fromDate's hour
                  bpm(heartRate, 80, local(2024, 3, 9, 9)), bpm(resting, 52, local(2024, 3, 10, 8)),
                  bpm(heartRate, 100, local(2024, 3, 11, 10)),
                  bpm(heartRate, 150, local(2024, 3, 12))}),  // ends at toDate: excluded
            nullptr);
  ASSERT_EQ(save(iPhone, {bpm(heartRate, 90, local(2024, 3, 10, 12))}), nullptr);
  NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  fetch(local(2024, 3, 9, 15), local(2024, 3, 12));

  const auto records = recordsByKey();
  ASSERT_EQ(records.size(), 4U);
  expectMinMaxAverage(*records.at(key(kWatchBundle, 2024, 3, 9)), 60, 80, 70);
  expectMinMaxAverage(*records.at(key(kPhoneBundle, 2024, 3, 10)), 90, 90, 90);
  const auto& restingOnly = *records.at(key(kWatchBundle, 2024, 3, 10));
  EXPECT_EQ(restingOnly.restingHeartrate(), 52);
  EXPECT_TRUE(restingOnly.averageHeartRate().isNil());
  expectMinMaxAverage(*records.at(key(kWatchBundle, 2024, 3, 11)), 100, 100, 100);

  ASSERT_EQ(processed.notifications().size(), 1U);
  const auto& info = *processed.notifications()[0]->userInfo();
  EXPECT_EQ(info.count(), 2U);
  EXPECT_EQ(info.objectForKey("recordType"), NSAny(1));
  EXPECT_EQ(info.objectForKey("count"), NSAny(4));

  for (const auto& type : {heartRate, resting, walking}) {
    EXPECT_EQ(storedQueryDate(type), local(2024, 3, 12)) << type->identifier();
  }
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

// A day of 23 hours (9-12 March) and one of 25 hours (2-5 November) in New York: the day walk
// goes by calendar days, so readings at 00:30 and 23:30 of each day land in that day's record
// and each day has exactly one.
class HeartRateDayWalkTest : public HeartRateFetchTest,
                             public ::testing::WithParamInterface<std::pair<long, long>> {};

TEST_P(HeartRateDayWalkTest, EveryCalendarDayIsOneDay) {
  const auto [month, firstDay] = GetParam();
  subscribeWithoutObserving({heartRate});
  clock().set(local(2024, month, firstDay + 3, 9));
  for (long day = 0; day < 3; ++day) {
    ASSERT_EQ(save(watch, {bpm(heartRate, 60 + day, local(2024, month, firstDay + day, 0, 30)),
                           bpm(heartRate, 70 + day, local(2024, month, firstDay + day, 23, 30))}),
              nullptr);
  }

  fetch(local(2024, month, firstDay), local(2024, month, firstDay + 3));

  const auto records = recordsByKey();
  ASSERT_EQ(records.size(), 3U);
  for (long day = 0; day < 3; ++day) {
    expectMinMaxAverage(*records.at(key(kWatchBundle, 2024, month, firstDay + day)), 60 + day,
                        70 + day, 65 + day);
  }
}

INSTANTIATE_TEST_SUITE_P(DaylightSaving, HeartRateDayWalkTest,
                         ::testing::Values(std::pair{3L, 9L}, std::pair{11L, 2L}));

TEST_F(HeartRateFetchTest, WithoutHeartRateOnlyTheSampleQueriesRunAndOnlyTheirDatesMove) {
  subscribeWithoutObserving({walking});
  ASSERT_EQ(save(watch, {bpm(heartRate, 75, local(2024, 3, 8, 10)),
                         bpm(walking, 98, local(2024, 3, 8, 11))}),
            nullptr);
  NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  fetch(local(2024, 3, 8), local(2024, 3, 9));

  // No statistics query: the heart-rate reading makes no summary and its date stays unset.
  const auto records = recordsByKey();
  ASSERT_EQ(records.size(), 1U);
  const auto& day = *records.at(key(kWatchBundle, 2024, 3, 8));
  EXPECT_TRUE(day.minHeartRate().isNil());
  EXPECT_EQ(day.extras().at("apple_walking_heartrate_average"), 98);
  EXPECT_EQ(processed.notifications().size(), 1U);
  EXPECT_EQ(storedQueryDate(heartRate), std::nullopt);
  // Resting heart rate was not subscribed; its query ran and its date moved all the same.
  EXPECT_EQ(storedQueryDate(resting), local(2024, 3, 9));
  EXPECT_EQ(storedQueryDate(walking), local(2024, 3, 9));
}

class HeartRateBeforeIOS11Test : public HeartRateFetchTest {
 protected:
  void SetUp() override {
    HeartRateFetchTest::SetUp();
    platform::Environment::shared().setOperatingSystemVersion({10, 3, 0});
    OSTResetCachedValuesForTesting();
  }
};

TEST_F(HeartRateBeforeIOS11Test, OnlyTheStatisticsQueryRunsAndOnlyWhenHeartRateIsSubscribed) {
  ASSERT_EQ(save(watch, {bpm(heartRate, 75, local(2024, 3, 8, 10)),
                         bpm(resting, 50, local(2024, 3, 8, 7))}),
            nullptr);
  NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  fetch(local(2024, 3, 8), local(2024, 3, 9));  // nothing subscribed: no query at all
  EXPECT_TRUE(queryDates(*session()).empty());
  EXPECT_TRUE(outbox().empty());
  EXPECT_TRUE(processed.notifications().empty());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);

  subscribeWithoutObserving({heartRate});
  fetch(local(2024, 3, 8), local(2024, 3, 9));
  const auto records = recordsByKey();
  ASSERT_EQ(records.size(), 1U);
  const auto& day = *records.at(key(kWatchBundle, 2024, 3, 8));
  expectMinMaxAverage(day, 75, 75, 75);
  EXPECT_TRUE(day.restingHeartrate().isNil());  // the resting query did not run
  EXPECT_EQ(storedQueryDate(heartRate), local(2024, 3, 9));
  EXPECT_EQ(storedQueryDate(resting), std::nullopt);
  EXPECT_EQ(processed.notifications().size(), 1U);
}

TEST_F(HeartRateFetchTest, FailedQueriesSendNothingAndStillMoveEveryQueryDate) {
  subscribeWithoutObserving({heartRate});
  ASSERT_EQ(save(watch, {bpm(heartRate, 75, local(2024, 3, 8, 10))}), nullptr);
  device->lock();
  NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  fetch(local(2024, 3, 8), local(2024, 3, 9));

  EXPECT_TRUE(outbox().empty());
  EXPECT_TRUE(processed.notifications().empty());
  // The day of the failed fetch is not asked for again by this path.
  for (const auto& type : {heartRate, resting, walking}) {
    EXPECT_EQ(storedQueryDate(type), local(2024, 3, 9)) << type->identifier();
  }
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

}  // namespace
}  // namespace testing_support
