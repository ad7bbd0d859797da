#include <gtest/gtest.h>

#include <string>

#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKObjectType.h"

namespace {

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

}  // namespace
