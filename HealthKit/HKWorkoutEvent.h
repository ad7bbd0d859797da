#pragma once

// HKWorkoutEvent: something that happened during a workout: a pause, a resume, a lap, a
// segment... Pauses and resumes decide the workout's duration.
//
// Immutable and shared; safe to use from any thread. Only laps and segments last; an event of
// another type with a duration throws std::invalid_argument, as HealthKit raises.
//
//   auto pause = HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause,
//                                                     NSDateInterval(at, 0), nullptr);

#include <memory>
#include <string>

#include "Foundation/NSDateInterval.h"
#include "Foundation/NSDictionary.h"
#include "Foundation/NSObject.h"

enum HKWorkoutEventType : long {
  HKWorkoutEventTypePause = 1,
  HKWorkoutEventTypeResume = 2,
  HKWorkoutEventTypeLap = 3,
  HKWorkoutEventTypeMarker = 4,
  HKWorkoutEventTypeMotionPaused = 5,
  HKWorkoutEventTypeMotionResumed = 6,
  HKWorkoutEventTypeSegment = 7,
  HKWorkoutEventTypePauseOrResumeRequest = 8,
};

class HKWorkoutEvent : public NSObject {
 public:
  using Pointer = std::shared_ptr<const HKWorkoutEvent>;

  static Pointer workoutEventWithType(HKWorkoutEventType type, NSDateInterval dateInterval,
                                      std::shared_ptr<const NSDictionary> metadata);
  // An instantaneous event.
  static Pointer workoutEventWithType(HKWorkoutEventType type, NSDate date);

  HKWorkoutEventType type() const { return type_; }
  const NSDateInterval& dateInterval() const { return dateInterval_; }
  // The start of the interval.
  NSDate date() const { return dateInterval_.startDate(); }
  const std::shared_ptr<const NSDictionary>& metadata() const { return metadata_; }

  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override;
  std::string description() const override;
  std::string className() const override { return "HKWorkoutEvent"; }
  // Keys "type", "date", "startDate", "endDate", "metadata".
  NSAny valueForKey(const std::string& key) const override;

 private:
  HKWorkoutEvent(HKWorkoutEventType type, NSDateInterval dateInterval,
                 std::shared_ptr<const NSDictionary> metadata)
      : type_(type), dateInterval_(dateInterval), metadata_(std::move(metadata)) {}

  HKWorkoutEventType type_;
  NSDateInterval dateInterval_;
  std::shared_ptr<const NSDictionary> metadata_;
};
