#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Categories/OSTWeight+HealthKit.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

std::shared_ptr<const OSTHealthKitKeyPaths> weightHealthKitKeyPaths() {
  static auto* const keyPaths = new OSTCachedValue<OSTHealthKitKeyPaths>();
  return keyPaths->get([] {
    OSTHealthKitKeyPaths table{
        {HKQuantityTypeIdentifierBodyMass, "weight"},
        {HKQuantityTypeIdentifierHeight, "height"},
        {HKQuantityTypeIdentifierBodyFatPercentage, "fatPercent"},
        {HKQuantityTypeIdentifierBodyMassIndex, "bmi"},
        {HKQuantityTypeIdentifierLeanBodyMass, "extras.lean_body_mass"},
    };
    if (OSTPlatformIsAtLeastIOS11()) {
      table.emplace(HKQuantityTypeIdentifierWaistCircumference, "extras.waist_circumference");
    }
    return table;
  });
}
