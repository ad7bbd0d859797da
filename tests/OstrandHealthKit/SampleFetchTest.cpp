// The anchored sample fetch through the simulator, at the edges the end-to-end suites do not
// reach: a second fetch while a long-running query runs, an empty batch, correlation members,
// meals holding nutrients the app may not read, heart rate at a workout's end and a submission
// the outbox refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTFitness.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "RecordTestSupport.h"
#include "support/FaultInjectingStore.h"
#include "support/LogCapture.h"
#include "support/NotificationCapture.h"
#include "support/SyncFixture.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SampleFetchTest : public testing_support::SyncFixture {
 protected:
  void SetUp() override {
    SyncFixture::SetUp();
    // Fetches start when data is saved (or the test asks), not when observers are installed.
    device->setObserverQueriesFireOnExecute(false);
  }

  static HKQuantitySample::Pointer sample(const std::string& identifier, const char* unit,
                                          double value, NSDate when) {
    return testing_support::measurement(identifier, value, unit, when);
  }
  static HKQuantitySample::Pointer weighing(double kg, NSDate when) {
    return sample(HKQuantityTypeIdentifierBodyMass, "kg", kg, when);
  }

  std::size_t outboxCount(OSTRecordType kind) const { return outboxCounts()[kind]; }

  OSTSession& current() { return *session(); }
  OSTSampleTypePointer weight = sampleType(HKQuantityTypeIdentifierBodyMass);
  testing_support::NotificationCapture processed{kOSTHealthKitRecordsProcessedNotification};
};

TEST_F(SampleFetchTest, ASecondFetchWhileALongRunningQueryRunsStartsNothing) {
  ASSERT_TRUE(subscribe({weight}));
  ASSERT_EQ(save(iPhone, {weighing(70.2, at(-30))}), nullptr);
  clock().advance(600);
  engine->fetchLatestData();
  runUntilIdle();
  ASSERT_TRUE(engine->anchorQueries()->contains(weight));
  const auto running = device->runningQueryCount();

  bool completed = false;
  engine->fetchSampleType(weight, nullptr, NSDate::date(), false, anchorForKey(current(), weight),
                          [&](const OSTFetchResult&) { completed = true; });
  runUntilIdle();
  EXPECT_FALSE(completed);
  EXPECT_EQ(device->runningQueryCount(), running);

  // A later save, even one with an old date, arrives through the running query, once.
  ASSERT_EQ(save(watch, {weighing(69.8, at(-120))}), nullptr);
  EXPECT_EQ(outboxCount(OSTRecordTypeWeight), 2U);
  EXPECT_THAT(processed.notifications(), SizeIs(2));
}

TEST_F(SampleFetchTest, BatchWithoutSamplesMovesOnlyTheQueryDateToTheWholeMinute) {
  const auto sleep = sampleType(HKCategoryTypeIdentifierSleepAnalysis);
  ASSERT_TRUE(subscribe({sleep}));
  testing_support::LogCapture log;
  clock().advance(90.5);
  std::optional<OSTFetchResult> result;
  engine->fetchSampleType(sleep, nullptr, NSDate::date(), false, nullptr,
                          [&](const OSTFetchResult& summary) { result = summary; });
  runUntilIdle();

  EXPECT_EQ(result, (OSTFetchResult{{OSTRecordTypeSleep, 0}}));
  EXPECT_EQ(queryDateForKey(current(), sleep), at(1));
  EXPECT_EQ(anchorForKey(current(), sleep), nullptr);
  EXPECT_THAT(outbox(), IsEmpty());
  EXPECT_THAT(processed.notifications(), IsEmpty());
  EXPECT_THAT(log.lines(),
              Contains(HasSubstr("fetchSampleType Sample Objects recieved: {7 = 0;}")));
}

TEST_F(SampleFetchTest, CorrelationMembersAreNotSentAgainButALonePressureIs) {
  ASSERT_TRUE(subscribe({sampleType(HKCorrelationTypeIdentifierBloodPressure)}));
  const auto reading = HKCorrelation::correlationWithType(
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure), at(-20),
      at(-20),
      {sample(HKQuantityTypeIdentifierBloodPressureSystolic, "kPa", 16, at(-20)),
       sample(HKQuantityTypeIdentifierBloodPressureDiastolic, "mmHg", 82, at(-20))});
  const auto alone = sample(HKQuantityTypeIdentifierBloodPressureSystolic, "mmHg", 118, at(-10));
  ASSERT_EQ(save(iPhone, {reading, alone}), nullptr);

  const auto records = outbox();
  ASSERT_THAT(records, SizeIs(2));
  for (const auto& record : records) {
    const bool isReading = record->activityID() == reading->UUID().UUIDString();
    EXPECT_TRUE(isReading || record->activityID() == alone->UUID().UUIDString());
    // 16 kPa is 120.00984 mmHg.
    EXPECT_NEAR(record->valueForKey("systolic").doubleValue(), isReading ? 120.00984 : 118, 1e-5);
    EXPECT_EQ(record->valueForKey("diastolic"), isReading ? NSAny(82.0) : NSAny());
  }
}

