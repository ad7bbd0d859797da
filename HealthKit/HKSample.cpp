#include "HealthKit/HKSample.h"

#include <stdexcept>

#include "HealthKit/HKCorrelation.h"

const std::string HKPredicateKeyPathStartDate = "startDate";
const std::string HKPredicateKeyPathEndDate = "endDate";
const std::string HKSampleSortIdentifierStartDate = "startDate";
const std::string HKSampleSortIdentifierEndDate = "endDate";

HKSample::HKSample(const char* className, std::shared_ptr<const HKSampleType> type,
                   NSDate startDate, NSDate endDate, HKDevice::Pointer device, HKMetadata metadata)
    : HKObject(className, std::move(device), std::move(metadata)),
      sampleType_(std::move(type)),
      startDate_(startDate),
      endDate_(endDate) {
  if (!sampleType_) throw std::invalid_argument(std::string(className) + ": type must not be null");
  if (!(startDate_ <= endDate_)) {
    throw std::invalid_argument(std::string(className) + ": the end date " +
                                endDate_.description() + " is before the start date " +
                                startDate_.description());
  }
}

HKSample::HKSample(const platform::healthkit::ObjectParts& parts,
                   std::shared_ptr<const HKSampleType> type, NSDate startDate, NSDate endDate)
    : HKObject(parts), sampleType_(std::move(type)), startDate_(startDate), endDate_(endDate) {}

NSAny HKSample::valueForKey(const std::string& key) const {
  if (key == HKPredicateKeyPathStartDate) return startDate_;
  if (key == HKPredicateKeyPathEndDate) return endDate_;
  if (key == "sampleType") return sampleType_;
  if (key == HKPredicateKeyPathCorrelation) return correlation_.lock();
  return HKObject::valueForKey(key);
}
