#include <gtest/gtest.h>

#include "HealthKit/HKStatisticsCollectionQuery.h"
#include "support/HealthKitFixture.h"

namespace testing_support {
namespace {

NSDate utc(double secondsSince1970) {
  return NSDate::dateWithTimeIntervalSince1970(secondsSince1970);
}

NSDateComponents every(NSCalendarUnit unit) {
  NSDateComponents components;
  components.setValue(1, unit);
  return components;
}

double count(const HKQuantity::Pointer& quantity) {
  return quantity ? quantity->doubleValueForUnit(*HKUnit::countUnit()) : -1;
}

class StatisticsCollectionQueryTest : public HealthKitFixture {
 protected:
  void SetUp() override {
    HealthKitFixture::SetUp();
    device->setTimeZone(NSTimeZone::timeZoneWithName("America/New_York"));
    authorize({stepType()}, {stepType()});
  }

  std::shared_ptr<const HKStatisticsCollection> collect(
      std::shared_ptr<const HKQuantityType> type, HKStatisticsOptions options, NSDate anchor,
      NSCalendarUnit unit, std::shared_ptr<const NSPredicate> predicate = nullptr) {
    std::shared_ptr<const HKStatisticsCollection> result;
    auto query = std::make_shared<HKStatisticsCollectionQuery>(type, std::move(predicate), options,
                                                               anchor, every(unit));
    query->setInitialResultsHandler([&result](auto, auto collection, auto error) {
      EXPECT_EQ(error, nullptr);
      result = collection;
    });
    store->executeQuery(query);
    runUntilIdle();
    return result;
  }
};

// The watch counts 1000 steps from 17:00 to 17:10, the phone 1500 from 17:00 to 17:20 and 200
// from 17:50 to 18:10. Merged, each stretch comes from the best source only.
TEST_F(StatisticsCollectionQueryTest, MergedSumsCountOverlappingStepsOncePerSourceSumsDoNot) {
  ASSERT_EQ(save(watch, {watchSteps(1000, at(0), at(10))}), nullptr);
  ASSERT_EQ(save(iPhone, {phoneSteps(1500, at(0), at(20)), phoneSteps(200, at(50), at(70))}),
            nullptr);
  auto hours =
      collect(stepType(), HKStatisticsOptionCumulativeSum | HKStatisticsOptionSeparateBySource,
              at(0), NSCalendarUnitHour);
  ASSERT_NE(hours, nullptr);
  auto first = hours->statisticsForDate(at(30));
  // Watch 1000 for 0-10, phone 750 for 10-20, and half the boundary sample.
  EXPECT_DOUBLE_EQ(count(first->sumQuantity()), 1000 + 750 + 100);
  ASSERT_EQ(first->sources().size(), 2u);
  EXPECT_EQ(first->sources()[0]->bundleIdentifier(),
            watch->sourceRevision()->source()->bundleIdentifier());
  EXPECT_DOUBLE_EQ(count(first->sumQuantityForSource(*watch->sourceRevision()->source())), 1000);
  EXPECT_DOUBLE_EQ(count(first->sumQuantityForSource(*iPhone->sourceRevision()->source())), 1600);
  EXPECT_DOUBLE_EQ(count(hours->statisticsForDate(at(65))->sumQuantity()), 100);

  // The user puts the phone first in the Health app.
  device->setSourcePriority(stepType(), {iPhone->sourceRevision()->source()->bundleIdentifier()});
  auto reordered = collect(stepType(), HKStatisticsOptionCumulativeSum, at(0), NSCalendarUnitHour);
  EXPECT_DOUBLE_EQ(count(reordered->statisticsForDate(at(0))->sumQuantity()), 1500 + 100);
  EXPECT_TRUE(reordered->statisticsForDate(at(0))->sources().empty());
  EXPECT_TRUE(reordered->sources().empty());
}

TEST_F(StatisticsCollectionQueryTest, DaysFollowTheCalendarAcrossTheDaylightSavingChange) {
  const NSDate march9 = utc(1709960400);  // 2024-03-09 00:00 EST; 03-10 has 23 hours
  // 03-10 23:30 EDT and 03-11 00:30 EDT: a day of 86,400 seconds would put both on 03-10.
  ASSERT_EQ(save(iPhone, {phoneSteps(10, utc(1710127800), utc(1710127860)),
                          phoneSteps(20, utc(1710131400), utc(1710131460))}),
            nullptr);
  auto days = collect(stepType(), HKStatisticsOptionCumulativeSum, march9, NSCalendarUnitDay);
  std::vector<std::pair<NSDate, double>> visited;
  days->enumerateStatisticsFromDate(march9, utc(1710216000), [&](auto day, bool*) {
    visited.emplace_back(day->startDate(), count(day->sumQuantity()));
  });
  const std::vector<std::pair<NSDate, double>> expected{
      {march9, -1}, {utc(1709960400 + 86400), 10}, {utc(1710129600), 20}, {utc(1710216000), -1}};
  EXPECT_EQ(visited, expected);
  EXPECT_EQ(days->statisticsForDate(utc(1710127800))->endDate(), utc(1710129600));  // 23 hours
  EXPECT_EQ(days->statistics().size(), 2u);  // only the days with steps

  // Minutes stay 60 seconds long through the skipped hour (01:59 EST is followed by 03:00 EDT).
  ASSERT_EQ(save(iPhone, {phoneSteps(6, utc(1710053970), utc(1710054030))}), nullptr);  // 01:59:30
  auto minutes =
      collect(stepType(), HKStatisticsOptionCumulativeSum, utc(1710053880), NSCalendarUnitMinute);
  EXPECT_DOUBLE_EQ(count(minutes->statisticsForDate(utc(1710053940))->sumQuantity()), 3);
  auto afterGap = minutes->statisticsForDate(utc(1710054000));  // 03:00 EDT
  EXPECT_DOUBLE_EQ(count(afterGap->sumQuantity()), 3);
  EXPECT_EQ(afterGap->endDate().timeIntervalSinceDate(afterGap->startDate()), 60);
  int visits = 0;
  minutes->enumerateStatisticsFromDate(utc(1710053880), utc(1710054060), [&](auto, bool* stop) {
    if (++visits == 2) *stop = true;
  });
  EXPECT_EQ(visits, 2);
}

TEST_F(StatisticsCollectionQueryTest, DiscreteStatisticsPerSource) {
  auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  authorize({}, {heartRate});
  ASSERT_EQ(save(watch, {quantitySample(heartRate, 60, at(0), at(0)),
                         quantitySample(heartRate, 90, at(1), at(1))}),
            nullptr);
  ASSERT_EQ(save(iPhone, {quantitySample(heartRate, 120, at(2), at(2))}), nullptr);
  auto perMinute = HKUnit::countUnit()->unitDividedByUnit(*HKUnit::minuteUnit());
  auto days = collect(heartRate, static_cast<HKStatisticsOptions>(15), at(0), NSCalendarUnitDay);
  auto day = days->statisticsForDate(at(0));
  ASSERT_NE(day->averageQuantity(), nullptr);
  EXPECT_EQ(day->sumQuantity(), nullptr);
  EXPECT_DOUBLE_EQ(day->averageQuantity()->doubleValueForUnit(*perMinute), 90);
  EXPECT_DOUBLE_EQ(day->minimumQuantity()->doubleValueForUnit(*perMinute), 60);
  EXPECT_DOUBLE_EQ(day->maximumQuantity()->doubleValueForUnit(*perMinute), 120);
  const auto& watchSource = *watch->sourceRevision()->source();
  EXPECT_DOUBLE_EQ(day->averageQuantityForSource(watchSource)->doubleValueForUnit(*perMinute), 75);
  EXPECT_DOUBLE_EQ(day->maximumQuantityForSource(watchSource)->doubleValueForUnit(*perMinute), 90);
  EXPECT_EQ(days->sources().size(), 2u);
}

TEST_F(StatisticsCollectionQueryTest, OptionsMustSuitTheType) {
  auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  EXPECT_THROW(HKStatisticsCollectionQuery(stepType(), nullptr, HKStatisticsOptionDiscreteAverage,
                                           at(0), every(NSCalendarUnitDay)),
               std::invalid_argument);
  EXPECT_THROW(HKStatisticsCollectionQuery(heartRate, nullptr, HKStatisticsOptionCumulativeSum,
                                           at(0), every(NSCalendarUnitDay)),
               std::invalid_argument);
  EXPECT_THROW(HKStatisticsCollectionQuery(stepType(), nullptr, HKStatisticsOptionCumulativeSum,
                                           at(0), NSDateComponents()),
               std::invalid_argument);
}

TEST_F(StatisticsCollectionQueryTest, UpdateHandlerReportsTheChangedInterval) {
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  std::vector<double> updates;
  auto query = std::make_shared<HKStatisticsCollectionQuery>(
      stepType(), nullptr, HKStatisticsOptionCumulativeSum, at(0), every(NSCalendarUnitHour));
  query->setStatisticsUpdateHandler([&updates](auto, auto statistics, auto collection, auto) {
    updates.push_back(count(statistics->sumQuantity()));
    EXPECT_EQ(collection->statistics().size(), 2u);
  });
  store->executeQuery(query);
  runUntilIdle();
  ASSERT_EQ(save(iPhone, {phoneSteps(5, at(70), at(71))}), nullptr);
  EXPECT_EQ(updates, std::vector<double>{5});
  store->stopQuery(query);
  ASSERT_EQ(save(iPhone, {phoneSteps(5, at(72), at(73))}), nullptr);
  EXPECT_EQ(updates.size(), 1u);
}

TEST_F(StatisticsCollectionQueryTest, RefusedReadGivesAnEmptyCollection) {
  device->setAuthorization(stepType(), false, std::nullopt);
  ASSERT_EQ(save(iPhone, {phoneSteps(10, at(0), at(1))}), nullptr);
  auto days = collect(stepType(), HKStatisticsOptionCumulativeSum, at(0), NSCalendarUnitDay);
  ASSERT_NE(days, nullptr);
  EXPECT_TRUE(days->statistics().empty());
  EXPECT_EQ(days->statisticsForDate(at(0))->sumQuantity(), nullptr);
}

}  // namespace
}  // namespace testing_support
