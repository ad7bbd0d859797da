#include "OstrandHealthKit/OSTHealthKitSubscription.h"

#include <initializer_list>
#include <stdexcept>

#include "Foundation/NSProcessInfo.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/OSTCachedValue.h"

namespace {

using Identifiers = std::initializer_list<std::string>;

// The interned sample type of any kind for an identifier the catalog names. A name HealthKit
// does not know is a defect of the catalog itself, so it is refused loudly.
std::shared_ptr<const HKSampleType> sampleType(const std::string& identifier) {
  auto type =
      std::dynamic_pointer_cast<const HKSampleType>(HKObjectType::typeForIdentifier(identifier));
  if (!type) throw std::logic_error("catalog names an unknown sample type: " + identifier);
  return type;
}

// A list of the base entries, followed by the iOS 11.0 entries when the platform has them.
OSTSampleTypeList list(Identifiers base, Identifiers fromIOS11 = {}) {
  OSTSampleTypeList types;
  for (const auto& identifier : base) types.push_back(sampleType(identifier));
  if (OSTPlatformIsAtLeastIOS11()) {
    for (const auto& identifier : fromIOS11) types.push_back(sampleType(identifier));
  }
  return types;
}

HKSampleTypeSet set(Identifiers base, Identifiers fromIOS11 = {}) {
  const auto types = list(base, fromIOS11);
  return HKSampleTypeSet(types.begin(), types.end());
}

std::shared_ptr<const OSTSampleTypeList> cachedList(OSTCachedValue<OSTSampleTypeList>& cache,
                                                    Identifiers base, Identifiers fromIOS11 = {}) {
  return cache.get([&] { return list(base, fromIOS11); });
}

std::shared_ptr<const HKSampleTypeSet> cachedSet(OSTCachedValue<HKSampleTypeSet>& cache,
                                                 Identifiers base, Identifiers fromIOS11 = {}) {
  return cache.get([&] { return set(base, fromIOS11); });
}

// Sets compare types by identifier, so a non-owning pointer to the argument finds its entry.
bool contains(const HKSampleTypeSet& types, const HKSampleType& type) {
  return types.contains(std::shared_ptr<const HKSampleType>(std::shared_ptr<void>(), &type));
}

// --- Subscription sets ---

std::shared_ptr<const OSTSampleTypeList> routineSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(
      *slot, {HKQuantityTypeIdentifierFlightsClimbed, HKQuantityTypeIdentifierActiveEnergyBurned,
              HKQuantityTypeIdentifierDistanceWalkingRunning, HKQuantityTypeIdentifierStepCount,
              HKQuantityTypeIdentifierBasalEnergyBurned, HKCategoryTypeIdentifierAppleStandHour,
              HKQuantityTypeIdentifierAppleExerciseTime, HKCategoryTypeIdentifierMindfulSession,
              HKQuantityTypeIdentifierDistanceWheelchair, HKQuantityTypeIdentifierPushCount});
}

std::shared_ptr<const OSTSampleTypeList> diabetesSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(*slot, {HKQuantityTypeIdentifierBloodGlucose},
                    {HKQuantityTypeIdentifierInsulinDelivery});
}

std::shared_ptr<const OSTSampleTypeList> weightSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(*slot,
                    {HKQuantityTypeIdentifierBodyMass, HKQuantityTypeIdentifierHeight,
                     HKQuantityTypeIdentifierBodyFatPercentage,
                     HKQuantityTypeIdentifierLeanBodyMass, HKQuantityTypeIdentifierBodyMassIndex},
                    {HKQuantityTypeIdentifierWaistCircumference});
}

std::shared_ptr<const OSTSampleTypeList> fitnessSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(*slot,
                    {HKWorkoutTypeIdentifier, HKQuantityTypeIdentifierNikeFuel,
                     HKQuantityTypeIdentifierDistanceCycling},
                    {HKQuantityTypeIdentifierVO2Max});
}

std::shared_ptr<const OSTSampleTypeList> sleepSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(*slot, {HKCategoryTypeIdentifierSleepAnalysis});
}

