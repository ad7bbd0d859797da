// Saved objects share one copy of equal devices and metadata, and what a reader gets back is
// exactly what was saved: values that compare equal but read differently (YES, 1 and 1.0; 0.0
// and -0.0; equal quantities in different units) are never merged.

#include <gtest/gtest.h>

#include <cmath>

#include "HealthKit/HKMetadata.h"
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

}  // namespace
}  // namespace testing_support
