#pragma once

// BenchWorkoutStreams: what the generated person's devices measure densely while they move:
// during runs the watch's running power every five seconds and speed, stride length, vertical
// oscillation and ground contact time every ten; during rides cycling speed and cadence; the
// physical effort of every workout minute; the phone's walking metrics (speed, step length,
// double support, asymmetry) on walks; and the watch's time in daylight. Each function writes
// one type for one day (BenchPersonStreams).
//
// Not thread-safe: one export writer drives it.
//
//   BenchWorkoutStreams workouts(out, created, sources);
//   workouts.during(day, BenchWorkoutStreams::Metric::runningPower);

#include "tools/OstrandTools/Bench/BenchPersonStreams.h"

namespace ostrand_tools {

class BenchWorkoutStreams : public BenchPersonStreams {
 public:
  enum class Metric {
    runningPower,
    runningSpeed,
    runningStrideLength,
    runningVerticalOscillation,
    runningGroundContactTime,
    cyclingSpeed,
    cyclingCadence,
    physicalEffort
  };
  enum class WalkingMetric { speed, stepLength, doubleSupport, asymmetry };

  using BenchPersonStreams::BenchPersonStreams;

  // The watch's samples of `metric` during the day's workout, if it measures that workout.
  void during(const BenchPersonDay& day, Metric metric);
  void walking(const BenchPersonDay& day, WalkingMetric metric);
  void timeInDaylight(const BenchPersonDay& day);
};

}  // namespace ostrand_tools
