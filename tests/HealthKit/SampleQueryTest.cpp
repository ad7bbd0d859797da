#include <gtest/gtest.h>

#include <map>
#include <set>

#include "Foundation/NSCompoundPredicate.h"
#include "HealthKit/HKMetadata.h"
#include "QueryFixture.h"

namespace testing_support {
namespace {

using SampleQueryTest = QueryFixture;

// Samples over minutes 10-20 against the window [10, 20) under each option.
TEST(SamplePredicate, MatchesHealthKitsDateRules) {
  struct Case {
    double start, end;  // minutes
    bool none, strictStart, strictEnd, both;
  };
  const Case cases[] = {
      {5, 10, true, false, true, false},     // ends exactly at the window's start
      {5, 12, true, false, true, false},     // overlaps the start
      {10, 12, true, true, true, true},      // inside
      {12, 20, true, true, false, false},    // ends exactly at the window's end
      {20, 25, false, false, false, false},  // starts exactly at the window's end
      {5, 25, true, false, false, false},    // spans the window
      {15, 15, true, true, true, true},      // an instant inside
  };
  const NSDate base = NSDate::dateWithTimeIntervalSince1970(1710003600);
  auto minute = [&](double m) { return base.dateByAddingTimeInterval(m * 60); };
  auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
  for (const Case& c : cases) {
    auto sample = HKQuantitySample::quantitySampleWithType(
        steps, HKQuantity::quantityWithUnit(HKUnit::countUnit(), 1), minute(c.start),
        minute(c.end));
    auto matches = [&](HKQueryOptions options) {
      return HKQuery::predicateForSamplesWithStartDate(minute(10), minute(20), options)
          ->evaluateWithObject(*sample);
    };
    EXPECT_EQ(matches(HKQueryOptionNone), c.none) << c.start << "-" << c.end;
    EXPECT_EQ(matches(HKQueryOptionStrictStartDate), c.strictStart) << c.start << "-" << c.end;
    EXPECT_EQ(matches(HKQueryOptionStrictEndDate), c.strictEnd) << c.start << "-" << c.end;
    EXPECT_EQ(matches(HKQueryOptionStrictStartDate | HKQueryOptionStrictEndDate), c.both)
        << c.start << "-" << c.end;
  }
  auto openEnded =
      HKQuery::predicateForSamplesWithStartDate(minute(10), std::nullopt, HKQueryOptionNone);
  EXPECT_TRUE(openEnded->evaluateWithObject(*HKQuantitySample::quantitySampleWithType(
      steps, HKQuantity::quantityWithUnit(HKUnit::countUnit(), 1), minute(100), minute(101))));
}

TEST_F(SampleQueryTest, LimitsSortsAndFiltersByMetadataAndCorrelation) {
  auto systolic = systolicType();
  auto diastolic = diastolicType();
  authorize({stepType(), systolic, diastolic}, {stepType(), systolic, diastolic});
  auto entered = NSDictionary::dictionaryWithDictionary({{HKMetadataKeyWasUserEntered, true}});
  ASSERT_EQ(save(store, {quantitySample(stepType(), 1, at(20), at(21)),
                         HKQuantitySample::quantitySampleWithType(
                             stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), 2),
                             at(0), at(1), entered),
                         quantitySample(stepType(), 3, at(10), at(11))}),
            nullptr);
  auto newestFirst =
      samples(stepType(), nullptr, 2,
              {NSSortDescriptor::sortDescriptorWithKey(HKSampleSortIdentifierStartDate, false)});
  ASSERT_EQ(newestFirst.size(), 2u);
  EXPECT_EQ(newestFirst[0]->startDate(), at(20));
  EXPECT_EQ(newestFirst[1]->startDate(), at(10));

  auto userEntered =
      samples(stepType(), HKQuery::predicateForObjectsWithMetadataKey(
                              HKMetadataKeyWasUserEntered, NSEqualToPredicateOperatorType, true));
  ASSERT_EQ(userEntered.size(), 1u);
  EXPECT_EQ(userEntered[0]->startDate(), at(0));

  auto bloodPressure = bloodPressureType();
  ASSERT_EQ(save(store,
                 {quantitySample(systolic, 130, at(6), at(6)), bloodPressureReading(at(5), at(5))}),
            nullptr);
  EXPECT_EQ(samples(systolic, nullptr).size(), 2u);
  auto alone = samples(systolic, HKQuery::predicateForObjectsWithNoCorrelation());
  ASSERT_EQ(alone.size(), 1u);
  EXPECT_EQ(alone[0]->startDate(), at(6));
  EXPECT_EQ(samples(bloodPressure, nullptr).size(), 1u);
  // Deleting the correlation takes its members with it.
  ASSERT_EQ(remove(store, {samples(bloodPressure, nullptr)[0]}), nullptr);
  EXPECT_EQ(samples(systolic, nullptr).size(), 1u);
}

