#pragma once

// OSTWeight(HealthKit): body measurements. Weight and lean mass in kg, height and waist in cm
// (whatever unit the scale or the person used), body fat as a percentage 0...100 (HealthKit's
// fraction times 100), body-mass index unrounded although it is read as a count.
//
// Reached through setQuantity (OSTRecord+HealthKit.h). Thread-safe as that header describes.

#include <memory>

#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"

// BodyMass "weight", Height "height", BodyFatPercentage "fatPercent", BodyMassIndex "bmi",
// LeanBodyMass "extras.lean_body_mass"; from iOS 11.0 WaistCircumference
// "extras.waist_circumference".
std::shared_ptr<const OSTHealthKitKeyPaths> weightHealthKitKeyPaths();