// Food apps log many nutrients per meal; the app reads only the basic ones. Each meal still makes
// one record, of the nutrients the app may read; a meal of none of them makes none.
TEST_F(SampleFetchTest, MealsWithNutrientsTheAppMayNotReadBecomeRecordsOfTheRest) {
  ASSERT_TRUE(subscribe(*OSTHealthKitSubscription::sampleTypesForSubscriptionSet(5)));
  const auto meal = [](NSDate when, std::vector<HKQuantitySample::Pointer> nutrients) {
    return HKCorrelation::correlationWithType(
        HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood), when, when,
        HKCorrelation::Objects(nutrients.begin(), nutrients.end()));
  };
  const auto breakfast =
      meal(at(-60), {sample(HKQuantityTypeIdentifierDietaryEnergyConsumed, "kcal", 300, at(-60)),
                     sample(HKQuantityTypeIdentifierDietaryCarbohydrates, "g", 40, at(-60)),
                     sample(HKQuantityTypeIdentifierDietaryCaffeine, "mg", 95, at(-60))});
  const auto lunch =
      meal(at(-30), {sample(HKQuantityTypeIdentifierDietaryProtein, "g", 25, at(-30)),
                     sample(HKQuantityTypeIdentifierDietaryVitaminC, "mg", 30, at(-30)),
                     sample(HKQuantityTypeIdentifierDietaryCaffeine, "mg", 40, at(-30))});
  const auto coffee =
      meal(at(-10), {sample(HKQuantityTypeIdentifierDietaryCaffeine, "mg", 60, at(-10)),
                     sample(HKQuantityTypeIdentifierDietaryVitaminC, "mg", 1, at(-10))});
  ASSERT_EQ(save(iPhone, {breakfast, lunch, coffee}), nullptr);

  const auto records = outbox();
  ASSERT_THAT(records, SizeIs(2));
  const std::map<std::string, std::map<std::string, NSAny>> expected{
      {breakfast->UUID().UUIDString(),
       {{"calories", 300.0}, {"carbohydrates", 40.0}, {"protein", NSAny()}}},
      {lunch->UUID().UUIDString(),
       {{"calories", NSAny()}, {"carbohydrates", NSAny()}, {"protein", 25.0}}},
  };
  for (const auto& record : records) {
    EXPECT_EQ(record->recordType(), OSTRecordTypeNutrition);
    const auto values = expected.find(record->activityID().value_or(""));
    ASSERT_NE(values, expected.end());
    for (const auto& [key, value] : values->second) {
      EXPECT_EQ(record->valueForKey(key), value) << key;
    }
    EXPECT_EQ(record->extras().count("caffeine"), 0U);
    EXPECT_EQ(record->extras().count("vitamin_c"), 0U);
  }
}

TEST_F(SampleFetchTest, AttachingIncludesBothEndsOfTheWorkout) {
  auto workout = std::make_shared<OSTFitness>();
  workout->setStartTime(at(0));
  workout->setDuration(600);
  const auto pulse = [](double bpm, NSDate when) {
    return sample(HKQuantityTypeIdentifierHeartRate, "count/min", bpm, when);
  };
  OSTHealthKitManager::attachHeartRateSamples(
      {workout},
      {pulse(90, at(0)), pulse(150, at(10)), pulse(200, at(10).dateByAddingTimeInterval(0.001))});
  EXPECT_EQ(workout->extras().at("avg_heart_rate"), NSAny(120.0));
  EXPECT_EQ(workout->extras().at("min_heart_rate"), NSAny(90.0));
  EXPECT_EQ(workout->extras().at("max_heart_rate"), NSAny(150.0));
}

// The outbox refuses a batch: the anchor and the notification wait, the query date moves as for
// any batch, and the session writes the refused records before its next submission.
TEST_F(SampleFetchTest, FailedSubmissionKeepsTheAnchorAndTheRecordsAreWrittenLater) {
  auto faults = std::make_shared<testing_support::FaultInjectingStore::Faults>();
  session()->endSession();
  ASSERT_EQ(session()->startSession(kUserID,
                                    std::make_unique<testing_support::FaultInjectingStore>(
                                        std::make_unique<OSTSQLiteStore>(databasePath()), faults)),
            nullptr);
  ASSERT_TRUE(subscribe({weight}));
  testing_support::LogCapture log;
  faults->failAddToOutbox = 1;
  ASSERT_EQ(save(iPhone, {weighing(70, at(-30))}), nullptr);

  EXPECT_EQ(anchorForKey(current(), weight), nullptr);
  EXPECT_EQ(queryDateForKey(current(), weight), at(0));
  EXPECT_THAT(processed.notifications(), IsEmpty());
  EXPECT_THAT(log.lines(), Contains(HasSubstr("OSTSession: ")));  // the session says why

  clock().advance(600);
  ASSERT_EQ(save(iPhone, {weighing(69.9, at(5))}), nullptr);
  EXPECT_EQ(outboxCount(OSTRecordTypeWeight), 2U);
}

}  // namespace
