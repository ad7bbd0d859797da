#include "HealthKit/HKCategorySample.h"

#include <stdexcept>

#include "HealthKit/HKMetadata.h"

const std::string HKPredicateKeyPathCategoryValue = "value";

namespace {

constexpr const char* kClassName = "HKCategorySample";

}  // namespace

HKCategorySample::HKCategorySample(std::shared_ptr<const HKCategoryType> type, long value,
                                   NSDate startDate, NSDate endDate, HKDevice::Pointer device,
                                   HKMetadata metadata)
    : HKSample(kClassName, type, startDate, endDate, std::move(device), std::move(metadata)),
      value_(value) {
  const std::string& identifier = type->identifier();
  if (!type->isValidValue(value_)) {
    throw std::invalid_argument(std::string(kClassName) + ": " + std::to_string(value_) +
                                " is not a valid value for " + identifier);
  }
  if (identifier == HKCategoryTypeIdentifierMenstrualFlow &&
      (!this->metadata() ||
       this->metadata()->objectForKey(HKMetadataKeyMenstrualCycleStart).isNil())) {
    throw std::invalid_argument(std::string(kClassName) + ": " + identifier +
                                " samples require the metadata key " +
                                HKMetadataKeyMenstrualCycleStart);
  }
}

HKCategorySample::HKCategorySample(const platform::healthkit::ObjectParts& parts,
                                   std::shared_ptr<const HKSampleType> type, NSDate startDate,
                                   NSDate endDate, long value)
    : HKSample(parts, std::move(type), startDate, endDate), value_(value) {}

HKCategorySample::Pointer HKCategorySample::categorySampleWithType(
    std::shared_ptr<const HKCategoryType> type, long value, NSDate startDate, NSDate endDate,
    HKMetadata metadata) {
  return categorySampleWithType(std::move(type), value, startDate, endDate, nullptr,
                                std::move(metadata));
}

HKCategorySample::Pointer HKCategorySample::categorySampleWithType(
    std::shared_ptr<const HKCategoryType> type, long value, NSDate startDate, NSDate endDate,
    HKDevice::Pointer device, HKMetadata metadata) {
  // Made in one allocation with its reference count: the class's constructors are private, so
  // a local class that may call them stands in.
  struct Shared : HKCategorySample {
    Shared(std::shared_ptr<const HKCategoryType> type, long value, NSDate startDate, NSDate endDate,
           HKDevice::Pointer device, HKMetadata metadata)
        : HKCategorySample(std::move(type), value, startDate, endDate, std::move(device),
                           std::move(metadata)) {}
  };
  return std::make_shared<const Shared>(std::move(type), value, startDate, endDate,
                                        std::move(device), std::move(metadata));
}

std::shared_ptr<const HKCategoryType> HKCategorySample::categoryType() const {
  return std::static_pointer_cast<const HKCategoryType>(sampleType());
}

std::shared_ptr<HKObject> HKCategorySample::copyObject() const {
  struct Shared : HKCategorySample {
    explicit Shared(const HKCategorySample& sample) : HKCategorySample(sample) {}
  };
  return std::make_shared<Shared>(*this);
}

NSAny HKCategorySample::valueForKey(const std::string& key) const {
  if (key == HKPredicateKeyPathCategoryValue) return value_;
  return HKSample::valueForKey(key);
}
