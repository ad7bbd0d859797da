// The anchored sample fetch through the simulator, from an empty session database: what reaches
// the outbox, how the anchor and query date move, the long-running query, heart rate during
// workouts, historical fetches, a locked iPhone and failed submissions. An iPhone and an Apple
// Watch write the data; the engine's observers fire on every save, as on a phone.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/HKWorkout.h"
#include "OstrandCore/OSTFitness.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "support/FaultInjectingStore.h"
#include "support/LogCapture.h"
#include "support/NotificationCapture.h"
#include "support/SyncFixture.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class SampleFetchTest : public testing_support::SyncFixture {
 protected:
  void SetUp() override {
    SyncFixture::SetUp();
    // Fetches start when data is saved (or the test asks), not when observers are installed.
    device->setObserverQueriesFireOnExecute(false);
  }

  static std::shared_ptr<const HKQuantityType> quantityType(const std::string& identifier) {
    return HKObjectType::quantityTypeForIdentifier(identifier);
  }
  static std::shared_ptr<const HKQuantitySample> sample(const std::string& identifier,
                                                        const char* unit, double value,
                                                        NSDate start, NSDate end) {
    return HKQuantitySample::quantitySampleWithType(
        quantityType(identifier), HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value),
        start, end);
  }
  static std::shared_ptr<const HKQuantitySample> weighing(double kg, NSDate end) {
    return sample(HKQuantityTypeIdentifierBodyMass, "kg", kg, end, end);
  }
  static std::shared_ptr<const HKQuantitySample> pulse(double bpm, NSDate start) {
    return sample(HKQuantityTypeIdentifierHeartRate, "count/min", bpm, start, start);
  }
  static std::shared_ptr<const HKWorkout> run(NSDate start, NSDate end) {
    return HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning, start, end);
  }

  OSTSampleTypePointer weight = sampleType(HKQuantityTypeIdentifierBodyMass);
  OSTSampleTypePointer workouts = sampleType(HKWorkoutTypeIdentifier);
  OSTSampleTypePointer heartRate = sampleType(HKQuantityTypeIdentifierHeartRate);

  // The outbox's records of one kind, oldest first.
  std::vector<std::shared_ptr<OSTRecord>> outboxOf(OSTRecordType kind) const {
    std::vector<std::shared_ptr<OSTRecord>> records;
    for (const auto& record : outbox()) {
      if (record->recordType() == kind) records.push_back(record);
    }
    return records;
  }
  // The heart-rate extras of a workout record: {avg, min, max}, nil where missing.
  static std::vector<NSAny> heartRateExtras(const OSTRecord& record) {
    std::vector<NSAny> values;
    for (const char* key : {"avg_heart_rate", "min_heart_rate", "max_heart_rate"}) {
      const auto found = record.extras().find(key);
      values.push_back(found == record.extras().end() ? NSAny() : found->second);
    }
    return values;
  }
  static std::vector<NSAny> extras(double avg, double min, double max) { return {avg, min, max}; }

  OSTSession& current() { return *session(); }
  NSDate todayStart() const { return *ost_gregorianCalendar()->startOfDayForDate(NSDate::date()); }
  // Whether the type's stored anchor is (a copy of) `anchor`.
  bool anchorIs(const OSTSampleTypePointer& type,
                const std::shared_ptr<const HKQueryAnchor>& anchor) {
    const auto stored = anchorForKey(current(), type);
    return stored && anchor && *stored == *anchor;
  }

  testing_support::NotificationCapture processed{kOSTHealthKitRecordsProcessedNotification};
};

