#include <gtest/gtest.h>

#include <string>

#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKUnit.h"
#include "HealthKit/HKWorkoutActivityType.h"
#include "HealthKit/internal/HKTypeCatalog.h"

namespace {

// Every identifier constant resolves to an interned type of its own kind, whose string is the
// constant's own name, and every quantity type accepts the unit it is documented with.
TEST(HKTypeCatalogTest, EveryIdentifierConstantNamesATypeOfItsKind) {
  int count = 0;
#define CHECK_QUANTITY(name, style, unit)                                                \
  {                                                                                      \
    auto type = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifier##name); \
    ASSERT_NE(type, nullptr) << #name;                                                   \
    EXPECT_EQ(type->identifier(), "HKQuantityTypeIdentifier" #name);                     \
    EXPECT_EQ(type->aggregationStyle(), HKQuantityAggregationStyle##style) << #name;     \
    EXPECT_TRUE(type->isCompatibleWithUnit(*HKUnit::unitFromString(unit))) << #name;     \
    ++count;                                                                             \
  }
#define CHECK_CATEGORY(name, lowest, highest)                                                   \
  {                                                                                             \
    auto type = HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifier##name);        \
    ASSERT_NE(type, nullptr) << #name;                                                          \
    EXPECT_EQ(type->identifier(), "HKCategoryTypeIdentifier" #name);                            \
    EXPECT_TRUE(type->isValidValue(lowest) && type->isValidValue(highest)) << #name;            \
    EXPECT_FALSE(type->isValidValue((lowest)-1) || type->isValidValue((highest) + 1)) << #name; \
    ++count;                                                                                    \
  }
#define CHECK_CORRELATION(name)                                                                \
  {                                                                                            \
    auto type = HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifier##name); \
    ASSERT_NE(type, nullptr) << #name;                                                         \
    EXPECT_EQ(type->identifier(), "HKCorrelationTypeIdentifier" #name);                        \
    ++count;                                                                                   \
  }
  HK_QUANTITY_TYPES(CHECK_QUANTITY)
  HK_CATEGORY_TYPES(CHECK_CATEGORY)
  HK_CORRELATION_TYPES(CHECK_CORRELATION)
  EXPECT_EQ(count, 149);
}

// The category values HealthKit defines are exactly the ones its types accept.
TEST(HKTypeCatalogTest, CategoryTypesAcceptHealthKitsValues) {
  struct Range {
    const std::string& identifier;
    long lowest;
    long highest;
  };
  const Range ranges[] = {
      {HKCategoryTypeIdentifierSleepAnalysis, HKCategoryValueSleepAnalysisInBed,
       HKCategoryValueSleepAnalysisAsleepREM},
      {HKCategoryTypeIdentifierAppleStandHour, HKCategoryValueAppleStandHourStood,
       HKCategoryValueAppleStandHourIdle},
      {HKCategoryTypeIdentifierCervicalMucusQuality, HKCategoryValueCervicalMucusQualityDry,
       HKCategoryValueCervicalMucusQualityEggWhite},
      {HKCategoryTypeIdentifierOvulationTestResult, HKCategoryValueOvulationTestResultNegative,
       HKCategoryValueOvulationTestResultEstrogenSurge},
      {HKCategoryTypeIdentifierMenstrualFlow, HKCategoryValueMenstrualFlowUnspecified,
       HKCategoryValueMenstrualFlowNone},
      {HKCategoryTypeIdentifierSexualActivity, HKCategoryValueNotApplicable,
       HKCategoryValueNotApplicable},
      {HKCategoryTypeIdentifierMindfulSession, HKCategoryValueNotApplicable,
       HKCategoryValueNotApplicable},
      {HKCategoryTypeIdentifierHeadache, HKCategoryValueSeverityUnspecified,
       HKCategoryValueSeveritySevere},
  };
  for (const auto& range : ranges) {
    auto type = HKObjectType::categoryTypeForIdentifier(range.identifier);
    for (long value = range.lowest - 1; value <= range.highest + 1; ++value) {
      EXPECT_EQ(type->isValidValue(value), value >= range.lowest && value <= range.highest)
          << range.identifier << " " << value;
    }
  }
}

TEST(HKTypeCatalogTest, WorkoutActivityTypesKeepHealthKitsNumbers) {
  EXPECT_EQ(HKWorkoutActivityTypeAmericanFootball, 1u);
  EXPECT_EQ(HKWorkoutActivityTypeDance, 14u);
  EXPECT_EQ(HKWorkoutActivityTypeMixedMetabolicCardioTraining, 30u);
  EXPECT_EQ(HKWorkoutActivityTypeRunning, 37u);
  EXPECT_EQ(HKWorkoutActivityTypeStairClimbing, 44u);
  EXPECT_EQ(HKWorkoutActivityTypeStairs, 68u);
  EXPECT_EQ(HKWorkoutActivityTypeWheelchairRunPace, 71u);
  EXPECT_EQ(HKWorkoutActivityTypeHandCycling, 74u);
  EXPECT_EQ(HKWorkoutActivityTypeCooldown, 80u);
  EXPECT_EQ(HKWorkoutActivityTypeSwimBikeRun, 82u);
  EXPECT_EQ(HKWorkoutActivityTypeUnderwaterDiving, 84u);
  EXPECT_EQ(HKWorkoutActivityTypeOther, 3000u);
}

}  // namespace
