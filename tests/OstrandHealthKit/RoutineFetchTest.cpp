// The routine fetch through the simulator: day totals that count a phone's and a watch's steps
// once, hand-entered steps told apart, the once-a-minute guard, the days a fetch covers (also
// across a daylight-saving change), category samples by day, historical fetches, and day records
// that replace rather than pile up in the outbox.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "FetchTestSupport.h"
#include "Foundation/NSDictionary.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTRoutine.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "support/NotificationCapture.h"
#include "support/SyncFixture.h"

namespace {

using fetch_test::dayText;
using fetch_test::localTime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

class RoutineFetchTest : public testing_support::SyncFixture {
 protected:
  void SetUp() override {
    SyncFixture::SetUp();
    // Noon on the fixture's local day, whatever the zone: every time below is in the past.
    clock().set(at(0, 12));
    healthApp = device->storeForSource(HKSourceRevision::sourceRevisionWithSource(
        HKSource::sourceWithName("Health", "com.apple.Health"), "17.0", "iPhone15,2",
        NSOperatingSystemVersion{17, 0, 0}));
  }

  // `hour`:`minute` local time `dayOffset` days from the fixture's day.
  static NSDate at(long dayOffset, long hour, long minute = 0) {
    return localTime(kStart, dayOffset, hour, minute);
  }
  static NSDate day(long dayOffset) { return at(dayOffset, 0); }

  static std::string key(NSDate date) {
    return "routine-user-1-com.Apple.Health.AggregateRecord-" + dayText(date);
  }

  // The routine records of the outbox by activity identifier.
  std::map<std::string, std::shared_ptr<OSTRoutine>> routines() const {
    return fetch_test::recordsBy<OSTRoutine>(
        outbox(), [](const OSTRoutine& routine) { return routine.activityID().value_or(""); });
  }
  // Steps of each day in the outbox, by day key.
  std::map<std::string, double> stepsByDay() const {
    std::map<std::string, double> totals;
    for (const auto& [day, routine] : routines()) totals[day] = routine->steps().doubleValue();
    return totals;
  }

  // Steps a person typed into the Health app.
  std::shared_ptr<const HKQuantitySample> typedSteps(double count, NSDate start, NSDate end) {
    return HKQuantitySample::quantitySampleWithType(
        stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), count), start, end,
        NSDictionary::dictionaryWithDictionary({{HKMetadataKeyWasUserEntered, true}}));
  }
  static std::shared_ptr<const HKCategorySample> category(const std::string& identifier, long value,
                                                          NSDate start, NSDate end) {
    return HKCategorySample::categorySampleWithType(
        HKObjectType::categoryTypeForIdentifier(identifier), value, start, end);
  }

  // Runs a fetch to its end; the completion's result, if it was called.
  std::optional<OSTFetchResult> fetch(const HKSampleTypeSet& types, NSDate from, NSDate to,
                                      bool historical) {
    std::optional<OSTFetchResult> result;
    engine->fetchRoutineForSampleTypes(types, from, to, historical,
                                       [&](const OSTFetchResult& r) { result = r; });
    runUntilIdle();
    return result;
  }

  // Subscribed to steps, without the observers and listeners a subscription starts.
  void subscribeToStepsQuietly() {
    authorize({}, {stepType()});
    ASSERT_EQ(setQueryDates(*session(), {{stepType(), NSDate::date()}}), nullptr);
  }

  // The Health app itself, where a person types in what no device counted.
  std::shared_ptr<HKHealthStore> healthApp;
  const OSTSampleTypePointer steps = stepType();
  const OSTSampleTypePointer standHour = sampleType(HKCategoryTypeIdentifierAppleStandHour);
  const OSTSampleTypePointer mindful = sampleType(HKCategoryTypeIdentifierMindfulSession);
};

