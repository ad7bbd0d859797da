#include "HealthKit/HKObject.h"

#include <stdexcept>

#include "Foundation/NSProcessInfo.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKUnit.h"
#include "HealthKit/internal/HKObjectAccess.h"
#include "HealthKit/internal/PackedMetadata.h"

const std::string HKPredicateKeyPathUUID = "UUID";
const std::string HKPredicateKeyPathSource = "source";
const std::string HKPredicateKeyPathSourceRevision = "sourceRevision";
const std::string HKPredicateKeyPathDevice = "device";
const std::string HKPredicateKeyPathMetadata = "metadata";
const std::string HKPredicateKeyPathCorrelation = "correlation";

namespace {

[[noreturn]] void reject(const char* className, const std::string& key, const std::string& need,
                         const NSAny& value) {
  throw std::invalid_argument(std::string(className) + ": metadata value for " + key + " must be " +
                              need + ", not " + value.description());
}

void checkNumberIn(const char* className, const std::string& key, const NSAny& value, long lowest,
                   long highest, const std::string& need) {
  if (!value.isNumber() || value.doubleValue() != static_cast<double>(value.integerValue()) ||
      value.integerValue() < lowest || value.integerValue() > highest) {
    reject(className, key, need, value);
  }
}

void checkQuantity(const char* className, const std::string& key, const NSAny& value,
                   const HKUnit& unit, const std::string& need) {
  auto quantity = value.objectAs<HKQuantity>();
  if (!quantity || !quantity->isCompatibleWithUnit(unit)) reject(className, key, need, value);
}

// Values are strings, numbers, dates or quantities; HealthKit's own keys must hold the kind of
// value they are defined with.
void checkMetadata(const char* className, const NSDictionary& metadata) {
  for (const auto& [key, value] : metadata) {
    const bool quantity = value.objectAs<HKQuantity>() != nullptr;
    if (!(value.isString() || value.isNumber() || value.isDate() || quantity)) {
      reject(className, key, "a string, number, date or quantity", value);
    }
    if (key == HKMetadataKeyWasUserEntered || key == HKMetadataKeyMenstrualCycleStart ||
        key == HKMetadataKeySexualActivityProtectionUsed) {
      checkNumberIn(className, key, value, 0, 1, "a boolean number");
    } else if (key == HKMetadataKeyInsulinDeliveryReason) {
      checkNumberIn(className, key, value, HKInsulinDeliveryReasonBasal,
                    HKInsulinDeliveryReasonBolus, "an HKInsulinDeliveryReason");
    } else if (key == HKMetadataKeyWeatherCondition) {
      checkNumberIn(className, key, value, HKWeatherConditionNone, HKWeatherConditionTornado,
                    "an HKWeatherCondition");
    } else if (key == HKMetadataKeyWeatherTemperature) {
      checkQuantity(className, key, value, *HKUnit::kelvinUnit(), "a temperature");
    } else if (key == HKMetadataKeyWeatherHumidity) {
      checkQuantity(className, key, value, *HKUnit::percentUnit(), "a percentage");
    }
  }
}

}  // namespace

HKObject::HKObject(const char* className, HKDevice::Pointer device, HKMetadata metadata)
    : sourceRevision_(HKSourceRevision::sourceRevisionWithSource(
          HKSource::defaultSource(), std::nullopt, std::nullopt,
          NSProcessInfo::processInfo().operatingSystemVersion())),
      device_(std::move(device)) {
  if (!metadata) return;
  checkMetadata(className, *metadata);
  metadata_ = std::make_shared<const platform::healthkit::PackedMetadata>(*metadata);
}

HKObject::HKObject(const platform::healthkit::ObjectParts& parts)
    : uuid_(parts.uuid),
      sourceRevision_(parts.sourceRevision),
      device_(parts.device),
      metadata_(parts.metadata) {}

HKMetadata HKObject::metadata() const { return metadata_ ? metadata_->dictionary() : nullptr; }

void HKObject::setSourceRevision(HKSourceRevision::Pointer revision) {
  sourceRevision_ = std::move(revision);
}

bool HKObject::isEqual(const NSObject& other) const {
  const auto* object = dynamic_cast<const HKObject*>(&other);
  return object != nullptr && object->uuid_ == uuid_;
}

NSAny HKObject::valueForKey(const std::string& key) const {
  if (key == HKPredicateKeyPathUUID) return uuid_.UUIDString();
  if (key == HKPredicateKeyPathSource) return sourceRevision_->source();
  if (key == HKPredicateKeyPathSourceRevision) return sourceRevision_;
  if (key == HKPredicateKeyPathDevice) return device_;
  if (key == HKPredicateKeyPathMetadata) return metadata();
  return NSObject::valueForKey(key);
}
