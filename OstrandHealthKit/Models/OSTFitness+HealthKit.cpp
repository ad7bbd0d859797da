#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Models/OSTFitness+HealthKit.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace {

// The total in `unit`: 0 when the workout reports none, nullopt when the record cannot hold it.
std::optional<double> totalIn(const HKQuantity::Pointer& total, const HKUnit& unit) {
  if (!total || !total->isCompatibleWithUnit(unit)) return 0.0;
  const double value = total->doubleValueForUnit(unit);
  return fitsRecordNumber(value) ? std::optional<double>(value) : std::nullopt;
}

}  // namespace

std::shared_ptr<const OSTHealthKitKeyPaths> fitnessHealthKitKeyPaths() {
  static auto* const keyPaths = new OSTCachedValue<OSTHealthKitKeyPaths>();
  return keyPaths->get([] {
    OSTHealthKitKeyPaths table{
        {HKQuantityTypeIdentifierNikeFuel, "extras.nike_fuel"},
        {HKQuantityTypeIdentifierDistanceCycling, "extras.cycling_distance"},
        {HKQuantityTypeIdentifierDistanceSwimming, "extras.swimming_distance"},
        {HKQuantityTypeIdentifierSwimmingStrokeCount, "extras.swimming_stroke_count"},
    };
    if (OSTPlatformIsAtLeastIOS11())
      table.emplace(HKQuantityTypeIdentifierVO2Max, "extras.vo2_max");
    return table;
  });
}

void setFitnessWorkout(OSTFitness& record, const HKWorkout& workout) {
  record.setType(OSTHealthKitSubscription::workoutActivityForType(workout.workoutActivityType()));
  if (const auto distance = totalIn(workout.totalDistance(), *HKUnit::meterUnit())) {
    record.setDistance(*distance);
  }
  if (const auto calories = totalIn(workout.totalEnergyBurned(), *HKUnit::kilocalorieUnit())) {
    record.setCalories(*calories);
  }
  if (fitsRecordNumber(workout.duration())) record.setDuration(workout.duration());
  record.setStartTime(workout.startDate());
  if (workout.workoutActivityType() != HKWorkoutActivityTypeSwimming) return;

  const auto strokeType =
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierSwimmingStrokeCount);
  const auto unit = OSTHealthKitSubscription::unitForQuantityTypeIdentifier(
      HKQuantityTypeIdentifierSwimmingStrokeCount);
  if (!strokeType || !unit) return;
  // A swim without a stroke count still records 0 strokes.
  const auto strokes = workout.totalSwimmingStrokeCount() ? workout.totalSwimmingStrokeCount()
                                                          : HKQuantity::quantityWithUnit(unit, 0);
  setQuantity(record, *strokes, *strokeType, *unit);
}
