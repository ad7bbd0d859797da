#include "HealthKit/HKQuantitySample.h"

#include <cmath>
#include <stdexcept>

#include "HealthKit/HKMetadata.h"
#include "HealthKit/internal/HKQuantityAccess.h"

const std::string HKPredicateKeyPathQuantity = "quantity";
const std::string HKPredicateKeyPathCount = "count";

namespace {

constexpr const char* kClassName = "HKQuantitySample";

[[noreturn]] void reject(const std::string& problem) {
  throw std::invalid_argument(std::string(kClassName) + ": " + problem);
}

}  // namespace

HKQuantitySample::HKQuantitySample(std::shared_ptr<const HKQuantityType> type,
                                   HKQuantity::Pointer quantity, NSDate startDate, NSDate endDate,
                                   HKDevice::Pointer device, HKMetadata metadata)
    : HKSample(kClassName, type, startDate, endDate, std::move(device), std::move(metadata)) {
  if (!quantity) reject("quantity must not be null");
  unit_ = HKQuantityAccess::unit(*quantity);
  value_ = HKQuantityAccess::value(*quantity);
  if (!type->isCompatibleWithUnit(*unit_)) {
    reject(quantity->description() + " is not compatible with " + type->identifier());
  }
  if (!std::isfinite(value_)) {
    reject("the quantity must be a finite number, not " + quantity->description());
  }
  if (type->identifier() == HKQuantityTypeIdentifierInsulinDelivery &&
      (!this->metadata() ||
       this->metadata()->objectForKey(HKMetadataKeyInsulinDeliveryReason).isNil())) {
    reject(type->identifier() + " samples require the metadata key " +
           HKMetadataKeyInsulinDeliveryReason);
  }
}

HKQuantitySample::HKQuantitySample(const platform::healthkit::ObjectParts& parts,
                                   std::shared_ptr<const HKSampleType> type, NSDate startDate,
                                   NSDate endDate, HKUnit::Pointer unit, double value)
    : HKSample(parts, std::move(type), startDate, endDate), unit_(std::move(unit)), value_(value) {}

std::shared_ptr<const HKQuantityType> HKQuantitySample::quantityType() const {
  return std::static_pointer_cast<const HKQuantityType>(sampleType());
}

HKQuantity::Pointer HKQuantitySample::quantity() const {
  return HKQuantity::quantityWithUnit(unit_, value_);
}

HKQuantitySample::Pointer HKQuantitySample::quantitySampleWithType(
    std::shared_ptr<const HKQuantityType> type, HKQuantity::Pointer quantity, NSDate startDate,
    NSDate endDate, HKMetadata metadata) {
  return quantitySampleWithType(std::move(type), std::move(quantity), startDate, endDate, nullptr,
                                std::move(metadata));
}

HKQuantitySample::Pointer HKQuantitySample::quantitySampleWithType(
    std::shared_ptr<const HKQuantityType> type, HKQuantity::Pointer quantity, NSDate startDate,
    NSDate endDate, HKDevice::Pointer device, HKMetadata metadata) {
  // Made in one allocation with its reference count: the class's constructors are private, so
  // a local class that may call them stands in.
  struct Shared : HKQuantitySample {
    Shared(std::shared_ptr<const HKQuantityType> type, HKQuantity::Pointer quantity,
           NSDate startDate, NSDate endDate, HKDevice::Pointer device, HKMetadata metadata)
        : HKQuantitySample(std::move(type), std::move(quantity), startDate, endDate,
                           std::move(device), std::move(metadata)) {}
  };
  return std::make_shared<const Shared>(std::move(type), std::move(quantity), startDate, endDate,
                                        std::move(device), std::move(metadata));
}

std::shared_ptr<HKObject> HKQuantitySample::copyObject() const {
  struct Shared : HKQuantitySample {
    explicit Shared(const HKQuantitySample& sample) : HKQuantitySample(sample) {}
  };
  return std::make_shared<Shared>(*this);
}

NSAny HKQuantitySample::valueForKey(const std::string& key) const {
  if (key == HKPredicateKeyPathQuantity) return quantity();
  if (key == HKPredicateKeyPathCount) return count_;
  return HKSample::valueForKey(key);
}

std::string HKQuantitySample::description() const {
  return UUID().UUIDString() + " " + quantity()->description() + " \"" + source()->name() + "\" (" +
         startDate().description() + " - " + endDate().description() + ")";
}