std::shared_ptr<const OSTSampleTypeList> basicNutritionSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(
      *slot,
      {HKQuantityTypeIdentifierDietaryCalcium, HKQuantityTypeIdentifierDietaryCarbohydrates,
       HKQuantityTypeIdentifierDietaryCholesterol, HKQuantityTypeIdentifierDietaryFiber,
       HKQuantityTypeIdentifierDietaryIron, HKQuantityTypeIdentifierDietaryPotassium,
       HKQuantityTypeIdentifierDietaryProtein, HKQuantityTypeIdentifierDietaryFatSaturated,
       HKQuantityTypeIdentifierDietarySodium, HKQuantityTypeIdentifierDietarySugar,
       HKQuantityTypeIdentifierDietaryFatTotal, HKQuantityTypeIdentifierDietaryEnergyConsumed,
       HKCorrelationTypeIdentifierFood, HKQuantityTypeIdentifierDietaryWater});
}

std::shared_ptr<const OSTSampleTypeList> reproductiveHealthSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(
      *slot,
      {HKCategoryTypeIdentifierSexualActivity, HKCategoryTypeIdentifierCervicalMucusQuality,
       HKCategoryTypeIdentifierIntermenstrualBleeding, HKCategoryTypeIdentifierMenstrualFlow,
       HKCategoryTypeIdentifierOvulationTestResult, HKQuantityTypeIdentifierBasalBodyTemperature});
}

std::shared_ptr<const OSTSampleTypeList> biometricsSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(
      *slot,
      {HKCorrelationTypeIdentifierBloodPressure, HKQuantityTypeIdentifierHeartRate,
       HKQuantityTypeIdentifierBodyTemperature, HKQuantityTypeIdentifierOxygenSaturation},
      {HKQuantityTypeIdentifierRestingHeartRate, HKQuantityTypeIdentifierWalkingHeartRateAverage});
}

// --- Historical sets ---

// The routine subscription set without exercise time and mindful sessions, the wheelchair pair
// moved up behind the stand hour.
std::shared_ptr<const OSTSampleTypeList> routineHistoricalSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(
      *slot, {HKQuantityTypeIdentifierFlightsClimbed, HKQuantityTypeIdentifierActiveEnergyBurned,
              HKQuantityTypeIdentifierDistanceWalkingRunning, HKQuantityTypeIdentifierStepCount,
              HKQuantityTypeIdentifierBasalEnergyBurned, HKCategoryTypeIdentifierAppleStandHour,
              HKQuantityTypeIdentifierDistanceWheelchair, HKQuantityTypeIdentifierPushCount});
}

std::shared_ptr<const OSTSampleTypeList> fitnessHistoricalSet() {
  static auto* const slot = new OSTCachedValue<OSTSampleTypeList>();
  return cachedList(*slot, {HKWorkoutTypeIdentifier});
}

}  // namespace

const NSInteger kOSTStandardGlucoseUnit = 0;
const NSInteger kOSTStandardWeightUnit = 0;
const NSInteger kOSTStandardTemperatureUnit = 0;

bool OSTPlatformIsAtLeastIOS11() {
  return NSProcessInfo::processInfo().isOperatingSystemAtLeastVersion({11, 0, 0});
}

bool OSTPlatformIsAtLeastIOS13() {
  return NSProcessInfo::processInfo().isOperatingSystemAtLeastVersion({13, 0, 0});
}

std::shared_ptr<const OSTSampleTypeList> OSTHealthKitSubscription::sampleTypesForSubscriptionSet(
    NSInteger set) {
  switch (set) {
    case OSTHealthKitSubscriptionSetRoutine:
      return routineSet();
    case OSTHealthKitSubscriptionSetDiabetes:
      return diabetesSet();
    case OSTHealthKitSubscriptionSetWeight:
      return weightSet();
    case OSTHealthKitSubscriptionSetFitness:
      return fitnessSet();
    case OSTHealthKitSubscriptionSetSleep:
      return sleepSet();
    case OSTHealthKitSubscriptionSetBasicNutrition:
      return basicNutritionSet();
    case OSTHealthKitSubscriptionSetReproductiveHealth:
      return reproductiveHealthSet();
    case OSTHealthKitSubscriptionSetBiometrics:
      return biometricsSet();
    default:
      return nullptr;
  }
}

std::shared_ptr<const OSTSampleTypeList> OSTHealthKitSubscription::sampleTypesForHistoricalSet(
    NSInteger set) {
  switch (set) {
    case OSTHealthKitHistoricalSetRoutine:
      return routineHistoricalSet();
    case OSTHealthKitHistoricalSetFitness:
      return fitnessHistoricalSet();
    case OSTHealthKitHistoricalSetIntradaySteps:
      return std::make_shared<const OSTSampleTypeList>(list({HKQuantityTypeIdentifierStepCount}));
    default:
      return nullptr;
  }
}

