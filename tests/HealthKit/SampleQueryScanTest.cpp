// Sample queries over random steps and sleep, with every option of HealthKit's date predicate,
// limits and sort descriptors, against the same query's answer worked out by hand from a query
// with no predicate (which walks every sample).

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "HealthKit/HKCategorySample.h"
#include "QueryFixture.h"

namespace testing_support {
namespace {

class SampleQueryScanTest : public QueryFixture {
 protected:
  void SetUp() override {
    QueryFixture::SetUp();
    authorize({}, {stepType(), sleepType()});
    std::vector<std::shared_ptr<const HKObject>> phone, watchObjects;
    for (int i = 0; i < 400; ++i) {
      const double start = 5.0 * static_cast<double>(next(2000));  // minutes, many shared
      if (next(4) == 0) {
        watchObjects.push_back(HKCategorySample::categorySampleWithType(
            sleepType(), HKCategoryValueSleepAnalysisAsleepCore, at(start),
            at(start + 30.0 * static_cast<double>(1 + next(20)))));
      } else {
        auto& into = next(2) == 0 ? phone : watchObjects;
        into.push_back(phoneSteps(static_cast<double>(1 + next(100)), at(start),
                                  at(start + static_cast<double>(next(10)))));
      }
    }
    ASSERT_EQ(save(iPhone, phone), nullptr);
    ASSERT_EQ(save(watch, watchObjects), nullptr);
  }

  static std::shared_ptr<const HKCategoryType> sleepType() {
    return HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis);
  }
  std::size_t next(std::size_t below) { return random() % below; }
  std::optional<NSDate> maybeDate() {
    if (next(5) == 0) return std::nullopt;
    return at(5.0 * static_cast<double>(next(2100)) - 100);
  }

  static std::vector<std::string> uuidsOf(
      const std::vector<std::shared_ptr<const HKSample>>& found) {
    std::vector<std::string> uuids;
    for (const auto& sample : found) uuids.push_back(sample->UUID().UUIDString());
    return uuids;
  }

  std::mt19937 random{7};
};

TEST_F(SampleQueryScanTest, DatePredicatesLimitsAndSortsMatchAWalkOverEverySample) {
  for (int round = 0; round < 120; ++round) {
    const auto type = next(2) == 0 ? std::shared_ptr<const HKSampleType>(stepType())
                                   : std::shared_ptr<const HKSampleType>(sleepType());
    const auto predicate = HKQuery::predicateForSamplesWithStartDate(
        maybeDate(), maybeDate(), static_cast<HKQueryOptions>(next(4)));
    const unsigned long limit = next(3) == 0 ? HKObjectQueryNoLimit : 1 + next(30);
    std::vector<std::shared_ptr<const NSSortDescriptor>> sort;
    for (std::size_t key = next(3); key > 0; --key) {
      sort.push_back(NSSortDescriptor::sortDescriptorWithKey(
          next(2) == 0 ? HKSampleSortIdentifierStartDate : HKSampleSortIdentifierEndDate,
          next(2) == 0));
    }

    auto expected = samples(type);
    std::erase_if(expected,
                  [&](const auto& sample) { return !predicate->evaluateWithObject(*sample); });
    std::stable_sort(expected.begin(), expected.end(), [&](const auto& a, const auto& b) {
      for (const auto& descriptor : sort) {
        const NSComparisonResult order = descriptor->compareObject(*a, *b);
        if (order != NSOrderedSame) return order == NSOrderedAscending;
      }
      return false;
    });
    if (limit != HKObjectQueryNoLimit && expected.size() > limit) expected.resize(limit);

    EXPECT_EQ(uuidsOf(samples(type, predicate, limit, sort)), uuidsOf(expected))
        << type->identifier() << " limit " << limit << " where " << predicate->predicateFormat();
  }
}

}  // namespace
}  // namespace testing_support