TEST_F(SampleFetchTest,
       PredicateLeavesOutCorrelationMembersAndAppliesTheWindowOnlyWithoutAnAnchor) {
  const auto systolic = sampleType(HKQuantityTypeIdentifierBloodPressureSystolic);
  const auto sleep = sampleType(HKCategoryTypeIdentifierSleepAnalysis);
  const auto anchor = HKQueryAnchor::anchorFromValue(7);
  const NSDate from = at(-60), to = at(0);
  const auto pressure = [](NSDate end) {
    return sample(HKQuantityTypeIdentifierBloodPressureSystolic, "mmHg", 120, end, end);
  };
  // A member points back to its correlation while the correlation lives.
  const auto reading = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure), at(-30),
      at(-30),
      {pressure(at(-30)),
       sample(HKQuantityTypeIdentifierBloodPressureDiastolic, "mmHg", 80, at(-30), at(-30))});
  const auto& member = reading->objects().front();
  const auto night = [&](NSDate end) {
    return HKCategorySample::categorySampleWithType(
        HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis),
        HKCategoryValueSleepAnalysisInBed, end.dateByAddingTimeInterval(-3600), end);
  };

  const auto windowed = engine->predicateForType(systolic, from, to, nullptr);
  ASSERT_NE(windowed, nullptr);
  EXPECT_TRUE(windowed->evaluateWithObject(*pressure(from)));  // the window's start is inside
  EXPECT_FALSE(windowed->evaluateWithObject(*pressure(to)));   // its end is not
  EXPECT_FALSE(windowed->evaluateWithObject(*pressure(at(-61))));
  EXPECT_FALSE(windowed->evaluateWithObject(*member));

  // With an anchor only the correlation filter is left: a late-saved old sample still comes.
  const auto anchored = engine->predicateForType(systolic, from, to, anchor);
  ASSERT_NE(anchored, nullptr);
  EXPECT_TRUE(anchored->evaluateWithObject(*pressure(at(-24 * 60))));
  EXPECT_FALSE(anchored->evaluateWithObject(*member));

  // Category and workout types have no correlation filter.
  EXPECT_EQ(engine->predicateForType(sleep, from, to, anchor), nullptr);
  EXPECT_EQ(engine->predicateForType(workouts, from, to, anchor), nullptr);
  EXPECT_EQ(engine->predicateForType(sleep, from, std::nullopt, nullptr), nullptr);
  const auto sleepWindow = engine->predicateForType(sleep, from, to, nullptr);
  ASSERT_NE(sleepWindow, nullptr);
  EXPECT_TRUE(sleepWindow->evaluateWithObject(*night(at(-1))));
  EXPECT_FALSE(sleepWindow->evaluateWithObject(*night(at(-61))));
}

TEST_F(SampleFetchTest, FirstFetchReadsItsWindowOnceThenALongRunningQueryDeliversEachSaveOnce) {
  ASSERT_TRUE(subscribe({weight}));
  const auto inWindow = weighing(70.2, at(-30));
  // Saved now, but ending before today's query date: not part of the first window.
  ASSERT_EQ(save(iPhone, {weighing(71, todayStart().dateByAddingTimeInterval(-60)), inWindow}),
            nullptr);

  auto weights = outboxOf(OSTRecordTypeWeight);
  ASSERT_THAT(weights, SizeIs(1));
  EXPECT_EQ(weights[0]->activityID(), inWindow->UUID().UUIDString());
  EXPECT_EQ(weights[0]->valueForKey("weight"), NSAny(70.2));
  EXPECT_THAT(*engine->anchorQueries(), IsEmpty());  // one-shot
  EXPECT_NE(anchorForKey(current(), weight), nullptr);
  EXPECT_EQ(queryDateForKey(current(), weight), NSDate::date());
  ASSERT_THAT(processed.notifications(), SizeIs(1));
  EXPECT_EQ(processed.notifications()[0]->userInfo()->objectForKey("recordType"),
            NSAny(OSTRecordTypeWeight));
  EXPECT_EQ(processed.notifications()[0]->userInfo()->objectForKey("count"), NSAny(1));

  // From the anchor on the fetch keeps running.
  clock().advance(600);
  engine->fetchLatestData();
  runUntilIdle();
  ASSERT_TRUE(engine->anchorQueries()->contains(weight));
  const auto running = device->runningQueryCount();

  // A second fetch meanwhile does nothing, not even call its completion.
  bool completed = false;
  engine->fetchSampleType(weight, nullptr, NSDate::date(), false, anchorForKey(current(), weight),
                          [&](const OSTFetchResult&) { completed = true; });
  runUntilIdle();
  EXPECT_FALSE(completed);
  EXPECT_EQ(device->runningQueryCount(), running);

  // A later save, even one with an old date, arrives through the running query, once.
  ASSERT_EQ(save(watch, {weighing(69.8, at(-120))}), nullptr);
  EXPECT_THAT(outboxOf(OSTRecordTypeWeight), SizeIs(2));
  EXPECT_THAT(processed.notifications(), SizeIs(2));
}

