#pragma once

// OSTNutrition(HealthKit): what a person ate or drank. Energy in kcal, macronutrients in g,
// minerals and vitamins in mg or mcg, water in mL (Apple's catalog units, whatever the food app
// wrote). A meal saved as a food correlation becomes one record holding every nutrient of it
// (setHealthKitSample passes each member into the same record); a nutrient saved on its own
// becomes a record of its own.
//
// Reached through setQuantity (OSTRecord+HealthKit.h). Thread-safe as that header describes.

#include <memory>

#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"

// The 39 dietary types: energy "calories", "carbohydrates", total fat "fat", "fiber", "protein",
// "sodium", "water"; every other nutrient under "extras." and its snake-case name
// ("extras.vitamin_b12", "extras.saturated_fat").
std::shared_ptr<const OSTHealthKitKeyPaths> nutritionHealthKitKeyPaths();