TEST_F(RoutineFetchTest, SubscribingFetchesDayTotalsThatCountOverlappingDevicesOnce) {
  // The watch and the phone both count 10:00 to 11:00; HealthKit's merged total takes that hour
  // from the watch (500, not 1100). The phone alone counts 11:00 to 11:30 (300) and a person
  // types in 250: 1050 today, 800 of them from devices.
  ASSERT_EQ(save(iPhone, {phoneSteps(600, at(0, 10), at(0, 11)),
                          phoneSteps(300, at(0, 11), at(0, 11, 30))}),
            nullptr);
  ASSERT_EQ(save(watch, {watchSteps(500, at(0, 10), at(0, 11))}), nullptr);
  ASSERT_EQ(save(healthApp, {typedSteps(250, at(0, 8), at(0, 8, 10))}), nullptr);
  ASSERT_EQ(save(watch, {watchSteps(40, at(-1, 9), at(-1, 9, 5))}), nullptr);
  testing_support::NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  // The routine listener fires at once and fetches from yesterday's day on; the steps observer
  // fires too, and its fetch is dropped by the once-a-minute guard.
  ASSERT_TRUE(subscribe({steps}));

  const auto records = routines();
  ASSERT_THAT(stepsByDay(), UnorderedElementsAre(Pair(key(day(-1)), 40), Pair(key(day(0)), 1050)));
  const auto& today = *records.at(key(day(0)));
  EXPECT_EQ(today.extras().at("user_entered_steps").doubleValue(), 250);
  EXPECT_EQ(today.extras().at("device_generated_steps").doubleValue(), 800);
  EXPECT_EQ(records.at(key(day(-1)))->extras().at("device_generated_steps").doubleValue(), 40);

  ASSERT_EQ(processed.notifications().size(), 1U);
  const auto info = processed.notifications()[0]->userInfo();
  EXPECT_EQ(info->objectForKey("recordType").doubleValue(), 4);
  EXPECT_EQ(info->objectForKey("count").doubleValue(), 2);
  EXPECT_EQ(routineQueryTimestamp(*session()), NSDate::date());
  EXPECT_EQ(routineFetchTimestamp(*session()), NSDate::date());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(RoutineFetchTest, FetchesAtMostOnceAMinuteAndOnlyWithBothTimestamps) {
  subscribeToStepsQuietly();
  ASSERT_EQ(save(iPhone, {phoneSteps(100, at(0, 9), at(0, 9, 30))}), nullptr);
  const NSDate now = NSDate::date();
  const NSDate yesterday = day(-1);
  struct Case {
    const char* what;
    std::optional<NSDate> queried;
    std::optional<NSDate> fetched;
    bool proceeds;
  };
  const Case cases[] = {
      {"began 30 s ago", now.dateByAddingTimeInterval(-30), yesterday, false},
      {"began 59 s ago", now.dateByAddingTimeInterval(-59), yesterday, false},
      {"began in the future", now.dateByAddingTimeInterval(3600), yesterday, false},
      {"never began", std::nullopt, yesterday, false},
      {"never fetched", now.dateByAddingTimeInterval(-61), std::nullopt, false},
      {"fetched in a later day", now.dateByAddingTimeInterval(-61), day(1), false},
      {"began 61 s ago", now.dateByAddingTimeInterval(-61), yesterday, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    testing_support::NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);
    setRoutineQueryTimestamp(*session(), c.queried);
    setRoutineFetchTimestamp(*session(), c.fetched);
    engine->fetchLatestRoutine();
    runUntilIdle();
    EXPECT_EQ(processed.notifications().size(), c.proceeds ? 1U : 0U);
    EXPECT_EQ(routineQueryTimestamp(*session()), c.proceeds ? now : c.queried);
    EXPECT_EQ(routineFetchTimestamp(*session()), c.proceeds ? now : c.fetched);
  }
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(key(day(0)), 100)));
}

TEST_F(RoutineFetchTest, RefetchesFromTheDayBeforeTheLastFetchEndedUpToNow) {
  subscribeToStepsQuietly();
  // One sample a day for four days, each at 22:00; the oldest day is not due again.
  ASSERT_EQ(
      save(watch,
           {watchSteps(1, at(-3, 22), at(-3, 22, 1)), watchSteps(2, at(-2, 22), at(-2, 22, 1)),
            watchSteps(3, at(-1, 22), at(-1, 22, 1)), watchSteps(4, at(0, 8), at(0, 8, 1))}),
      nullptr);
  clock().set(at(0, 9));
  setRoutineQueryTimestamp(*session(), at(-1, 23, 30));
  setRoutineFetchTimestamp(*session(), at(-1, 23, 30));

  engine->fetchLatestRoutine();
  runUntilIdle();

  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(key(day(-2)), 2), Pair(key(day(-1)), 3),
                                                 Pair(key(day(0)), 4)));
  EXPECT_EQ(routineFetchTimestamp(*session()), at(0, 9));
}