TEST_F(SampleFetchTest, BatchWithoutSamplesMovesOnlyTheQueryDate) {
  const auto sleep = sampleType(HKCategoryTypeIdentifierSleepAnalysis);
  ASSERT_TRUE(subscribe({sleep}));
  testing_support::LogCapture log;
  clock().advance(90.5);
  std::optional<OSTFetchResult> result;
  engine->fetchSampleType(sleep, nullptr, NSDate::date(), false, nullptr,
                          [&](const OSTFetchResult& summary) { result = summary; });
  runUntilIdle();

  EXPECT_EQ(result, (OSTFetchResult{{OSTRecordTypeSleep, 0}}));
  EXPECT_EQ(queryDateForKey(current(), sleep), at(1));  // the whole minute
  EXPECT_EQ(anchorForKey(current(), sleep), nullptr);
  EXPECT_THAT(outbox(), IsEmpty());
  EXPECT_THAT(processed.notifications(), IsEmpty());
  EXPECT_THAT(log.lines(),
              Contains(HasSubstr("fetchSampleType Sample Objects recieved: {7 = 0;}")));
}

TEST_F(SampleFetchTest, BloodPressureIsOneRecordAndItsMembersAreNotSentAgain) {
  ASSERT_TRUE(subscribe({sampleType(HKCorrelationTypeIdentifierBloodPressure)}));
  const auto reading = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure), at(-20),
      at(-20),
      {sample(HKQuantityTypeIdentifierBloodPressureSystolic, "mmHg", 124, at(-20), at(-20)),
       sample(HKQuantityTypeIdentifierBloodPressureDiastolic, "mmHg", 82, at(-20), at(-20))});
  // A systolic pressure taken alone is a record of its own.
  const auto alone =
      sample(HKQuantityTypeIdentifierBloodPressureSystolic, "mmHg", 118, at(-10), at(-10));
  ASSERT_EQ(save(iPhone, {reading, alone}), nullptr);

  const auto records = outboxOf(OSTRecordTypeBiometrics);
  ASSERT_THAT(records, SizeIs(2));
  for (const auto& record : records) {
    const bool isReading = record->activityID() == reading->UUID().UUIDString();
    EXPECT_TRUE(isReading || record->activityID() == alone->UUID().UUIDString());
    EXPECT_EQ(record->valueForKey("systolic"), NSAny(isReading ? 124.0 : 118.0));
    EXPECT_EQ(record->valueForKey("diastolic"), isReading ? NSAny(82.0) : NSAny());
  }
}

TEST_F(SampleFetchTest, WorkoutsGetHeartRateOnlyWhileHeartRateIsSubscribed) {
  authorize({}, {heartRate});  // readable either way: only the subscription decides
  ASSERT_TRUE(subscribe({workouts}));
  // A pulse at the start counts; one starting exactly at the end is not among HealthKit's
  // samples during the workout.
  ASSERT_EQ(save(watch, {pulse(40, at(-61)), pulse(100, at(-60)), pulse(120, at(-45)),
                         pulse(200, at(-30))}),
            nullptr);
  const auto before = run(at(-60), at(-30));
  ASSERT_EQ(save(watch, {before}), nullptr);

  ASSERT_TRUE(subscribe({workouts, heartRate}));
  const auto after = run(at(-60), at(-30));
  ASSERT_EQ(save(watch, {after}), nullptr);

  const auto records = outboxOf(OSTRecordTypeFitness);
  ASSERT_THAT(records, SizeIs(2));
  EXPECT_EQ(records[0]->activityID(), before->UUID().UUIDString());
  EXPECT_EQ(heartRateExtras(*records[0]), std::vector<NSAny>(3));
  EXPECT_EQ(records[1]->activityID(), after->UUID().UUIDString());
  EXPECT_EQ(heartRateExtras(*records[1]), extras(110, 100, 120));
}

