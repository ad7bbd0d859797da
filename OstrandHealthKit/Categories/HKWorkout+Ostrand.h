#pragma once

// HKWorkout(Ostrand): a workout cut into the stretches during which the person was active, and
// one sample filter covering those stretches of several workouts. The anchored fetch uses the
// filter to read the heart-rate samples taken while a workout was running (not while it was
// paused), which then go to addHeartRateSamples (OSTRecord+HealthKit.h).
//
// Free functions in place of the methods HealthKit's class cannot take. `workoutIntervals` is the
// category's `intervals`, named after what it cuts so that it does not read as a generic word at
// the call site. Stateless and thread-safe.
//
//   auto filter = predicateForWorkouts(newWorkouts);  // samples during any active stretch

#include <memory>
#include <vector>

#include "Foundation/NSDate.h"
#include "Foundation/NSPredicate.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKWorkout.h"

// One active stretch of a workout.
struct OSTWorkoutInterval {
  NSDate start;
  NSDate end;

  bool operator==(const OSTWorkoutInterval&) const = default;
};

// The active stretches of the workout, in order. Without events: the whole workout. Otherwise
// the boundaries are the start, then each pause and resume in turn (a pause only while running, a
// resume only while paused; every other event, including a second pause, is skipped), then the
// end if the workout is still running; consecutive pairs of boundaries make the stretches. A
// workout that ends paused therefore stops at its last pause.
std::vector<OSTWorkoutInterval> workoutIntervals(const HKWorkout& workout);

// The OR of HealthKit's start/end filter (HKQuery::predicateForSamplesWithStartDate, no options)
// over every stretch of every workout, in order. Entries that are not workouts, or null, add
// nothing; no workouts give an OR of nothing, which matches no sample.
std::shared_ptr<const NSPredicate> predicateForWorkouts(
    const std::vector<std::shared_ptr<const HKSample>>& workouts);
