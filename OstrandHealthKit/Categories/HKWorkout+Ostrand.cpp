#include "Foundation/NSCompoundPredicate.h"
#include "HealthKit/HKQuery.h"
#include "OstrandHealthKit/Categories/HKWorkout+Ostrand.h"

std::vector<OSTWorkoutInterval> workoutIntervals(const HKWorkout& workout) {
  const auto& events = workout.workoutEvents();
  if (events.empty()) return {{workout.startDate(), workout.endDate()}};

  std::vector<NSDate> boundaries{workout.startDate()};
  HKWorkoutEventType expected = HKWorkoutEventTypePause;
  for (const auto& event : events) {
    if (!event || event->type() != expected) continue;
    boundaries.push_back(event->date());
    expected =
        expected == HKWorkoutEventTypePause ? HKWorkoutEventTypeResume : HKWorkoutEventTypePause;
  }
  // Still running at the end: the last stretch closes with the workout. A workout that ends
  // paused already has an even count and keeps its last pause as the end.
  if (boundaries.size() % 2 == 1) boundaries.push_back(workout.endDate());

  std::vector<OSTWorkoutInterval> intervals;
  for (std::size_t i = 0; i + 1 < boundaries.size(); i += 2) {
    intervals.push_back({boundaries[i], boundaries[i + 1]});
  }
  return intervals;
}

std::shared_ptr<const NSPredicate> predicateForWorkouts(
    const std::vector<std::shared_ptr<const HKSample>>& workouts) {
  NSCompoundPredicate::Subpredicates filters;
  for (const auto& sample : workouts) {
    const auto* workout = dynamic_cast<const HKWorkout*>(sample.get());
    if (!workout) continue;
    for (const auto& interval : workoutIntervals(*workout)) {
      filters.push_back(HKQuery::predicateForSamplesWithStartDate(interval.start, interval.end,
                                                                  HKQueryOptionNone));
    }
  }
  return NSCompoundPredicate::orPredicateWithSubpredicates(std::move(filters));
}
