#include "tools/OstrandTools/Bench/BenchWorkoutStreams.h"

#include <cmath>

#include "tools/OstrandTools/Bench/BenchNoise.h"
#include "tools/OstrandTools/Bench/BenchWatchStreams.h"

namespace ostrand_tools {

namespace {

using Workout = BenchPersonDay::Workout;

struct MetricShape {
  const char* type;
  const char* unit;
  Workout workout;  // none: every workout
  std::int64_t every;
  double low, spread;
  int decimals;
};

constexpr MetricShape kMetrics[] = {
    {"HKQuantityTypeIdentifierRunningPower", "W", Workout::running, 5, 190, 90, 0},
    {"HKQuantityTypeIdentifierRunningSpeed", "km/hr", Workout::running, 10, 9.5, 3, 3},
    {"HKQuantityTypeIdentifierRunningStrideLength", "m", Workout::running, 10, 1.0, 0.25, 2},
    {"HKQuantityTypeIdentifierRunningVerticalOscillation", "cm", Workout::running, 10, 8, 2.5, 1},
    {"HKQuantityTypeIdentifierRunningGroundContactTime", "ms", Workout::running, 10, 230, 50, 0},
    {"HKQuantityTypeIdentifierCyclingSpeed", "km/hr", Workout::cycling, 10, 18, 14, 3},
    {"HKQuantityTypeIdentifierCyclingCadence", "count/min", Workout::cycling, 10, 70, 25, 0},
    {"HKQuantityTypeIdentifierPhysicalEffort", "kcal/hr\xC2\xB7kg", Workout::none, 60, 5, 6, 1},
};

struct WalkingShape {
  const char* type;
  const char* unit;
  double low, spread;
  int decimals;
};

constexpr WalkingShape kWalking[] = {
    {"HKQuantityTypeIdentifierWalkingSpeed", "km/hr", 4.2, 1.5, 2},
    {"HKQuantityTypeIdentifierWalkingStepLength", "cm", 66, 12, 0},
    {"HKQuantityTypeIdentifierWalkingDoubleSupportPercentage", "%", 0.24, 0.06, 3},
    {"HKQuantityTypeIdentifierWalkingAsymmetryPercentage", "%", 0, 0.05, 2},
};

}  // namespace

void BenchWorkoutStreams::during(const BenchPersonDay& day, Metric metric) {
  const MetricShape& shape = kMetrics[static_cast<int>(metric)];
  if (day.workout == Workout::none ||
      (shape.workout != Workout::none && shape.workout != day.workout)) {
    return;
  }
  const auto salt = static_cast<std::uint64_t>(70 + static_cast<int>(metric));
  for (std::int64_t t = day.workoutStart; t + shape.every <= day.workoutEnd; t += shape.every) {
    write({.type = shape.type,
           .source = sources_.watch(day.year),
           .unit = shape.unit,
           .value = rounded(shape.low + shape.spread * BenchNoise::at(t, salt), shape.decimals),
           .start = t,
           .end = t + shape.every},
          Saver::watch);
  }
}

void BenchWorkoutStreams::walking(const BenchPersonDay& day, WalkingMetric metric) {
  const WalkingShape& shape = kWalking[static_cast<int>(metric)];
  const auto salt = static_cast<std::uint64_t>(80 + static_cast<int>(metric));
  // The phone measures a walk of at least a few minutes, once in each such stretch.
  for (std::int64_t t = day.wokeAt - day.wokeAt % 300; t < day.bedAt; t += 300) {
    if (!BenchWatchStreams::walking(day, t) || BenchNoise::at(t, 85) < 0.3) continue;
    write({.type = shape.type,
           .source = sources_.phone(day.year),
           .unit = shape.unit,
           .value = rounded(shape.low + shape.spread * BenchNoise::at(t, salt), shape.decimals),
           .start = t + 20,
           .end = t + 20 + 150},
          Saver::phone);
  }
}

void BenchWorkoutStreams::timeInDaylight(const BenchPersonDay& day) {
  for (std::int64_t t = day.wokeAt + 3600; t + 900 < day.bedAt - 3 * 3600; t += 900) {
    if (BenchNoise::at(t, 86) > 0.5 && !day.workingOut(t)) continue;
    write({.type = "HKQuantityTypeIdentifierTimeInDaylight",
           .source = sources_.watch(day.year),
           .unit = "min",
           .value = std::floor(2 + 13 * BenchNoise::at(t, 87)),
           .start = t,
           .end = t + 900},
          Saver::watch);
  }
}

}  // namespace ostrand_tools
