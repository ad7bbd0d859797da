#include "HealthKit/HKWorkoutEvent.h"

#include <functional>
#include <stdexcept>

HKWorkoutEvent::Pointer HKWorkoutEvent::workoutEventWithType(
    HKWorkoutEventType type, NSDateInterval dateInterval,
    std::shared_ptr<const NSDictionary> metadata) {
  if (type < HKWorkoutEventTypePause || type > HKWorkoutEventTypePauseOrResumeRequest) {
    throw std::invalid_argument("HKWorkoutEvent: " + std::to_string(type) +
                                " is not a workout event type");
  }
  const bool mayLast = type == HKWorkoutEventTypeLap || type == HKWorkoutEventTypeSegment;
  if (!mayLast && dateInterval.duration() != 0) {
    throw std::invalid_argument("HKWorkoutEvent: only laps and segments may have a duration");
  }
  return Pointer(new HKWorkoutEvent(type, dateInterval, std::move(metadata)));
}

HKWorkoutEvent::Pointer HKWorkoutEvent::workoutEventWithType(HKWorkoutEventType type, NSDate date) {
  return workoutEventWithType(type, NSDateInterval(date, 0.0), nullptr);
}

bool HKWorkoutEvent::isEqual(const NSObject& other) const {
  const auto* event = dynamic_cast<const HKWorkoutEvent*>(&other);
  if (event == nullptr || event->type_ != type_ || !(event->dateInterval_ == dateInterval_)) {
    return false;
  }
  if (!metadata_ || !event->metadata_) return !metadata_ && !event->metadata_;
  return metadata_->isEqual(*event->metadata_);
}

std::size_t HKWorkoutEvent::hash() const {
  return std::hash<double>{}(date().timeIntervalSinceReferenceDate()) ^
         static_cast<std::size_t>(type_);
}

std::string HKWorkoutEvent::description() const {
  return "<HKWorkoutEvent: type:" + std::to_string(type_) + ", " + date().description() + " +" +
         std::to_string(dateInterval_.duration()) + "s>";
}

NSAny HKWorkoutEvent::valueForKey(const std::string& key) const {
  if (key == "type") return static_cast<long>(type_);
  if (key == "date" || key == "startDate") return dateInterval_.startDate();
  if (key == "endDate") return dateInterval_.endDate();
  if (key == "metadata") return metadata_;
  return NSObject::valueForKey(key);
}
