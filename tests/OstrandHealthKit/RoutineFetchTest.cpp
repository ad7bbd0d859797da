// The routine fetch through the simulator: a phone's and a watch's steps counted once and
// hand-entered steps told apart, the once-a-minute guard of both incremental fetches (routine and
// intraday steps), the days a fetch covers, and historical fetches. Daylight-saving days are
// synced end to end in SyncEndToEndEdgesTest.cpp.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "Foundation/NSDictionary.h"
#include "HealthKit/HKMetadata.h"
#include "SyncEndToEndSupport.h"
#include "support/NotificationCapture.h"

namespace end_to_end {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

class RoutineFetchTest : public SyncEndToEndFixture {
 protected:
  void SetUp() override {
    SyncEndToEndFixture::SetUp();
    // Noon on the fixture's local day, whatever the zone: every time below is in the past.
    clock().set(at(0, 12));
    authorize({}, {stepType()});
  }

  static NSDate day(long dayOffset) { return at(dayOffset, 0); }

  std::optional<OSTFetchResult> fetch(const HKSampleTypeSet& types, NSDate from, NSDate to,
                                      bool historical) {
    std::optional<OSTFetchResult> result;
    engine->fetchRoutineForSampleTypes(types, from, to, historical,
                                       [&](const OSTFetchResult& r) { result = r; });
    runUntilIdle();
    return result;
  }
};

TEST_F(RoutineFetchTest, OverlappingDevicesCountOnceAndTypedStepsAreToldApart) {
  // Both count 10:00 to 11:00 (the watch's 500 stand for it), the phone alone 11:00 to 11:30
  // (300), and a person types 250 into the phone's Health app: 1050, 800 of them from devices.
  const auto typed = HKQuantitySample::quantitySampleWithType(
      stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), 250), at(0, 8), at(0, 8, 10),
      NSDictionary::dictionaryWithDictionary({{HKMetadataKeyWasUserEntered, true}}));
  ASSERT_EQ(save(iPhone, {phoneSteps(600, at(0, 10), at(0, 11)),
                          phoneSteps(300, at(0, 11), at(0, 11, 30)), typed}),
            nullptr);
  ASSERT_EQ(save(watch, {watchSteps(500, at(0, 10), at(0, 11))}), nullptr);

  fetch({steps}, day(0), NSDate::date(), false);

  const auto today = routines().at(routineKey(day(0)));
  EXPECT_EQ(today->steps().doubleValue(), 1050);
  EXPECT_EQ(today->extras().at("user_entered_steps").doubleValue(), 250);
  EXPECT_EQ(today->extras().at("device_generated_steps").doubleValue(), 800);
}

TEST_F(RoutineFetchTest,
       IncrementalFetchesRunOnceAMinuteWithBothTimestampsAndRoutineRefetchesThreeDays) {
  ASSERT_EQ(setQueryDates(*session(), {{stepType(), NSDate::date()}}), nullptr);
  // One sample a day for four days: the routine fetch that proceeds, last fetched yesterday 23:30,
  // covers the day before yesterday up to now.
  ASSERT_EQ(
      save(watch,
           {watchSteps(1, at(-3, 22), at(-3, 22, 1)), watchSteps(2, at(-2, 22), at(-2, 22, 1)),
            watchSteps(3, at(-1, 22), at(-1, 22, 1)), watchSteps(4, at(0, 8), at(0, 8, 1))}),
      nullptr);
  const NSDate now = NSDate::date();
  const NSDate lastNight = at(-1, 23, 30);
  const auto ago = [&](NSTimeInterval seconds) -> std::optional<NSDate> {
    return now.dateByAddingTimeInterval(-seconds);
  };
  struct Case {
    const char* what;
    bool intraday;
    std::optional<NSDate> queried;
    std::optional<NSDate> fetched;
    bool proceeds;
    bool switchedOn = true;  // processIntraday
  };
  const Case cases[] = {
      {"routine began 30 s ago", false, ago(30), lastNight, false},
      {"routine began 59 s ago", false, ago(59), lastNight, false},
      {"routine began in the future", false, ago(-3600), lastNight, false},
      {"routine never began", false, std::nullopt, lastNight, false},
      {"routine never fetched", false, ago(61), std::nullopt, false},
      {"routine fetched in a later day", false, ago(61), day(1), false},
      {"routine began 61 s ago", false, ago(61), lastNight, true},
      {"intraday switched off", true, ago(3600), at(0, 11), false, false},
      {"intraday began 59 s ago", true, ago(59), at(0, 11), false},
      {"intraday never began", true, std::nullopt, at(0, 11), false},
      {"intraday began 61 s ago", true, ago(61), at(0, 11), true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    engine->setProcessIntraday(c.switchedOn);
    (c.intraday ? setIntradayStepsQueryTimestamp : setRoutineQueryTimestamp)(*session(), c.queried);
    (c.intraday ? setIntradayStepsFetchTimestamp : setRoutineFetchTimestamp)(*session(), c.fetched);
    c.intraday ? engine->fetchLatestIntraDaySteps() : engine->fetchLatestRoutine();
    runUntilIdle();
    EXPECT_EQ((c.intraday ? intradayStepsQueryTimestamp : routineQueryTimestamp)(*session()),
              c.proceeds ? now : c.queried);
    EXPECT_EQ((c.intraday ? intradayStepsFetchTimestamp : routineFetchTimestamp)(*session()),
              c.proceeds ? now : c.fetched);
  }
  EXPECT_THAT(stepsByDay(),
              UnorderedElementsAre(Pair(routineKey(day(-2)), 2), Pair(routineKey(day(-1)), 3),
                                   Pair(routineKey(day(0)), 4)));
}

TEST_F(RoutineFetchTest, HistoricalFetchSubmitsAndCompletesButMovesNothingAndEndsAtMidnight) {
  ASSERT_EQ(save(watch, {watchSteps(321, at(-4, 15), at(-4, 16)),
                         watchSteps(7, at(-1, 23, 58), at(-1, 23, 59)),
                         // Would make a record of today if today were asked for.
                         watchSteps(9, day(0), at(0, 0, 10))}),
            nullptr);
  const NSDate earlier = at(-5, 6);
  setRoutineQueryTimestamp(*session(), earlier);
  setRoutineFetchTimestamp(*session(), earlier);
  testing_support::NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  const auto result = fetch({steps}, day(-3), day(0), true);

  // From the day before the start up to, not including, the day the end starts.
  ASSERT_TRUE(result.has_value());
  EXPECT_THAT(*result, ElementsAre(Pair(OSTRecordTypeRoutine, 2U)));
  EXPECT_THAT(stepsByDay(),
              UnorderedElementsAre(Pair(routineKey(day(-4)), 321), Pair(routineKey(day(-1)), 7)));
  EXPECT_EQ(routineQueryTimestamp(*session()), earlier);
  EXPECT_EQ(routineFetchTimestamp(*session()), earlier);
  EXPECT_THAT(processed.notifications(), IsEmpty());
}

}  // namespace
}  // namespace end_to_end