// A correlation is shown with the samples the app may read and hidden when it may read none,
// alike by the sample query, the anchored query and its updates; its samples lead back to it as
// shown, and observers wake only for what the app sees.
TEST_F(SampleQueryTest, CorrelationsShowOnlyTheSamplesTheAppMayReadOnEveryPath) {
  using Members = std::set<std::string>;
  const std::string carbs = HKQuantityTypeIdentifierDietaryCarbohydrates;
  const std::string protein = HKQuantityTypeIdentifierDietaryProtein;
  const std::string caffeine = HKQuantityTypeIdentifierDietaryCaffeine;
  const auto type = [](const std::string& id) {
    return HKObjectType::quantityTypeForIdentifier(id);
  };
  const auto food = HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood);
  // Reads carbohydrates, protein and systolic pressure; shares caffeine without reading it.
  authorize({type(caffeine)}, {type(carbs), type(protein), systolicType()});
  auto meal = [&](const Members& nutrients) {
    HKCorrelation::Objects members;
    for (const auto& id : nutrients) members.push_back(quantitySample(type(id), 10, at(0), at(0)));
    return HKCorrelation::correlationWithType(food, at(0), at(0), members);
  };
  const std::string vitaminC = HKQuantityTypeIdentifierDietaryVitaminC;
  const struct {
    std::shared_ptr<HKHealthStore> by;
    HKCorrelation::Pointer correlation;
    Members shown;  // empty: hidden
  } cases[] = {
      {iPhone, meal({carbs, caffeine, vitaminC}), {carbs}},
      {iPhone, meal({carbs, protein}), {carbs, protein}},
      {iPhone, meal({caffeine, vitaminC}), {}},
      {iPhone, meal({caffeine}), {}},         // shared, not read
      {store, meal({caffeine}), {caffeine}},  // its own
      {iPhone, bloodPressureReading(at(0), at(0)), {HKQuantityTypeIdentifierBloodPressureSystolic}},
  };

  using Shown = std::map<std::string, Members>;  // by UUID
  auto record = [](Shown& into, const std::vector<std::shared_ptr<const HKSample>>& found) {
    for (const auto& sample : found) {
      auto& members = into[sample->UUID().UUIDString()];
      for (const auto& member : std::static_pointer_cast<const HKCorrelation>(sample)->objects()) {
        members.insert(member->sampleType()->identifier());
        EXPECT_EQ(member->valueForKey(HKPredicateKeyPathCorrelation).object(), sample);
      }
    }
  };
  const std::vector<std::shared_ptr<const HKSampleType>> types{food, bloodPressureType()};
  Shown updated, anchored, queried, expected;
  for (const auto& correlationType : types) {
    auto query = std::make_shared<HKAnchoredObjectQuery>(correlationType, nullptr, nullptr,
                                                         HKObjectQueryNoLimit, nullptr);
    query->setUpdateHandler([&](auto, auto added, auto, auto, auto) { record(updated, added); });
    store->executeQuery(query);
  }
  std::atomic<int> wakes{0};
  device->setObserverQueriesFireOnExecute(false);
  store->executeQuery(std::make_shared<HKObserverQuery>(food, nullptr, [&](auto, auto done, auto) {
    ++wakes;
    done();
  }));
  runUntilIdle();
  for (const auto& c : cases) {
    ASSERT_EQ(save(c.by, {c.correlation}), nullptr);
    if (!c.shown.empty()) expected[c.correlation->UUID().UUIDString()] = c.shown;
  }
  for (const auto& correlationType : types) {
    record(queried, samples(correlationType));
    store->executeQuery(std::make_shared<HKAnchoredObjectQuery>(
        correlationType, nullptr, nullptr, HKObjectQueryNoLimit,
        [&](auto, auto added, auto, auto, auto) { record(anchored, added); }));
    runUntilIdle();
  }
  EXPECT_EQ(queried, expected);
  EXPECT_EQ(anchored, expected);
  EXPECT_EQ(updated, expected);
  EXPECT_EQ(wakes, 3);  // the meals shown, one save each
  // What was handed over is what was shown: a correlation with nothing to show never was.
  const auto delivered = device->identifiersDeliveredToHostApp();
  for (const auto& c : cases) {
    EXPECT_EQ(delivered.contains(c.correlation->UUID()), !c.shown.empty());
  }

  // A sample read on its own leads to its meal as shown, which predicates still match.
  const auto shownMeal =
      samples(food, HKQuery::predicateForObjectWithUUID(cases[0].correlation->UUID()));
  ASSERT_EQ(shownMeal.size(), 1u);
  const auto inMeal = samples(
      type(carbs),
      NSPredicate::predicateWithFormat("%K == %@", {HKPredicateKeyPathCorrelation, shownMeal[0]}));
  ASSERT_EQ(inMeal.size(), 1u);
  const auto holder = std::static_pointer_cast<const HKCorrelation>(
      inMeal[0]->valueForKey(HKPredicateKeyPathCorrelation).object());
  EXPECT_EQ(holder->objects().size(), 1u);
}

TEST_F(SampleQueryTest, SelectsBySourceAndUUID) {
  authorize({}, {stepType()});
  auto fromWatch = watchSteps(10, at(0), at(1));
  ASSERT_EQ(save(watch, {fromWatch}), nullptr);
  ASSERT_EQ(save(iPhone, {phoneSteps(20, at(0), at(1)), phoneSteps(30, at(1), at(2))}), nullptr);
  auto watchOnly = samples(
      stepType(), HKQuery::predicateForObjectsFromSource(watch->sourceRevision()->source()));
  ASSERT_EQ(watchOnly.size(), 1u);
  EXPECT_EQ(watchOnly[0]->UUID(), fromWatch->UUID());
  EXPECT_EQ(samples(stepType(),
                    HKQuery::predicateForObjectsFromSources(
                        {watch->sourceRevision()->source(), iPhone->sourceRevision()->source()}))
                .size(),
            3u);
  auto byUUID = samples(stepType(), HKQuery::predicateForObjectWithUUID(fromWatch->UUID()));
  ASSERT_EQ(byUUID.size(), 1u);
  EXPECT_EQ(byUUID[0]->sourceRevision()->source()->bundleIdentifier(),
            watch->sourceRevision()->source()->bundleIdentifier());
}

}  // namespace
}  // namespace testing_support
