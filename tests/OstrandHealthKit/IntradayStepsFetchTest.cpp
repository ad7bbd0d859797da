// The intraday steps fetch through the simulator: one record per source with its own minute
// counts, minutes counted from the start of the range, the incremental fetch's switch, guard and
// hour of overlap, an empty range, a locked phone, and daylight-saving days fetched day by day
// with every minute in exactly one day.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "FetchTestSupport.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "support/SyncFixture.h"

namespace {

using fetch_test::localTime;
using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::Pair;

// Bundle identifiers of the fixture's phone and watch.
const std::string kPhone = "com.apple.health.5B3C2A10-6E1F-4C53-9D0B-7A1C2E3F4A5B";
const std::string kWatch = "com.apple.health.0D6E8F21-3B4A-4E7C-8A9D-1F2E3C4B5A69";

class IntradayStepsFetchTest : public testing_support::SyncFixture {
 protected:
  void SetUp() override {
    SyncFixture::SetUp();
    clock().set(at(0, 12));
    authorize({}, {stepType()});
  }

  static NSDate at(long dayOffset, long hour, long minute = 0, long second = 0) {
    return localTime(kStart, dayOffset, hour, minute, second);
  }

  // The intraday records of the outbox by source.
  std::map<std::string, std::shared_ptr<OSTIntraDay>> intraday() const {
    return fetch_test::recordsBy<OSTIntraDay>(
        outbox(), [](const OSTIntraDay& steps) { return steps.deviceSource().value_or(""); });
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

  // Runs a fetch to its end; the completion's result, if it was called.
  std::optional<OSTFetchResult> fetch(NSDate from, NSDate to, bool historical) {
    std::optional<OSTFetchResult> result;
    engine->fetchIntradayForStepsFromDate(from, to, historical,
                                          [&](const OSTFetchResult& r) { result = r; });
    runUntilIdle();
    return result;
  }
};

TEST_F(IntradayStepsFetchTest, EachSourceGetsItsOwnRecordWithItsOwnMinutes) {
  ASSERT_EQ(save(iPhone, {phoneSteps(30, at(0, 10), at(0, 10, 1)),
                          phoneSteps(12, at(0, 10, 5), at(0, 10, 6))}),
            nullptr);
  ASSERT_EQ(save(watch, {watchSteps(20, at(0, 10), at(0, 10, 1))}), nullptr);

  const auto result = fetch(at(0, 10), at(0, 11), true);

  ASSERT_TRUE(result.has_value());
  EXPECT_THAT(*result, ElementsAre(Pair(OSTRecordTypeIntraday, 2U)));
  const auto records = intraday();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_THAT(minutes(*records.at(kPhone), at(0, 10)), ElementsAre(Pair(0, 30), Pair(300, 12)));
  EXPECT_THAT(minutes(*records.at(kWatch), at(0, 10)), ElementsAre(Pair(0, 20)));
  const auto& phone = *records.at(kPhone);
  EXPECT_EQ(phone.sourcePeripheral(), kPhone);
  EXPECT_EQ(phone.start(), at(0, 10));
  EXPECT_EQ(phone.end(), at(0, 11));
  EXPECT_EQ(phone.timestamp(), NSDate::date());
}

TEST_F(IntradayStepsFetchTest, MinutesAreCountedFromTheStartOfTheRange) {
  // 60 steps from 10:01:00 to 10:02:00, fetched from 10:00:37: 37 of them fall in the minute
  // from 10:00:37, 23 in the one from 10:01:37.
  ASSERT_EQ(save(iPhone, {phoneSteps(60, at(0, 10, 1), at(0, 10, 2))}), nullptr);

  fetch(at(0, 10, 0, 37), at(0, 10, 30), true);

  const auto records = intraday();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_THAT(minutes(*records.at(kPhone), at(0, 10, 0, 37)),
              ElementsAre(Pair(0, DoubleNear(37, 1e-9)), Pair(60, DoubleNear(23, 1e-9))));
}

TEST_F(IntradayStepsFetchTest, AnEmptyRangeReportsNoRecordsAndStillMovesTheFetchTimestamp) {
  const NSDate before = at(-1, 0);
  setIntradayStepsFetchTimestamp(*session(), before);
  setIntradayStepsQueryTimestamp(*session(), before);

  const auto result = fetch(at(0, 9), at(0, 10), false);

  ASSERT_TRUE(result.has_value());
  EXPECT_THAT(*result, ElementsAre(Pair(OSTRecordTypeIntraday, 0U)));
  EXPECT_TRUE(outbox().empty());
  EXPECT_EQ(intradayStepsFetchTimestamp(*session()), NSDate::date());
  EXPECT_EQ(intradayStepsQueryTimestamp(*session()), NSDate::date());
}

TEST_F(IntradayStepsFetchTest, AFailedQueryMovesNothingAndDoesNotComplete) {
  ASSERT_EQ(save(iPhone, {phoneSteps(30, at(0, 10), at(0, 10, 1))}), nullptr);
  const NSDate before = at(-1, 0);
  setIntradayStepsFetchTimestamp(*session(), before);
  device->lock();

  const auto result = fetch(at(0, 10), at(0, 11), true);

  EXPECT_FALSE(result.has_value());
  EXPECT_TRUE(outbox().empty());
  EXPECT_EQ(intradayStepsFetchTimestamp(*session()), before);
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(IntradayStepsFetchTest, IncrementalFetchIsSwitchedGuardedAndGoesBackAnHour) {
  ASSERT_EQ(save(watch, {watchSteps(5, at(0, 9, 10), at(0, 9, 11)),  // before the range
                         watchSteps(6, at(0, 9, 30), at(0, 9, 31)),
                         watchSteps(7, at(0, 10, 40), at(0, 10, 41))}),
            nullptr);
  clock().set(at(0, 10, 50));
  const NSDate now = NSDate::date();
  struct Case {
    const char* what;
    bool processIntraday;
    NSTimeInterval queriedAgo;
    bool proceeds;
  };
  const Case cases[] = {
      {"switched off", false, 3600, false},
      {"began 59 s ago", true, 59, false},
      {"began 61 s ago", true, 61, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    engine->setProcessIntraday(c.processIntraday);
    const NSDate queried = now.dateByAddingTimeInterval(-c.queriedAgo);
    setIntradayStepsQueryTimestamp(*session(), queried);
    setIntradayStepsFetchTimestamp(*session(), at(0, 10, 20));
    engine->fetchLatestIntraDaySteps();
    runUntilIdle();
    EXPECT_EQ(intradayStepsQueryTimestamp(*session()), c.proceeds ? now : queried);
    EXPECT_EQ(outbox().size(), c.proceeds ? 1U : 0U);
  }
  // From 09:20, an hour before the last fetch ended, to now.
  const auto records = intraday();
  ASSERT_EQ(records.count(kWatch), 1U);
  const auto& watchRecord = *records.at(kWatch);
  EXPECT_EQ(watchRecord.start(), at(0, 9, 20));
  EXPECT_EQ(watchRecord.end(), now);
  EXPECT_THAT(minutes(watchRecord, at(0, 9, 20)), ElementsAre(Pair(600, 6), Pair(4800, 7)));
}

TEST_F(IntradayStepsFetchTest, AFailedSubmissionIsLoggedAsAnError) {
  ASSERT_EQ(save(iPhone, {phoneSteps(30, at(0, 10), at(0, 10, 1))}), nullptr);
  fetch_test::restartWithFailingSubmission(*session(), kUserID, databasePath());
  testing_support::LogCapture log;

  fetch(at(0, 10), at(0, 11), true);

  EXPECT_EQ(fetch_test::levelOfLine(
                log, "fetchIntradayForStepsFromDate cannot submit 1 intraday records: "),
            OSTLog::Error);
}

// Daylight-saving days in New York, fetched day by day as the historical fetch does: one sample
// of one step a minute from 23:00 the day before to 01:00 the day after.
struct DaylightSavingDay {
  long daysAfterFixture;  // the changing day, from 9 March 2024
  double hours;           // its length
};

class IntradayDaylightSavingTest : public IntradayStepsFetchTest,
                                   public ::testing::WithParamInterface<DaylightSavingDay> {};

TEST_P(IntradayDaylightSavingTest, EveryMinuteLandsInExactlyOneDay) {
  const fetch_test::ScopedTimeZone newYork("America/New_York", *device);
  const NSDate changing = localTime(kStart, GetParam().daysAfterFixture, 0);
  const auto midnight = [&](long dayOffset) { return localTime(changing, dayOffset, 0); };
  const double minutesInSample = 60 + GetParam().hours * 60 + 60;
  clock().set(localTime(changing, 3, 12));
  ASSERT_EQ(save(iPhone, {phoneSteps(minutesInSample, localTime(changing, -1, 23),
                                     localTime(changing, 1, 1))}),
            nullptr);

  std::map<long, std::size_t> minutesPerDay;
  double total = 0;
  for (long day = -1; day <= 1; ++day) {
    fetch(midnight(day), midnight(day + 1), true);
    for (const auto& record : outbox()) {
      const auto& steps = dynamic_cast<const OSTIntraDay&>(*record);
      if (steps.start() != midnight(day)) continue;
      for (const auto& [start, value] : steps.values()) {
        EXPECT_GE(start, midnight(day));
        EXPECT_LT(start, midnight(day + 1));
        EXPECT_NEAR(value.value, 1, 1e-9);
        total += value.value;
      }
      minutesPerDay[day] = steps.values().size();
    }
  }
  const auto minutesOfChangingDay = static_cast<std::size_t>(GetParam().hours * 60);
  EXPECT_THAT(minutesPerDay,
              ElementsAre(Pair(-1, 60U), Pair(0, minutesOfChangingDay), Pair(1, 60U)));
  EXPECT_NEAR(total, minutesInSample, 1e-6);
  // Historical fetches leave the query timestamp alone but move the fetch timestamp.
  EXPECT_EQ(intradayStepsQueryTimestamp(*session()), std::nullopt);
  EXPECT_EQ(intradayStepsFetchTimestamp(*session()), NSDate::date());
}

INSTANTIATE_TEST_SUITE_P(NewYork, IntradayDaylightSavingTest,
                         ::testing::Values(DaylightSavingDay{1, 23}, DaylightSavingDay{239, 25}));

}  // namespace