TEST_F(RoutineFetchTest, WithoutRoutineTypesTheFetchStillEndsAndMovesOn) {
  testing_support::NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  const auto result = fetch({}, day(-1), NSDate::date(), false);

  ASSERT_TRUE(result.has_value());
  EXPECT_THAT(*result, ElementsAre(Pair(OSTRecordTypeRoutine, 0U)));
  EXPECT_EQ(routineQueryTimestamp(*session()), NSDate::date());
  EXPECT_EQ(routineFetchTimestamp(*session()), NSDate::date());
  EXPECT_THAT(processed.notifications(), IsEmpty());
  EXPECT_THAT(outbox(), IsEmpty());
  EXPECT_EQ(UIApplication::sharedApplication()->openBackgroundTaskCount(), 0U);
}

TEST_F(RoutineFetchTest, StandHoursAndMindfulMinutesGoToTheDayTheyStartIn) {
  authorize({}, {standHour, mindful});
  ASSERT_EQ(save(watch,
                 {category(HKCategoryTypeIdentifierAppleStandHour, 0, at(-1, 9), at(-1, 10)),
                  category(HKCategoryTypeIdentifierAppleStandHour, 0, at(-1, 10), at(-1, 11)),
                  category(HKCategoryTypeIdentifierAppleStandHour, 1, at(-1, 11), at(-1, 12)),
                  category(HKCategoryTypeIdentifierAppleStandHour, 0, at(-1, 12), at(-1, 13)),
                  category(HKCategoryTypeIdentifierAppleStandHour, 1, at(-1, 13), at(-1, 14)),
                  // 20 minutes from 23:50 on: yesterday's.
                  category(HKCategoryTypeIdentifierMindfulSession, 0, at(-1, 23, 50), at(0, 0, 10)),
                  // 10 and 5.5 minutes: 15.5, truncated.
                  category(HKCategoryTypeIdentifierMindfulSession, 0, at(0, 7), at(0, 7, 10)),
                  category(HKCategoryTypeIdentifierMindfulSession, 0, at(0, 8),
                           at(0, 8, 5).dateByAddingTimeInterval(30))}),
            nullptr);

  const auto result = fetch({standHour, mindful}, day(-4), NSDate::date(), true);

  const auto records = routines();
  ASSERT_EQ(records.size(), 2U);
  const auto& yesterday = records.at(key(day(-1)))->extras();
  EXPECT_EQ(yesterday.at("apple_stand_hours_stood").doubleValue(), 3);
  EXPECT_EQ(yesterday.at("apple_stand_hours_idle").doubleValue(), 2);
  EXPECT_EQ(yesterday.at("apple_mindful_session_minutes").doubleValue(), 20);
  const auto& today = records.at(key(day(0)))->extras();
  EXPECT_EQ(today.at("apple_mindful_session_minutes").doubleValue(), 15);
  EXPECT_FALSE(today.contains("apple_stand_hours_stood"));
  EXPECT_THAT(*result, ElementsAre(Pair(OSTRecordTypeRoutine, 2U)));
}

TEST_F(RoutineFetchTest, HistoricalFetchSubmitsAndCompletesButMovesNothingAndEndsAtMidnight) {
  authorize({}, {stepType(), standHour});
  ASSERT_EQ(save(watch, {watchSteps(321, at(-4, 15), at(-4, 16)),
                         watchSteps(7, at(-1, 23, 58), at(-1, 23, 59)),
                         // Would make a record of today if today were asked for.
                         category(HKCategoryTypeIdentifierAppleStandHour,
                                  HKCategoryValueAppleStandHourStood, day(0), at(0, 0, 50))}),
            nullptr);
  const NSDate earlier = at(-5, 6);
  setRoutineQueryTimestamp(*session(), earlier);
  setRoutineFetchTimestamp(*session(), earlier);
  testing_support::NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);

  const auto result = fetch({steps, standHour}, day(-3), day(0), true);

  // From the day before the start up to, not including, the day the end starts.
  ASSERT_TRUE(result.has_value());
  EXPECT_THAT(*result, ElementsAre(Pair(OSTRecordTypeRoutine, 2U)));
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(key(day(-4)), 321), Pair(key(day(-1)), 7)));
  EXPECT_EQ(routineQueryTimestamp(*session()), earlier);
  EXPECT_EQ(routineFetchTimestamp(*session()), earlier);
  EXPECT_THAT(processed.notifications(), IsEmpty());
}

