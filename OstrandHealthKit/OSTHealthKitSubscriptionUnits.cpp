// The unit table and the workout activity names of OSTHealthKitSubscription.

#include <array>
#include <map>
#include <string_view>
#include <utility>

#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace {

using UnitTable = std::map<std::string, HKUnit::Pointer, std::less<>>;

// Adds the identifiers with one unit to the table; an identifier already present keeps its unit.
void add(UnitTable& table, const HKUnit::Pointer& unit,
         std::initializer_list<std::string> identifiers) {
  for (const auto& identifier : identifiers) table.emplace(identifier, unit);
}

void addMostTypes(UnitTable& table) {
  add(table, HKUnit::unitFromString("mg/dL"), {HKQuantityTypeIdentifierBloodGlucose});
  add(table, HKUnit::unitFromString("mcg"),
      {HKQuantityTypeIdentifierDietaryBiotin, HKQuantityTypeIdentifierDietaryChromium,
       HKQuantityTypeIdentifierDietaryFolate, HKQuantityTypeIdentifierDietaryIodine,
       HKQuantityTypeIdentifierDietaryMolybdenum, HKQuantityTypeIdentifierDietarySelenium,
       HKQuantityTypeIdentifierDietaryVitaminA, HKQuantityTypeIdentifierDietaryVitaminB12,
       HKQuantityTypeIdentifierDietaryVitaminD, HKQuantityTypeIdentifierDietaryVitaminK});
  add(table, HKUnit::unitFromString("mg"),
      {HKQuantityTypeIdentifierDietaryCaffeine, HKQuantityTypeIdentifierDietaryCalcium,
       HKQuantityTypeIdentifierDietaryChloride, HKQuantityTypeIdentifierDietaryCopper,
       HKQuantityTypeIdentifierDietaryCholesterol, HKQuantityTypeIdentifierDietaryIron,
       HKQuantityTypeIdentifierDietaryMagnesium, HKQuantityTypeIdentifierDietaryManganese,
       HKQuantityTypeIdentifierDietaryNiacin, HKQuantityTypeIdentifierDietaryPantothenicAcid,
       HKQuantityTypeIdentifierDietaryPotassium, HKQuantityTypeIdentifierDietaryPhosphorus,
       HKQuantityTypeIdentifierDietaryRiboflavin, HKQuantityTypeIdentifierDietarySodium,
       HKQuantityTypeIdentifierDietaryThiamin, HKQuantityTypeIdentifierDietaryVitaminB6,
       HKQuantityTypeIdentifierDietaryVitaminC, HKQuantityTypeIdentifierDietaryVitaminE,
       HKQuantityTypeIdentifierDietaryZinc});
  add(table, HKUnit::unitFromString("g"),
      {HKQuantityTypeIdentifierDietaryCarbohydrates, HKQuantityTypeIdentifierDietaryFiber,
       HKQuantityTypeIdentifierDietaryFatMonounsaturated, HKQuantityTypeIdentifierDietaryProtein,
       HKQuantityTypeIdentifierDietaryFatSaturated,
       HKQuantityTypeIdentifierDietaryFatPolyunsaturated, HKQuantityTypeIdentifierDietarySugar,
       HKQuantityTypeIdentifierDietaryFatTotal});
  add(table, HKUnit::kilocalorieUnit(),
      {HKQuantityTypeIdentifierDietaryEnergyConsumed, HKQuantityTypeIdentifierActiveEnergyBurned,
       HKQuantityTypeIdentifierBasalEnergyBurned});
  add(table, HKUnit::unitFromString("mL"), {HKQuantityTypeIdentifierDietaryWater});
  // Body-mass index, UV exposure and NikeFuel are plain numbers: they are read as counts.
  add(table, HKUnit::unitFromString("count"),
      {HKQuantityTypeIdentifierFlightsClimbed, HKQuantityTypeIdentifierStepCount,
       HKQuantityTypeIdentifierInhalerUsage, HKQuantityTypeIdentifierNumberOfTimesFallen,
       HKQuantityTypeIdentifierUVExposure, HKQuantityTypeIdentifierBodyMassIndex,
       HKQuantityTypeIdentifierNikeFuel});
  add(table, HKUnit::unitFromString("m"),
      {HKQuantityTypeIdentifierDistanceWalkingRunning, HKQuantityTypeIdentifierDistanceCycling});
  add(table, HKUnit::unitFromString("count/min"),
      {HKQuantityTypeIdentifierHeartRate, HKQuantityTypeIdentifierRespiratoryRate});
  add(table, HKUnit::unitFromString("degC"),
      {HKQuantityTypeIdentifierBodyTemperature, HKQuantityTypeIdentifierBasalBodyTemperature});
  add(table, HKUnit::unitFromString("mmHg"),
      {HKQuantityTypeIdentifierBloodPressureSystolic,
       HKQuantityTypeIdentifierBloodPressureDiastolic});
  // Fractions between 0 and 1; record conversion writes them as percentages.
  add(table, HKUnit::unitFromString("%"),
      {HKQuantityTypeIdentifierBloodAlcoholContent,
       HKQuantityTypeIdentifierPeripheralPerfusionIndex, HKQuantityTypeIdentifierOxygenSaturation,
       HKQuantityTypeIdentifierBodyFatPercentage});
  add(table, HKUnit::unitFromString("mcS"), {HKQuantityTypeIdentifierElectrodermalActivity});
  add(table, HKUnit::unitFromString("L"),
      {HKQuantityTypeIdentifierForcedExpiratoryVolume1,
       HKQuantityTypeIdentifierForcedVitalCapacity});
  add(table, HKUnit::unitFromString("L/min"), {HKQuantityTypeIdentifierPeakExpiratoryFlowRate});
  add(table, HKUnit::unitFromString("kg"),
      {HKQuantityTypeIdentifierBodyMass, HKQuantityTypeIdentifierLeanBodyMass});
  add(table, HKUnit::unitFromString("cm"), {HKQuantityTypeIdentifierHeight});
}

