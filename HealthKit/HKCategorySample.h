#pragma once

// HKCategorySample: one value from a small enumeration over a stretch of time (a night's sleep
// stage, a stand hour, a menstrual flow; see HKCategoryValues.h).
//
// Immutable and shared; safe to use from any thread. The factories throw std::invalid_argument,
// as HealthKit raises, when the value is not one of the type's values, the end is before the
// start, the metadata is malformed, or a menstrual flow lacks HKMetadataKeyMenstrualCycleStart.
//
// Key path for predicates, besides HKSample's: "value".
//
//   auto asleep = HKCategorySample::categorySampleWithType(
//       HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis),
//       HKCategoryValueSleepAnalysisAsleepCore, start, end);

#include <memory>
#include <string>

#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKSample.h"

extern const std::string HKPredicateKeyPathCategoryValue;  // "value"

class HKCategorySample : public HKSample {
 public:
  using Pointer = std::shared_ptr<const HKCategorySample>;

  static Pointer categorySampleWithType(std::shared_ptr<const HKCategoryType> type, long value,
                                        NSDate startDate, NSDate endDate,
                                        HKMetadata metadata = nullptr);
  static Pointer categorySampleWithType(std::shared_ptr<const HKCategoryType> type, long value,
                                        NSDate startDate, NSDate endDate, HKDevice::Pointer device,
                                        HKMetadata metadata);

  // The sample type as a category type.
  std::shared_ptr<const HKCategoryType> categoryType() const;
  long value() const { return value_; }

  NSAny valueForKey(const std::string& key) const override;
  std::string className() const override { return "HKCategorySample"; }

 private:
  friend struct HKObjectAccess;  // rebuilds stored samples

  HKCategorySample(std::shared_ptr<const HKCategoryType> type, long value, NSDate startDate,
                   NSDate endDate, HKDevice::Pointer device, HKMetadata metadata);
  HKCategorySample(const platform::healthkit::ObjectParts& parts,
                   std::shared_ptr<const HKSampleType> type, NSDate startDate, NSDate endDate,
                   long value);
  std::shared_ptr<HKObject> copyObject() const override;

  long value_;
};
