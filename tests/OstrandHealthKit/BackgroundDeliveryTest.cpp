// Background wakes as a phone gives them: HealthKit wakes a suspended app at most once an hour per
// type (the frequency the engine asks for) and holds the changes in between. A storm of saves
// while the app is in the background must end with every reading in the outbox exactly once and
// never more than one anchored query per type.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "HealthKit/UIKit/UIApplication.h"
#include "RecordTestSupport.h"
#include "support/NotificationCapture.h"
#include "support/SyncFixture.h"

namespace {

using testing_support::NotificationCapture;

class BackgroundDeliveryTest : public testing_support::SyncFixture {
 protected:
  static HKQuantitySample::Pointer weighing(double kg, NSDate when) {
    return testing_support::measurement(HKQuantityTypeIdentifierBodyMass, kg, "kg", when);
  }

  // Records announced by the engine's notifications, summed.
  static long announced(const NotificationCapture& capture) {
    long total = 0;
    for (const auto& note : capture.notifications()) {
      total += note->userInfo()->objectForKey("count").integerValue();
    }
    return total;
  }

  // The distinct activity identifiers of the outbox's weight records, and how many records.
  std::pair<std::set<std::string>, std::size_t> weightRecords() const {
    std::set<std::string> identifiers;
    std::size_t count = 0;
    for (const auto& record : outbox()) {
      if (record->recordType() != OSTRecordTypeWeight) continue;
      identifiers.insert(record->activityID().value_or(""));
      ++count;
    }
    return {identifiers, count};
  }

  const OSTSampleTypePointer weight = sampleType(HKQuantityTypeIdentifierBodyMass);
};

TEST_F(BackgroundDeliveryTest, AStormOfSavesSubmitsEveryReadingOnceThroughOneQuery) {
  NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);
  ASSERT_TRUE(subscribe({weight}));
  // A first reading in the foreground gives the type its anchor (the first fetch reads readings
  // ending from the subscription's first fetch up to now).
  clock().advance(60);
  ASSERT_EQ(save(iPhone, {weighing(70.0, at(0.5))}), nullptr);
  ASSERT_EQ(weightRecords().second, 1U);

  // A thousand readings in fifty minutes while the app is suspended, one save each.
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  constexpr int kStorm = 1000;
  for (int i = 0; i < kStorm; ++i) {
    clock().advance(3);
    ASSERT_EQ(save(iPhone, {weighing(70.0 + i * 0.001, NSDate::date())}), nullptr);
    ASSERT_LE(engine->anchorQueries()->size(), 1U) << "after save " << i;
  }
  // An hour after the storm began the next change wakes the app again.
  clock().advance(3600);
  ASSERT_EQ(save(watch, {weighing(69.0, NSDate::date())}), nullptr);
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateActive);
  runUntilIdle();

  const auto [identifiers, count] = weightRecords();
  EXPECT_EQ(count, 1U + kStorm + 1U);
  EXPECT_EQ(identifiers.size(), count);                       // no reading under two identities
  EXPECT_EQ(announced(processed), static_cast<long>(count));  // none submitted twice
  EXPECT_LE(engine->anchorQueries()->size(), 1U);
  // HealthKit woke the suspended app twice: at the storm's first save and an hour later.
  std::size_t backgroundWakes = 0;
  for (const auto& wake : device->observerInvocations()) backgroundWakes += wake.inBackground;
  EXPECT_EQ(backgroundWakes, 2U);
  // The observer and at most one anchored query of the type: nothing left over from the storm.
  EXPECT_LE(device->runningQueryCount(), 2U);
}

}  // namespace
