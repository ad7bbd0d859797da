#pragma once

// OSTDiabetes(HealthKit): blood glucose (mg/dL, whatever unit the meter wrote) and, from iOS 11.0
// on, insulin delivery (international units) with its type, basal or bolus.
//
// Reached through setHealthKitSample (OSTRecord+HealthKit.h), which runs the common conversion
// and then setDiabetesHealthKitSample. Thread-safe as OSTRecord+HealthKit.h describes.

#include <memory>
#include <optional>
#include <string>

#include "Foundation/NSAny.h"
#include "HealthKit/HKObject.h"
#include "OstrandCore/OSTDiabetes.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"

// BloodGlucose -> "bloodGlucose"; from iOS 11.0 also InsulinDelivery -> "insulin".
std::shared_ptr<const OSTHealthKitKeyPaths> diabetesHealthKitKeyPaths();

// The "insulin_type" extra for a raw HKMetadataKeyInsulinDeliveryReason value: "bolus" for 2,
// "basal" for 1 (a number's integer part); nullopt for any other number, nil or a non-number.
std::optional<std::string> insulinTypeForDeliveryReason(const NSAny& reason);

// What a diabetes record adds after the common conversion: on iOS 11.0 and later, an insulin
// delivery's "insulin_type" from its metadata; nothing when the reason is missing or unknown.
void setDiabetesHealthKitSample(OSTDiabetes& record, const HKObject& sample);
