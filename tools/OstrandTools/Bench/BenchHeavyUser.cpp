#include "tools/OstrandTools/Bench/BenchHeavyUser.h"

#include <cmath>

#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKSourceRevision.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/HKWorkoutEvent.h"
#include "tools/OstrandTools/Common/SimulatedApps.h"

namespace ostrand_tools {

namespace {

constexpr double kMinute = 60;

std::shared_ptr<const HKQuantitySample> reading(const std::string& identifier,
                                                const HKUnit::Pointer& unit, double value,
                                                NSDate start, NSDate end,
                                                const HKDevice::Pointer& device) {
  return HKQuantitySample::quantitySampleWithType(
      HKObjectType::quantityTypeForIdentifier(identifier),
      HKQuantity::quantityWithUnit(unit, value), start, end, device, nullptr);
}

}  // namespace

BenchHeavyUser::BenchHeavyUser(const std::shared_ptr<platform::SimulatedHealthDevice>& device)
    : phone_(device->storeForSource(simulatedAppRevision(
          "Alex’s iPhone", "com.apple.health.5B1D3F7A-9C2E-4B6D-8F0A-2C4E6A8B0D1F", "iPhone15,2"))),
      watch_(device->storeForSource(simulatedAppRevision(
          "Alex’s Apple Watch", "com.apple.health.8E0A2C4E-6B8D-4F1A-9C3E-5A7B9D1F3A5C",
          "Watch6,2"))),
      phoneDevice_(simulatedAppleDevice("iPhone", "iPhone", "iPhone15,2")),
      watchDevice_(simulatedAppleDevice("Apple Watch", "Watch", "Watch6,2")) {}

void BenchHeavyUser::minutes(NSDate from, NSDate to, BenchWrites& out) const {
  const double span = to.timeIntervalSinceDate(from);
  const long first = std::lround(from.timeIntervalSinceReferenceDate() / kMinute);
  for (long offset = 0; offset * kMinute + kMinute <= span; ++offset) {
    minute(from.dateByAddingTimeInterval(static_cast<double>(offset) * kMinute), first + offset,
           out);
  }
}

void BenchHeavyUser::minute(NSDate start, long index, BenchWrites& out) const {
  static const auto count = HKUnit::countUnit();
  static const auto beatsPerMinute = HKUnit::unitFromString("count/min");
  const NSDate end = start.dateByAddingTimeInterval(kMinute);
  const double steps = static_cast<double>(20 + index * 37 % 90);
  out.add(phone_,
          reading(HKQuantityTypeIdentifierStepCount, count, steps, start, end, phoneDevice_));
  out.add(watch_, reading(HKQuantityTypeIdentifierStepCount, count, steps + index % 7, start, end,
                          watchDevice_));
  if (index % 5 != 0) return;
  out.add(watch_, reading(HKQuantityTypeIdentifierHeartRate, beatsPerMinute,
                          static_cast<double>(58 + index * 13 % 60), start, start, watchDevice_));
}

void BenchHeavyUser::run(NSDate start, BenchWrites& out) const {
  const NSDate end = start.dateByAddingTimeInterval(45 * kMinute);
  const HKWorkout::Events events = {
      HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause,
                                           start.dateByAddingTimeInterval(20 * kMinute)),
      HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume,
                                           start.dateByAddingTimeInterval(24 * kMinute))};
  out.add(watch_, HKWorkout::workoutWithActivityType(
                      HKWorkoutActivityTypeRunning, start, end, events,
                      HKQuantity::quantityWithUnit(HKUnit::unitFromString("kcal"), 420),
                      HKQuantity::quantityWithUnit(HKUnit::unitFromString("km"), 6.4), watchDevice_,
                      nullptr));
}

void BenchHeavyUser::day(NSDate dayStart, NSDate nextDayStart, BenchWrites& out) const {
  minutes(dayStart, nextDayStart, out);
  run(dayStart.dateByAddingTimeInterval(18 * 60 * kMinute), out);
}

}  // namespace ostrand_tools
