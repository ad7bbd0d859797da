#pragma once

// OSTFitness(HealthKit): a workout becomes a fitness record: activity name, distance (m), energy
// (kcal), active duration (s, pauses left out) and start time; swimming also keeps its stroke
// count. Cycling and swimming distances, NikeFuel and (from iOS 11.0) VO2 max samples go to
// extras through the key-path table.
//
// Reached through setWorkout and setQuantity (OSTRecord+HealthKit.h). Thread-safe as that header
// describes.

#include <memory>

#include "HealthKit/HKWorkout.h"
#include "OstrandCore/OSTFitness.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"

// NikeFuel "extras.nike_fuel", DistanceCycling "extras.cycling_distance", DistanceSwimming
// "extras.swimming_distance", SwimmingStrokeCount "extras.swimming_stroke_count"; from iOS 11.0
// VO2Max "extras.vo2_max" (mL/(kg.min)).
std::shared_ptr<const OSTHealthKitKeyPaths> fitnessHealthKitKeyPaths();

// type = the activity's name (OSTHealthKitSubscription::workoutActivityForType); distance and
// calories = the workout's totals in m and kcal, 0 when it reports none; duration; startTime. A
// swimming workout also writes its stroke count, rounded, to "swimming_stroke_count" (0 when it
// reports none); other activities never do. The end date is not written. A total or duration
// the record cannot hold (OSTRecord+HealthKit.h) is left unset; the rest is written.
void setFitnessWorkout(OSTFitness& record, const HKWorkout& workout);