void addActivityAndSwimmingTypes(UnitTable& table) {
  add(table, HKUnit::secondUnit(), {HKQuantityTypeIdentifierAppleExerciseTime});
  add(table, HKUnit::unitFromString("count"),
      {HKQuantityTypeIdentifierPushCount, HKQuantityTypeIdentifierSwimmingStrokeCount});
  add(table, HKUnit::unitFromString("m"),
      {HKQuantityTypeIdentifierDistanceWheelchair, HKQuantityTypeIdentifierDistanceSwimming});
}

void addIOS11Types(UnitTable& table) {
  add(table, HKUnit::unitFromString("mL/(kg.min)"), {HKQuantityTypeIdentifierVO2Max});
  add(table, HKUnit::unitFromString("cm"), {HKQuantityTypeIdentifierWaistCircumference});
  add(table, HKUnit::internationalUnit(), {HKQuantityTypeIdentifierInsulinDelivery});
  add(table, HKUnit::unitFromString("count/min"),
      {HKQuantityTypeIdentifierRestingHeartRate, HKQuantityTypeIdentifierWalkingHeartRateAverage});
}

UnitTable buildUnitTable() {
  UnitTable table;
  addMostTypes(table);
  addActivityAndSwimmingTypes(table);
  if (OSTPlatformIsAtLeastIOS11()) addIOS11Types(table);
  return table;
}

// Names of HealthKit's workout activity numbers 1...71, in number order.
constexpr std::array<std::string_view, 71> kWorkoutNames = {"American Football",
                                                            "Archery",
                                                            "Australian Football",
                                                            "Badminton",
                                                            "Baseball",
                                                            "Basketball",
                                                            "Bowling",
                                                            "Boxing",
                                                            "Climbing",
                                                            "Cricket",
                                                            "Cross Training",
                                                            "Curling",
                                                            "Cycling",
                                                            "Dance",
                                                            "Dance Inspired Training",
                                                            "Elliptical",
                                                            "Equestrian Sports",
                                                            "Fencing",
                                                            "Fishing",
                                                            "Functional Strength Training",
                                                            "Golf",
                                                            "Gymnastics",
                                                            "Handball",
                                                            "Hiking",
                                                            "Hockey",
                                                            "Hunting",
                                                            "Lacrosse",
                                                            "Martial Arts",
                                                            "Mind and Body",
                                                            "Mixed Metabolic Cardio Training",
                                                            "Paddle Sports",
                                                            "Play",
                                                            "Preparation and Recovery",
                                                            "Racquet Ball",
                                                            "Rowing",
                                                            "Rugby",
                                                            "Running",
                                                            "Sailing",
                                                            "Skating Sports",
                                                            "Snow Sports",
                                                            "Soccer",
                                                            "Softball",
                                                            "Squash",
                                                            "Stair Climbing",
                                                            "Surfing Sports",
                                                            "Swimming",
                                                            "Table Tennis",
                                                            "Tennis",
                                                            "Track and Field",
                                                            "Traditional Strength Training",
                                                            "Volleyball",
                                                            "Walking",
                                                            "Water Fitness",
                                                            "Water Polo",
                                                            "Water Sports",
                                                            "Wrestling",
                                                            "Yoga",
                                                            "Barre",
                                                            "Core Training",
                                                            "Cross Country Skiing",
                                                            "Downhill Skiing",
                                                            "Flexibility",
                                                            "High Intensity Interval Training",
                                                            "Jump Rope",
                                                            "Kickboxing",
                                                            "Pilates",
                                                            "Snowboarding",
                                                            "Stairs",
                                                            "Step Training",
                                                            "Wheelchair Walk Pace",
                                                            "Wheelchair Run Pace"};

// Activities 72...74, named only from iOS 11.0 on.
constexpr std::array<std::string_view, 3> kIOS11WorkoutNames = {"Tai Chi", "Mixed Cardio",
                                                                "Hand Cycling"};

}  // namespace

HKUnit::Pointer OSTHealthKitSubscription::unitForQuantityTypeIdentifier(
    std::string_view identifier) {
  static auto* const unitsByType = new OSTCachedValue<UnitTable>();
  const auto table = unitsByType->get(buildUnitTable);
  const auto found = table->find(identifier);
  return found == table->end() ? nullptr : found->second;
}

std::string OSTHealthKitSubscription::workoutActivityForType(NSUInteger activityType) {
  const NSUInteger firstIOS11 = kWorkoutNames.size() + 1;
  if (activityType >= firstIOS11 && activityType < firstIOS11 + kIOS11WorkoutNames.size() &&
      OSTPlatformIsAtLeastIOS11()) {
    return std::string(kIOS11WorkoutNames[activityType - firstIOS11]);
  }
  if (activityType >= 1 && activityType <= kWorkoutNames.size()) {
    return std::string(kWorkoutNames[activityType - 1]);
  }
  return "Workout";
}