TEST_F(SampleFetchTest, PulseDuringTwoOverlappingWorkoutsGoesToTheEarlierInTheBatch) {
  ASSERT_TRUE(subscribe({workouts, heartRate}));
  ASSERT_EQ(save(watch, {pulse(130, at(-50)), pulse(150, at(-20))}), nullptr);
  ASSERT_EQ(save(watch, {run(at(-90), at(-40)), run(at(-60), at(-10))}), nullptr);

  const auto records = outboxOf(OSTRecordTypeFitness);
  ASSERT_THAT(records, SizeIs(2));
  EXPECT_EQ(heartRateExtras(*records[0]), extras(130, 130, 130));
  EXPECT_EQ(heartRateExtras(*records[1]), extras(150, 150, 150));
}

TEST_F(SampleFetchTest, AttachingIncludesBothEndsOfTheWorkout) {
  auto workout = std::make_shared<OSTFitness>();
  workout->setStartTime(at(0));
  workout->setDuration(600);
  OSTHealthKitManager::attachHeartRateSamples(
      {workout},
      {pulse(90, at(0)), pulse(150, at(10)), pulse(200, at(10).dateByAddingTimeInterval(0.001))});
  EXPECT_EQ(heartRateExtras(*workout), extras(120, 90, 150));
}

TEST_F(SampleFetchTest, HistoricalFetchSubmitsAndRemembersNothing) {
  ASSERT_TRUE(subscribe({weight}));
  ASSERT_EQ(save(iPhone, {weighing(70, at(-30))}), nullptr);
  engine->fetchLatestData();
  runUntilIdle();
  const auto held = engine->anchorQueries()->at(weight);
  const auto anchor = anchorForKey(current(), weight);
  const auto queryDate = queryDateForKey(current(), weight);
  const auto notifications = processed.notifications().size();

  clock().advance(3600);
  std::optional<OSTFetchResult> result;
  engine->fetchSampleType(
      weight, engine->predicateForType(weight, todayStart(), NSDate::date(), nullptr), std::nullopt,
      true, nullptr, [&](const OSTFetchResult& summary) { result = summary; });
  runUntilIdle();

  EXPECT_EQ(result, (OSTFetchResult{{OSTRecordTypeWeight, 1}}));
  EXPECT_EQ(engine->anchorQueries()->at(weight), held);
  EXPECT_THAT(*engine->anchorQueries(), SizeIs(1));
  EXPECT_TRUE(anchorIs(weight, anchor));
  EXPECT_EQ(queryDateForKey(current(), weight), queryDate);
  EXPECT_THAT(processed.notifications(), SizeIs(notifications));
  EXPECT_THAT(outboxOf(OSTRecordTypeWeight), SizeIs(1));  // the same record again
}

TEST_F(SampleFetchTest, DeletionsDoNotMoveTheAnchor) {
  ASSERT_TRUE(subscribe({weight}));
  const auto weighed = weighing(70, at(-30));
  ASSERT_EQ(save(iPhone, {weighed}), nullptr);
  engine->fetchLatestData();
  runUntilIdle();
  const auto anchor = anchorForKey(current(), weight);

  ASSERT_EQ(remove(iPhone, {weighed}), nullptr);
  EXPECT_TRUE(anchorIs(weight, anchor));
  EXPECT_THAT(processed.notifications(), SizeIs(1));
}

