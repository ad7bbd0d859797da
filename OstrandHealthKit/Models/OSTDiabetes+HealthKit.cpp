#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Models/OSTDiabetes+HealthKit.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

std::shared_ptr<const OSTHealthKitKeyPaths> diabetesHealthKitKeyPaths() {
  static auto* const keyPaths = new OSTCachedValue<OSTHealthKitKeyPaths>();
  return keyPaths->get([] {
    OSTHealthKitKeyPaths table{{HKQuantityTypeIdentifierBloodGlucose, "bloodGlucose"}};
    if (OSTPlatformIsAtLeastIOS11())
      table.emplace(HKQuantityTypeIdentifierInsulinDelivery, "insulin");
    return table;
  });
}

std::optional<std::string> insulinTypeForDeliveryReason(const NSAny& reason) {
  const auto number = recordIntegerValue(reason);
  if (!number) return std::nullopt;
  switch (*number) {
    case HKInsulinDeliveryReasonBolus:
      return "bolus";
    case HKInsulinDeliveryReasonBasal:
      return "basal";
    default:
      return std::nullopt;
  }
}

void setDiabetesHealthKitSample(OSTDiabetes& record, const HKObject& sample) {
  if (!OSTPlatformIsAtLeastIOS11()) return;
  const auto* delivery = dynamic_cast<const HKSample*>(&sample);
  if (!delivery || !delivery->sampleType() ||
      delivery->sampleType()->identifier() != HKQuantityTypeIdentifierInsulinDelivery) {
    return;
  }
  const HKMetadata metadata = sample.metadata();
  if (!metadata) return;
  const auto type =
      insulinTypeForDeliveryReason(metadata->objectForKey(HKMetadataKeyInsulinDeliveryReason));
  if (type) record.setExtraValue(*type, "insulin_type");
}
