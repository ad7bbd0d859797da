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
    : HKSample(kClassName, type, startDate, endDate, std::move(device), std::move(metadata)),
      quantityType_(std::move(type)),
      quantity_(std::move(quantity)) {
  if (!quantity_) reject("quantity must not be null");
  const HKUnit& unit = *HKQuantityAccess::unit(*quantity_);
  if (!quantityType_->isCompatibleWithUnit(unit)) {
    reject(quantity_->description() + " is not compatible with " + quantityType_->identifier());
  }
  if (!std::isfinite(HKQuantityAccess::value(*quantity_))) {
    reject("the quantity must be a finite number, not " + quantity_->description());
  }
  if (quantityType_->identifier() == HKQuantityTypeIdentifierInsulinDelivery &&
      (!this->metadata() ||
       this->metadata()->objectForKey(HKMetadataKeyInsulinDeliveryReason).isNil())) {
    reject(quantityType_->identifier() + " samples require the metadata key " +
           HKMetadataKeyInsulinDeliveryReason);
  }
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
  return Pointer(new HKQuantitySample(std::move(type), std::move(quantity), startDate, endDate,
                                      std::move(device), std::move(metadata)));
}

std::shared_ptr<HKObject> HKQuantitySample::copyObject() const {
  return std::shared_ptr<HKQuantitySample>(new HKQuantitySample(*this));
}

NSAny HKQuantitySample::valueForKey(const std::string& key) const {
  if (key == HKPredicateKeyPathQuantity) return quantity_;
  if (key == HKPredicateKeyPathCount) return count_;
  return HKSample::valueForKey(key);
}

std::string HKQuantitySample::description() const {
  return UUID().UUIDString() + " " + quantity_->description() + " \"" + source()->name() + "\" (" +
         startDate().description() + " - " + endDate().description() + ")";
}
