// Saved objects share one copy of equal devices and metadata, and what a reader gets back is
// exactly what was saved: values that compare equal but read differently (YES, 1 and 1.0; 0.0
// and -0.0; equal quantities in different units) are never merged. The store keeps quantity and
// category samples as plain numbers; what it rebuilds from them is the sample that was saved.

#include <gtest/gtest.h>

#include <cmath>

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/Simulator/PackedObjects.h"
#include "HealthKit/internal/HKQuantityAccess.h"
#include "QueryFixture.h"

namespace testing_support {
namespace {

class StoredPartsTest : public QueryFixture {
 protected:
  void SetUp() override {
    QueryFixture::SetUp();
    authorize({}, {stepType()});
  }
};

TEST_F(StoredPartsTest, EqualButDistinguishableMetadataComesBackAsSaved) {
  const std::string key = "com.ostrand.reading";
  const std::vector<NSAny> values{NSAny(true),
                                  NSAny(1),
                                  NSAny(1.0),
                                  NSAny(0.0),
                                  NSAny(-0.0),
                                  NSAny("1"),
                                  HKQuantity::quantityWithUnit(HKUnit::countUnit(), 1),
                                  HKQuantity::quantityWithUnit(HKUnit::countUnit(), 1)};
  std::vector<std::shared_ptr<const HKObject>> saved;
  for (std::size_t i = 0; i < values.size(); ++i) {
    saved.push_back(HKQuantitySample::quantitySampleWithType(
        stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), 10), at(i), at(i + 1),
        NSDictionary::dictionaryWithDictionary({{key, values[i]}})));
  }
  ASSERT_EQ(save(iPhone, saved), nullptr);
  const auto found = samples(stepType());
  ASSERT_EQ(found.size(), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const NSAny value = found[i]->metadata()->objectForKey(key);
    EXPECT_EQ(value.kind(), values[i].kind()) << i;
    EXPECT_EQ(value.description(), values[i].description()) << i;
    if (values[i].isNumber()) {
      EXPECT_STREQ(value.objCType(), values[i].objCType()) << i;
      EXPECT_EQ(std::signbit(value.doubleValue()), std::signbit(values[i].doubleValue())) << i;
    }
    if (values[i].isObject()) {
      EXPECT_EQ(value.object(), values[i].object()) << i;
    }
  }
}

TEST_F(StoredPartsTest, SamplesFromOneWatchShareItsDeviceAndKeepTheirOwnValues) {
  auto reading = [&](double minute, const char* context) {
    auto watchDevice = HKDevice::deviceWithName("Apple Watch", "Apple Inc.", "Watch", "Watch6,7",
                                                std::nullopt, "10.2", std::nullopt, std::nullopt);
    return HKQuantitySample::quantitySampleWithType(
        stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), minute), at(minute),
        at(minute + 1), watchDevice,
        NSDictionary::dictionaryWithDictionary({{HKMetadataKeySyncIdentifier, context}}));
  };
  ASSERT_EQ(save(watch, {reading(0, "a"), reading(1, "b"), reading(2, "a")}), nullptr);
  const auto found = samples(stepType());
  ASSERT_EQ(found.size(), 3u);
  EXPECT_EQ(found[0]->device(), found[1]->device());
  EXPECT_EQ(found[0]->device(), found[2]->device());
  std::vector<std::string> contexts;
  for (const auto& sample : found) {
    contexts.push_back(sample->metadata()->objectForKey(HKMetadataKeySyncIdentifier).stringValue());
  }
  EXPECT_EQ(contexts, (std::vector<std::string>{"a", "b", "a"}));
}

TEST_F(StoredPartsTest, SamplesKeptAsNumbersComeBackWhole) {
  const auto sleepType =
      HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis);
  authorize({}, {heartRateType(), sleepType});
  const auto perSecond = HKUnit::unitFromString("count/s");
  const auto band = HKDevice::deviceWithName("Band", "Maker", "B1", std::nullopt, std::nullopt,
                                             "2.1", std::nullopt, "band-7");
  const auto metadata = NSDictionary::dictionaryWithDictionary(
      {{HKMetadataKeyHeartRateMotionContext, 1}, {HKMetadataKeySyncIdentifier, "x"}});
  // A third of a beat a second: converted to beats a minute and back it would lose its last bit.
  const auto pulse = HKQuantitySample::quantitySampleWithType(
      heartRateType(), HKQuantity::quantityWithUnit(perSecond, 1.0 / 3), at(0.5), at(0.5), band,
      metadata);
  const auto night = HKCategorySample::categorySampleWithType(
      sleepType, HKCategoryValueSleepAnalysisAsleepREM, at(10), at(70), band, metadata);
  ASSERT_EQ(save(watch, {pulse, night}), nullptr);

  const auto pulses = samples(heartRateType());
  const auto nights = samples(sleepType);
  ASSERT_EQ(pulses.size(), 1u);
  ASSERT_EQ(nights.size(), 1u);
  for (const auto& [found, saved] :
       {std::pair<std::shared_ptr<const HKSample>, std::shared_ptr<const HKSample>>{pulses[0],
                                                                                    pulse},
        {nights[0], night}}) {
    EXPECT_EQ(found->className(), saved->className());
    EXPECT_EQ(found->UUID(), saved->UUID());
    EXPECT_EQ(found->startDate(), saved->startDate());
    EXPECT_EQ(found->endDate(), saved->endDate());
    EXPECT_TRUE(found->device()->isEqual(*band));
    EXPECT_EQ(found->sourceRevision()->source()->name(), "Alice’s Apple Watch");
    EXPECT_TRUE(found->metadata()->isEqual(*metadata));
    EXPECT_EQ(found->valueForKey(HKPredicateKeyPathCorrelation).isNil(), true);
  }
  const auto quantity = std::static_pointer_cast<const HKQuantitySample>(pulses[0])->quantity();
  EXPECT_EQ(HKQuantityAccess::unit(*quantity)->unitString(), "count/s");
  EXPECT_EQ(quantity->doubleValueForUnit(*perSecond), 1.0 / 3);
  EXPECT_EQ(std::static_pointer_cast<const HKCategorySample>(nights[0])->value(),
            HKCategoryValueSleepAnalysisAsleepREM);
}

