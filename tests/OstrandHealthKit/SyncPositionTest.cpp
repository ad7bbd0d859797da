// Where each type's fetch resumes: anchors in both stored forms, query dates cut to the minute in
// whatever zone the process runs, and the routine timestamps, which the engine never asks to save,
// across a week of relaunches.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "SyncEndToEndSupport.h"
#include "support/NotificationCapture.h"
#include "support/SessionFixture.h"

namespace {

class SyncPositionTest : public testing_support::SessionFixture {
 protected:
  OSTSession& current() { return *session(); }

  const OSTSampleTypePointer weight =
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBodyMass);
};

TEST_F(SyncPositionTest, QueryDatesAreStoredAsTheWholeLocalMinute) {
  const auto calendar = ost_gregorianCalendar();
  // 23:59:59.999 on the fixture's local day.
  auto components = calendar->components(
      NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay, NSDate::date());
  components.setHour(23);
  components.setMinute(59);
  components.setSecond(59);
  const NSDate lateInTheDay =
      calendar->dateFromComponents(components)->dateByAddingTimeInterval(0.999);

  ASSERT_EQ(setQueryDate(current(), lateInTheDay, weight), nullptr);
  restartSession();

  // 23:59:00 of the same day.
  EXPECT_NEAR(queryDateForKey(current(), weight).timeIntervalSinceDate(lateInTheDay), -59.999,
              1e-6);
}

TEST_F(SyncPositionTest, AnchorsReadBackFromEitherStoredForm) {
  const auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
  ASSERT_EQ(setAnchors(current(), {{weight, std::uint64_t{0}}, {steps, std::uint64_t{17}}}),
            nullptr);
  EXPECT_EQ(anchorForKey(current(), weight), nullptr);  // 0: start from the beginning
  // A missing new anchor keeps the stored one.
  ASSERT_EQ(setAnchor(current(), nullptr, steps), nullptr);
  restartSession();
  ASSERT_NE(anchorForKey(current(), steps), nullptr);
  EXPECT_TRUE(anchorForKey(current(), steps)->isEqual(*HKQueryAnchor::anchorFromValue(17)));
}

using RoutineRelaunchTest = end_to_end::SyncEndToEndFixture;

// A user who shares only steps: nothing but the routine fetch moves, and it saves nothing itself.
// The app is woken every hour for a week, in the background, and killed after each wake once it
// has finished.
TEST_F(RoutineRelaunchTest, EveryRelaunchResumesTheRoutineFetchWhereTheLastOneStopped) {
  clock().set(at(0, 9));
  authorize({}, {steps});
  const auto app = UIApplication::sharedApplication();
  app->setApplicationState(UIApplicationStateBackground);
  ASSERT_TRUE(subscribe({steps}));
  NSDate lastFetch = NSDate::date();
  testing_support::NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);
  std::map<std::string, double> expected;
  long long mostDays = 0;
  for (int hour = 1; hour <= 7 * 24; ++hour) {
    const NSDate wake = at(0, 9).dateByAddingTimeInterval(3600.0 * hour);
    SCOPED_TRACE("wake " + std::to_string(hour));
    ASSERT_EQ(app->openBackgroundTaskCount(), 0U);  // done: the system may end the process
    device->stopAllQueries();
    runUntilIdle();
    // While the app is not running, the watch records a walk.
    const NSDate walked = wake.dateByAddingTimeInterval(-40 * 60);
    saveAt(walked, watch, {watchSteps(100, walked.dateByAddingTimeInterval(-600), walked)});
    expected[routineKey(walked)] += 100;

    clock().set(wake);
    restartSession();
    ASSERT_EQ(routineFetchTimestamp(*session()), lastFetch);
    engine = std::make_shared<OSTHealthKitManager>(session());
    engine->observeCurrentSubscriptions();
    runUntilIdle();
    ASSERT_EQ(routineFetchTimestamp(*session()), wake);
    lastFetch = wake;
    // The day before the last fetch's day, that day and today at most, however long the week
    // behind: no range that grows with every relaunch.
    ASSERT_FALSE(processed.notifications().empty());
    mostDays = std::max(
        mostDays,
        processed.notifications().back()->userInfo()->objectForKey("count").integerValue());
  }
  EXPECT_LE(mostDays, 3);
  EXPECT_EQ(stepsByDay(), expected);
}

}  // namespace
