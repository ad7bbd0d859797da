#include <gtest/gtest.h>

#include <thread>
#include <unordered_map>
#include <vector>

#include "HealthKit/HKObjectType.h"

namespace {

TEST(HKObjectTypeTest, FactoriesInternOneObjectPerIdentifierAndAnswerOnlyTheirKind) {
  auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
  ASSERT_NE(steps, nullptr);
  EXPECT_EQ(steps->identifier(), "HKQuantityTypeIdentifierStepCount");
  EXPECT_EQ(steps, HKObjectType::quantityTypeForIdentifier("HKQuantityTypeIdentifierStepCount"));
  EXPECT_EQ(HKObjectType::typeForIdentifier(steps->identifier()), steps);

  auto sleep = HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis);
  auto food = HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood);
  ASSERT_NE(sleep, nullptr);
  ASSERT_NE(food, nullptr);
  EXPECT_EQ(HKObjectType::typeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis), sleep);
  EXPECT_EQ(HKObjectType::workoutType()->identifier(), "HKWorkoutTypeIdentifier");
  EXPECT_EQ(HKObjectType::typeForIdentifier("HKWorkoutTypeIdentifier"),
            HKObjectType::workoutType());

  // A known identifier of the wrong kind, and unknown ones.
  EXPECT_EQ(HKObjectType::quantityTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis),
            nullptr);
  EXPECT_EQ(HKObjectType::categoryTypeForIdentifier(HKQuantityTypeIdentifierStepCount), nullptr);
  EXPECT_EQ(HKObjectType::correlationTypeForIdentifier(HKWorkoutTypeIdentifier), nullptr);
  EXPECT_EQ(HKObjectType::typeForIdentifier("HKQuantityTypeIdentifierstepcount"), nullptr);
  EXPECT_EQ(HKObjectType::typeForIdentifier("HKDataTypeSleepDurationGoal"), nullptr);
  EXPECT_EQ(HKObjectType::typeForIdentifier(""), nullptr);
}

TEST(HKObjectTypeTest, AggregationStylesAndCorrelationMembers) {
  auto quantity = [](const std::string& id) { return HKObjectType::quantityTypeForIdentifier(id); };
  EXPECT_EQ(quantity(HKQuantityTypeIdentifierStepCount)->aggregationStyle(),
            HKQuantityAggregationStyleCumulative);
  EXPECT_EQ(quantity(HKQuantityTypeIdentifierDietaryWater)->aggregationStyle(),
            HKQuantityAggregationStyleCumulative);
  EXPECT_EQ(quantity(HKQuantityTypeIdentifierHeartRate)->aggregationStyle(),
            HKQuantityAggregationStyleDiscreteTemporallyWeighted);
  EXPECT_EQ(quantity(HKQuantityTypeIdentifierBodyMass)->aggregationStyle(),
            HKQuantityAggregationStyleDiscrete);

  auto pressure =
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure);
  auto food = HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood);
  EXPECT_TRUE(pressure->mayContain(*quantity(HKQuantityTypeIdentifierBloodPressureSystolic)));
  EXPECT_TRUE(pressure->mayContain(*quantity(HKQuantityTypeIdentifierBloodPressureDiastolic)));
  EXPECT_FALSE(pressure->mayContain(*quantity(HKQuantityTypeIdentifierHeartRate)));
  EXPECT_TRUE(food->mayContain(*quantity(HKQuantityTypeIdentifierDietaryFatTotal)));
  EXPECT_FALSE(food->mayContain(*quantity(HKQuantityTypeIdentifierBloodPressureSystolic)));
  EXPECT_FALSE(food->mayContain(*HKObjectType::workoutType()));
}

TEST(HKObjectTypeTest, TypesKeyUnorderedMapsByIdentifier) {
  std::unordered_map<std::shared_ptr<const HKSampleType>, int, HKObjectTypeHash, HKObjectTypeEqual>
      counts;
  counts[HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount)] = 1;
  counts[HKObjectType::workoutType()] = 2;
  auto stored = std::dynamic_pointer_cast<const HKSampleType>(
      HKObjectType::typeForIdentifier("HKQuantityTypeIdentifierStepCount"));
  EXPECT_EQ(counts.at(stored), 1);
  EXPECT_EQ(counts.size(), 2u);
  EXPECT_FALSE(HKObjectTypeEqual{}(stored, std::shared_ptr<const HKSampleType>()));
}

// Many threads asking at once, some for the very first time, all get the same objects.
TEST(HKObjectTypeTest, InterningHoldsAcrossThreads) {
  constexpr int kThreads = 8;
  std::vector<std::shared_ptr<const HKObjectType>> seen(kThreads * 2);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&seen, i] {
      seen[2 * i] = HKObjectType::quantityTypeForIdentifier("HKQuantityTypeIdentifierHeartRate");
      seen[2 * i + 1] = HKObjectType::workoutType();
    });
  }
  for (auto& thread : threads) thread.join();
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(seen[2 * i], seen[0]);
    EXPECT_EQ(seen[2 * i + 1], seen[1]);
  }
  EXPECT_EQ(seen[0], HKObjectType::typeForIdentifier(HKQuantityTypeIdentifierHeartRate));
}

}  // namespace
