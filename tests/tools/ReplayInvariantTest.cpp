// What a replay of a generated month must hold whatever the zone, checked against the export
// itself rather than against the replay's own counts:
// - every object of a type fetched by anchor (not summed per day) that was saved while the app
//   ran became a record of its own;
// - every heart-rate day record holds the statistics of its whole day, its resting and walking
//   rate included, and every day the app lived through after the first has one;
// - per source, the latest value of each minute over all intraday records adds up to the
//   source's steps.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "GeneratedMonthExport.h"
#include "HealthKit/HKQuantitySample.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "support/TemporaryDirectory.h"
#include "tools/OstrandTools/Replay/Replay.h"

namespace {

using testing_support::TemporaryDirectory;

struct Exported {
  std::string bundle;
  std::shared_ptr<const HKSample> sample;
};

// Every top-level object the reader hands over, with its app's bundle identifier.
struct ExportedObjects final : AppleHealthExportSink {
  std::vector<Exported> objects;
  void add(const HKSourceRevision::Pointer& revision, std::shared_ptr<const HKObject> object,
           std::optional<NSDate>) override {
    auto sample = std::dynamic_pointer_cast<const HKSample>(std::move(object));
    if (sample) objects.push_back({revision->source()->bundleIdentifier(), std::move(sample)});
  }
  void remove(const NSUUID& uuid) override {
    std::erase_if(objects, [&uuid](const Exported& e) { return e.sample->UUID() == uuid; });
  }
};

struct DayStatistics {
  double min = 1e300, max = -1e300, sum = 0;
  int count = 0;
  std::optional<double> resting, walking;
};

double value(const HKSample& sample, const char* unit) {
  return dynamic_cast<const HKQuantitySample&>(sample).quantity()->doubleValueForUnit(
      *HKUnit::unitFromString(unit));
}

std::optional<double> number(const NSAny& any) {
  return any.isNil() ? std::nullopt : std::optional<double>(any.doubleValue());
}

bool fetchedByAnchor(const HKSampleType& type) {
  const auto kind = OSTHealthKitSubscription::recordTypeForSampleType(type);
  return kind != OSTRecordTypeNone && kind != OSTRecordTypeRoutine &&
         !OSTHealthKitSubscription::isHeartRateSample(type);
}

struct Month {
  const char* zone;
  double firstDay;  // a local midnight
};

class ReplayInvariant : public ::testing::TestWithParam<Month> {
 protected:
  void SetUp() override {
    const auto& month = GetParam();
    const std::string exportPath = directory.file("export.xml");
    testing_support::writeGeneratedMonthExport(
        exportPath, NSDate::dateWithTimeIntervalSince1970(month.firstDay), kDays, month.zone);
    ASSERT_TRUE(AppleHealthExportReader().read(exportPath, exported).succeeded());
    replay = std::make_unique<ostrand_tools::Replay>(ostrand_tools::ReplayOptions{
        .exportPath = exportPath, .databasePath = directory.file("replay.sqlite"), .since = "all"});
    std::ostringstream out, err;
    ASSERT_EQ(replay->run(out, err), 0) << err.str();
    auto rows = replay->phone().session()->outboxRecords(1'000'000);
    ASSERT_FALSE(rows.error);
    for (const auto& row : rows.value) {
      ASSERT_TRUE(row.record) << row.error->localizedDescription();
      records.push_back(row.record);
    }
    calendar = replay->phone().device()->calendar();
  }

  void expectEveryObjectFetchedByAnchorMadeItsRecord() const;
  void expectHeartRateDaysToHoldTheirWholeDay() const;
  void expectLatestMinutesToAddUpToEachSourcesSteps() const;

  NSDate dayOf(NSDate moment) const { return *calendar->startOfDayForDate(moment); }
  NSDate nextDay(NSDate day) const {
    return *calendar->dateByAddingUnit(NSCalendarUnitDay, 1, day, NSCalendarOptions{});
  }