TEST_F(RoutineFetchTest, DaysFetchedAgainReplaceTheirRecords) {
  authorize({}, {stepType()});
  ASSERT_EQ(save(watch, {watchSteps(100, at(-1, 9), at(-1, 10))}), nullptr);
  fetch({steps}, day(0), NSDate::date(), false);
  // The watch syncs late: yesterday grows, today gets its first steps.
  ASSERT_EQ(
      save(watch, {watchSteps(50, at(-1, 20), at(-1, 21)), watchSteps(70, at(0, 10), at(0, 11))}),
      nullptr);
  clock().advance(120);
  fetch({steps}, day(0), NSDate::date(), false);

  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(key(day(-1)), 150), Pair(key(day(0)), 70)));
  EXPECT_EQ(outbox().size(), 2U);
}

TEST_F(RoutineFetchTest, AFailedSubmissionIsLoggedAsAnError) {
  authorize({}, {stepType()});
  ASSERT_EQ(save(watch, {watchSteps(100, at(0, 9), at(0, 10))}), nullptr);
  fetch_test::restartWithFailingSubmission(*session(), kUserID, databasePath());
  testing_support::LogCapture log;

  fetch({steps}, day(0), NSDate::date(), false);

  EXPECT_EQ(
      fetch_test::levelOfLine(log, "fetchRoutineForSampleTypes cannot submit 1 routine records: "),
      OSTLog::Error);
}

// Daylight-saving days in New York: 23 hours on 10 March 2024, 25 on 3 November 2024.
struct DaylightSavingDay {
  long daysAfterFixture;  // from 9 March 2024
  const char* before;
  const char* changing;
  const char* after;
};

class RoutineFetchDaylightSavingTest : public RoutineFetchTest,
                                       public ::testing::WithParamInterface<DaylightSavingDay> {};

TEST_P(RoutineFetchDaylightSavingTest, EachDayTotalsItsOwnSteps) {
  const fetch_test::ScopedTimeZone newYork("America/New_York", *device);
  const NSDate changing = localTime(kStart, GetParam().daysAfterFixture, 0);
  const auto local = [&](long dayOffset, long hour, long minute) {
    return localTime(changing, dayOffset, hour, minute);
  };
  clock().set(local(3, 12, 0));
  authorize({}, {stepType()});
  // Just after midnight and just before the next one: a day taken as 24 hours would put one of
  // them in the wrong day.
  ASSERT_EQ(save(watch, {watchSteps(10, local(-1, 23, 30), local(-1, 23, 40)),
                         watchSteps(20, local(0, 0, 30), local(0, 0, 40)),
                         watchSteps(30, local(0, 23, 30), local(0, 23, 40)),
                         watchSteps(40, local(1, 0, 30), local(1, 0, 40)),
                         watchSteps(50, local(2, 0, 30), local(2, 0, 40))}),
            nullptr);

  fetch({steps}, changing, local(2, 0, 0), true);

  const std::string prefix = "routine-user-1-com.Apple.Health.AggregateRecord-";
  EXPECT_THAT(stepsByDay(), UnorderedElementsAre(Pair(prefix + GetParam().before, 10),
                                                 Pair(prefix + GetParam().changing, 50),
                                                 Pair(prefix + GetParam().after, 40)));
}

INSTANTIATE_TEST_SUITE_P(
    NewYork, RoutineFetchDaylightSavingTest,
    ::testing::Values(DaylightSavingDay{1, "2024-3-9", "2024-3-10", "2024-3-11"},
                      DaylightSavingDay{239, "2024-11-2", "2024-11-3", "2024-11-4"}));

}  // namespace
