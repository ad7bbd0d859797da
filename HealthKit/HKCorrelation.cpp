#include "HealthKit/HKCorrelation.h"

#include <algorithm>
#include <stdexcept>

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKQuantitySample.h"

namespace {

constexpr const char* kClassName = "HKCorrelation";

[[noreturn]] void reject(const std::string& problem) {
  throw std::invalid_argument(std::string(kClassName) + ": " + problem);
}

}  // namespace

HKCorrelation::HKCorrelation(std::shared_ptr<const HKCorrelationType> type, NSDate startDate,
                             NSDate endDate, HKDevice::Pointer device, HKMetadata metadata)
    : HKSample(kClassName, type, startDate, endDate, std::move(device), std::move(metadata)),
      correlationType_(std::move(type)) {}

HKCorrelation::Pointer HKCorrelation::correlationWithType(
    std::shared_ptr<const HKCorrelationType> type, NSDate startDate, NSDate endDate,
    const Objects& objects, HKMetadata metadata) {
  return correlationWithType(std::move(type), startDate, endDate, objects, nullptr,
                             std::move(metadata));
}

HKCorrelation::Pointer HKCorrelation::correlationWithType(
    std::shared_ptr<const HKCorrelationType> type, NSDate startDate, NSDate endDate,
    const Objects& objects, HKDevice::Pointer device, HKMetadata metadata) {
  std::shared_ptr<HKCorrelation> correlation(new HKCorrelation(
      std::move(type), startDate, endDate, std::move(device), std::move(metadata)));
  const HKCorrelationType& correlationType = *correlation->correlationType_;
  Objects unique;
  for (const auto& object : objects) {
    if (!object) reject("objects must not contain null");
    const bool kindAllowed = dynamic_cast<const HKQuantitySample*>(object.get()) != nullptr ||
                             dynamic_cast<const HKCategorySample*>(object.get()) != nullptr;
    if (!kindAllowed || !correlationType.mayContain(*object->sampleType())) {
      reject(correlationType.identifier() + " may not contain " +
             object->sampleType()->identifier());
    }
    const bool seen = std::any_of(unique.begin(), unique.end(),
                                  [&](const auto& kept) { return kept->isEqual(*object); });
    if (!seen) unique.push_back(object);
  }
  if (correlationType.identifier() == HKCorrelationTypeIdentifierBloodPressure) {
    const auto count = [&](const std::string& identifier) {
      return std::count_if(unique.begin(), unique.end(), [&](const auto& sample) {
        return sample->sampleType()->identifier() == identifier;
      });
    };
    if (count(HKQuantityTypeIdentifierBloodPressureSystolic) != 1 ||
        count(HKQuantityTypeIdentifierBloodPressureDiastolic) != 1) {
      reject(correlationType.identifier() +
             " needs one systolic and one diastolic blood pressure sample");
    }
  }
  adopt(correlation, unique);
  return correlation;
}

void HKCorrelation::adopt(const std::shared_ptr<HKCorrelation>& correlation,
                          const Objects& objects) {
  correlation->objects_.clear();
  for (const auto& object : objects) {
    // Copies made here are not shared yet, so they may still be changed.
    auto copy = std::static_pointer_cast<HKSample>(object->copyObject());
    copy->correlation_ = correlation;
    correlation->objects_.push_back(std::move(copy));
  }
}

std::shared_ptr<HKObject> HKCorrelation::copyObject() const {
  std::shared_ptr<HKCorrelation> copy(new HKCorrelation(*this));
  adopt(copy, objects_);
  return copy;
}

HKCorrelation::Pointer HKCorrelation::copyHolding(const Objects& objects) const {
  std::shared_ptr<HKCorrelation> copy(new HKCorrelation(*this));
  adopt(copy, objects);
  return copy;
}

void HKCorrelation::setSourceRevision(HKSourceRevision::Pointer revision) {
  for (const auto& object : objects_) {
    // The held samples are this correlation's own copies, changed only before it is shared.
    std::const_pointer_cast<HKSample>(object)->setSourceRevision(revision);
  }
  HKSample::setSourceRevision(std::move(revision));
}

HKCorrelation::Objects HKCorrelation::objectsForType(const HKObjectType& type) const {
  Objects matching;
  for (const auto& object : objects_) {
    if (object->sampleType()->isEqual(type)) matching.push_back(object);
  }
  return matching;
}
