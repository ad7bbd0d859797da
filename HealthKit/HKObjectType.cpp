#include "HealthKit/HKObjectType.h"

#include "HealthKit/HKUnit.h"
#include "HealthKit/internal/HKTypeCatalog.h"
#include "HealthKit/internal/HKTypeRegistry.h"

namespace {

constexpr std::string_view kDietaryPrefix = "HKQuantityTypeIdentifierDietary";

}  // namespace

// The registry is built from literals, not from the identifier constants, so that it is correct
// even when first asked for during static initialisation.
HKTypeRegistry::HKTypeRegistry() {
#define HK_ADD_QUANTITY(name, style, unit)                                                        \
  add(std::shared_ptr<const HKQuantityType>(new HKQuantityType("HKQuantityTypeIdentifier" #name,  \
                                                               HKQuantityAggregationStyle##style, \
                                                               HKUnit::unitFromString(unit))));
#define HK_ADD_CATEGORY(name, lowest, highest) \
  add(std::shared_ptr<const HKCategoryType>(   \
      new HKCategoryType("HKCategoryTypeIdentifier" #name, lowest, highest)));
#define HK_ADD_CORRELATION(name)                \
  add(std::shared_ptr<const HKCorrelationType>( \
      new HKCorrelationType("HKCorrelationTypeIdentifier" #name)));
  HK_QUANTITY_TYPES(HK_ADD_QUANTITY)
  HK_CATEGORY_TYPES(HK_ADD_CATEGORY)
  HK_CORRELATION_TYPES(HK_ADD_CORRELATION)
#undef HK_ADD_QUANTITY
#undef HK_ADD_CATEGORY
#undef HK_ADD_CORRELATION
  workoutType_ = std::shared_ptr<const HKWorkoutType>(new HKWorkoutType("HKWorkoutTypeIdentifier"));
  add(workoutType_);
}

const HKTypeRegistry& HKTypeRegistry::shared() {
  // Never destroyed: types stay valid for code that runs during static destruction.
  static const HKTypeRegistry* const registry = new HKTypeRegistry();
  return *registry;
}

void HKTypeRegistry::add(std::shared_ptr<const HKObjectType> type) {
  std::string_view key = type->identifier();
  types_.emplace(key, std::move(type));
}

std::shared_ptr<const HKObjectType> HKTypeRegistry::find(std::string_view identifier) const {
  auto found = types_.find(identifier);
  return found == types_.end() ? nullptr : found->second;
}

std::shared_ptr<const HKQuantityType> HKObjectType::quantityTypeForIdentifier(
    std::string_view identifier) {
  return std::dynamic_pointer_cast<const HKQuantityType>(HKTypeRegistry::shared().find(identifier));
}

std::shared_ptr<const HKCategoryType> HKObjectType::categoryTypeForIdentifier(
    std::string_view identifier) {
  return std::dynamic_pointer_cast<const HKCategoryType>(HKTypeRegistry::shared().find(identifier));
}

std::shared_ptr<const HKCorrelationType> HKObjectType::correlationTypeForIdentifier(
    std::string_view identifier) {
  return std::dynamic_pointer_cast<const HKCorrelationType>(
      HKTypeRegistry::shared().find(identifier));
}

std::shared_ptr<const HKWorkoutType> HKObjectType::workoutType() {
  return HKTypeRegistry::shared().workoutType();
}

std::shared_ptr<const HKObjectType> HKObjectType::typeForIdentifier(std::string_view identifier) {
  return HKTypeRegistry::shared().find(identifier);
}

bool HKCorrelationType::mayContain(const HKObjectType& type) const {
  if (dynamic_cast<const HKQuantityType*>(&type) == nullptr) return false;
  const std::string_view contained = type.identifier();
  if (identifier() == "HKCorrelationTypeIdentifierBloodPressure") {
    return contained == "HKQuantityTypeIdentifierBloodPressureSystolic" ||
           contained == "HKQuantityTypeIdentifierBloodPressureDiastolic";
  }
  if (identifier() == "HKCorrelationTypeIdentifierFood") {
    return contained.starts_with(kDietaryPrefix);
  }
  return false;
}

bool HKQuantityType::isCompatibleWithUnit(const HKUnit& unit) const {
  return canonicalUnit_->dimension_ == unit.dimension_;
}

bool HKObjectType::isEqual(const NSObject& other) const {
  const auto* type = dynamic_cast<const HKObjectType*>(&other);
  return type != nullptr && type->identifier_ == identifier_;
}

NSAny HKObjectType::valueForKey(const std::string& key) const {
  if (key == "identifier") return identifier_;
  return NSObject::valueForKey(key);
}
