#pragma once

// The symbolic names an export writes for HealthKit's enumerations: workout activity types
// ("HKWorkoutActivityTypeRunning"), category values ("HKCategoryValueSleepAnalysisInBed") and
// workout event types ("HKWorkoutEventTypePause"). Each returns nullopt for a name it does not
// know. Constant tables; safe from any thread.

#include <optional>
#include <string_view>

#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKWorkoutActivityType.h"
#include "HealthKit/HKWorkoutEvent.h"

namespace apple_health_export {

std::optional<HKWorkoutActivityType> workoutActivityTypeNamed(std::string_view name);
std::optional<long> categoryValueNamed(std::string_view name);
std::optional<HKWorkoutEventType> workoutEventTypeNamed(std::string_view name);

}  // namespace apple_health_export
