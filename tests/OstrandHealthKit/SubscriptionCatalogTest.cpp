// The catalog as the engine and an app use it: which record kind a type feeds, the platform
// gates, and the lists that must be shared or fresh. Each case states one fact a user's data
// depends on; the tables themselves are not copied here.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/Platform/PlatformEnvironment.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "support/EnvironmentFixture.h"
#include "support/PlatformVersion.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using ::testing::Not;

std::shared_ptr<const HKSampleType> type(const std::string& identifier) {
  return std::dynamic_pointer_cast<const HKSampleType>(HKObjectType::typeForIdentifier(identifier));
}

std::vector<std::string> identifiers(const std::shared_ptr<const OSTSampleTypeList>& list) {
  std::vector<std::string> names;
  for (const auto& entry : *list) names.push_back(entry->identifier());
  return names;
}

OSTRecordType recordType(const std::string& identifier) {
  return OSTHealthKitSubscription::recordTypeForSampleType(*type(identifier));
}

using testing_support::PlatformVersion;

TEST(SubscriptionCatalog, EveryTypeOfEverySetFeedsARecordKindAndUnconvertedTypesNone) {
  for (NSInteger set = OSTHealthKitSubscriptionSetRoutine;
       set <= OSTHealthKitSubscriptionSetBiometrics; ++set) {
    for (const auto& entry : *OSTHealthKitSubscription::sampleTypesForSubscriptionSet(set)) {
      EXPECT_NE(OSTHealthKitSubscription::recordTypeForSampleType(*entry), OSTRecordTypeNone)
          << entry->identifier() << " of set " << set;
    }
  }
  // Types the library does not convert feed none.
  EXPECT_EQ(recordType(HKCategoryTypeIdentifierHighHeartRateEvent), OSTRecordTypeNone);
  EXPECT_EQ(recordType(HKQuantityTypeIdentifierHeadphoneAudioExposure), OSTRecordTypeNone);
}

TEST(SubscriptionCatalog, HistoricalSetsAreSharedExceptIntradaySteps) {
  EXPECT_EQ(OSTHealthKitSubscription::sampleTypesForHistoricalSet(0),
            OSTHealthKitSubscription::sampleTypesForHistoricalSet(0));
  const auto first = OSTHealthKitSubscription::sampleTypesForHistoricalSet(2);
  const auto second = OSTHealthKitSubscription::sampleTypesForHistoricalSet(2);
  EXPECT_NE(first, second);
  EXPECT_EQ(identifiers(first), identifiers(second));
  EXPECT_THAT(identifiers(first), ElementsAre(HKQuantityTypeIdentifierStepCount));
  EXPECT_EQ(OSTHealthKitSubscription::sampleTypesForHistoricalSet(3), nullptr);
  EXPECT_EQ(OSTHealthKitSubscription::sampleTypesForHistoricalSet(-1), nullptr);
}

TEST(SubscriptionCatalog, ListsByNumberAndTheMealIsNoNutritionTypeOfItsOwn) {
  for (NSInteger outside : {-1, 8}) {
    EXPECT_EQ(OSTHealthKitSubscription::sampleTypesForSubscriptionSet(outside), nullptr);
    EXPECT_EQ(OSTHealthKitSubscription::sampleTypesForRecordType(outside), nullptr);
  }
  EXPECT_EQ(OSTHealthKitSubscription::sampleTypesForRecordType(0), nullptr);
  const auto nutrition = OSTHealthKitSubscription::sampleTypesForRecordType(5);
  ASSERT_NE(nutrition, nullptr);
  EXPECT_FALSE(nutrition->contains(type(HKCorrelationTypeIdentifierFood)));
  EXPECT_EQ(OSTHealthKitSubscription::sampleTypesForRecordType(4),
            OSTHealthKitSubscription::routineObjectTypes());
}

TEST(SubscriptionCatalog, TheHeartRateAveragesAndInsulinExistFromIOS11) {
  const auto biometrics = [] {
    return identifiers(OSTHealthKitSubscription::sampleTypesForSubscriptionSet(
        OSTHealthKitSubscriptionSetBiometrics));
  };
  {
    PlatformVersion ios10({10, 3, 0});
    EXPECT_THAT(identifiers(OSTHealthKitSubscription::sampleTypesForSubscriptionSet(
                    OSTHealthKitSubscriptionSetDiabetes)),
                ElementsAre(HKQuantityTypeIdentifierBloodGlucose));
    EXPECT_THAT(biometrics(), Not(Contains(HKQuantityTypeIdentifierRestingHeartRate)));
    EXPECT_EQ(recordType(HKQuantityTypeIdentifierInsulinDelivery), OSTRecordTypeNone);
    EXPECT_FALSE(OSTHealthKitSubscription::isHeartRateSample(
        *type(HKQuantityTypeIdentifierRestingHeartRate)));
    EXPECT_TRUE(
        OSTHealthKitSubscription::isHeartRateSample(*type(HKQuantityTypeIdentifierHeartRate)));
  }
  PlatformVersion ios11({11, 0, 0});
  EXPECT_THAT(biometrics(), IsSupersetOf({HKQuantityTypeIdentifierRestingHeartRate,
                                          HKQuantityTypeIdentifierWalkingHeartRateAverage}));
  EXPECT_TRUE(
      OSTHealthKitSubscription::isHeartRateSample(*type(HKQuantityTypeIdentifierRestingHeartRate)));
  EXPECT_FALSE(
      OSTHealthKitSubscription::isHeartRateSample(*type(HKQuantityTypeIdentifierRespiratoryRate)));
}

TEST(SubscriptionCatalog, ACacheKeepsThePlatformItWasBuiltOn) {
  OSTResetCachedValuesForTesting();
  const auto built = OSTHealthKitSubscription::diabetesObjectTypes();
  platform::Environment::shared().setOperatingSystemVersion({10, 0, 0});
  EXPECT_EQ(OSTHealthKitSubscription::diabetesObjectTypes(), built);
  EXPECT_EQ(recordType(HKQuantityTypeIdentifierInsulinDelivery), OSTRecordTypeDiabetes);
  // The heart-rate list is decided anew on every call.
  EXPECT_FALSE(
      OSTHealthKitSubscription::isHeartRateSample(*type(HKQuantityTypeIdentifierRestingHeartRate)));
  platform::Environment::shared().setOperatingSystemVersion(
      platform::Environment::kDefaultOperatingSystemVersion);
  OSTResetCachedValuesForTesting();  // the lists built on iOS 10 above go
}

// HealthKit's worker threads convert samples at once, each asking for the tables.
using SubscriptionCatalogThreads = testing_support::EnvironmentFixture;

TEST_F(SubscriptionCatalogThreads, FirstBuildFromManyWorkersYieldsOneList) {
  OSTResetCachedValuesForTesting();
  std::vector<std::shared_ptr<const HKSampleTypeSet>> seen(8);
  std::vector<HKUnit::Pointer> units(8);
  auto workers = dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    dispatch_async(workers, [&seen, &units, i] {
      seen[i] = OSTHealthKitSubscription::nutritionObjectTypes();
      units[i] =
          OSTHealthKitSubscription::unitForQuantityTypeIdentifier(HKQuantityTypeIdentifierBodyMass);
    });
  }
  runUntilIdle();
  for (std::size_t i = 1; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i], seen[0]);
    EXPECT_EQ(units[i], units[0]);
  }
}

}  // namespace
