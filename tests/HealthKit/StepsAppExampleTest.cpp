// A small step-tracking app written the way HealthKit's documentation uses the API, run against
// the simulator: an anchored query that keeps its anchor across launches, and daily step totals
// for the past week from a statistics-collection query.

#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "HealthKit/HKAnchoredObjectQuery.h"
#include "HealthKit/HKStatisticsCollectionQuery.h"
#include "support/HealthKitFixture.h"

namespace testing_support {
namespace {

// What the app keeps between launches (its "user defaults").
struct SavedState {
  std::string anchor;
};

class StepsApp {
 public:
  explicit StepsApp(SavedState& saved) : saved_(saved) {}

  void requestAccess() {
    auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
    store_->requestAuthorizationToShareTypes({}, {steps}, [](bool success, auto error) {
      EXPECT_TRUE(success) << (error ? error->localizedDescription() : "");
    });
  }

  // Fetches the step samples added since the last launch and remembers the new anchor.
  void fetchNewSamples() {
    auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
    auto query = std::make_shared<HKAnchoredObjectQuery>(
        steps, nullptr, HKQueryAnchor::anchorWithArchivedData(saved_.anchor), HKObjectQueryNoLimit,
        [this](auto, auto samples, auto, auto newAnchor, auto error) {
          if (error) return;
          std::lock_guard<std::mutex> lock(mutex_);
          for (const auto& sample : samples) {
            newSteps_ += std::static_pointer_cast<const HKQuantitySample>(sample)
                             ->quantity()
                             ->doubleValueForUnit(*HKUnit::countUnit());
          }
          saved_.anchor = newAnchor->archivedData();
        });
    store_->executeQuery(query);
  }

  // Daily totals for the seven days before today and today, keyed by day start.
  void fetchWeek(std::shared_ptr<NSCalendar> calendar, NSDate now) {
    const NSDate today = *calendar->startOfDayForDate(now);
    const NSDate weekAgo = *calendar->dateByAddingUnit(NSCalendarUnitDay, -7, today, {});
    NSDateComponents oneDay;
    oneDay.setDay(1);
    auto query = std::make_shared<HKStatisticsCollectionQuery>(
        HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount), nullptr,
        HKStatisticsOptionCumulativeSum, today, oneDay);
    query->setInitialResultsHandler([this, weekAgo, now](auto, auto collection, auto error) {
      if (!collection || error) return;
      collection->enumerateStatisticsFromDate(weekAgo, now, [this](auto day, bool*) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto sum = day->sumQuantity();
        daily_[day->startDate()] = sum ? sum->doubleValueForUnit(*HKUnit::countUnit()) : 0;
      });
    });
    store_->executeQuery(query);
  }

  double newSteps() {
    std::lock_guard<std::mutex> lock(mutex_);
    return newSteps_;
  }
  std::map<NSDate, double> daily() {
    std::lock_guard<std::mutex> lock(mutex_);
    return daily_;
  }

 private:
  SavedState& saved_;
  std::shared_ptr<HKHealthStore> store_ = std::make_shared<HKHealthStore>();
  std::mutex mutex_;  // guards newSteps_ and daily_
  double newSteps_ = 0;
  std::map<NSDate, double> daily_;
};

class StepsAppExampleTest : public HealthKitFixture {
 protected:
  void SetUp() override {
    HealthKitFixture::SetUp();
    calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
    calendar->setTimeZone(NSTimeZone::timeZoneWithName("America/New_York"));
    device->setTimeZone(calendar->timeZone());
  }

  // Day `k` of the past week (0 = seven days ago): the watch counts 1000 (k + 1) steps from
  // 09:00 to 10:00, the phone 500 from 09:30 to 10:30, so half the phone's steps overlap.
  void walkDay(int k) {
    const NSDate day = *calendar->dateByAddingUnit(
        NSCalendarUnitDay, k - 7, *calendar->startOfDayForDate(NSDate::date()), {});
    const NSDate nine = day.dateByAddingTimeInterval(9 * 3600);
    ASSERT_EQ(
        save(watch, {watchSteps(1000.0 * (k + 1), nine, nine.dateByAddingTimeInterval(3600))}),
        nullptr);
    ASSERT_EQ(save(iPhone, {phoneSteps(500, nine.dateByAddingTimeInterval(1800),
                                       nine.dateByAddingTimeInterval(5400))}),
              nullptr);
  }

  std::shared_ptr<NSCalendar> calendar;
};

TEST_F(StepsAppExampleTest, AnchorAcrossLaunchesAndAWeekOfDailyTotals) {
  SavedState saved;
  for (int k = 0; k < 4; ++k) walkDay(k);
  {
    StepsApp firstLaunch(saved);
    firstLaunch.requestAccess();
    runUntilIdle();
    firstLaunch.fetchNewSamples();
    runUntilIdle();
    EXPECT_DOUBLE_EQ(firstLaunch.newSteps(), 1000 + 2000 + 3000 + 4000 + 4 * 500);
  }
  for (int k = 4; k < 7; ++k) walkDay(k);
  StepsApp secondLaunch(saved);
  secondLaunch.fetchNewSamples();
  runUntilIdle();
  EXPECT_DOUBLE_EQ(secondLaunch.newSteps(), 5000 + 6000 + 7000 + 3 * 500);

  secondLaunch.fetchWeek(calendar, NSDate::date());
  runUntilIdle();
  const auto daily = secondLaunch.daily();
  ASSERT_EQ(daily.size(), 8u);  // seven past days and today
  int k = 0;
  for (const auto& [start, total] : daily) {
    EXPECT_EQ(*calendar->startOfDayForDate(start), start);
    EXPECT_DOUBLE_EQ(total, k < 7 ? 1000.0 * (k + 1) + 250 : 0) << "day " << k;
    ++k;
  }
}

}  // namespace
}  // namespace testing_support