  static constexpr int kDays = 30;
  TemporaryDirectory directory;
  ExportedObjects exported;
  std::unique_ptr<ostrand_tools::Replay> replay;
  std::vector<std::shared_ptr<OSTRecord>> records;  // oldest first
  std::shared_ptr<NSCalendar> calendar;
};

void ReplayInvariant::expectEveryObjectFetchedByAnchorMadeItsRecord() const {
  std::set<std::string> activityIDs;
  for (const auto& record : records) activityIDs.insert(record->activityID().value_or(""));
  std::map<std::string, std::size_t> missing, saved;
  for (const auto& [bundle, sample] : exported.objects) {
    if (!fetchedByAnchor(*sample->sampleType()) || !(replay->since() < sample->endDate())) {
      continue;
    }
    const auto& type = sample->sampleType()->identifier();
    ++saved[type];
    if (!activityIDs.contains(sample->UUID().UUIDString())) ++missing[type];
  }
  EXPECT_EQ(saved.size(), 7U);  // weight, water, glucose, sleep, meals, blood pressure, runs
  EXPECT_TRUE(missing.empty()) << ::testing::PrintToString(missing) << " of "
                               << ::testing::PrintToString(saved);
}

void ReplayInvariant::expectHeartRateDaysToHoldTheirWholeDay() const {
  std::map<NSDate, DayStatistics> expected;  // the watch is the only source of heart rate
  for (const auto& [bundle, sample] : exported.objects) {
    const auto& type = sample->sampleType()->identifier();
    auto& day = expected[dayOf(sample->startDate())];
    if (type == HKQuantityTypeIdentifierHeartRate) {
      const double bpm = value(*sample, "count/min");
      day.min = std::min(day.min, bpm);
      day.max = std::max(day.max, bpm);
      day.sum += bpm;
      ++day.count;
    } else if (type == HKQuantityTypeIdentifierRestingHeartRate) {
      day.resting = value(*sample, "count/min");
    } else if (type == HKQuantityTypeIdentifierWalkingHeartRateAverage) {
      day.walking = value(*sample, "count/min");
    }
  }
  std::set<NSDate> summarised;
  for (const auto& record : records) {
    const auto* biometrics = dynamic_cast<const OSTBiometrics*>(record.get());
    if (!biometrics || !record->activityID()->starts_with("heart-rate-")) continue;
    const NSDate day = *record->timestamp();
    SCOPED_TRACE(*record->activityID());
    const auto found = expected.find(day);
    ASSERT_NE(found, expected.end()) << day.description();
    const auto& want = found->second;
    ASSERT_GT(want.count, 0);
    EXPECT_EQ(number(biometrics->minHeartRate()), want.min);
    EXPECT_EQ(number(biometrics->maxHeartRate()), want.max);
    EXPECT_NEAR(number(biometrics->averageHeartRate()).value_or(0), want.sum / want.count, 1e-9);
    summarised.insert(day);
    // The resting and walking rates of a day end at the next midnight: they are read with the
    // next day, once that one is over too.
    if (!(nextDay(nextDay(day)) < replay->until())) continue;
    EXPECT_EQ(number(biometrics->restingHeartrate()), want.resting);
    const auto walking = record->extras().find("apple_walking_heartrate_average");
    ASSERT_NE(walking, record->extras().end());
    EXPECT_EQ(number(walking->second), want.walking);
  }
  // Each day is summarised once it is over.
  for (NSDate day = replay->since(); nextDay(day) < replay->until(); day = nextDay(day)) {
    EXPECT_TRUE(summarised.contains(day)) << day.description();
  }
}

void ReplayInvariant::expectLatestMinutesToAddUpToEachSourcesSteps() const {
  std::map<std::string, double> steps;
  for (const auto& [bundle, sample] : exported.objects) {
    if (sample->sampleType()->identifier() == HKQuantityTypeIdentifierStepCount) {
      steps[bundle] += value(*sample, "count");
    }
  }
  std::map<std::string, std::map<NSDate, double>> latest;  // per source, by minute
  for (const auto& record : records) {
    if (const auto* intraday = dynamic_cast<const OSTIntraDay*>(record.get())) {
      auto& minutes = latest[intraday->deviceSource().value_or("")];
      for (const auto& [start, minute] : intraday->values()) minutes[start] = minute.value;
    }
  }
  ASSERT_EQ(latest.size(), steps.size());
  for (const auto& [bundle, minutes] : latest) {
    double total = 0;
    for (const auto& [start, count] : minutes) total += count;
    EXPECT_NEAR(total, steps.at(bundle), 1e-6) << bundle;
  }
}

// One replay per zone, checked three ways, and by the replay's own report of what the outbox
// misses, which must agree that nothing is.
TEST_P(ReplayInvariant, HoldsForEveryObjectDayAndMinute) {
  const auto misses = replay->outboxMisses(records);
  for (const auto* days : {&misses.routine, &misses.heartRate, &misses.minutes}) {
    EXPECT_GT(days->compared, 0U);
    EXPECT_EQ(days->differing + days->withoutRecord + days->objects, 0U);
  }
  EXPECT_EQ(misses.anchoredNeverHanded, 0U);
  {
    SCOPED_TRACE("objects fetched by anchor");
    expectEveryObjectFetchedByAnchorMadeItsRecord();
  }
  {
    SCOPED_TRACE("heart-rate days");
    expectHeartRateDaysToHoldTheirWholeDay();
  }
  SCOPED_TRACE("minute steps");
  expectLatestMinutesToAddUpToEachSourcesSteps();
}

// Lord Howe moves its clocks by half an hour on 5 April 2026, New York by an hour on 8 March.
INSTANTIATE_TEST_SUITE_P(Zones, ReplayInvariant,
                         ::testing::Values(Month{"Australia/Lord_Howe", 1773925200},
                                           Month{"America/New_York", 1772168400}),
                         [](const auto& row) {
                           std::string name = row.param.zone;
                           return name.substr(name.find('/') + 1);
                         });

}  // namespace
