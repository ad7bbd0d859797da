// The demo as a developer runs it, a few days long: the outbox holds what the simulated phone's
// HealthKit holds, record for record, and the same seed gives the same outbox.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSUUID.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKSampleQuery.h"
#include "HealthKit/HKStatisticsCollectionQuery.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTRecordType.h"
#include "OutboxJSONLines.h"
#include "support/TemporaryDirectory.h"
#include "tools/OstrandTools/Demo/Demo.h"
#include "tools/OstrandTools/Outbox/OutboxReport.h"

namespace {

using ostrand_tools::Demo;
using ostrand_tools::SimulatedPhone;
using testing_support::outboxJSONLines;
using testing_support::TemporaryDirectory;

// Six days: three evening runs, the last on the day the app is installed, on which a period
// starts too.
constexpr int kDays = 6;

// Runs the demo to the end; what it prints is of interest only when it fails.
void run(Demo& demo) {
  std::ostringstream out;
  std::ostringstream err;
  ASSERT_EQ(demo.run(out, err), 0) << err.str();
}

std::vector<std::shared_ptr<const HKSample>> samplesOf(std::shared_ptr<const HKSampleType> type) {
  std::vector<std::shared_ptr<const HKSample>> found;
  std::make_shared<HKHealthStore>()->executeQuery(std::make_shared<HKSampleQuery>(
      std::move(type), nullptr, HKObjectQueryNoLimit,
      std::vector<std::shared_ptr<const NSSortDescriptor>>{},
      [&found](auto, auto samples, auto) { found = std::move(samples); }));
  SimulatedPhone::runUntilIdle();
  return found;
}

// The records the app makes of single samples, by UUID, with their kind. It subscribes on the
// install day and reads from that day's start; the historical fetch adds every workout. Steps
// become day totals and heart rate day summaries, and a correlation's readings belong to its
// record, so none of those has a record of its own.
std::map<std::string, std::string> expectedSampleRecords(NSDate installDay) {
  const std::pair<std::shared_ptr<const HKSampleType>, const char*> kinds[] = {
      {HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis), "sleep"},
      {HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBodyMass), "weight"},
      {HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodGlucose), "diabetes"},
      {HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierInsulinDelivery),
       "diabetes"},
      {HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBasalBodyTemperature),
       "biometrics"},
      {HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierMenstrualFlow),
       "biometrics"},
      {HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure),
       "biometrics"},
      {HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood), "nutrition"},
  };
  std::map<std::string, std::string> expected;
  for (const auto& [type, kind] : kinds) {
    for (const auto& sample : samplesOf(type)) {
      if (sample->endDate() >= installDay) expected[sample->UUID().UUIDString()] = kind;
    }
  }
  for (const auto& workout : samplesOf(HKObjectType::workoutType()))
    expected[workout->UUID().UUIDString()] = "fitness";
  return expected;
}

// Each day's total of a type as the Health app shows it, in `unit`: the phone and the watch
// count the same walks, and HealthKit's statistics merge the two sources instead of adding them.
std::map<NSDate, double> dailyTotals(const std::string& identifier, const HKUnit& unit,
                                     NSDate firstDay) {
  NSDateComponents oneDay;
  oneDay.setDay(1);
  auto query = std::make_shared<HKStatisticsCollectionQuery>(
      HKObjectType::quantityTypeForIdentifier(identifier), nullptr, HKStatisticsOptionCumulativeSum,
      firstDay, oneDay);
  std::map<NSDate, double> totals;
  query->setInitialResultsHandler([&](auto, auto collection, auto) {
    for (const auto& day : collection->statistics()) {
      totals[day->startDate()] = day->sumQuantity()->doubleValueForUnit(unit);
    }
  });
  std::make_shared<HKHealthStore>()->executeQuery(query);
  SimulatedPhone::runUntilIdle();
  return totals;
}

TEST(Demo, TheOutboxHasARecordForEverySampleTheAppReadsAndEveryDaysTotals) {
  TemporaryDirectory directory;
  Demo demo({.seed = 7, .days = kDays, .databasePath = directory.file("demo.sqlite")});
  ASSERT_NO_FATAL_FAILURE(run(demo));
  const auto outbox = ostrand_tools::readOutbox(*demo.phone().session());
  ASSERT_FALSE(outbox.error);

  std::map<std::string, std::string> sampleRecords;
  // Day totals as the routine records carry them: steps, metres walked, active kilocalories.
  std::map<NSDate, std::vector<double>> routineTotals;
  for (const auto& record : outbox.value) {
    const std::string id = record->activityID().value_or("");
    const std::string kind(OSTRecordTypeName(record->recordType()));
    if (NSUUID::fromString(id)) {
      EXPECT_TRUE(sampleRecords.emplace(id, kind).second) << "two records of sample " << id;
    } else if (record->recordType() == OSTRecordTypeRoutine) {
      const std::vector<double> totals = {record->valueForKey("steps").doubleValue(),
                                          record->valueForKey("distance").doubleValue(),
                                          record->valueForKey("caloriesBurned").doubleValue()};
      EXPECT_TRUE(routineTotals.emplace(*record->timestamp(), totals).second)
          << "two routine records of " << *record->timestamp();
    }
  }

  const auto calendar = demo.phone().device()->calendar();
  const NSDate installDay = *calendar->startOfDayForDate(Demo::lastDay());
  const auto expected = expectedSampleRecords(installDay);
  std::set<std::string> kinds;
  for (const auto& [id, kind] : expected) kinds.insert(kind);
  EXPECT_EQ(kinds.size(), 6u) << "the demo writes samples of every kind but routine";
  EXPECT_EQ(sampleRecords, expected);
  const NSDate firstDay =
      *calendar->dateByAddingUnit(NSCalendarUnitDay, 1 - kDays, installDay, NSCalendarOptions{});
  const auto steps = dailyTotals(HKQuantityTypeIdentifierStepCount, *HKUnit::countUnit(), firstDay);
  const auto metres =
      dailyTotals(HKQuantityTypeIdentifierDistanceWalkingRunning, *HKUnit::meterUnit(), firstDay);
  const auto calories =
      dailyTotals(HKQuantityTypeIdentifierActiveEnergyBurned, *HKUnit::kilocalorieUnit(), firstDay);
  ASSERT_EQ(routineTotals.size(), std::size_t{kDays});
  for (const auto& [day, totals] : routineTotals) {
    SCOPED_TRACE(day.description());
    ASSERT_TRUE(steps.contains(day) && metres.contains(day) && calories.contains(day));
    EXPECT_EQ(totals[0], std::round(steps.at(day))) << "the record counts whole steps";
    EXPECT_NEAR(totals[1], metres.at(day), 1e-6);
    EXPECT_NEAR(totals[2], calories.at(day), 1e-6);
  }
}

TEST(Demo, TheSameSeedGivesTheSameOutboxAndAnotherSeedAnotherOne) {
  TemporaryDirectory directory;
  const auto outbox = [&directory](unsigned seed, const std::string& name) {
    const std::string database = directory.file(name);
    {
      Demo demo({.seed = seed, .days = kDays, .databasePath = database});
      run(demo);
    }
    return outboxJSONLines(database);
  };
  const auto first = outbox(7, "first.sqlite");
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(first, outbox(7, "again.sqlite"));
  EXPECT_NE(first, outbox(8, "other.sqlite"));
}

}  // namespace
