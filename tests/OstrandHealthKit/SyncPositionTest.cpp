// Where each type's fetch resumes: anchors in both stored forms, query dates cut to the minute in
// whatever zone the process runs, and the timestamps that reach the disk only with the next save
// of an anchor or query date.

#include <gtest/gtest.h>

#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
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

TEST_F(SyncPositionTest, TimestampsReachTheDiskWithTheNextAnchorOrQueryDateSave) {
  const NSDate first = NSDate::date();
  setRoutineFetchTimestamp(current(), first);
  setIntradayStepsQueryTimestamp(current(), first);
  restartSession();  // nothing saved them
  EXPECT_EQ(routineFetchTimestamp(current()), std::nullopt);
  EXPECT_EQ(intradayStepsQueryTimestamp(current()), std::nullopt);

  setRoutineFetchTimestamp(current(), first);
  setIntradayStepsQueryTimestamp(current(), first);
  ASSERT_EQ(removeAnchorForKey(current(), weight), nullptr);  // any anchor or date change saves
  setRoutineFetchTimestamp(current(), first.dateByAddingTimeInterval(60));  // after the save
  restartSession();
  EXPECT_EQ(routineFetchTimestamp(current()), first);
  EXPECT_EQ(intradayStepsQueryTimestamp(current()), first);
}

}  // namespace
