#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Categories/OSTNutrition+HealthKit.h"
#include "OstrandHealthKit/OSTCachedValue.h"

std::shared_ptr<const OSTHealthKitKeyPaths> nutritionHealthKitKeyPaths() {
  static auto* const keyPaths = new OSTCachedValue<OSTHealthKitKeyPaths>();
  return keyPaths->get([] {
    return OSTHealthKitKeyPaths{
        {HKQuantityTypeIdentifierDietaryEnergyConsumed, "calories"},
        {HKQuantityTypeIdentifierDietaryCarbohydrates, "carbohydrates"},
        {HKQuantityTypeIdentifierDietaryFatTotal, "fat"},
        {HKQuantityTypeIdentifierDietaryFiber, "fiber"},
        {HKQuantityTypeIdentifierDietaryProtein, "protein"},
        {HKQuantityTypeIdentifierDietarySodium, "sodium"},
        {HKQuantityTypeIdentifierDietaryWater, "water"},
        {HKQuantityTypeIdentifierDietaryBiotin, "extras.biotin"},
        {HKQuantityTypeIdentifierDietaryCaffeine, "extras.caffeine"},
        {HKQuantityTypeIdentifierDietaryCalcium, "extras.calcium"},
        {HKQuantityTypeIdentifierDietaryChloride, "extras.chloride"},
        {HKQuantityTypeIdentifierDietaryChromium, "extras.chromium"},
        {HKQuantityTypeIdentifierDietaryCopper, "extras.copper"},
        {HKQuantityTypeIdentifierDietaryCholesterol, "extras.cholesterol"},
        {HKQuantityTypeIdentifierDietaryFolate, "extras.folate"},
        {HKQuantityTypeIdentifierDietaryIodine, "extras.iodine"},
        {HKQuantityTypeIdentifierDietaryIron, "extras.iron"},
        {HKQuantityTypeIdentifierDietaryManganese, "extras.manganese"},
        {HKQuantityTypeIdentifierDietaryMagnesium, "extras.magnesium"},
        {HKQuantityTypeIdentifierDietaryMolybdenum, "extras.molybdenum"},
        {HKQuantityTypeIdentifierDietaryFatMonounsaturated, "extras.monounsaturated_fat"},
        {HKQuantityTypeIdentifierDietaryNiacin, "extras.niacin"},
        {HKQuantityTypeIdentifierDietaryPantothenicAcid, "extras.pantothenic_acid"},
        {HKQuantityTypeIdentifierDietaryPhosphorus, "extras.phosphorus"},
        {HKQuantityTypeIdentifierDietaryFatPolyunsaturated, "extras.polyunsaturated_fat"},
        {HKQuantityTypeIdentifierDietaryPotassium, "extras.potassium"},
        {HKQuantityTypeIdentifierDietaryRiboflavin, "extras.riboflavin"},
        {HKQuantityTypeIdentifierDietaryFatSaturated, "extras.saturated_fat"},
        {HKQuantityTypeIdentifierDietarySelenium, "extras.selenium"},
        {HKQuantityTypeIdentifierDietarySugar, "extras.sugar"},
        {HKQuantityTypeIdentifierDietaryThiamin, "extras.thiamin"},
        {HKQuantityTypeIdentifierDietaryVitaminA, "extras.vitamin_a"},
        {HKQuantityTypeIdentifierDietaryVitaminB12, "extras.vitamin_b12"},
        {HKQuantityTypeIdentifierDietaryVitaminB6, "extras.vitamin_b6"},
        {HKQuantityTypeIdentifierDietaryVitaminC, "extras.vitamin_c"},
        {HKQuantityTypeIdentifierDietaryVitaminD, "extras.vitamin_d"},
        {HKQuantityTypeIdentifierDietaryVitaminE, "extras.vitamin_e"},
        {HKQuantityTypeIdentifierDietaryVitaminK, "extras.vitamin_k"},
        {HKQuantityTypeIdentifierDietaryZinc, "extras.zinc"},
    };
  });
}
