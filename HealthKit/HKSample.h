#pragma once

// HKSample: an object that covers a stretch of time: a start and an end date and a sample type.
// The base of quantity, category and correlation samples and of workouts.
//
// Immutable and shared; safe to use from any thread. A sample may not end before it starts:
// the factories of the subclasses throw std::invalid_argument, as HealthKit raises.
//
// Key paths for predicates, besides HKObject's: "startDate", "endDate", "sampleType" and
// "correlation" (the correlation holding the sample, nil for none).

#include <memory>
#include <string>

#include "Foundation/NSDate.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKObjectType.h"

extern const std::string HKPredicateKeyPathStartDate;      // "startDate"
extern const std::string HKPredicateKeyPathEndDate;        // "endDate"
extern const std::string HKSampleSortIdentifierStartDate;  // "startDate"
extern const std::string HKSampleSortIdentifierEndDate;    // "endDate"

class HKCorrelation;

class HKSample : public HKObject {
 public:
  const std::shared_ptr<const HKSampleType>& sampleType() const { return sampleType_; }
  NSDate startDate() const { return startDate_; }
  NSDate endDate() const { return endDate_; }

  NSAny valueForKey(const std::string& key) const override;

 protected:
  // Throws std::invalid_argument naming `className` when the type is null or the end date is
  // before the start date.
  HKSample(const char* className, std::shared_ptr<const HKSampleType> type, NSDate startDate,
           NSDate endDate, HKDevice::Pointer device, HKMetadata metadata);
  HKSample(const HKSample&) = default;
  // A stored sample rebuilt from its parts (HKObjectAccess), unchecked.
  HKSample(const platform::healthkit::ObjectParts& parts, std::shared_ptr<const HKSampleType> type,
           NSDate startDate, NSDate endDate);

 private:
  friend class HKCorrelation;
  friend struct HKObjectAccess;  // finds the correlation a sample shown to an app belongs to

  std::shared_ptr<const HKSampleType> sampleType_;
  NSDate startDate_;
  NSDate endDate_;
  std::weak_ptr<const HKCorrelation> correlation_;  // set by the correlation that holds it
};