OSTRecordType OSTHealthKitSubscription::recordTypeForSampleType(const HKSampleType& type) {
  if (type.identifier() == HKCorrelationTypeIdentifierBloodPressure) return OSTRecordTypeBiometrics;
  if (type.identifier() == HKCorrelationTypeIdentifierFood) return OSTRecordTypeNutrition;
  if (contains(*biometricsObjectTypes(), type)) return OSTRecordTypeBiometrics;
  if (contains(*fitnessObjectTypes(), type)) return OSTRecordTypeFitness;
  if (contains(*diabetesObjectTypes(), type)) return OSTRecordTypeDiabetes;
  if (contains(*nutritionObjectTypes(), type)) return OSTRecordTypeNutrition;
  if (contains(*routineObjectTypes(), type)) return OSTRecordTypeRoutine;
  if (contains(*sleepObjectTypes(), type)) return OSTRecordTypeSleep;
  if (contains(*weightObjectTypes(), type)) return OSTRecordTypeWeight;
  return OSTRecordTypeNone;
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::sampleTypesForRecordType(
    NSInteger recordType) {
  return OSTHealthKitSubscription::_sampleTypesForRecordType(recordType);
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::_sampleTypesForRecordType(
    NSInteger recordType) {
  using ListOperation = std::shared_ptr<const HKSampleTypeSet> (*)();
  // Indexed by record type minus one.
  static constexpr ListOperation kLists[] = {
      &biometricsObjectTypes, &diabetesObjectTypes, &weightObjectTypes, &routineObjectTypes,
      &nutritionObjectTypes,  &fitnessObjectTypes,  &sleepObjectTypes,
  };
  const auto index = static_cast<NSUInteger>(recordType) - 1;
  if (index >= std::size(kLists)) return nullptr;
  return kLists[index]();
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::routineObjectTypes() {
  static auto* const slot = new OSTCachedValue<HKSampleTypeSet>();
  return cachedSet(
      *slot, {HKQuantityTypeIdentifierFlightsClimbed, HKQuantityTypeIdentifierActiveEnergyBurned,
              HKQuantityTypeIdentifierDistanceWalkingRunning, HKQuantityTypeIdentifierStepCount,
              HKQuantityTypeIdentifierBasalEnergyBurned, HKQuantityTypeIdentifierInhalerUsage,
              HKCategoryTypeIdentifierAppleStandHour, HKQuantityTypeIdentifierAppleExerciseTime,
              HKQuantityTypeIdentifierDistanceWheelchair, HKQuantityTypeIdentifierPushCount,
              HKCategoryTypeIdentifierMindfulSession});
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::biometricsObjectTypes() {
  static auto* const slot = new OSTCachedValue<HKSampleTypeSet>();
  return cachedSet(
      *slot,
      {HKQuantityTypeIdentifierHeartRate,
       HKQuantityTypeIdentifierBodyTemperature,
       HKQuantityTypeIdentifierRespiratoryRate,
       HKQuantityTypeIdentifierBloodPressureSystolic,
       HKQuantityTypeIdentifierBloodPressureDiastolic,
       HKQuantityTypeIdentifierBloodAlcoholContent,
       HKQuantityTypeIdentifierElectrodermalActivity,
       HKQuantityTypeIdentifierForcedExpiratoryVolume1,
       HKQuantityTypeIdentifierForcedVitalCapacity,
       HKQuantityTypeIdentifierNumberOfTimesFallen,
       HKQuantityTypeIdentifierPeakExpiratoryFlowRate,
       HKQuantityTypeIdentifierPeripheralPerfusionIndex,
       HKQuantityTypeIdentifierOxygenSaturation,
       HKCategoryTypeIdentifierSexualActivity,
       HKCategoryTypeIdentifierCervicalMucusQuality,
       HKCategoryTypeIdentifierIntermenstrualBleeding,
       HKCategoryTypeIdentifierMenstrualFlow,
       HKCategoryTypeIdentifierOvulationTestResult,
       HKQuantityTypeIdentifierBasalBodyTemperature,
       HKQuantityTypeIdentifierUVExposure},
      {HKQuantityTypeIdentifierRestingHeartRate, HKQuantityTypeIdentifierWalkingHeartRateAverage});
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::weightObjectTypes() {
  static auto* const slot = new OSTCachedValue<HKSampleTypeSet>();
  return cachedSet(*slot,
                   {HKQuantityTypeIdentifierBodyMass, HKQuantityTypeIdentifierHeight,
                    HKQuantityTypeIdentifierBodyFatPercentage, HKQuantityTypeIdentifierLeanBodyMass,
                    HKQuantityTypeIdentifierBodyMassIndex},
                   {HKQuantityTypeIdentifierWaistCircumference});
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::diabetesObjectTypes() {
  static auto* const slot = new OSTCachedValue<HKSampleTypeSet>();
  return cachedSet(*slot, {HKQuantityTypeIdentifierBloodGlucose},
                   {HKQuantityTypeIdentifierInsulinDelivery});
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::sleepObjectTypes() {
  static auto* const slot = new OSTCachedValue<HKSampleTypeSet>();
  return cachedSet(*slot, {HKCategoryTypeIdentifierSleepAnalysis});
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::nutritionObjectTypes() {
  static auto* const slot = new OSTCachedValue<HKSampleTypeSet>();
  return cachedSet(*slot, {HKQuantityTypeIdentifierDietaryBiotin,
                           HKQuantityTypeIdentifierDietaryCaffeine,
                           HKQuantityTypeIdentifierDietaryCalcium,
                           HKQuantityTypeIdentifierDietaryCarbohydrates,
                           HKQuantityTypeIdentifierDietaryChloride,
                           HKQuantityTypeIdentifierDietaryChromium,
                           HKQuantityTypeIdentifierDietaryCopper,
                           HKQuantityTypeIdentifierDietaryCholesterol,
                           HKQuantityTypeIdentifierDietaryEnergyConsumed,
                           HKQuantityTypeIdentifierDietaryFiber,
                           HKQuantityTypeIdentifierDietaryFolate,
                           HKQuantityTypeIdentifierDietaryIodine,
                           HKQuantityTypeIdentifierDietaryIron,
                           HKQuantityTypeIdentifierDietaryMagnesium,
                           HKQuantityTypeIdentifierDietaryManganese,
                           HKQuantityTypeIdentifierDietaryMolybdenum,
                           HKQuantityTypeIdentifierDietaryFatMonounsaturated,
                           HKQuantityTypeIdentifierDietaryNiacin,
                           HKQuantityTypeIdentifierDietaryPantothenicAcid,
                           HKQuantityTypeIdentifierDietaryPhosphorus,
                           HKQuantityTypeIdentifierDietaryFatPolyunsaturated,
                           HKQuantityTypeIdentifierDietaryPotassium,
                           HKQuantityTypeIdentifierDietaryProtein,
                           HKQuantityTypeIdentifierDietaryRiboflavin,
                           HKQuantityTypeIdentifierDietaryFatSaturated,
                           HKQuantityTypeIdentifierDietarySelenium,
                           HKQuantityTypeIdentifierDietarySodium,
                           HKQuantityTypeIdentifierDietarySugar,
                           HKQuantityTypeIdentifierDietaryThiamin,
                           HKQuantityTypeIdentifierDietaryFatTotal,
                           HKQuantityTypeIdentifierDietaryVitaminA,
                           HKQuantityTypeIdentifierDietaryVitaminB12,
                           HKQuantityTypeIdentifierDietaryVitaminB6,
                           HKQuantityTypeIdentifierDietaryVitaminC,
                           HKQuantityTypeIdentifierDietaryVitaminD,
                           HKQuantityTypeIdentifierDietaryVitaminE,
                           HKQuantityTypeIdentifierDietaryVitaminK,
                           HKQuantityTypeIdentifierDietaryZinc,
                           HKQuantityTypeIdentifierDietaryWater});
}

std::shared_ptr<const HKSampleTypeSet> OSTHealthKitSubscription::fitnessObjectTypes() {
  static auto* const slot = new OSTCachedValue<HKSampleTypeSet>();
  return cachedSet(
      *slot,
      {HKWorkoutTypeIdentifier, HKQuantityTypeIdentifierNikeFuel,
       HKQuantityTypeIdentifierDistanceCycling, HKQuantityTypeIdentifierSwimmingStrokeCount,
       HKQuantityTypeIdentifierDistanceSwimming},
      {HKQuantityTypeIdentifierVO2Max});
}

bool OSTHealthKitSubscription::isHeartRateSample(const HKSampleType& type) {
  return contains(
      set({HKQuantityTypeIdentifierHeartRate}, {HKQuantityTypeIdentifierWalkingHeartRateAverage,
                                                HKQuantityTypeIdentifierRestingHeartRate}),
      type);
}