// A locked phone: the fetch reads nothing, and, as for an empty batch, its query date moves to the
// fetch's end. The reading saved while locked lies before that date, so a type without an anchor
// yet never fetches it: the one loss this path has, kept visible here.
TEST_F(SampleFetchTest, LockedDeviceReadsNothingAndMovesTheQueryDatePastItsWindow) {
  ASSERT_TRUE(subscribe({weight}));
  device->lock();
  ASSERT_EQ(save(iPhone, {weighing(70, at(-30))}), nullptr);
  EXPECT_THAT(outbox(), IsEmpty());
  EXPECT_EQ(queryDateForKey(current(), weight), at(0));
  EXPECT_EQ(anchorForKey(current(), weight), nullptr);
  EXPECT_THAT(processed.notifications(), IsEmpty());

  device->unlock();
  clock().advance(600);
  ASSERT_EQ(save(iPhone, {weighing(69.8, at(5))}), nullptr);
  EXPECT_THAT(outboxOf(OSTRecordTypeWeight), SizeIs(1));  // the new reading only

  // A long-running query that failed at its start is not kept: the next wake starts another,
  // which reads from the stored anchor what the locked one missed.
  device->lock();
  engine->fetchLatestData();
  runUntilIdle();
  EXPECT_FALSE(engine->anchorQueries()->contains(weight));
  device->unlock();
  ASSERT_EQ(save(watch, {weighing(69.5, at(8))}), nullptr);
  EXPECT_THAT(outboxOf(OSTRecordTypeWeight), SizeIs(2));
}

class SampleFetchStorageTest : public SampleFetchTest {
 protected:
  // The session again, on the same database, failing what `faults` says.
  void restartWithFaults() {
    session()->endSession();
    ASSERT_EQ(session()->startSession(
                  kUserID, std::make_unique<testing_support::FaultInjectingStore>(
                               std::make_unique<OSTSQLiteStore>(databasePath()), faults)),
              nullptr);
  }
  // A relaunch: every query ends, the session reloads what was saved, a new engine observes.
  void relaunch() {
    device->stopAllQueries();
    runUntilIdle();
    restartWithFaults();
    engine = std::make_shared<OSTHealthKitManager>(session());
    engine->observeCurrentSubscriptions();
    engine->fetchLatestData();
    runUntilIdle();
  }

  std::shared_ptr<testing_support::FaultInjectingStore::Faults> faults =
      std::make_shared<testing_support::FaultInjectingStore::Faults>();
};

// The outbox refuses a batch: the anchor and the notification wait for records the session took,
// the query date moves as for any batch, and the session writes the refused records before its
// next submission, so no reading is lost and none is doubled.
TEST_F(SampleFetchStorageTest, FailedSubmissionKeepsTheAnchorAndTheSessionWritesTheRecordsLater) {
  restartWithFaults();
  ASSERT_TRUE(subscribe({weight}));
  testing_support::LogCapture log;
  faults->failAddToOutbox = 1;
  ASSERT_EQ(save(iPhone, {weighing(70, at(-30))}), nullptr);

  EXPECT_EQ(anchorForKey(current(), weight), nullptr);
  EXPECT_EQ(queryDateForKey(current(), weight), at(0));
  EXPECT_THAT(processed.notifications(), IsEmpty());
  EXPECT_THAT(log.lines(), Contains(HasSubstr("1 records not submitted, anchor kept")));

  clock().advance(600);
  ASSERT_EQ(save(iPhone, {weighing(69.9, at(5))}), nullptr);
  EXPECT_THAT(outboxOf(OSTRecordTypeWeight), SizeIs(2));
}

TEST_F(SampleFetchStorageTest, RecordsSentAgainAfterARelaunchReplaceTheirEarlierCopies) {
  restartWithFaults();
  ASSERT_TRUE(subscribe({weight}));
  // The records reach the outbox, then the app dies before the new position is on disk.
  faults->failSave = 2;
  ASSERT_EQ(save(iPhone, {weighing(70, at(-30))}), nullptr);
  ASSERT_THAT(outbox(), SizeIs(1));

  relaunch();
  EXPECT_NE(anchorForKey(current(), weight), nullptr);
  EXPECT_THAT(processed.notifications(), SizeIs(2));  // sent again...
  EXPECT_THAT(outbox(), SizeIs(1));                   // ...in place of the first copy
}

TEST_F(SampleFetchTest, FoodObservedAloneIsNeverSubscribedByAFetch) {
  ASSERT_TRUE(subscribe({sampleType(HKCorrelationTypeIdentifierFood)}));
  engine->fetchSampleType(sampleType(HKCorrelationTypeIdentifierFood), nullptr, NSDate::date(),
                          false, nullptr, nullptr);
  runUntilIdle();
  EXPECT_THAT(engine->subscriptions(), IsEmpty());
}

}  // namespace
