#include "HealthKit/HKWorkout.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "HealthKit/HKUnit.h"

const std::string HKPredicateKeyPathWorkoutDuration = "duration";
const std::string HKPredicateKeyPathWorkoutTotalDistance = "totalDistance";
const std::string HKPredicateKeyPathWorkoutTotalEnergyBurned = "totalEnergyBurned";
const std::string HKPredicateKeyPathWorkoutTotalSwimmingStrokeCount = "totalSwimmingStrokeCount";

namespace {

constexpr const char* kClassName = "HKWorkout";

[[noreturn]] void reject(const std::string& problem) {
  throw std::invalid_argument(std::string(kClassName) + ": " + problem);
}

bool isActivityType(unsigned long type) {
  return (type >= HKWorkoutActivityTypeAmericanFootball &&
          type <= HKWorkoutActivityTypeUnderwaterDiving && type != 81) ||
         type == HKWorkoutActivityTypeOther;
}

void checkTotal(const HKQuantity::Pointer& total, const char* name, const HKUnit& unit,
                const char* dimension) {
  if (total && !total->isCompatibleWithUnit(unit)) {
    reject(std::string(name) + " " + total->description() + " is not " + dimension);
  }
}

}  // namespace

HKWorkout::HKWorkout(HKWorkoutActivityType activityType, NSDate startDate, NSDate endDate,
                     HKDevice::Pointer device, HKMetadata metadata)
    : HKSample(kClassName, HKObjectType::workoutType(), startDate, endDate, std::move(device),
               std::move(metadata)),
      activityType_(activityType) {
  if (!isActivityType(activityType_)) {
    reject(std::to_string(activityType_) + " is not a workout activity type");
  }
  duration_ = endDate.timeIntervalSinceDate(startDate);
}

void HKWorkout::setTotals(HKQuantity::Pointer energy, HKQuantity::Pointer distance,
                          HKQuantity::Pointer strokes) {
  checkTotal(energy, "totalEnergyBurned", *HKUnit::kilocalorieUnit(), "an energy");
  checkTotal(distance, "totalDistance", *HKUnit::meterUnit(), "a length");
  checkTotal(strokes, "totalSwimmingStrokeCount", *HKUnit::countUnit(), "a count");
  totalEnergyBurned_ = std::move(energy);
  totalDistance_ = std::move(distance);
  totalSwimmingStrokeCount_ = std::move(strokes);
}

void HKWorkout::setEvents(Events events) {
  const NSDateInterval workout(startDate(), endDate());
  for (const auto& event : events) {
    if (!event) reject("workout events must not contain null");
    const NSDateInterval& interval = event->dateInterval();
    if (!workout.containsDate(interval.startDate()) || !workout.containsDate(interval.endDate())) {
      reject("the event " + event->description() + " lies outside the workout");
    }
  }
  std::stable_sort(events.begin(), events.end(),
                   [](const auto& a, const auto& b) { return a->date() < b->date(); });
  // Paused from a pause (or motion pause) to the next resume, or to the end.
  NSTimeInterval paused = 0;
  bool isPaused = false;
  NSDate pausedSince;
  for (const auto& event : events) {
    const HKWorkoutEventType type = event->type();
    if ((type == HKWorkoutEventTypePause || type == HKWorkoutEventTypeMotionPaused) && !isPaused) {
      isPaused = true;
      pausedSince = event->date();
    } else if ((type == HKWorkoutEventTypeResume || type == HKWorkoutEventTypeMotionResumed) &&
               isPaused) {
      isPaused = false;
      paused += event->date().timeIntervalSinceDate(pausedSince);
    }
  }
  if (isPaused) paused += endDate().timeIntervalSinceDate(pausedSince);
  duration_ = endDate().timeIntervalSinceDate(startDate()) - paused;
  workoutEvents_ = std::move(events);
}

HKWorkout::Pointer HKWorkout::workoutWithActivityType(HKWorkoutActivityType activityType,
                                                      NSDate startDate, NSDate endDate) {
  return workoutWithActivityType(activityType, startDate, endDate, {}, nullptr, nullptr, nullptr,
                                 nullptr, nullptr);
}

HKWorkout::Pointer HKWorkout::workoutWithActivityType(
    HKWorkoutActivityType activityType, NSDate startDate, NSDate endDate, Events workoutEvents,
    HKQuantity::Pointer totalEnergyBurned, HKQuantity::Pointer totalDistance, HKMetadata metadata) {
  return workoutWithActivityType(activityType, startDate, endDate, std::move(workoutEvents),
                                 std::move(totalEnergyBurned), std::move(totalDistance), nullptr,
                                 nullptr, std::move(metadata));
}

HKWorkout::Pointer HKWorkout::workoutWithActivityType(
    HKWorkoutActivityType activityType, NSDate startDate, NSDate endDate, Events workoutEvents,
    HKQuantity::Pointer totalEnergyBurned, HKQuantity::Pointer totalDistance,
    HKDevice::Pointer device, HKMetadata metadata) {
  return workoutWithActivityType(activityType, startDate, endDate, std::move(workoutEvents),
                                 std::move(totalEnergyBurned), std::move(totalDistance), nullptr,
                                 std::move(device), std::move(metadata));
}

HKWorkout::Pointer HKWorkout::workoutWithActivityType(
    HKWorkoutActivityType activityType, NSDate startDate, NSDate endDate, Events workoutEvents,
    HKQuantity::Pointer totalEnergyBurned, HKQuantity::Pointer totalDistance,
    HKQuantity::Pointer totalSwimmingStrokeCount, HKDevice::Pointer device, HKMetadata metadata) {
  std::shared_ptr<HKWorkout> workout(
      new HKWorkout(activityType, startDate, endDate, std::move(device), std::move(metadata)));
  workout->setTotals(std::move(totalEnergyBurned), std::move(totalDistance),
                     std::move(totalSwimmingStrokeCount));
  workout->setEvents(std::move(workoutEvents));
  return workout;
}

HKWorkout::Pointer HKWorkout::workoutWithActivityTypeAndDuration(
    HKWorkoutActivityType activityType, NSDate startDate, NSDate endDate, NSTimeInterval duration,
    HKQuantity::Pointer totalEnergyBurned, HKQuantity::Pointer totalDistance, HKMetadata metadata) {
  if (!std::isfinite(duration) || duration < 0) {
    reject("the duration must be a non-negative number of seconds, not " +
           std::to_string(duration));
  }
  std::shared_ptr<HKWorkout> workout(
      new HKWorkout(activityType, startDate, endDate, nullptr, std::move(metadata)));
  workout->setTotals(std::move(totalEnergyBurned), std::move(totalDistance), nullptr);
  workout->duration_ = duration;
  return workout;
}

std::shared_ptr<HKObject> HKWorkout::copyObject() const {
  return std::shared_ptr<HKWorkout>(new HKWorkout(*this));
}

NSAny HKWorkout::valueForKey(const std::string& key) const {
  if (key == "workoutActivityType") return static_cast<unsigned long>(activityType_);
  if (key == HKPredicateKeyPathWorkoutDuration) return duration_;
  if (key == HKPredicateKeyPathWorkoutTotalDistance) return totalDistance_;
  if (key == HKPredicateKeyPathWorkoutTotalEnergyBurned) return totalEnergyBurned_;
  if (key == HKPredicateKeyPathWorkoutTotalSwimmingStrokeCount) return totalSwimmingStrokeCount_;
  return HKSample::valueForKey(key);
}
