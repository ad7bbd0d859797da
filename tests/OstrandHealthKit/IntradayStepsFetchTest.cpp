// The intraday steps fetch: one record per source with minutes counted from the start of the
// range, the incremental fetch's hour of overlap, a locked phone, and daylight-saving days with
// every minute in exactly one day. Its once-a-minute guard is tested in RoutineFetchTest.cpp.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTIntraDay.h"
#include "SyncEndToEndSupport.h"

namespace end_to_end {
namespace {

using fetch_test::localTime;
using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::Optional;
using ::testing::Pair;

class IntradayStepsFetchTest : public SyncEndToEndFixture {
 protected:
  void SetUp() override {
    SyncEndToEndFixture::SetUp();
    clock().set(at(0, 12));
    authorize({}, {stepType()});
  }

  // The intraday records of the outbox by source.
  std::map<std::string, std::shared_ptr<OSTIntraDay>> intraday() const {
    return fetch_test::recordsBy<OSTIntraDay>(
        outbox(), [](const OSTIntraDay& r) { return r.deviceSource().value_or(""); });
  }
  // A record's minutes: start (seconds after `origin`) -> steps.
  static std::map<double, double> minutes(const OSTIntraDay& record, NSDate origin) {
    std::map<double, double> counts;
    for (const auto& [start, value] : record.values()) {
      EXPECT_EQ(value.endDate.timeIntervalSinceDate(value.startDate), 60);
      counts[start.timeIntervalSinceDate(origin)] = value.value;
    }
    return counts;
  }

  // Runs a historical fetch to its end; the completion's result, if it was called.
  std::optional<OSTFetchResult> fetch(NSDate from, NSDate to) {
    std::optional<OSTFetchResult> result;
    engine->fetchIntradayForStepsFromDate(from, to, true,
                                          [&](const OSTFetchResult& r) { result = r; });
    runUntilIdle();
    return result;
  }
};

TEST_F(IntradayStepsFetchTest, EachSourceGetsItsOwnRecordWithMinutesFromTheStartOfTheRange) {
  // Both count 10:01:00 to 10:02:00, fetched from 10:00:37: of each source's steps 37/60 fall in
  // the minute from 10:00:37, 23/60 in the one from 10:01:37.
  ASSERT_EQ(save(iPhone, {phoneSteps(60, at(0, 10, 1), at(0, 10, 2))}), nullptr);
  ASSERT_EQ(save(watch, {watchSteps(120, at(0, 10, 1), at(0, 10, 2))}), nullptr);

  EXPECT_THAT(fetch(at(0, 10, 0, 37), at(0, 11)),
              Optional(ElementsAre(Pair(OSTRecordTypeIntraday, 2U))));
  const auto records = intraday();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_THAT(minutes(*records.at(kPhone), at(0, 10, 0, 37)),
              ElementsAre(Pair(0, DoubleNear(37, 1e-9)), Pair(60, DoubleNear(23, 1e-9))));
  EXPECT_THAT(minutes(*records.at(kWatch), at(0, 10, 0, 37)),
              ElementsAre(Pair(0, DoubleNear(74, 1e-9)), Pair(60, DoubleNear(46, 1e-9))));
  EXPECT_EQ(records.at(kPhone)->start(), at(0, 10, 0, 37));
  EXPECT_EQ(records.at(kPhone)->end(), at(0, 11));
}

TEST_F(IntradayStepsFetchTest, AFailedQueryMovesNothingAndDoesNotComplete) {
  ASSERT_EQ(save(iPhone, {phoneSteps(30, at(0, 10), at(0, 10, 1))}), nullptr);
  setIntradayStepsFetchTimestamp(*session(), at(-1, 0));
  device->lock();

  EXPECT_FALSE(fetch(at(0, 10), at(0, 11)).has_value());
  EXPECT_TRUE(outbox().empty());
  EXPECT_EQ(intradayStepsFetchTimestamp(*session()), at(-1, 0));
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(IntradayStepsFetchTest, IncrementalFetchGoesBackAnHourBeforeTheLastFetchEnded) {
  ASSERT_EQ(save(watch, {watchSteps(5, at(0, 9, 10), at(0, 9, 11)),  // before the range
                         watchSteps(6, at(0, 9, 30), at(0, 9, 31)),
                         watchSteps(7, at(0, 10, 40), at(0, 10, 41))}),
            nullptr);
  clock().set(at(0, 10, 50));
  engine->setProcessIntraday(true);
  setIntradayStepsQueryTimestamp(*session(), at(0, 10, 20));
  setIntradayStepsFetchTimestamp(*session(), at(0, 10, 20));

  engine->fetchLatestIntraDaySteps();
  runUntilIdle();

  const auto watchRecord = intraday().at(kWatch);
  EXPECT_EQ(watchRecord->start(), at(0, 9, 20));
  EXPECT_EQ(watchRecord->end(), at(0, 10, 50));
  EXPECT_THAT(minutes(*watchRecord, at(0, 9, 20)), ElementsAre(Pair(600, 6), Pair(4800, 7)));
}

// Daylight-saving days in New York (23 hours on 10 March 2024, 25 on 3 November), fetched day by
// day as the historical fetch does: one step a minute from 23:00 the day before to 01:00 after.
// The parameter: the changing day's offset from the fixture's 9 March, and its hours.
class IntradayDaylightSavingTest : public IntradayStepsFetchTest,
                                   public ::testing::WithParamInterface<std::pair<long, double>> {};

TEST_P(IntradayDaylightSavingTest, EveryMinuteLandsInExactlyOneDay) {
  const fetch_test::ScopedTimeZone newYork("America/New_York", *device);
  const auto [daysAfterFixture, hours] = GetParam();
  const NSDate changing = localTime(kStart, daysAfterFixture, 0);
  const auto midnight = [&](long dayOffset) { return localTime(changing, dayOffset, 0); };
  const double minutesInSample = 60 + hours * 60 + 60;
  clock().set(localTime(changing, 3, 12));
  ASSERT_EQ(save(iPhone, {phoneSteps(minutesInSample, localTime(changing, -1, 23),
                                     localTime(changing, 1, 1))}),
            nullptr);

  std::map<long, std::size_t> minutesPerDay;
  double total = 0;
  for (long day = -1; day <= 1; ++day) {
    fetch(midnight(day), midnight(day + 1));
    for (const auto& record : outbox()) {
      const auto& intradayRecord = dynamic_cast<const OSTIntraDay&>(*record);
      if (intradayRecord.start() != midnight(day)) continue;
      for (const auto& [start, value] : intradayRecord.values()) {
        EXPECT_TRUE(start >= midnight(day) && start < midnight(day + 1));
        EXPECT_NEAR(value.value, 1, 1e-9);
        total += value.value;
      }
      minutesPerDay[day] = intradayRecord.values().size();
    }
  }
  EXPECT_THAT(minutesPerDay,
              ElementsAre(Pair(-1, 60U), Pair(0, std::size_t(hours * 60)), Pair(1, 60U)));
  EXPECT_NEAR(total, minutesInSample, 1e-6);
  // Historical fetches leave the query timestamp alone but move the fetch timestamp.
  EXPECT_EQ(intradayStepsQueryTimestamp(*session()), std::nullopt);
  EXPECT_EQ(intradayStepsFetchTimestamp(*session()), NSDate::date());
}

INSTANTIATE_TEST_SUITE_P(NewYork, IntradayDaylightSavingTest,
                         ::testing::Values(std::pair{1L, 23.0}, std::pair{239L, 25.0}));

}  // namespace
}  // namespace end_to_end
