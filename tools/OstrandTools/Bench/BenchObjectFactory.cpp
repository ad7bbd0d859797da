#include "tools/OstrandTools/Bench/BenchObjectFactory.h"

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/HKWorkoutEvent.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

namespace {

HKMetadata metadata(NSDictionary::Storage entries) {
  return NSDictionary::dictionaryWithDictionary(std::move(entries));
}

HKMetadata quantityMetadata(const std::string& identifier, int index) {
  if (identifier == HKQuantityTypeIdentifierInsulinDelivery) {
    return metadata(
        {{HKMetadataKeyInsulinDeliveryReason, static_cast<long>(HKInsulinDeliveryReasonBolus)}});
  }
  return metadata({{HKMetadataKeyWasUserEntered, index % 2 == 0}});
}

std::shared_ptr<const HKQuantitySample> quantitySample(const std::string& identifier, NSDate start,
                                                       NSDate end, int index) {
  const auto unit = OSTHealthKitSubscription::unitForQuantityTypeIdentifier(identifier);
  if (!unit) return nullptr;
  // Percentages are fractions; anything else a plausible small number.
  const double value = unit->unitString() == "%" ? 0.9 + (index % 10) / 100.0 : 40 + index % 60;
  return HKQuantitySample::quantitySampleWithType(
      HKObjectType::quantityTypeForIdentifier(identifier),
      HKQuantity::quantityWithUnit(unit, value), start, end, quantityMetadata(identifier, index));
}

std::shared_ptr<const HKCategorySample> categorySample(const HKCategoryType& type, NSDate start,
                                                       NSDate end, int index) {
  long value = 0;
  while (!type.isValidValue(value)) ++value;
  if (type.isValidValue(value + 1)) value += index % 2;
  const auto metadataForType = type.identifier() == HKCategoryTypeIdentifierMenstrualFlow
                                   ? metadata({{HKMetadataKeyMenstrualCycleStart, index % 28 == 0}})
                                   : nullptr;
  return HKCategorySample::categorySampleWithType(
      HKObjectType::categoryTypeForIdentifier(type.identifier()), value, start, end,
      metadataForType);
}

std::shared_ptr<const HKWorkout> workout(NSDate start, NSDate end, int index) {
  const NSTimeInterval length = end.timeIntervalSinceDate(start);
  const HKWorkout::Events events = {
      HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause,
                                           start.dateByAddingTimeInterval(length / 3)),
      HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume,
                                           start.dateByAddingTimeInterval(length / 2))};
  const auto weather = metadata(
      {{HKMetadataKeyWeatherCondition, static_cast<long>(1 + index % 5)},
       {HKMetadataKeyWeatherTemperature,
        HKQuantity::quantityWithUnit(HKUnit::unitFromString("degF"), 50.0 + index % 30)},
       {HKMetadataKeyWeatherHumidity,
        HKQuantity::quantityWithUnit(HKUnit::unitFromString("%"), 0.4 + (index % 5) / 10.0)}});
  return HKWorkout::workoutWithActivityType(
      HKWorkoutActivityTypeRunning, start, end, events,
      HKQuantity::quantityWithUnit(HKUnit::unitFromString("kcal"), 300.0 + index % 100),
      HKQuantity::quantityWithUnit(HKUnit::unitFromString("km"), 5.0 + (index % 30) / 10.0),
      weather);
}

std::shared_ptr<const HKCorrelation> correlation(const std::string& identifier, NSDate start,
                                                 NSDate end, int index) {
  const bool pressure = identifier == HKCorrelationTypeIdentifierBloodPressure;
  const std::vector<std::string> members =
      pressure ? std::vector<std::string>{HKQuantityTypeIdentifierBloodPressureSystolic,
                                          HKQuantityTypeIdentifierBloodPressureDiastolic}
               : std::vector<std::string>{HKQuantityTypeIdentifierDietaryCarbohydrates,
                                          HKQuantityTypeIdentifierDietaryProtein,
                                          HKQuantityTypeIdentifierDietaryEnergyConsumed};
  HKCorrelation::Objects objects;
  for (const auto& member : members) objects.push_back(quantitySample(member, start, end, index));
  return HKCorrelation::correlationWithType(HKObjectType::correlationTypeForIdentifier(identifier),
                                            start, end, objects);
}

bool isDailyActivityOrHeartRate(const HKSampleType& type) {
  return OSTHealthKitSubscription::recordTypeForSampleType(type) == OSTRecordTypeRoutine ||
         OSTHealthKitSubscription::isHeartRateSample(type);
}

}  // namespace

std::shared_ptr<const HKObject> BenchObjectFactory::object(const HKSampleType& type, NSDate start,
                                                           NSDate end, int index) {
  if (dynamic_cast<const HKQuantityType*>(&type)) {
    return quantitySample(type.identifier(), start, end, index);
  }
  if (const auto* category = dynamic_cast<const HKCategoryType*>(&type)) {
    return categorySample(*category, start, end, index);
  }
  if (dynamic_cast<const HKCorrelationType*>(&type)) {
    return correlation(type.identifier(), start, end, index);
  }
  if (type.identifier() == HKWorkoutTypeIdentifier) return workout(start, end, index);
  return nullptr;
}

std::vector<std::shared_ptr<const HKSampleType>> BenchObjectFactory::sampleConvertedTypes(
    OSTRecordType kind) {
  std::vector<std::shared_ptr<const HKSampleType>> types;
  for (const auto& type : SimulatedPhone::typesOfEverySubscriptionSet()) {
    if (!isDailyActivityOrHeartRate(*type) &&
        OSTHealthKitSubscription::recordTypeForSampleType(*type) == kind) {
      types.push_back(type);
    }
  }
  return types;
}

}  // namespace ostrand_tools