TEST_F(StoredPartsTest, ADeletedSampleLeavesItsUUIDAndMetadata) {
  const auto steps = HKQuantitySample::quantitySampleWithType(
      stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), 40), at(0), at(1),
      NSDictionary::dictionaryWithDictionary({{HKMetadataKeySyncIdentifier, "walk-1"}}));
  ASSERT_EQ(save(iPhone, {steps, phoneSteps(5, at(1), at(2))}), nullptr);
  const auto before = fetch();
  ASSERT_EQ(remove(iPhone, {steps}), nullptr);
  const auto after = fetch(before.anchor);
  EXPECT_TRUE(after.added.empty());
  ASSERT_EQ(after.deleted.size(), 1u);
  EXPECT_EQ(after.deleted[0]->UUID(), steps->UUID());
  EXPECT_EQ(after.deleted[0]->metadata()->objectForKey(HKMetadataKeySyncIdentifier).stringValue(),
            "walk-1");
  EXPECT_EQ(samples(stepType()).size(), 1u);
}

// A loader holds samples packed until it saves them: they come back equal in every value, and a
// correlation, kept whole, comes back once.
TEST_F(StoredPartsTest, PackedObjectsComeBackAsTheyWerePacked) {
  const auto perSecond = HKUnit::unitFromString("count/s");
  const auto band = HKDevice::deviceWithName("Band", "Maker", "B1", std::nullopt, std::nullopt,
                                             "2.1", std::nullopt, "band-7");
  const auto metadata =
      NSDictionary::dictionaryWithDictionary({{HKMetadataKeyHeartRateMotionContext, 1}});
  const auto pulse = HKQuantitySample::quantitySampleWithType(
      heartRateType(), HKQuantity::quantityWithUnit(perSecond, 1.0 / 3), at(0.5), at(0.7), band,
      metadata);
  const auto pressure =
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure);
  const auto reading = HKCorrelation::correlationWithType(
      pressure, at(1), at(1),
      {HKQuantitySample::quantitySampleWithType(
           HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureSystolic),
           HKQuantity::quantityWithUnit(HKUnit::unitFromString("mmHg"), 120), at(1), at(1)),
       HKQuantitySample::quantitySampleWithType(
           HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureDiastolic),
           HKQuantity::quantityWithUnit(HKUnit::unitFromString("mmHg"), 80), at(1), at(1))});

  platform::PackedObjects packed;
  const auto pulseRow = packed.pack(*pulse);
  const auto readingRow = packed.pack(*reading);
  EXPECT_EQ(packed.typeIdentifier(pulseRow), HKQuantityTypeIdentifierHeartRate);
  EXPECT_EQ(packed.typeIdentifier(readingRow), HKCorrelationTypeIdentifierBloodPressure);
  const auto again = std::dynamic_pointer_cast<const HKQuantitySample>(packed.unpack(pulseRow));
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->UUID(), pulse->UUID());
  EXPECT_EQ(again->startDate(), pulse->startDate());
  EXPECT_EQ(again->endDate(), pulse->endDate());
  EXPECT_TRUE(again->device()->isEqual(*band));
  EXPECT_TRUE(again->metadata()->isEqual(*metadata));
  EXPECT_EQ(HKQuantityAccess::unit(*again->quantity())->unitString(), "count/s");
  EXPECT_EQ(again->quantity()->doubleValueForUnit(*perSecond), 1.0 / 3);
  EXPECT_TRUE(again->sourceRevision()->isEqual(*pulse->sourceRevision()));
  const auto whole = packed.unpack(readingRow);
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(whole->UUID(), reading->UUID());
  EXPECT_EQ(packed.unpack(readingRow), nullptr);

  // Every new sample carries a revision object of its own; equal ones are one part, or a
  // million samples would be a million combinations of parts.
  const auto nextPulse = HKQuantitySample::quantitySampleWithType(
      heartRateType(), HKQuantity::quantityWithUnit(perSecond, 1.5), at(2), at(2), band, metadata);
  ASSERT_NE(nextPulse->sourceRevision(), pulse->sourceRevision());
  EXPECT_EQ(packed.pack(*nextPulse).parts, pulseRow.parts);
}

}  // namespace
}  // namespace testing_support
