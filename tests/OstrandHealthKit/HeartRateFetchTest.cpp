// The heart-rate summary fetch through the simulator: which days are summarised, one record per
// source and day, which queries run on which platform, how the query dates move (also when a
// query fails) and what is announced.

#include <gtest/gtest.h>

#include "Foundation/Platform/PlatformEnvironment.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "SyncEndToEndSupport.h"
#include "support/NotificationCapture.h"

namespace end_to_end {
namespace {

using testing_support::NotificationCapture;

class HeartRateFetchTest : public SyncEndToEndFixture {
 protected:
  void SetUp() override {
    SyncEndToEndFixture::SetUp();
    // The query-date keys alone say what is subscribed, so no observer fetches on its own.
    authorize({}, {heartRate, resting, walking});
  }

  void subscribeWithoutObserving(const OSTSampleTypePointer& type) {
    ASSERT_EQ(setQueryDates(*session(), {{type, local(2024, 1, 1)}}), nullptr);
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

  void expectQueryDates(std::optional<NSDate> date) {
    for (const auto& type : {heartRate, resting, walking}) {
      EXPECT_EQ(storedQueryDate(type), date) << type->identifier();
    }
    EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
  }

  const OSTSampleTypePointer resting = sampleType(HKQuantityTypeIdentifierRestingHeartRate);
  const OSTSampleTypePointer walking = sampleType(HKQuantityTypeIdentifierWalkingHeartRateAverage);
};

TEST_F(HeartRateFetchTest, SummarisesEachWholeDayFromFromDatesDayOnePerSource) {
  subscribeWithoutObserving(heartRate);
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

  const auto records = biometrics();
  ASSERT_EQ(records.size(), 4U);
  expectHeartRate(*records.at(heartRateKey(kWatch, local(2024, 3, 9))), 60, 80, 70);
  expectHeartRate(*records.at(heartRateKey(kPhone, local(2024, 3, 10))), 90, 90, 90);
  const auto& restingOnly = *records.at(heartRateKey(kWatch, local(2024, 3, 10)));
  EXPECT_EQ(restingOnly.restingHeartrate(), 52);
  EXPECT_TRUE(restingOnly.averageHeartRate().isNil());
  expectHeartRate(*records.at(heartRateKey(kWatch, local(2024, 3, 11))), 100, 100, 100);

  ASSERT_EQ(processed.notifications().size(), 1U);
  const auto& info = *processed.notifications()[0]->userInfo();
  EXPECT_EQ(info.count(), 2U);
  EXPECT_EQ(info.objectForKey("recordType"), NSAny(1));
  EXPECT_EQ(info.objectForKey("count"), NSAny(4));
  expectQueryDates(local(2024, 3, 12));
}

TEST_F(HeartRateFetchTest, WithoutHeartRateOnlyTheSampleQueriesRunAndOnlyTheirDatesMove) {
  subscribeWithoutObserving(walking);
  ASSERT_EQ(save(watch, {bpm(heartRate, 75, local(2024, 3, 8, 10)),
                         bpm(walking, 98, local(2024, 3, 8, 11))}),
            nullptr);

  fetch(local(2024, 3, 8), local(2024, 3, 9));

  // No statistics query: the reading makes no summary and the heart-rate date stays unset; the
  // unsubscribed resting query ran and its date moved all the same.
  const auto records = biometrics();
  ASSERT_EQ(records.size(), 1U);
  const auto& day = *records.at(heartRateKey(kWatch, local(2024, 3, 8)));
  EXPECT_TRUE(day.minHeartRate().isNil());
  EXPECT_EQ(day.extras().at("apple_walking_heartrate_average"), 98);
  EXPECT_EQ(storedQueryDate(heartRate), std::nullopt);
  EXPECT_EQ(storedQueryDate(resting), local(2024, 3, 9));
  EXPECT_EQ(storedQueryDate(walking), local(2024, 3, 9));
}

TEST_F(HeartRateFetchTest, BeforeIOS11OnlyTheStatisticsQueryRunsAndOnlyWhenSubscribed) {
  platform::Environment::shared().setOperatingSystemVersion({10, 3, 0});
  OSTResetCachedValuesForTesting();
  ASSERT_EQ(save(watch, {bpm(heartRate, 75, local(2024, 3, 8, 10)),
                         bpm(resting, 50, local(2024, 3, 8, 7))}),
            nullptr);
  NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  fetch(local(2024, 3, 8), local(2024, 3, 9));  // nothing subscribed: no query at all
  EXPECT_TRUE(queryDates(*session()).empty());
  EXPECT_TRUE(processed.notifications().empty());

  subscribeWithoutObserving(heartRate);
  fetch(local(2024, 3, 8), local(2024, 3, 9));
  const auto records = biometrics();
  ASSERT_EQ(records.size(), 1U);
  const auto& day = *records.at(heartRateKey(kWatch, local(2024, 3, 8)));
  expectHeartRate(day, 75, 75, 75);
  EXPECT_TRUE(day.restingHeartrate().isNil());  // the resting query did not run
  EXPECT_EQ(storedQueryDate(heartRate), local(2024, 3, 9));
  EXPECT_EQ(storedQueryDate(resting), std::nullopt);
}

TEST_F(HeartRateFetchTest, FailedQueriesSendNothingAndStillMoveEveryQueryDate) {
  subscribeWithoutObserving(heartRate);
  ASSERT_EQ(save(watch, {bpm(heartRate, 75, local(2024, 3, 8, 10))}), nullptr);
  device->lock();
  NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  fetch(local(2024, 3, 8), local(2024, 3, 9));

  EXPECT_TRUE(outbox().empty());
  EXPECT_TRUE(processed.notifications().empty());
  expectQueryDates(local(2024, 3, 9));
}

}  // namespace
}  // namespace end_to_end
