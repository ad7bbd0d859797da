#pragma once

// HKQuantitySample: a numeric measurement over a stretch of time (steps walked, a heart rate, a
// body mass).
//
// Immutable and shared; safe to use from any thread. A sample keeps its amount as a number in
// the unit it was made with; quantity() and quantityType() hand out objects made from it (equal
// every time, not the same object). The factories throw std::invalid_argument,
// as HealthKit raises, when the quantity's unit does not suit the type (a mass for heart rate),
// the value is not a finite number, the end is before the start, the metadata is malformed, or
// an insulin delivery lacks HKMetadataKeyInsulinDeliveryReason.
//
// Key paths for predicates, besides HKSample's: "quantity" (an HKQuantity, compared across
// compatible units) and "count".
//
//   auto steps = HKQuantitySample::quantitySampleWithType(
//       HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount),
//       HKQuantity::quantityWithUnit(HKUnit::countUnit(), 120), start, end);

#include <memory>
#include <string>

#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKSample.h"

extern const std::string HKPredicateKeyPathQuantity;  // "quantity"
extern const std::string HKPredicateKeyPathCount;     // "count"

class HKQuantitySample : public HKSample {
 public:
  using Pointer = std::shared_ptr<const HKQuantitySample>;

  static Pointer quantitySampleWithType(std::shared_ptr<const HKQuantityType> type,
                                        HKQuantity::Pointer quantity, NSDate startDate,
                                        NSDate endDate, HKMetadata metadata = nullptr);
  static Pointer quantitySampleWithType(std::shared_ptr<const HKQuantityType> type,
                                        HKQuantity::Pointer quantity, NSDate startDate,
                                        NSDate endDate, HKDevice::Pointer device,
                                        HKMetadata metadata);

  std::shared_ptr<const HKQuantityType> quantityType() const;
  HKQuantity::Pointer quantity() const;
  // How many measurements the sample stands for: 1 unless it summarises a series.
  long count() const { return count_; }

  NSAny valueForKey(const std::string& key) const override;
  std::string description() const override;
  std::string className() const override { return "HKQuantitySample"; }

 private:
  friend struct HKObjectAccess;  // rebuilds stored samples

  HKQuantitySample(std::shared_ptr<const HKQuantityType> type, HKQuantity::Pointer quantity,
                   NSDate startDate, NSDate endDate, HKDevice::Pointer device, HKMetadata metadata);
  HKQuantitySample(const platform::healthkit::ObjectParts& parts,
                   std::shared_ptr<const HKSampleType> type, NSDate startDate, NSDate endDate,
                   HKUnit::Pointer unit, double value);
  std::shared_ptr<HKObject> copyObject() const override;

  HKUnit::Pointer unit_;
  double value_ = 0;
  long count_ = 1;
};
