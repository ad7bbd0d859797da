#pragma once

// HKWorkout: a physical activity session: its kind, when it ran, how long the person was active
// (pauses left out), its events, and the totals it reports.
//
// Immutable and shared; safe to use from any thread. The factories throw std::invalid_argument,
// as HealthKit raises, for an unknown activity type, totals in units of the wrong dimension
// (energy, length, count), an event outside the workout, or the checks every sample makes.
// Events are kept in date order. The duration is the time from start to end less the time
// between each pause (or motion pause) and the resume that follows it, or the end.
//
// Key paths for predicates, besides HKSample's: "workoutActivityType", "duration" (seconds),
// "totalDistance", "totalEnergyBurned", "totalSwimmingStrokeCount".
//
//   auto run = HKWorkout::workoutWithActivityType(
//       HKWorkoutActivityTypeRunning, start, end, {pause, resume},
//       HKQuantity::quantityWithUnit(HKUnit::kilocalorieUnit(), 320),
//       HKQuantity::quantityWithUnit(HKUnit::meterUnit(), 5000), nullptr);

#include <memory>
#include <string>
#include <vector>

#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKWorkoutActivityType.h"
#include "HealthKit/HKWorkoutEvent.h"

extern const std::string HKPredicateKeyPathWorkoutDuration;           // "duration"
extern const std::string HKPredicateKeyPathWorkoutTotalDistance;      // "totalDistance"
extern const std::string HKPredicateKeyPathWorkoutTotalEnergyBurned;  // "totalEnergyBurned"
extern const std::string
    HKPredicateKeyPathWorkoutTotalSwimmingStrokeCount;  // "totalSwimmingStrokeCount"

class HKWorkout : public HKSample {
 public:
  using Pointer = std::shared_ptr<const HKWorkout>;
  using Events = std::vector<HKWorkoutEvent::Pointer>;

  static Pointer workoutWithActivityType(HKWorkoutActivityType activityType, NSDate startDate,
                                         NSDate endDate);
  static Pointer workoutWithActivityType(HKWorkoutActivityType activityType, NSDate startDate,
                                         NSDate endDate, Events workoutEvents,
                                         HKQuantity::Pointer totalEnergyBurned,
                                         HKQuantity::Pointer totalDistance, HKMetadata metadata);
  static Pointer workoutWithActivityType(HKWorkoutActivityType activityType, NSDate startDate,
                                         NSDate endDate, Events workoutEvents,
                                         HKQuantity::Pointer totalEnergyBurned,
                                         HKQuantity::Pointer totalDistance,
                                         HKDevice::Pointer device, HKMetadata metadata);
  static Pointer workoutWithActivityType(HKWorkoutActivityType activityType, NSDate startDate,
                                         NSDate endDate, Events workoutEvents,
                                         HKQuantity::Pointer totalEnergyBurned,
                                         HKQuantity::Pointer totalDistance,
                                         HKQuantity::Pointer totalSwimmingStrokeCount,
                                         HKDevice::Pointer device, HKMetadata metadata);
  // HealthKit's workoutWithActivityType:startDate:endDate:duration:...: a workout whose duration
  // is given rather than worked out from pauses. Named apart from the event form, which it would
  // otherwise clash with for an empty list. Throws for a negative or non-finite duration.
  static Pointer workoutWithActivityTypeAndDuration(HKWorkoutActivityType activityType,
                                                    NSDate startDate, NSDate endDate,
                                                    NSTimeInterval duration,
                                                    HKQuantity::Pointer totalEnergyBurned,
                                                    HKQuantity::Pointer totalDistance,
                                                    HKMetadata metadata);

  HKWorkoutActivityType workoutActivityType() const { return activityType_; }
  // Seconds of activity.
  NSTimeInterval duration() const { return duration_; }
  // In date order; empty when there are none.
  const Events& workoutEvents() const { return workoutEvents_; }
  // Each nullptr when not reported.
  const HKQuantity::Pointer& totalEnergyBurned() const { return totalEnergyBurned_; }
  const HKQuantity::Pointer& totalDistance() const { return totalDistance_; }
  const HKQuantity::Pointer& totalSwimmingStrokeCount() const { return totalSwimmingStrokeCount_; }

  NSAny valueForKey(const std::string& key) const override;
  std::string className() const override { return "HKWorkout"; }

 private:
  HKWorkout(HKWorkoutActivityType activityType, NSDate startDate, NSDate endDate,
            HKDevice::Pointer device, HKMetadata metadata);
  std::shared_ptr<HKObject> copyObject() const override;
  void setTotals(HKQuantity::Pointer energy, HKQuantity::Pointer distance,
                 HKQuantity::Pointer strokes);
  void setEvents(Events events);

  HKWorkoutActivityType activityType_;
  NSTimeInterval duration_ = 0;
  Events workoutEvents_;
  HKQuantity::Pointer totalEnergyBurned_;
  HKQuantity::Pointer totalDistance_;
  HKQuantity::Pointer totalSwimmingStrokeCount_;
};
