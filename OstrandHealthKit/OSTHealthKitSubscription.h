#pragma once

// OSTHealthKitSubscription: the library's fixed knowledge of which HealthKit data it handles and
// where each kind goes. Class operations only (it holds no state of its own):
//
// - the sample types of a subscription set (what an app subscribes to) and of a historical set
//   (what a one-off historical fetch covers), as ordered lists;
// - the record kind a sample type turns into, and the sample types of a record kind, as sets;
// - whether a type is one of the heart-rate types;
// - the one unit each quantity type's values are written in, and workout activity names.
//
// Some entries exist only from iOS 11.0 on; they are added when the running system is at least
// that version (NSProcessInfo's test). Every list is built once, on first use, and then kept for
// the life of the process, so it keeps the platform it was first built on; only the heart-rate
// list and historical set 2 are made anew on every call. Tests that change the platform version
// call OSTResetCachedValuesForTesting() (OSTCachedValue.h).
//
// Thread-safe: any thread may call any operation. Returned lists are shared and immutable.
//
//   auto types = OSTHealthKitSubscription::sampleTypesForSubscriptionSet(
//       OSTHealthKitSubscriptionSetBiometrics);
//   OSTHealthKitSubscription::recordTypeForSampleType(*types->front());  // OSTRecordTypeBiometrics
//   OSTHealthKitSubscription::unitForQuantityTypeIdentifier(HKQuantityTypeIdentifierBodyMass);
//       // kg

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/NSObjCRuntime.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKUnit.h"
#include "OstrandCore/OSTModel.h"
#include "OstrandCore/OSTRecordType.h"

// The groups of types an application subscribes to. Not the record-type numbering.
enum OSTHealthKitSubscriptionSet : NSInteger {
  OSTHealthKitSubscriptionSetRoutine = 0,
  OSTHealthKitSubscriptionSetDiabetes = 1,
  OSTHealthKitSubscriptionSetWeight = 2,
  OSTHealthKitSubscriptionSetFitness = 3,
  OSTHealthKitSubscriptionSetSleep = 4,
  OSTHealthKitSubscriptionSetBasicNutrition = 5,
  OSTHealthKitSubscriptionSetReproductiveHealth = 6,
  OSTHealthKitSubscriptionSetBiometrics = 7,
};

// What a historical fetch covers: six months of daily activity, of workouts, or seven days of
// minute-by-minute steps.
enum OSTHealthKitHistoricalSet : NSInteger {
  OSTHealthKitHistoricalSetRoutine = 0,
  OSTHealthKitHistoricalSetFitness = 1,
  OSTHealthKitHistoricalSetIntradaySteps = 2,
};

// An ordered list of sample types (NSArray<HKSampleType *>).
using OSTSampleTypeList = std::vector<std::shared_ptr<const HKSampleType>>;

// The unit constants an application may pass to the core library. 0 is the core library's
// standard unit for each (mg/dL, kilograms, degrees Celsius): the values this library writes.
extern const NSInteger kOSTStandardGlucoseUnit;
extern const NSInteger kOSTStandardWeightUnit;
extern const NSInteger kOSTStandardTemperatureUnit;

class OSTHealthKitSubscription : public OSTModel {
 public:
  // --- Sets ---

  // The set's types in their fixed order; nullptr for a number outside 0...7.
  static std::shared_ptr<const OSTSampleTypeList> sampleTypesForSubscriptionSet(NSInteger set);
  // The set's types in their fixed order; nullptr for a number outside 0...2. Sets 0 and 1 are
  // the same list object on every call; set 2 is a new one-entry list each time.
  static std::shared_ptr<const OSTSampleTypeList> sampleTypesForHistoricalSet(NSInteger set);

  // --- Record kinds ---

  // The record kind samples of the type turn into; OSTRecordTypeNone for a type this library
  // does not convert. The blood-pressure and food correlations are recognised by identifier.
  static OSTRecordType recordTypeForSampleType(const HKSampleType& type);
  // The types of a record kind 1...7 (the correlations are in none); nullptr for any other
  // number. Forwards to _sampleTypesForRecordType.
  static std::shared_ptr<const HKSampleTypeSet> sampleTypesForRecordType(NSInteger recordType);
  static std::shared_ptr<const HKSampleTypeSet> _sampleTypesForRecordType(NSInteger recordType);

  static std::shared_ptr<const HKSampleTypeSet> routineObjectTypes();
  static std::shared_ptr<const HKSampleTypeSet> biometricsObjectTypes();
  static std::shared_ptr<const HKSampleTypeSet> weightObjectTypes();
  static std::shared_ptr<const HKSampleTypeSet> diabetesObjectTypes();
  static std::shared_ptr<const HKSampleTypeSet> sleepObjectTypes();
  static std::shared_ptr<const HKSampleTypeSet> nutritionObjectTypes();
  static std::shared_ptr<const HKSampleTypeSet> fitnessObjectTypes();

  // Heart rate, and from iOS 11.0 on also walking-average and resting heart rate. Decided anew
  // on every call.
  static bool isHeartRateSample(const HKSampleType& type);

  // --- Units and names ---

  // The unit every value of the quantity type is written in ("kg" for body mass, "%" for body
  // fat, "count" for steps and body-mass index); nullptr for any other identifier (category,
  // correlation and workout types, quantity types this library does not convert).
  static HKUnit::Pointer unitForQuantityTypeIdentifier(std::string_view identifier);
  // The display name of a workout activity number ("Running"); "Workout" for numbers without
  // one (0, HealthKit's "other", anything unknown, and Tai Chi, Mixed Cardio and Hand Cycling
  // below iOS 11.0).
  static std::string workoutActivityForType(NSUInteger activityType);

  std::string className() const override { return "OSTHealthKitSubscription"; }

 private:
  OSTHealthKitSubscription() = default;
};

// Whether the running system is at least iOS 11.0: the gate of the catalog's newer entries.
bool OSTPlatformIsAtLeastIOS11();
// Whether the running system is at least iOS 13.0.
bool OSTPlatformIsAtLeastIOS13();
